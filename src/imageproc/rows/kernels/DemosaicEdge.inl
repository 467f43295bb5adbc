// SPDX-License-Identifier: Apache-2.0
// Demosaic rows of the edge-directed method.
//
//   . . 2 . .     s: the mean of the two neighbours 1, along the row or down the column
//   . 4 1 4 .     b: the pixel less the mean of the two 2, which have its colour
//   2 1 0 1 2     |1 - 1| + |b| changes along either. A direction along which less than half as much changes as along
//   . 4 1 4 .     the other one is taken alone; else the mean of both, a half up.
//   . . 2 . .
//
//   column of the row colour   green: s + 1/2 b
//                              third: that (before it is limited) + the mean of the 4 - the mean of the 1
//   column of green            row colour: s + 3/8 b along the row, s + 3/4 (0 - the mean of the 4) down the column, s
//                              being that of the row in both; third: the same, row and column changed
//
// Reads columns -2 .. width+1, mirrored into the row, of the five rows, writes 0 .. width-1. In words of 16 bits, which
// samples of up to 13 bits never leave; with more of them sums wrap around.
#pragma once

#include "imageproc/rows/Mirror.h"
#include "imageproc/rows/kernels/Bayer.inl"

namespace vek::rows::VEK_ISA {
namespace {

/// The five rows around a pixel.
template <class T>
struct SFiveRows {
    const T* above2;
    const T* above;
    const T* row;
    const T* below;
    const T* below2;
};

/// What a pixel is made from: S is a word, or a vector of them.
template <class S>
struct SEdgeSamples {
    S own;
    S left, right;
    S above, below;
    S left2, right2;
    S above2, below2;
    S aboveLeft, aboveRight;
    S belowLeft, belowRight;
};

/// sample(row, offset): the sample of a row so many columns further.
template <class T, class Sample>
[[gnu::always_inline]] inline auto edgeSamples(const SFiveRows<T>& rows, Sample sample) {
    return SEdgeSamples<decltype(sample(rows.row, 0))>{.own = sample(rows.row, 0),
                                                       .left = sample(rows.row, -1),
                                                       .right = sample(rows.row, 1),
                                                       .above = sample(rows.above, 0),
                                                       .below = sample(rows.below, 0),
                                                       .left2 = sample(rows.row, -2),
                                                       .right2 = sample(rows.row, 2),
                                                       .above2 = sample(rows.above2, 0),
                                                       .below2 = sample(rows.below2, 0),
                                                       .aboveLeft = sample(rows.above, -1),
                                                       .aboveRight = sample(rows.above, 1),
                                                       .belowLeft = sample(rows.below, -1),
                                                       .belowRight = sample(rows.below, 1)};
}

/// Shares of b, and of what a green is above those around it, in 32768ths.
constexpr std::int16_t kBendAtColor = 32768 / 2;
constexpr std::int16_t kBendAtGreen = 32768 * 3 / 8;
constexpr std::int16_t kRise = 32768 * 3 / 4;

// ---- plain loops: columns from .. to-1 of a row; every step in a word with a sign ----

/// The low 16 bits, with a sign.
constexpr std::int16_t wrapped(int value) {
    return static_cast<std::int16_t>(value);
}
constexpr std::int16_t meanUp(std::int16_t a, std::int16_t b) {
    return wrapped((static_cast<std::uint16_t>(a) + static_cast<std::uint16_t>(b) + 1) >> 1);
}
constexpr std::int16_t absolute(std::int16_t a) {
    return a < 0 ? wrapped(-a) : a;
}
constexpr std::int16_t share(std::int16_t a, std::int16_t of32768) {
    return wrapped((a * of32768 + (1 << 14)) >> 15);
}

/// The direction along which less than half as much changes as along the other one.
struct SDirection {
    bool horizontal;
    bool vertical;

    SDirection(const SEdgeSamples<std::int16_t>& at, std::int16_t rowBend, std::int16_t columnBend) {
        const std::int16_t along = wrapped(absolute(wrapped(at.left - at.right)) + absolute(rowBend));
        const std::int16_t down = wrapped(absolute(wrapped(at.above - at.below)) + absolute(columnBend));
        horizontal = wrapped(down - along) > along;
        vertical = wrapped(along - down) > down;
    }
    /// What the direction gives, or the mean of both.
    std::int16_t Choose(std::int16_t row, std::int16_t column) const {
        return wrapped(wrapped((vertical ? column : row) + (horizontal ? row : column)) >> 1);
    }
};

template <class T>
constexpr T limited(std::int16_t value, T maxValue) {
    return static_cast<T>(value < 0 ? 0 : value > maxValue ? maxValue : value);
}

template <class T, BayerRow Row, unsigned Channels>
inline void edgeSpan(const SFiveRows<T>& rows, T* dst, std::size_t from, std::size_t to, std::size_t width,
                     T maxValue) {
    for (std::size_t x = from; x < to; ++x) {
        const auto inside = [=](const T* row, int offset) { return static_cast<std::int16_t>((row + x)[offset]); };
        const auto anywhere = [=](const T* row, int offset) {
            return static_cast<std::int16_t>(row[mirrored(x, offset, width)]);
        };
        const auto at = x >= 2 && x + 2 < width ? edgeSamples(rows, inside) : edgeSamples(rows, anywhere);
        const bool green = x % 2 == SRow<Row>::greenParity;
        const std::int16_t bendShare = green ? kBendAtGreen : kBendAtColor;
        const std::int16_t rowBend = wrapped(at.own - meanUp(at.left2, at.right2));
        const std::int16_t columnBend = wrapped(at.own - meanUp(at.above2, at.below2));
        const SDirection direction(at, rowBend, columnBend);
        const std::int16_t sides = meanUp(at.left, at.right);
        const std::int16_t ends = meanUp(at.above, at.below);
        const std::int16_t corners = meanUp(meanUp(at.aboveLeft, at.belowRight), meanUp(at.aboveRight, at.belowLeft));
        const std::int16_t alongRow = wrapped(sides + share(rowBend, bendShare));
        const std::int16_t downColumn = wrapped(ends + share(columnBend, bendShare));
        T* const pixel = dst + x * Channels;
        if (green) {
            const std::int16_t rise = share(wrapped(at.own - corners), kRise);
            pixel[kGreen] = rows.row[x];
            pixel[SRow<Row>::rowColor] = limited(direction.Choose(alongRow, wrapped(sides + rise)), maxValue);
            pixel[SRow<Row>::thirdColor] = limited(direction.Choose(wrapped(ends + rise), downColumn), maxValue);
        } else {
            const std::int16_t greenHere = direction.Choose(alongRow, downColumn);
            pixel[SRow<Row>::rowColor] = rows.row[x];
            pixel[kGreen] = limited(greenHere, maxValue);
            pixel[SRow<Row>::thirdColor] = limited(wrapped(greenHere + corners - meanUp(sides, ends)), maxValue);
        }
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- body: the pixels of a block at column x, even, in registers; S: words ----

// Without a sign, so that they may wrap around; with one where it counts.

/// The colours that a block's pixels lack.
template <class S>
struct SMissing {
    S first; ///< green at columns of the row colour, the row colour at columns of green
    S third;
};

template <class S>
VEK_INLINE auto withSign(S v) {
    return as<std::int16_t>(v);
}

/// SDirection in masks.
template <class S>
struct SDirections {
    Like<std::int16_t, S> horizontal;
    Like<std::int16_t, S> vertical;

    VEK_INLINE S Choose(S row, S column) const {
        return (S)(withSign((vertical ? column : row) + (horizontal ? row : column)) >> 1);
    }
};

template <class S>
VEK_INLINE S limitedBlock(S value, S maxValue) {
    return (S)smaller(larger(withSign(value), Like<std::int16_t, S>{}), withSign(maxValue));
}

/// What the plain loop computes. columns.Of(at green, at the row colour): which of the two a column takes.
template <class S, class Columns>
VEK_INLINE SMissing<S> missingColors(const SEdgeSamples<S>& at, S maxValue, Columns columns) {
    const S rowBend = at.own - meanUp(at.left2, at.right2);
    const S columnBend = at.own - meanUp(at.above2, at.below2);
    const S along = absolute(at.left - at.right) + absolute(rowBend);
    const S down = absolute(at.above - at.below) + absolute(columnBend);
    const SDirections<S> direction = {withSign(down - along) > withSign(along),
                                      withSign(along - down) > withSign(down)};
    const S bendShare = columns.Of(all<S>(kBendAtGreen), all<S>(kBendAtColor));
    const S sides = meanUp(at.left, at.right);
    const S ends = meanUp(at.above, at.below);
    const S corners = meanUp(meanUp(at.aboveLeft, at.belowRight), meanUp(at.aboveRight, at.belowLeft));
    const S alongRow = sides + mulRound15(rowBend, bendShare);
    const S downColumn = ends + mulRound15(columnBend, bendShare);
    const S rise = mulRound15(at.own - corners, all<S>(kRise));
    const S first = direction.Choose(alongRow, columns.Of(sides + rise, downColumn));
    const S third = columns.Of(direction.Choose(ends + rise, downColumn), first + corners - meanUp(sides, ends));
    return {limitedBlock(first, maxValue), limitedBlock(third, maxValue)};
}

/// All columns of one kind.
template <bool Green>
struct SColumns {
    template <class S>
    VEK_INLINE S Of(S atGreen, S atColor) const {
        return Green ? atGreen : atColor;
    }
};
/// Columns in turn, green at those of GreenParity.
template <unsigned GreenParity>
struct SColumnsInTurn {
    template <class S>
    VEK_INLINE S Of(S atGreen, S atColor) const {
        return select(parityMask<S, GreenParity>(), atGreen, atColor);
    }
};

/// Samples of a row from a block's column x on, in words: all of them, or, of bytes, every second one, from x + first.
template <class S>
struct SWordsFrom {
    std::size_t x;
    int first;

    template <class T>
    VEK_INLINE S operator()(const T* row, int offset) const {
        if constexpr (sizeof(T) == 1) {
            // x is even, and both kinds of columns are taken from the same pairs.
            const int column = first + offset;
            const S pairs = load<S>(row + x + (column & ~1));
            return column % 2 == 0 ? pairs & 0xFF : pairs >> 8;
        } else {
            return inRegister(load<S>(row + x + first + offset));
        }
    }
};

/// Words of the columns of Parity and of the others as bytes in turn.
template <unsigned Parity, class A, class S>
VEK_INLINE A interleaved(S atParity, S atOther) {
    return Parity == 0 ? (A)(atParity | atOther << 8) : (A)(atOther | atParity << 8);
}

template <class A, BayerRow Row>
VEK_INLINE SColors<A> edgeBlock(const SFiveRows<Lane<A>>& rows, std::size_t x, Lane<A> maxValue) {
    using S = Like<std::uint16_t, A>;
    constexpr int greenParity = SRow<Row>::greenParity;
    const S limit = all<S>(maxValue);
    A first;
    A third;
    if constexpr (sizeof(Lane<A>) == 1) {
        const auto atGreen = missingColors(edgeSamples(rows, SWordsFrom<S>{x, greenParity}), limit, SColumns<true>{});
        const auto atColor =
            missingColors(edgeSamples(rows, SWordsFrom<S>{x, 1 - greenParity}), limit, SColumns<false>{});
        first = interleaved<greenParity, A>(atGreen.first, atColor.first);
        third = interleaved<greenParity, A>(atGreen.third, atColor.third);
    } else {
        const auto missing =
            missingColors(edgeSamples(rows, SWordsFrom<S>{x, 0}), limit, SColumnsInTurn<greenParity>{});
        first = (A)missing.first;
        third = (A)missing.third;
    }
    const A own = load<A>(rows.row + x);
    const A greenColumns = parityMask<A, greenParity>();
    return colorsOf<Row>(select(greenColumns, first, own), select(greenColumns, own, first), third);
}

/// Blocks of columns from 2 on; returns the column behind them, 0 where there is none.
template <class A, BayerRow Row, unsigned Channels>
inline std::size_t edgeBlocks(const SFiveRows<Lane<A>>& rows, Lane<A>* dst, std::size_t width, Lane<A> maxValue) {
    const std::size_t inner = blockColumns<A>(2, 2, width);
    if (inner == 0) {
        return 0;
    }
    storePixelBlocks<A, Channels>(dst, 2, inner, [=](std::size_t x) { return edgeBlock<A, Row>(rows, x, maxValue); });
    return 2 + inner;
}

#endif

// ---- kernels ----

template <class T, BayerRow Row, unsigned Channels>
void edgeDirected(const T* above2, const T* above, const T* row, const T* below, const T* below2, T* dst,
                  std::size_t width, T maxValue) {
    const SFiveRows<T> rows = {above2, above, row, below, below2};
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = edgeBlocks<WideV<T>, Row, Channels>(rows, dst, width, maxValue);
    if constexpr (kWideBytes != kRowBytes) {
        if (done == 0) {
            done = edgeBlocks<RowV<T>, Row, Channels>(rows, dst, width, maxValue);
        }
    }
    if (done != 0) {
        edgeSpan<T, Row, Channels>(rows, dst, 0, 2, width, maxValue);
    }
#endif
    edgeSpan<T, Row, Channels>(rows, dst, done, width, width, maxValue);
}

} // namespace
} // namespace vek::rows::VEK_ISA
