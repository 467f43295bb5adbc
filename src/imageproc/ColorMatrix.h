// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/Band.h"
#include "imageproc/IColorMatrix.h"
#include "imageproc/rows/RowTable.h"

#include <array>

namespace vek {

/// A sum of table entries as a byte: 0 .. 255 as it is, larger ones as 255, negative ones as 0.
constexpr unsigned char INT_2_BYTE(int value) {
    if (value >= 0 && value < 256) {
        return static_cast<unsigned char>(value);
    }
    return (static_cast<unsigned>(value) & 1U << 28) != 0 ? 0 : 255;
}

/// Colour matrix, hue and saturation, folded into tables of products, as a stage.
struct SColorMatrixStage {
    using Table = std::array<int[4], 4096>;
    using NarrowTable = std::array<short[4], 4097>; ///< one more: kernels load two entries at once

    std::array<rows::SMatrixTables::ByteSteps, 3> steps{}; ///< by input component: B, G, R
    bool hasSteps = false; ///< whether they give every product of a byte, and 16 bits every sum
    bool inPairs = false;  ///< whether what they leave stands in pairs
    // By input component; entries: shares of the output's B, G and R, which no cache line splits.
    alignas(sizeof(int[4])) Table tableB{};
    Table tableG{};
    Table tableR{};
    // The same entries in 16 bits for the row kernels, and how large they are.
    NarrowTable narrowB{};
    NarrowTable narrowG{};
    NarrowTable narrowR{};
    int largest8 = 0;  ///< magnitude of the largest entry of a byte
    int largest16 = 0; ///< magnitude of the largest entry
    bool on = false;

    STraits Traits(const SFrame& frame) const;
    /// The steps, from the tables.
    void UpdateSteps();
    /// As the row kernels take them.
    rows::SMatrixTables Tables() const;
    /// frame: colour.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;
};

/// Colour matrix, hue and saturation. Tables change with a setting alone; never keeps an image pointer.
class CColorMatrix final : public IColorMatrix {
public:
    explicit CColorMatrix(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long SetColorMatrix(unsigned char mode, const short* matrix) override;
    unsigned long GetColorMatrix(unsigned char* mode, short* matrix) override;
    unsigned long SetHueSaturation(unsigned char mode, short hue, unsigned short saturation) override;
    unsigned long GetHueSaturation(unsigned char* mode, short* hue, unsigned short* saturation) override;
    unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                           unsigned char* image, unsigned short bits) override;
    unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                           unsigned short* image, unsigned short bits) override;

    const SColorMatrixStage& Stage() const { return mStage; }

private:
    /// Three rows of four: coefficients of R, G, B and an offset, for R, G and B.
    using Matrix = std::array<short, 12>;
    using Matrix3 = std::array<std::array<float, 3>, 3>; ///< rows and columns R, G, B
    static constexpr Matrix kIdentity = {100, 0, 0, 0, 0, 100, 0, 0, 0, 0, 100, 0};

    template <class T>
    unsigned long Process(unsigned long width, unsigned long height, unsigned long pitch, unsigned long pixelFormat,
                          T* image, unsigned short bits) const;
    Matrix3 MixMatrix() const;
    void UpdateStage();

    const rows::SRowTable& mRows;
    unsigned char mMatrixMode = 0;
    Matrix mMatrix = kIdentity;
    unsigned char mHueSaturationMode = 0;
    short mHue = 0;
    unsigned short mSaturation = 100;
    SColorMatrixStage mStage;
};

} // namespace vek
