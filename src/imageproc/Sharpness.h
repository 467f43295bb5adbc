// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ISharpness.h"
#include "imageproc/rows/RowTable.h"

#include <array>

namespace vek {

/// Unsharp mask. Holds its settings and the table of corrections; never keeps an image pointer. Each call that changes
/// an image allocates one buffer of 10 bytes for each column.
class CSharpness final : public ISharpness {
public:
    explicit CSharpness(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long SetMode(unsigned char mode, unsigned short gain, unsigned short coring) override;
    unsigned long GetMode(unsigned char* mode, unsigned short* gain, unsigned short* coring) override;
    unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long lineBytes,
                           unsigned long pixelFormat, unsigned short* image, unsigned short bits) override;
    unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long lineBytes,
                           unsigned long pixelFormat, unsigned char* image, unsigned short bits) override;

private:
    template <class T>
    unsigned long Process(unsigned long width, unsigned long height, unsigned long lineBytes, unsigned long pixelFormat,
                          T* image, unsigned short bits) const;
    bool mbUpdateShapnessTable();

    const rows::SRowTable& mRows;
    unsigned char mMode = 0;
    unsigned short mwGain = 0;
    unsigned short mwCoring = 0;
    std::array<unsigned short, 4096> mwTable{}; ///< correction by absolute difference
    // The same for bytes: modulo 256, and at most 255.
    std::array<unsigned char, 256> mRaise8{};
    std::array<unsigned char, 256> mLower8{};
};

} // namespace vek
