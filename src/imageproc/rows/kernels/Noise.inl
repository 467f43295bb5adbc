// SPDX-License-Identifier: Apache-2.0
// Noise reduction rows. The median of a pixel and four neighbours is the pixel itself, held between the second and the
// third smallest of the four: no sorting is needed.
//
//   a . b     Mono, and green of a Bayer row:     . . a . .     The row's colour of a Bayer row: the same
//   . x .     the diagonal neighbours.            . . . . .     colour two rows and two columns away. l
//   c . d                                         l . x . r     is as the change of column x-2 left it.
//                                                 . . . . .
//                                                 . . b . .
//
// Reads 1 or 2 columns beyond those that it writes. Samples are picked: nothing is rounded.
#pragma once

#include "imageproc/rows/Median.h"
#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"

namespace vek::rows::VEK_ISA {
namespace {

/// max(center, median of center and four neighbours)
template <class T>
inline T brighterMedian(T center, T a, T b, T c, T d) {
    const T secondSmallest = smaller(larger(smaller(a, b), smaller(c, d)), smaller(larger(a, b), larger(c, d)));
    return larger(center, secondSmallest);
}

// ---- plain loops: columns from .. to-1 of a row ----

template <class T>
inline void easyMonoSpan(const T* above, T* row, const T* below, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        row[x] = darkerMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1]);
    }
}

/// The rows around a Bayer row: its greens have their neighbours in above and below, its colour in above2 and below2.
template <class T>
struct SBayerRows {
    const T* above2;
    const T* above;
    const T* below;
    const T* below2;
    unsigned greenParity;
};

template <class T>
inline void easyBayerSpan(const SBayerRows<T>& around, T* row, std::size_t from, std::size_t to) {
    const auto [above2, above, below, below2, greenParity] = around;
    for (std::size_t x = from; x < to; ++x) {
        row[x] = x % 2 == greenParity ? darkerMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1])
                                      : darkerMedian(row[x], row[x - 2], row[x + 2], above2[x], below2[x]);
    }
}

template <class T>
inline T subtractSpan(T* row, const T* dark, T* live, std::size_t from, std::size_t to) {
    T brightest = 0;
    for (std::size_t x = from; x < to; ++x) {
        live[x] = row[x];
        brightest = larger(brightest, live[x]);
        row[x] = static_cast<T>(row[x] > dark[x] ? row[x] - dark[x] : 0);
    }
    return brightest;
}

template <class T>
inline void repairMonoSpan(const T* above, T* row, const T* below, const T* live, std::size_t from, std::size_t to,
                           T threshold) {
    for (std::size_t x = from; x < to; ++x) {
        if (live[x] >= threshold && row[x] < threshold) {
            row[x] = brighterMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1]);
        }
    }
}

template <class T>
inline void repairBayerSpan(const SBayerRows<T>& around, T* row, const T* live, std::size_t from, std::size_t to,
                            T threshold) {
    const auto [above2, above, below, below2, greenParity] = around;
    for (std::size_t x = from; x < to; ++x) {
        if (live[x] >= threshold && row[x] < threshold) {
            row[x] = x % 2 == greenParity
                         ? brighterMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1])
                         : brighterMedian(row[x], row[x - 2], row[x + 2], above2[x], below2[x]);
        }
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- blocks ----

/// min(max(sample, floor), ceiling) in each lane: how a result depends on the one of two columns before it, which is
/// one of its four neighbours. The three others, sorted, are the limits.
template <class A>
struct SLimits {
    A floor;
    A ceiling;

    VEK_INLINE A Apply(A samples) const { return smaller(larger(samples, floor), ceiling); }
    /// This after the other one.
    VEK_INLINE SLimits After(const SLimits& first) const {
        return {larger(first.floor, floor), smaller(larger(first.ceiling, floor), ceiling)};
    }
};

/// Limits that lead from the two columns before a block to each of its lanes, from those that lead one step.
template <class A, std::size_t Bytes = 2 * sizeof(Lane<A>)>
VEK_INLINE SLimits<A> limitsFromStart(SLimits<A> limits) {
    if constexpr (Bytes == sizeof(A)) {
        return limits;
    } else {
        const SLimits<A> before = {shiftUp<Bytes>(limits.floor, A{}), shiftUp<Bytes>(limits.ceiling, ~A{})};
        return limitsFromStart<A, 2 * Bytes>(limits.After(before));
    }
}

template <class A>
struct SSorted {
    A smallest;
    A middle;
    A largest;
};
template <class A>
VEK_INLINE SSorted<A> sorted(A a, A b, A c) {
    const A low = smaller(a, b);
    const A high = larger(a, b);
    return {smaller(low, c), larger(low, smaller(high, c)), larger(high, c)};
}

/// The neighbours of colours at x, but for the left one.
template <class A, class T>
VEK_INLINE SSorted<A> sortedNeighbors(const SBayerRows<T>& around, const T* row, std::size_t x) {
    return sorted(load<A>(row + x + 2), load<A>(around.above2 + x), load<A>(around.below2 + x));
}

template <class A>
VEK_INLINE A greenMask(unsigned greenParity) {
    return greenParity == 0 ? parityMask<A, 0>() : parityMask<A, 1>();
}

template <class A, class T>
VEK_INLINE A darkerBlock(const T* above, A own, const T* below, std::size_t x) {
    return darkerMedian(own, inRegister(load<A>(above + x - 1)), inRegister(load<A>(above + x + 1)),
                        inRegister(load<A>(below + x - 1)), inRegister(load<A>(below + x + 1)));
}
/// All ones where a sample was clipped and no longer looks it.
template <class A, class T>
VEK_INLINE A clippedMask(A live, A own, T threshold) {
    return (A)((live >= threshold) & (own < threshold));
}

// Each of the following works on the whole blocks of an even column from on that lie before column to, and returns the
// first column behind them. The blocks do not overlap: each depends on the one before it.

template <class T>
inline std::size_t easyBayerBlocks(const SBayerRows<T>& around, T* row, std::size_t from, std::size_t to) {
    using A = RowV<T>;
    std::size_t x = from;
    if (to < x + kLanes<A>) {
        return x;
    }
    const A greens = greenMask<A>(around.greenParity);
    // The last two results, by parity of their columns.
    A before = repeatPair<A>(row + x - 2);
    for (; x + kLanes<A> <= to; x += kLanes<A>) {
        const A own = load<A>(row + x);
        const SSorted<A> others = sortedNeighbors<A>(around, row, x);
        const SLimits<A> limits = limitsFromStart<A>({others.middle, smaller(own, others.largest)});
        store(row + x, select(greens, darkerBlock(around.above, own, around.below, x), limits.Apply(before)));
        // Two steps from block to block: the limits do not wait for the blocks before.
        before = SLimits<A>{repeatLastPair(limits.floor), repeatLastPair(limits.ceiling)}.Apply(before);
    }
    return x;
}

/// Calls repair(x, first) for blocks that cover columns from .. to-1, even columns x, and have a clipped sample.
/// Columns in front of x + first are done already. Returns the first column behind them, to or the one before; from
/// where they do not fill a block.
template <class A, class T, class Repair>
inline std::size_t forClippedBlocks(const T* live, std::size_t from, std::size_t to, T threshold, Repair repair) {
    constexpr std::size_t lanes = kLanes<A>;
    if (to < from + lanes) {
        return from;
    }
    const std::size_t last = from + (to - from - lanes) / 2 * 2;
    const A limit = all<A>(threshold);
    for (std::size_t x = from;; x += lanes) {
        const std::size_t at = smaller(x, last);
        if (any((A)(load<A>(live + at) >= limit))) {
            repair(at, x - at);
        }
        if (at == last) {
            return last + lanes;
        }
    }
}
/// The same for the longest vectors that the columns fill.
template <class T, class Repair>
inline std::size_t forClipped(const T* live, std::size_t from, std::size_t to, T threshold, Repair repair) {
    const auto repairAs = [=](auto vector) {
        return [=](std::size_t x, std::size_t first) { repair(vector, x, first); };
    };
    const std::size_t done = forClippedBlocks<WideV<T>>(live, from, to, threshold, repairAs(WideV<T>{}));
    if constexpr (kWideBytes != kRowBytes) {
        return done == from ? forClippedBlocks<RowV<T>>(live, from, to, threshold, repairAs(RowV<T>{})) : done;
    }
    return done;
}

/// The mask in the lanes from first on, 0 before.
template <class A>
VEK_INLINE A lanesFrom(std::size_t first, A mask) {
    if (first == 0) {
        return mask;
    }
    return mask & (A)(constant<A>([](std::size_t i) { return i; }) >= all<A>(static_cast<Lane<A>>(first)));
}

/// Of three neighbours, what the fourth one is held between for a brighter median.
template <class A>
VEK_INLINE SLimits<A> brighterLimits(A own, A a, A b, A c) {
    const A low = smaller(a, b);
    return {larger(own, smaller(low, c)), larger(own, larger(low, smaller(larger(a, b), c)))};
}

template <class T>
inline std::size_t repairBayerBlocks(const SBayerRows<T>& around, T* row, const T* live, std::size_t from,
                                     std::size_t to, T threshold) {
    return forClipped(live, from, to, threshold, [&]<class A>(A, std::size_t x, std::size_t first) {
        const A greens = greenMask<A>(around.greenParity);
        const auto own = load<A>(row + x);
        const A clipped = lanesFrom(first, clippedMask(load<A>(live + x), own, threshold));
        // Three neighbours in each lane; the fourth is at hand for greens alone.
        const SLimits<A> limits =
            brighterLimits(own, choose(greens, load<A>(around.above + x - 1), load<A>(around.above2 + x)),
                           choose(greens, load<A>(around.above + x + 1), load<A>(around.below2 + x)),
                           choose(greens, load<A>(around.below + x - 1), load<A>(row + x + 2)));
        const A green = limits.Apply(load<A>(around.below + x + 1));
        // What is not clipped stays, whatever stands before it.
        const auto ofLane = [&](A limit) { return choose(clipped, choose(greens, green, limit), own); };
        const SLimits<A> fromStart = limitsFromStart<A>({ofLane(limits.floor), ofLane(limits.ceiling)});
        store(row + x, fromStart.Apply(repeatPair<A>(row + x - 2)));
    });
}

template <class T>
inline std::size_t repairMonoBlocks(const T* above, T* row, const T* below, const T* live, std::size_t from,
                                    std::size_t to, T threshold) {
    return forClipped(live, from, to, threshold, [=]<class A>(A, std::size_t x, std::size_t first) {
        const auto own = load<A>(row + x);
        const A clipped = lanesFrom(first, clippedMask(load<A>(live + x), own, threshold));
        const SLimits<A> limits =
            brighterLimits(own, load<A>(above + x - 1), load<A>(above + x + 1), load<A>(below + x - 1));
        store(row + x, select(clipped, limits.Apply(load<A>(below + x + 1)), own));
    });
}

#endif

// ---- kernels ----

/// The column behind the last one that has reach columns to its right.
inline std::size_t innerEnd(std::size_t width, std::size_t reach) {
    return width < reach ? 0 : width - reach;
}

template <class T>
void easyMono(const T* above, T* row, const T* below, std::size_t width) {
    const std::size_t end = innerEnd(width, 1);
    std::size_t done = 1;
#if VEK_VECTOR_BYTES != 0
    done = changeBlocks(row, done, end,
                        [=]<class A>(A, std::size_t x) { return darkerBlock(above, load<A>(row + x), below, x); });
#endif
    easyMonoSpan(above, row, below, done, end);
}

template <class T>
void easyBayer(const T* above2, const T* above, T* row, const T* below, const T* below2, std::size_t width,
               unsigned greenParity) {
    const SBayerRows<T> around = {above2, above, below, below2, greenParity};
    const std::size_t end = innerEnd(width, 2);
    std::size_t done = 2;
#if VEK_VECTOR_BYTES != 0
    done = easyBayerBlocks(around, row, done, end);
#endif
    easyBayerSpan(around, row, done, end);
}

template <class T>
T subtract(T* row, const T* dark, T* live, std::size_t width) {
    std::size_t done = 0;
    T brightest = 0;
#if VEK_VECTOR_BYTES != 0
    // Memory alone decides here, and it is slower with wider vectors.
    using A = RowV<T>;
    A bright{};
    done = changeBlocksOf<A>(row, done, width, [&](A, std::size_t x) {
        const A own = load<A>(row + x);
        const A level = load<A>(dark + x);
        store(live + x, own);
        bright = larger(bright, own);
        return larger(own, level) - level;
    });
    for (std::size_t i = 0; i < kLanes<A>; ++i) {
        brightest = larger(brightest, static_cast<T>(bright[i]));
    }
#endif
    return larger(brightest, subtractSpan(row, dark, live, done, width));
}

template <class T>
void repairMono(const T* above, T* row, const T* below, const T* live, std::size_t width, T threshold) {
    const std::size_t end = innerEnd(width, 1);
    std::size_t done = 1;
#if VEK_VECTOR_BYTES != 0
    done = repairMonoBlocks(above, row, below, live, done, end, threshold);
#endif
    repairMonoSpan(above, row, below, live, done, end, threshold);
}

template <class T>
void repairBayer(const T* above2, const T* above, T* row, const T* below, const T* below2, const T* live,
                 std::size_t width, unsigned greenParity, T threshold) {
    const SBayerRows<T> around = {above2, above, below, below2, greenParity};
    const std::size_t end = innerEnd(width, 2);
    std::size_t done = 2;
#if VEK_VECTOR_BYTES != 0
    done = repairBayerBlocks(around, row, live, done, end, threshold);
#endif
    repairBayerSpan(around, row, live, done, end, threshold);
}

template <class T>
constexpr SNoiseRows<T> noiseTable() {
    return {.easyMono = easyMono<T>,
            .easyBayer = easyBayer<T>,
            .subtract = subtract<T>,
            .repairMono = repairMono<T>,
            .repairBayer = repairBayer<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
