// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

/// A format of frames, as this test knows it by itself.
struct SFrameFormat {
    std::uint32_t code;
    unsigned depth;
    unsigned groupPixels;
    unsigned groupBytes;
    bool words; ///< one sample a word
    bool csi;
    bool mono;
};
inline constexpr SFrameFormat kFrameFormats[] = {
    {VEK_TRANSFER_RAW8, 8, 1, 1, false, false, false},
    {VEK_TRANSFER_RAW10, 10, 1, 2, true, false, false},
    {VEK_TRANSFER_RAW12, 12, 1, 2, true, false, false},
    {VEK_TRANSFER_RAW14, 14, 1, 2, true, false, false},
    {VEK_TRANSFER_RAW16, 16, 1, 2, true, false, false},
    {VEK_TRANSFER_RAW10_PACKED, 10, 4, 5, false, false, false},
    {VEK_TRANSFER_RAW12_PACKED, 12, 2, 3, false, false, false},
    {VEK_TRANSFER_MONO8, 8, 1, 1, false, false, true},
    {VEK_TRANSFER_MONO10, 10, 1, 2, true, false, true},
    {VEK_TRANSFER_MONO12, 12, 1, 2, true, false, true},
    {VEK_TRANSFER_MONO14, 14, 1, 2, true, false, true},
    {VEK_TRANSFER_MONO16, 16, 1, 2, true, false, true},
    {VEK_TRANSFER_MONO10_PACKED, 10, 4, 5, false, false, true},
    {VEK_TRANSFER_MONO12_PACKED, 12, 2, 3, false, false, true},
    {VEK_CHAIN_CSI2_RAW10, 10, 4, 5, false, true, false},
    {VEK_CHAIN_CSI2_RAW12, 12, 2, 3, false, true, false},
    {VEK_CHAIN_CSI2_RAW14, 14, 4, 7, false, true, false},
};

/// Bytes of a row of so many pixels.
inline std::size_t rowBytesOf(const SFrameFormat& format, std::size_t pixels) {
    if (format.csi || format.groupPixels == 1) {
        return (pixels + format.groupPixels - 1) / format.groupPixels * format.groupBytes;
    }
    return (pixels * format.depth + 7) / 8;
}

/// Puts sample x into a row of zeros.
inline void putSample(const SFrameFormat& format, bool bigEndian, std::uint8_t* row, std::size_t x, unsigned sample) {
    if (format.depth == 8) {
        row[x] = static_cast<std::uint8_t>(sample);
    } else if (format.words) {
        row[2 * x + (bigEndian ? 1 : 0)] = static_cast<std::uint8_t>(sample);
        row[2 * x + (bigEndian ? 0 : 1)] = static_cast<std::uint8_t>(sample >> 8);
    } else if (!format.csi) {
        for (unsigned bit = 0; bit < format.depth; ++bit) {
            const std::size_t at = x * format.depth + bit;
            row[at / 8] = static_cast<std::uint8_t>(row[at / 8] | (sample >> bit & 1) << at % 8);
        }
    } else {
        // The high bytes of a group, then the low bits of its pixels, the first one lowest.
        std::uint8_t* const group = row + x / format.groupPixels * format.groupBytes;
        const std::size_t pixel = x % format.groupPixels;
        const unsigned lowBits = format.depth - 8;
        group[pixel] = static_cast<std::uint8_t>(sample >> lowBits);
        for (unsigned bit = 0; bit < lowBits; ++bit) {
            const std::size_t at = pixel * lowBits + bit;
            std::uint8_t& byte = group[format.groupPixels + at / 8];
            byte = static_cast<std::uint8_t>(byte | (sample >> bit & 1) << at % 8);
        }
    }
}

} // namespace vek::test
