// SPDX-License-Identifier: Apache-2.0
// Packed pixels: a row is one bit stream.

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

} // namespace
} // namespace vek::rows::VEK_ISA
