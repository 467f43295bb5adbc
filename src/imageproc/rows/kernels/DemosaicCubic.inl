// SPDX-License-Identifier: Apache-2.0
// Demosaic rows of BiCubic, one colour of a row at a time, in planes.
//
//   o . i x i . o     x = (5 x (sum of i) + 4) / 8 - (sum of o + 4) / 8, each cut off by itself, within 0 .. 255 at
//                     every depth; along the row for its own two colours, down the columns for the third one.
//
// Reads columns x-3 .. x+3 (along the row: the mean of x-1 and x+1 near its ends), writes column x.
#pragma once

#include "imageproc/rows/kernels/Bayer.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. to-1 of a row ----

constexpr std::uint16_t kLargestCubicSum = 8191;

/// Cubic convolution, weights -1, 5, 5, -1 in eighths, each pair rounded by itself. 0 .. 255 at every depth.
template <class T>
inline T cubic(T outerLeft, T left, T right, T outerRight) {
    std::uint32_t inner = static_cast<std::uint32_t>(left) + right;
    std::uint32_t outer = static_cast<std::uint32_t>(outerLeft) + outerRight;
    inner = inner < kLargestCubicSum ? inner : kLargestCubicSum;
    outer = outer < kLargestCubicSum ? outer : kLargestCubicSum;
    const auto value = static_cast<std::int32_t>((5 * inner + 4) >> 3) - static_cast<std::int32_t>((outer + 4) >> 3);
    return static_cast<T>(value < 0 ? 0 : value > 255 ? 255 : value);
}

template <class T, unsigned GreenParity>
inline void biCubicSpan(const T* row, T* green, T* color, std::size_t from, std::size_t to, std::size_t width) {
    for (std::size_t x = from; x < to; ++x) {
        T other = 0;
        if (x >= 3 && x + 3 < width) {
            other = cubic(row[x - 3], row[x - 1], row[x + 1], row[x + 3]);
        } else if (x >= 1 && x + 1 < width) {
            other = meanOf(row[x - 1], row[x + 1]);
        } else {
            other = row[x == 0 ? 1 : x - 1];
        }
        green[x] = x % 2 == GreenParity ? row[x] : other;
        color[x] = x % 2 == GreenParity ? other : row[x];
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- body, in registers ----

/// Cubic convolution as in cubic().
template <class A>
VEK_INLINE A cubicBlock(A outerLeft, A left, A right, A outerRight) {
    if constexpr (sizeof(Lane<A>) == 1) {
        // A product by 4096 / 32768, rounded, is an eighth, rounded; packing brings the difference back into 0 .. 255.
        const auto inner = weigh<5, 5>(left, right);
        const auto outer = weigh<1, 1>(outerLeft, outerRight);
        const auto eighth = all<Like<std::int16_t, A>>(4096);
        return pack<std::uint8_t>(mulRound15(inner.low, eighth) - mulRound15(outer.low, eighth),
                                  mulRound15(inner.high, eighth) - mulRound15(outer.high, eighth));
    } else {
        const A largest = all<A>(kLargestCubicSum);
        // Limited before they are added: the sum of any two samples does not fit.
        const auto limitedSum = [=](A a, A b) { return smaller(smaller(a, largest) + smaller(b, largest), largest); };
        const A inner = (limitedSum(left, right) * 5 + 4) >> 3;
        const A outer = (limitedSum(outerLeft, outerRight) + 4) >> 3;
        return smaller(larger(inner, outer) - outer, all<A>(255));
    }
}

#endif

// ---- kernels ----

template <class T, unsigned GreenParity>
void biCubic(const T* row, T* green, T* color, std::size_t from, std::size_t to, std::size_t width) {
    // So that x is a column of the row in all of them.
    green -= from;
    color -= from;
    std::size_t done = from;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    const std::size_t first = from < 4 ? 4 : from;
    const std::size_t last = width < to + 3 ? width - 3 : to;
    if (width >= 3 && last >= first + kLanes<A>) {
        biCubicSpan<T, GreenParity>(row, green, color, from, first, width);
        done = forPlaneBlocks<A>(first, last, [=](std::size_t x) {
            const A greenColumns = parityMask<A, GreenParity>();
            const A own = load<A>(row + x);
            const A other =
                cubicBlock(load<A>(row + x - 3), load<A>(row + x - 1), load<A>(row + x + 1), load<A>(row + x + 3));
            store(green + x, select(greenColumns, own, other));
            store(color + x, select(greenColumns, other, own));
        });
    }
#endif
    biCubicSpan<T, GreenParity>(row, green, color, done, to, width);
}

template <class T>
void biCubicThird(const T* above3, const T* above, const T* below, const T* below3, T* third, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    done = forPlaneBlocks<A>(0, width, [=](std::size_t x) {
        store(third + x, cubicBlock(load<A>(above3 + x), load<A>(above + x), load<A>(below + x), load<A>(below3 + x)));
    });
#endif
    for (std::size_t x = done; x < width; ++x) {
        third[x] = cubic(above3[x], above[x], below[x], below3[x]);
    }
}

template <class T>
void meanThird(const T* above, const T* below, T* third, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    done = forPlaneBlocks<A>(0, width,
                             [=](std::size_t x) { store(third + x, mean(load<A>(above + x), load<A>(below + x))); });
#endif
    for (std::size_t x = done; x < width; ++x) {
        third[x] = meanOf(above[x], below[x]);
    }
}

} // namespace
} // namespace vek::rows::VEK_ISA
