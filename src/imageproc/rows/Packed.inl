// SPDX-License-Identifier: Apache-2.0
// Packed pixels: a row is one bit stream.

namespace vek::rows::VEK_ISA {
namespace {

/// Pixel x of Bits bits, the least significant bit first: it lies in the 16-bit word that starts at its first byte.
template <unsigned Bits>
inline unsigned packedPixel(const std::uint8_t* row, std::size_t x) {
    const std::size_t bit = x * Bits;
    const std::uint8_t* const at = row + bit / 8;
    const unsigned word = at[0] | static_cast<unsigned>(at[1]) << 8;
    return word >> (bit % 8) & ((1U << Bits) - 1);
}

} // namespace
} // namespace vek::rows::VEK_ISA
