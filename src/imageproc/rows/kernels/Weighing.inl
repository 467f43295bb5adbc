// SPDX-License-Identifier: Apache-2.0
// Sums of a pixel's colours and a constant, each times a factor of 16 bits: bodies for colours in words below 2^15.
//
//   (blue, green) . (factor, factor)  +  (red, one) . (factor, offset)         in 32 bits, two pairs a pixel
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/simd/Pixels.inl"

#if VEK_VECTOR_BYTES != 0

namespace vek::rows::VEK_ISA {
namespace {

/// Two factors in every two lanes.
template <class S>
VEK_INLINE S factorPairs(int first, int second) {
    return (S)all<Like<std::int32_t, S>>(
        static_cast<std::int32_t>(static_cast<std::uint32_t>(second) << 16 | static_cast<std::uint16_t>(first)));
}

/// Factors of blue, green, red and of one, as multiplyPairs takes them. S: vectors of signed words.
template <class S>
struct SWeights {
    S blueGreen;
    S redOffset;

    SWeights() = default;
    VEK_INLINE SWeights(int blue, int green, int red, int offset)
        : blueGreen(factorPairs<S>(blue, green)), redOffset(factorPairs<S>(red, offset)) {}
};

/// The pairs of a block's colours.
template <class S>
struct SColorPairs {
    SHalves<S> blueGreen;
    SHalves<S> redOne;
};
template <std::uint16_t One, class A, class S = Like<std::int16_t, A>>
VEK_INLINE SColorPairs<S> colorPairs(A blue, A green, A red) {
    const A one = all<A>(One);
    return {{(S)zipLow<2>(blue, green), (S)zipHigh<2>(blue, green)}, {(S)zipLow<2>(red, one), (S)zipHigh<2>(red, one)}};
}

/// The sums >> Shift as words, 0 at least and Max at most.
template <unsigned Shift, std::uint16_t Max, class S>
VEK_INLINE Like<std::uint16_t, S> weighed(const SColorPairs<S>& pairs, const SWeights<S>& weights) {
    using Words = Like<std::uint16_t, S>;
    const auto sum = [&](S blueGreen, S redOne) {
        return addPairs(multiplyPairs(blueGreen, weights.blueGreen), redOne, weights.redOffset) >> Shift;
    };
    const Words words =
        pack<std::uint16_t>(sum(pairs.blueGreen.low, pairs.redOne.low), sum(pairs.blueGreen.high, pairs.redOne.high));
    return Max == 0xFFFF ? words : smaller(words, all<Words>(Max));
}

} // namespace
} // namespace vek::rows::VEK_ISA

#endif // VEK_VECTOR_BYTES != 0
