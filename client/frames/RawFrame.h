// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/TransferFormats.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

namespace vek::client {

/// The bytes of one frame.
constexpr std::uint64_t frameBytes(const STransferFormat& format, std::uint32_t width, std::uint32_t height) {
    return format.RowBytes(width) * height;
}

/// Depth at which the library works on a format: samples in words have at most 12 bits, so 14 and 16 are shifted down;
/// it unpacks, and turns colour formats into pictures, at 8 bits.
constexpr unsigned short libraryDepth(const STransferFormat& format) {
    if (format.layout != ELayout::Bytes && format.layout != ELayout::Words) {
        return 8;
    }
    return format.depth < 12 ? format.depth : static_cast<unsigned short>(12);
}

/// One raw frame in the form that the library takes: rows without padding, bytes at depth 8, else words.
/// One sample more than width * height is allocated: some demosaic methods read it.
struct SRawFrame {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short colorArray = 0; ///< enum VekColorArray, 1..5
    unsigned short depth = 0;      ///< significant bits: 8, 10 or 12
    std::variant<std::vector<std::uint8_t>, std::vector<std::uint16_t>> samples;
};

/// Appends to a frame's samples the one that is read behind the image, where the width is odd: the left neighbour of
/// the last row's end, so that a mean of the two changes nothing.
template <class T>
void appendSpareSample(std::vector<T>& samples, std::uint32_t width) {
    samples.push_back(width > 1 ? samples[samples.size() - 2] : samples.back());
}

/// Word i of transferred bytes, which are little-endian.
inline std::uint16_t wordAt(std::span<const std::uint8_t> bytes, std::size_t i) {
    return static_cast<std::uint16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
}

/// Makes a frame of transferred bytes (frameBytes of them) of a format of bytes or words (little-endian). Samples above
/// the format's range count as its largest.
SRawFrame rawFrame(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height, unsigned short colorArray);

} // namespace vek::client
