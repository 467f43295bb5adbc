// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vek::client {

/// A grey or a colour image, rows without padding; colour is red, green, blue as image files have it.
struct SImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short channels = 0; ///< 1 or 3
    unsigned short depth = 0;    ///< significant bits, 8..16; samples are 0 .. 2^depth - 1
    std::vector<std::uint16_t> samples;

    std::size_t RowSamples() const { return static_cast<std::size_t>(width) * channels; }
};

/// Most pixels of a side of a picture that is read, as large as frames can be.
inline constexpr std::uint32_t kLargestSide = 65535;

/// Largest sample of a depth of 1..16 bits.
constexpr std::uint16_t maxSample(unsigned depth) {
    return static_cast<std::uint16_t>((1U << depth) - 1U);
}

/// Scales to another depth: down by dropping low bits, up by repeating the high ones, so that the whole range
/// maps onto the whole range (0x0ABC at 12 bits is 0xABCA at 16).
SImage scaledToDepth(SImage image, unsigned short depth);

/// A picture in memory that somebody else owns: grey or red, green, blue; bytes at depth 8, else words; rows without
/// padding.
struct SPictureView {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short channels = 0; ///< 1 or 3
    unsigned short depth = 0;    ///< bits, 8..16
    const void* samples = nullptr;

    std::size_t RowSamples() const { return static_cast<std::size_t>(width) * channels; }
    std::size_t RowBytes() const { return RowSamples() * (depth == 8 ? 1 : 2); }
    const std::uint8_t* Row(std::size_t y) const { return static_cast<const std::uint8_t*>(samples) + y * RowBytes(); }
};

/// A copy of a picture.
SImage imageOf(const SPictureView& picture);

/// An image as a picture. bytes: keeps the samples of one of depth 8.
SPictureView viewOf(const SImage& image, std::vector<std::uint8_t>& bytes);

/// A row as most picture files have it: the samples themselves at depth 8, else their high byte first. bytes: RowBytes.
void packRow(const SPictureView& picture, std::size_t y, std::uint8_t* bytes);
/// Appends the samples that such bytes hold. sampleBytes: 1, or 2 with the high byte first.
void unpackSamples(std::span<const std::uint8_t> bytes, std::size_t sampleBytes, std::vector<std::uint16_t>& samples);

} // namespace vek::client
