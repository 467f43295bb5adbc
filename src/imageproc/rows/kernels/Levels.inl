// SPDX-License-Identifier: Apache-2.0
// Black level, gain and pedestal of a mosaic's row, 12 bits in words.
//
//   s0 s1 s2 s3 ...  ->  even(s0) odd(s1) even(s2) odd(s3) ...
//
// No neighbours. Samples above 4095 count as 4095. (sample - black) x gain / 4096 is rounded, a half up; with the
// pedestal it stops at 0 and 4095.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"

namespace vek::rows::VEK_ISA {
namespace {

constexpr std::uint16_t kLargestLevel = 4095;

// ---- plain loops: columns from .. width-1, from even ----

inline std::uint16_t leveled(std::uint16_t sample, const SLevel& level) {
    const int value = (((smaller(sample, kLargestLevel) - level.black) * level.gain + 2048) >> 12) + level.pedestal;
    return static_cast<std::uint16_t>(smaller(larger(value, 0), int{kLargestLevel}));
}

inline void levelSpan(const std::uint16_t* src, std::uint16_t* dst, std::size_t from, std::size_t width,
                      const SLevel& even, const SLevel& odd) {
    std::size_t x = from;
    for (; x + 1 < width; x += 2) {
        dst[x] = leveled(src[x], even);
        dst[x + 1] = leveled(src[x + 1], odd);
    }
    if (x < width) {
        dst[x] = leveled(src[x], even);
    }
}

#if VEK_VECTOR_BYTES != 0

/// Levels of even and odd columns in turn.
template <class A>
struct SLevelLanes {
    A black;
    A gain;
    A pedestal;

    VEK_INLINE SLevelLanes(const SLevel& even, const SLevel& odd)
        : black(InTurn(even.black, odd.black)), gain(InTurn(even.gain, odd.gain)),
          pedestal(InTurn(even.pedestal, odd.pedestal)) {}

private:
    VEK_INLINE static A InTurn(std::uint16_t even, std::uint16_t odd) {
        const std::uint16_t pair[] = {even, odd};
        return repeatPair<A>(pair);
    }
};

/// 8 x (sample - black) fits 16 bits, so that rounding by 15 bits is rounding by 12.
template <class A>
VEK_INLINE A levelBlock(A samples, const SLevelLanes<A>& level) {
    using Signed = Like<std::int16_t, A>;
    const A held = smaller(samples, all<A>(kLargestLevel));
    const Signed light = mulRound15((Signed)((held - level.black) << 3), (Signed)level.gain);
    const Signed sum = addSat(light, (Signed)level.pedestal);
    return (A)smaller(larger(sum, Signed{}), all<Signed>(kLargestLevel));
}

#endif

// ---- kernels ----

void levels(const std::uint16_t* src, std::uint16_t* dst, std::size_t width, const SLevel& even, const SLevel& odd) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<std::uint16_t>;
    const SLevelLanes<A> level(even, odd);
    done = storeBlocks<2>(dst, width, [=](std::size_t x) { return levelBlock(load<A>(src + x), level); });
#endif
    levelSpan(src, dst, done, width, even, odd);
}

} // namespace
} // namespace vek::rows::VEK_ISA
