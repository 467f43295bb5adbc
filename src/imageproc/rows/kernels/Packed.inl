// SPDX-License-Identifier: Apache-2.0
// Packed pixels: a row is one bit stream, the least significant bit first.
//
//   10 bits   00000000 11111100 22221111 33222222 33333333    four pixels in 5 bytes
//   12 bits   00000000 11110000 11111111                      two pixels in 3 bytes
#pragma once

#include "imageproc/rows/simd/Vector.inl"

namespace vek::rows::VEK_ISA {
namespace {

/// The 16-bit word that starts at the first byte of pixel x, shifted down to the pixel: its low Bits bits are the
/// pixel, the ones above belong to the next.
template <unsigned Bits>
inline unsigned packedWord(const std::uint8_t* row, std::size_t x) {
    const std::size_t bit = x * Bits;
    const std::uint8_t* const at = row + bit / 8;
    const unsigned word = at[0] | static_cast<unsigned>(at[1]) << 8;
    return word >> (bit % 8);
}

/// Pixel x of Bits bits, the least significant bit first.
template <unsigned Bits>
inline unsigned packedPixel(const std::uint8_t* row, std::size_t x) {
    return packedWord<Bits>(row, x) & ((1U << Bits) - 1);
}

/// Bytes of a row.
template <unsigned Bits>
constexpr std::size_t packedBytes(std::size_t width) {
    return (width * Bits + 7) / 8;
}

#if VEK_VECTOR_BYTES != 0

/// Bytes that unpackBlock reads: the last 16-byte part is read whole.
template <unsigned Bits>
constexpr std::size_t kPackedReach = kLanes<RowV<std::uint16_t>>* Bits / 8 - Bits + 16;

/// A vector of packed pixels, of which each 16-byte part of the vector takes 8 from the low Bits bytes of
/// its own: the word of each pixel, shifted up so that its highest bit is the word's, then down.
template <unsigned Bits>
VEK_INLINE RowV<std::uint16_t> unpackBlock(const std::uint8_t* p) {
    using Words = RowV<std::uint16_t>;
    using Bytes = RowV<std::uint8_t>;
    const auto places = constant<Bytes>([](std::size_t i) { return i % 16 / 2 * Bits / 8 + i % 2; });
    const auto up = constant<Words>([](std::size_t i) { return 1U << (16 - Bits - i % 8 * Bits % 8); });
    const auto words = (Words)shuffle(loadParts<Bytes>(p, Bits), places);
    return words * up >> (16 - Bits);
}

#endif

} // namespace
} // namespace vek::rows::VEK_ISA
