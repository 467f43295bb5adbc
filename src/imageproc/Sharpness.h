// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/Band.h"
#include "imageproc/ISharpness.h"
#include "imageproc/rows/RowTable.h"

#include <array>

namespace vek {

/// Unsharp mask as a stage: its settings and the table of corrections.
struct SSharpnessStage {
    static constexpr unsigned short kMaxDepth = 12; ///< of an image's samples

    unsigned char mode = 0;
    unsigned short gain = 0;                  ///< 1/100
    unsigned short coring = 0;                ///< differences up to this one are left alone
    std::array<unsigned short, 4096> table{}; ///< correction by absolute difference
    // The same for bytes: modulo 256, and at most 255.
    std::array<unsigned char, 256> raise8{};
    std::array<unsigned char, 256> lower8{};
    // The same by arithmetic, where it gives every entry.
    rows::SCorrectionSegments segments{};
    rows::SCorrectionLine line{};
    rows::SCorrectionDigits digits{};
    bool hasSegments = false;
    bool hasLine = false;
    bool hasDigits = false;

    void UpdateTable();
    /// For the rows; refers to this. maxValue: the largest sample.
    rows::SSharpening Sharpening(unsigned maxValue) const;
    STraits Traits(const SFrame& frame) const;
    /// frame: grey or colour, of 8 to 12 bits. The first and the last row and column stay as they are.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const {
        Rows(kernels, frame, band, false);
    }
    /// continues: the work area is as the band right above this one has left it. Row first - 1 is not asked for then.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band, bool continues) const;
};

/// Unsharp mask. Holds its settings; never keeps an image pointer. Each call that changes an image allocates one buffer
/// of 10 bytes for each column.
class CSharpness final : public ISharpness {
public:
    explicit CSharpness(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long SetMode(unsigned char mode, unsigned short gain, unsigned short coring) override;
    unsigned long GetMode(unsigned char* mode, unsigned short* gain, unsigned short* coring) override;
    unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                           unsigned short* image, unsigned short bits) override;
    unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                           unsigned char* image, unsigned short bits) override;

    const SSharpnessStage& Stage() const { return mStage; }

private:
    template <class T>
    unsigned long Process(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                          T* image, unsigned short bits) const;

    const rows::SRowTable& mRows;
    SSharpnessStage mStage;
};

} // namespace vek
