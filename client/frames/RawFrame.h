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

/// Most bits that a picture's colours are made with.
inline constexpr unsigned short kColorsDepth = 12;

/// Depth at which the functions of the library work on a format: samples have at most 12 bits, so 14 and 16 are shifted
/// down; bit streams are unpacked, and colour formats become pictures, at 8 bits.
constexpr unsigned short libraryDepth(const STransferFormat& format) {
    if (!format.IsRaw() || format.IsPacked()) {
        return 8;
    }
    return format.depth < kColorsDepth ? format.depth : kColorsDepth;
}

/// One raw frame in the form that the library takes: rows without padding, bytes at depth 8, else words.
/// One sample more than width * height is allocated: some demosaic methods read it.
struct SRawFrame {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short colorArray = 0; ///< enum VekColorArray, 1..5
    unsigned short depth = 0;      ///< significant bits, 8..16
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

/// Sample i of transferred bytes of a format of bytes or words; above its range it counts as its largest.
inline unsigned sampleAt(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::size_t i) {
    const unsigned sample = format.layout == ELayout::Words ? wordAt(bytes, i) : bytes[i];
    const unsigned largest = (1U << format.depth) - 1;
    return sample < largest ? sample : largest;
}

/// Whether words among transferred bytes are above their format's range.
bool exceedsRange(std::span<const std::uint8_t> bytes, const STransferFormat& format);

/// Makes words (little-endian) that are larger than largest as large as that.
void limitWords(std::span<std::uint8_t> bytes, std::uint16_t largest);

/// Makes a frame of transferred bytes (frameBytes of them) of a format of bytes or words (little-endian). Samples above
/// the format's range count as its largest. depth: of the frame, the format's or less: low bits are cut off.
SRawFrame rawFrame(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height, unsigned short colorArray, unsigned short depth);

/// The smallest unpacked format, mono or raw, of words or bytes, that holds samples up to white.
const STransferFormat& unpackedFormat(bool mono, bool words, unsigned white);

/// Linear values of samples, bytes or words, as words. table: by sample, not empty; larger samples have its last value.
std::vector<std::uint8_t> linearizedWords(std::span<const std::uint8_t> bytes, bool words,
                                          std::span<const std::uint16_t> table);

} // namespace vek::client
