// SPDX-License-Identifier: Apache-2.0
// Black level, gain and pedestal of a mosaic's row, 12 bits in words.
//
//   s0 s1 s2 s3 ...  ->  even(s0) odd(s1) even(s2) odd(s3) ...
//
// No neighbours. (sample - black) x gain / 4096 is rounded, a half up; with the pedestal it stops at 0 and 4095.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. width-1, from even ----

inline std::uint16_t leveled(std::uint16_t sample, const SLevel& level) {
    const int value = ((((sample - level.black) * level.gain) + 2048) >> 12) + level.pedestal;
    return static_cast<std::uint16_t>(smaller(larger(value, 0), 4095));
}

inline void levelSpan(std::uint16_t* row, std::size_t from, std::size_t width, const SLevel& even, const SLevel& odd) {
    std::size_t x = from;
    for (; x + 1 < width; x += 2) {
        row[x] = leveled(row[x], even);
        row[x + 1] = leveled(row[x + 1], odd);
    }
    if (x < width) {
        row[x] = leveled(row[x], even);
    }
}

#if VEK_VECTOR_BYTES != 0

/// The levels of a block's lanes.
template <class A>
struct SLevelLanes {
    A black;
    A gain;
    A pedestal;
};

/// 8 x (sample - black) fits 16 bits, so that rounding by 15 bits is rounding by 12.
template <class A>
VEK_INLINE A levelBlock(A samples, const SLevelLanes<A>& level) {
    using Signed = Like<std::int16_t, A>;
    const Signed light = mulRound15((Signed)((samples - level.black) << 3), (Signed)level.gain);
    const Signed sum = addSat(light, (Signed)level.pedestal);
    return (A)smaller(larger(sum, Signed{}), all<Signed>(4095));
}

#endif

// ---- kernels ----

void levels(std::uint16_t* row, std::size_t width, const SLevel& even, const SLevel& odd) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    // Three in a row: those of two columns from an even or from an odd one on.
    const std::uint16_t black[] = {even.black, odd.black, even.black};
    const std::uint16_t gain[] = {even.gain, odd.gain, even.gain};
    const std::uint16_t pedestal[] = {even.pedestal, odd.pedestal, even.pedestal};
    done = changeBlocks(row, 0, width, [=]<class A>(A, std::size_t x) {
        const std::size_t at = x % 2;
        return levelBlock<A>(load<A>(row + x),
                             {repeatPair<A>(black + at), repeatPair<A>(gain + at), repeatPair<A>(pedestal + at)});
    });
#endif
    levelSpan(row, done, width, even, odd);
}

} // namespace
} // namespace vek::rows::VEK_ISA
