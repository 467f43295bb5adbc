// SPDX-License-Identifier: Apache-2.0
// Demosaic rows of all methods.
//
// A Bayer row holds green at the columns of one parity and its row colour (red or blue) at the others; the third
// colour stands in the rows above and below, at the columns of this row's greens.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"
#include "imageproc/rows/simd/Pixels.inl"

namespace vek::rows::VEK_ISA {
namespace {

constexpr unsigned kBlue = 0;
constexpr unsigned kGreen = 1;
constexpr unsigned kRed = 2;

/// What a kernel knows of its row at compile time.
template <BayerRow Row>
struct SRow {
    static constexpr unsigned greenParity = Row == BayerRow::RG || Row == BayerRow::BG ? 1 : 0;
    static constexpr unsigned rowColour = Row == BayerRow::RG || Row == BayerRow::GR ? kRed : kBlue;
    static constexpr unsigned thirdColour = kRed - rowColour;
};

template <class T>
inline T meanOf(T a, T b) {
    return static_cast<T>((static_cast<std::uint32_t>(a) + b) >> 1);
}

// ---- plain loops: columns from .. to-1 of a row ----

template <class T, unsigned Channels>
inline void greySpan(const T* src, T* dst, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = dst + x * Channels;
        pixel[kBlue] = pixel[kGreen] = pixel[kRed] = src[x];
    }
}

template <class T, BayerRow Row, unsigned Channels>
inline void noneSpan(const T* row, T* dst, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = dst + x * Channels;
        pixel[kBlue] = pixel[kGreen] = pixel[kRed] = 0;
        pixel[x % 2 == SRow<Row>::greenParity ? kGreen : SRow<Row>::rowColour] = row[x];
    }
}

template <class T, BayerRow Row, unsigned Channels>
inline void nearestNeighborSpan(const T* row, const T* other, T* dst, std::size_t from, std::size_t to,
                                std::size_t width) {
    for (std::size_t x = from; x < to; ++x) {
        const std::size_t even = x & ~std::size_t{1};
        // The last column of an odd width takes its odd partner from the left.
        const std::size_t odd = even + 1 < width ? even + 1 : even - 1;
        const std::size_t greenColumn = SRow<Row>::greenParity == 0 ? even : odd;
        const std::size_t rowColumn = SRow<Row>::greenParity == 0 ? odd : even;
        T* const pixel = dst + x * Channels;
        pixel[kGreen] = row[greenColumn];
        pixel[SRow<Row>::rowColour] = row[rowColumn];
        pixel[SRow<Row>::thirdColour] = other[greenColumn];
    }
}

/// The colour that row holds at columns of Parity, at column x: the sample itself, or the mean of its neighbours,
/// or the one neighbour where the row has no other. In the last column of an odd width the right neighbour is the
/// sample behind the row.
template <class T, unsigned Parity>
inline T horizontal(const T* row, std::size_t x, std::size_t width) {
    if (x % 2 == Parity) {
        return row[x];
    }
    if (x == 0) {
        return row[1];
    }
    if (x % 2 == 1 && x + 1 == width) {
        return row[x - 1];
    }
    return meanOf(row[x - 1], row[x + 1]);
}

template <class T, BayerRow Row, unsigned Channels>
inline void bilinearOpenSpan(const T* row, T* dst, std::size_t from, std::size_t to, std::size_t width) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = dst + x * Channels;
        pixel[kGreen] = horizontal<T, greenParity>(row, x, width);
        pixel[SRow<Row>::rowColour] = horizontal<T, 1 - greenParity>(row, x, width);
    }
}

template <class T, BayerRow Row, unsigned Channels>
inline void bilinearSpan(const T* above, const T* row, const T* below, T* dst, std::size_t from, std::size_t to,
                         std::size_t width) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    bilinearOpenSpan<T, Row, Channels>(row, dst, from, to, width);
    for (std::size_t x = from; x < to; ++x) {
        dst[x * Channels + SRow<Row>::thirdColour] =
            meanOf(horizontal<T, greenParity>(above, x, width), horizontal<T, greenParity>(below, x, width));
    }
}

/// The columns of x and x+1 at which the upper and the lower row of a block hold green; the other one holds the row's
/// colour.
template <BayerRow Upper>
struct SBlock {
    std::size_t upperGreen;
    std::size_t lowerGreen;
    explicit SBlock(std::size_t x)
        : upperGreen(x % 2 == SRow<Upper>::greenParity ? x : x + 1), lowerGreen(2 * x + 1 - upperGreen) {}
};

template <class T, BayerRow Upper, unsigned Channels>
inline void blockSpan(const T* upper, const T* lower, T* dst, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        const SBlock<Upper> block(x);
        T* const pixel = dst + x * Channels;
        pixel[SRow<Upper>::rowColour] = upper[block.lowerGreen];
        pixel[kGreen] = meanOf(upper[block.upperGreen], lower[block.lowerGreen]);
        pixel[SRow<Upper>::thirdColour] = lower[block.upperGreen];
    }
}

/// (9 near + 3 far along the row + 3 far across it + far both) / 16.
template <class T>
inline T centre(T near, T farColumn, T farRow, T farBoth) {
    return static_cast<T>((9U * near + 3U * farColumn + 3U * farRow + farBoth) >> 4);
}

/// near and far: columns of a colour's samples at either side of the block's middle.
template <class T, BayerRow Upper>
inline void centreColours(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* pixel,
                          std::size_t upperNear, std::size_t upperFarColumn, std::size_t lowerNear,
                          std::size_t lowerFarColumn) {
    pixel[SRow<Upper>::rowColour] =
        centre(upper[upperNear], upper[upperFarColumn], upperFar[upperNear], upperFar[upperFarColumn]);
    pixel[SRow<Upper>::thirdColour] =
        centre(lower[lowerNear], lower[lowerFarColumn], lowerFar[lowerNear], lowerFar[lowerFarColumn]);
}

template <class T, BayerRow Upper, unsigned Channels>
inline void centreSpan(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* dst, std::size_t from,
                       std::size_t to, std::size_t width) {
    for (std::size_t x = from; x < to; ++x) {
        const SBlock<Upper> block(x);
        T* const pixel = dst + x * Channels;
        pixel[kGreen] = meanOf(upper[block.upperGreen], lower[block.lowerGreen]);
        // A colour in the block's left column has its next sample two to the right, one in the right column two to the
        // left; where the image ends its own one again.
        const auto farColumn = [=](std::size_t near) {
            return near == x ? (x + 2 < width ? x + 2 : near) : (x >= 1 ? x - 1 : near);
        };
        centreColours<T, Upper>(upper, lower, upperFar, lowerFar, pixel, block.lowerGreen, farColumn(block.lowerGreen),
                                block.upperGreen, farColumn(block.upperGreen));
    }
}

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
inline void biCubicSpan(const T* row, T* green, T* colour, std::size_t from, std::size_t to, std::size_t width) {
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
        colour[x] = x % 2 == GreenParity ? other : row[x];
    }
}

template <class T, unsigned Channels>
inline void pixelSpan(const T* blue, const T* green, const T* red, T* dst, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = dst + x * Channels;
        pixel[kBlue] = blue[x];
        pixel[kGreen] = green[x];
        pixel[kRed] = red[x];
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- bodies: the pixels of a block at column x, even unless something else is said, in registers ----

/// A row's own colour, green and the third colour as blue, green and red.
template <BayerRow Row, class A>
VEK_INLINE SColours<A> coloursOf(A rowColour, A green, A third) {
    if constexpr (SRow<Row>::rowColour == kBlue) {
        return {rowColour, green, third};
    } else {
        return {third, green, rowColour};
    }
}

template <class A, BayerRow Row>
VEK_INLINE SColours<A> noneBlock(const Lane<A>* row, std::size_t x) {
    const A green = parityMask<A, SRow<Row>::greenParity>();
    const A own = load<A>(row + x);
    return coloursOf<Row>(own & ~green, own & green, A{});
}

template <class A, BayerRow Row>
VEK_INLINE SColours<A> nearestNeighborBlock(const Lane<A>* row, const Lane<A>* other, std::size_t x) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    const A own = load<A>(row + x);
    return coloursOf<Row>(shareInPairs<1 - greenParity>(own), shareInPairs<greenParity>(own),
                          shareInPairs<greenParity>(load<A>(other + x)));
}

/// Horizontal step: columns of Parity hold the wanted colour themselves, the others take the mean of their neighbours.
template <class A, unsigned Parity>
VEK_INLINE A horizontalBlock(const Lane<A>* row, std::size_t x) {
    const A sides = mean(load<A>(row + x - 1), load<A>(row + x + 1));
    return select(parityMask<A, Parity>(), load<A>(row + x), sides);
}

template <class A, BayerRow Row>
VEK_INLINE SColours<A> bilinearBlock(const Lane<A>* above, const Lane<A>* row, const Lane<A>* below, std::size_t x) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    const A third = mean(horizontalBlock<A, greenParity>(above, x), horizontalBlock<A, greenParity>(below, x));
    return coloursOf<Row>(horizontalBlock<A, 1 - greenParity>(row, x), horizontalBlock<A, greenParity>(row, x), third);
}

/// A Bayer row's green and its colour in columns x, x+1 of each block-centred pixel.
template <class A>
struct SBlockSamples {
    A green;
    A colour;
};
template <class A, unsigned GreenParity>
VEK_INLINE SBlockSamples<A> blockSamples(const Lane<A>* row, std::size_t x) {
    const A green = parityMask<A, GreenParity>();
    const A left = load<A>(row + x);
    const A right = load<A>(row + x + 1);
    return {select(green, left, right), select(green, right, left)};
}

template <class A, BayerRow Upper>
VEK_INLINE SColours<A> nearestNeighbor2Block(const Lane<A>* upper, const Lane<A>* lower, std::size_t x) {
    constexpr unsigned greenParity = SRow<Upper>::greenParity;
    const SBlockSamples<A> u = blockSamples<A, greenParity>(upper, x);
    const SBlockSamples<A> l = blockSamples<A, 1 - greenParity>(lower, x);
    return coloursOf<Upper>(u.colour, mean(u.green, l.green), l.colour);
}

/// Means as in centre().
template <class A>
VEK_INLINE A centreBlock(A near, A farColumn, A farRow, A farBoth) {
    if constexpr (sizeof(Lane<A>) == 1) {
        const auto own = weigh<9, 3>(near, farColumn);
        const auto other = weigh<3, 1>(farRow, farBoth);
        return pack<std::uint8_t>((own.low + other.low) >> 4, (own.high + other.high) >> 4);
    } else {
        // The products are of signed words: all are moved down by half of their range, and so is their mean, the
        // weights being 16 in all.
        using Signed = Like<std::int16_t, A>;
        const A middle = all<A>(0x8000);
        const auto own = weigh<9, 3>((Signed)(near ^ middle), (Signed)(farColumn ^ middle));
        const auto other = weigh<3, 1>((Signed)(farRow ^ middle), (Signed)(farBoth ^ middle));
        return (A)pack<std::int16_t>((own.low + other.low) >> 4, (own.high + other.high) >> 4) ^ middle;
    }
}

/// A row's colour in block-centred pixels, and the next sample of it beyond the block's middle.
template <class A>
struct SNearAndFar {
    A near;
    A far;
};
template <class A, unsigned GreenParity>
VEK_INLINE SNearAndFar<A> nearAndFar(const Lane<A>* row, std::size_t x) {
    const A green = parityMask<A, GreenParity>();
    return {select(green, load<A>(row + x + 1), load<A>(row + x)),
            select(green, load<A>(row + x - 1), load<A>(row + x + 2))};
}
template <class A, unsigned GreenParity>
VEK_INLINE A centreColour(const Lane<A>* row, const Lane<A>* farRow, std::size_t x) {
    const SNearAndFar<A> own = nearAndFar<A, GreenParity>(row, x);
    const SNearAndFar<A> other = nearAndFar<A, GreenParity>(farRow, x);
    return centreBlock(own.near, own.far, other.near, other.far);
}

template <class A, BayerRow Upper>
VEK_INLINE SColours<A> falseColorReductionBlock(const Lane<A>* upper, const Lane<A>* lower, const Lane<A>* upperFar,
                                                const Lane<A>* lowerFar, std::size_t x) {
    constexpr unsigned greenParity = SRow<Upper>::greenParity;
    const A green =
        mean(blockSamples<A, greenParity>(upper, x).green, blockSamples<A, 1 - greenParity>(lower, x).green);
    return coloursOf<Upper>(centreColour<A, greenParity>(upper, upperFar, x), green,
                            centreColour<A, 1 - greenParity>(lower, lowerFar, x));
}

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

// ---- drivers ----

/// Stores the colours that body(x) gives for the blocks of columns first .. first + count - 1; as forBlocks.
template <class A, unsigned Channels, class Body>
inline void storeBlocks(Lane<A>* dst, std::size_t first, std::size_t count, Body body) {
    forBlocks<A, Channels>(dst, first, count,
                           [=](std::size_t x) { storePixels<Channels>(dst + x * Channels, body(x)); });
}

/// Columns from 2 on that blocks can take: an even number, all with both neighbours within the row.
inline std::size_t innerColumns(std::size_t width) {
    return width < 4 ? 0 : (width - 3) & ~std::size_t{1};
}

#endif

// ---- kernels ----

template <class T, unsigned Channels>
void grey(const T* src, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t columns = blockColumns<A>(0, 0, width); columns != 0) {
        storeBlocks<A, Channels>(dst, 0, columns, [=](std::size_t x) {
            const A own = load<A>(src + x);
            return SColours<A>{own, own, own};
        });
        done = columns;
    }
#endif
    greySpan<T, Channels>(src, dst, done, width);
}

template <class T, BayerRow Row, unsigned Channels>
void none(const T* row, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t columns = blockColumns<A>(0, 0, width); columns != 0) {
        storeBlocks<A, Channels>(dst, 0, columns, [=](std::size_t x) { return noneBlock<A, Row>(row, x); });
        done = columns;
    }
#endif
    noneSpan<T, Row, Channels>(row, dst, done, width);
}

template <class T, BayerRow Row, unsigned Channels>
void nearestNeighbor(const T* row, const T* other, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t columns = blockColumns<A>(0, 0, width); columns != 0) {
        storeBlocks<A, Channels>(dst, 0, columns,
                                 [=](std::size_t x) { return nearestNeighborBlock<A, Row>(row, other, x); });
        done = columns;
    }
#endif
    nearestNeighborSpan<T, Row, Channels>(row, other, dst, done, width, width);
}

template <class T, BayerRow Row, unsigned Channels>
void bilinearSimple(const T* above, const T* row, const T* below, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t inner = innerColumns(width); inner >= kLanes<A>) {
        bilinearSpan<T, Row, Channels>(above, row, below, dst, 0, 2, width);
        storeBlocks<A, Channels>(dst, 2, inner,
                                 [=](std::size_t x) { return bilinearBlock<A, Row>(above, row, below, x); });
        done = 2 + inner;
    }
#endif
    bilinearSpan<T, Row, Channels>(above, row, below, dst, done, width, width);
}

// One row of a frame at most: not worth a block of its own.
template <class T, BayerRow Row, unsigned Channels>
void bilinearSimpleOpen(const T* row, T* dst, std::size_t width) {
    bilinearOpenSpan<T, Row, Channels>(row, dst, 0, width, width);
}

template <class T, BayerRow Upper, unsigned Channels>
void nearestNeighbor2(const T* upper, const T* lower, T* dst, std::size_t width, bool lowerOfPair) {
    const std::size_t last = width - 1;
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t inner = blockColumns<A>(0, 1, width); inner != 0) {
        storeBlocks<A, Channels>(dst, 0, inner,
                                 [=](std::size_t x) { return nearestNeighbor2Block<A, Upper>(upper, lower, x); });
        done = inner;
    }
#endif
    blockSpan<T, Upper, Channels>(upper, lower, dst, done, last);
    T* const pixel = dst + last * Channels;
    const T* const left = pixel - Channels;
    for (unsigned i = 0; i < 3; ++i) {
        pixel[i] = left[i];
    }
    if (width % 2 == 0 && !lowerOfPair) {
        pixel[kGreen] = upper[SBlock<Upper>(last - 1).upperGreen];
    } else if (width % 2 != 0 && lowerOfPair) {
        const SBlock<Upper> block(last);
        pixel[kGreen] = meanOf(upper[block.upperGreen], lower[block.lowerGreen]);
    }
}

template <class T, BayerRow Upper, unsigned Channels>
void bilinearFalseColorReduction(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* dst,
                                 std::size_t width) {
    const std::size_t last = width - 1;
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t inner = blockColumns<A>(2, 2, width); inner != 0) {
        centreSpan<T, Upper, Channels>(upper, lower, upperFar, lowerFar, dst, 0, 2, width);
        storeBlocks<A, Channels>(dst, 2, inner, [=](std::size_t x) {
            return falseColorReductionBlock<A, Upper>(upper, lower, upperFar, lowerFar, x);
        });
        done = 2 + inner;
    }
#endif
    centreSpan<T, Upper, Channels>(upper, lower, upperFar, lowerFar, dst, done, last, width);
    // The last block has one column in the image. Each colour's last column stands for all of its samples.
    T* const pixel = dst + last * Channels;
    const SBlock<Upper> block(last);
    const std::size_t upperColumn = block.lowerGreen == last ? last : last - 1;
    const std::size_t lowerColumn = block.upperGreen == last ? last : last - 1;
    centreColours<T, Upper>(upper, lower, upperFar, lowerFar, pixel, upperColumn, upperColumn, lowerColumn,
                            lowerColumn);
    if (width % 2 == 0) {
        pixel[kGreen] = block.upperGreen == last ? upper[last] : lower[last];
    } else {
        const T* const left = pixel - Channels;
        pixel[kGreen] = left[kGreen];
    }
}

template <class T, unsigned GreenParity>
void biCubic(const T* row, T* green, T* colour, std::size_t from, std::size_t to, std::size_t width) {
    // So that x is a column of the row in all of them.
    green -= from;
    colour -= from;
    std::size_t done = from;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    const std::size_t first = from < 4 ? 4 : from;
    const std::size_t last = width < to + 3 ? width - 3 : to;
    if (width >= 3 && last >= first + kLanes<A>) {
        biCubicSpan<T, GreenParity>(row, green, colour, from, first, width);
        done = forPlaneBlocks<A>(first, last, [=](std::size_t x) {
            const A greenColumns = parityMask<A, GreenParity>();
            const A own = load<A>(row + x);
            const A other =
                cubicBlock(load<A>(row + x - 3), load<A>(row + x - 1), load<A>(row + x + 1), load<A>(row + x + 3));
            store(green + x, select(greenColumns, own, other));
            store(colour + x, select(greenColumns, other, own));
        });
    }
#endif
    biCubicSpan<T, GreenParity>(row, green, colour, done, to, width);
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

template <class T, unsigned Channels>
void pixels(const T* blue, const T* green, const T* red, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t columns = blockColumns<A>(0, 0, width); columns != 0) {
        storeBlocks<A, Channels>(dst, 0, columns, [=](std::size_t x) {
            return SColours<A>{load<A>(blue + x), load<A>(green + x), load<A>(red + x)};
        });
        done = columns;
    }
#endif
    pixelSpan<T, Channels>(blue, green, red, dst, done, width);
}

#define VEK_BY_LAYOUT(kernel, ...)                                                                                     \
    { kernel<__VA_ARGS__, 3>, kernel<__VA_ARGS__, 4> }
#define VEK_BY_ROW(kernel)                                                                                             \
    {                                                                                                                  \
        VEK_BY_LAYOUT(kernel, T, BayerRow::RG), VEK_BY_LAYOUT(kernel, T, BayerRow::GR),                                \
            VEK_BY_LAYOUT(kernel, T, BayerRow::GB), VEK_BY_LAYOUT(kernel, T, BayerRow::BG)                             \
    }

template <class T>
constexpr SDemosaicRows<T> demosaicTable() {
    return {.grey = VEK_BY_LAYOUT(grey, T),
            .none = VEK_BY_ROW(none),
            .nearestNeighbor = VEK_BY_ROW(nearestNeighbor),
            .bilinearSimple = VEK_BY_ROW(bilinearSimple),
            .bilinearSimpleOpen = VEK_BY_ROW(bilinearSimpleOpen),
            .nearestNeighbor2 = VEK_BY_ROW(nearestNeighbor2),
            .bilinearFalseColorReduction = VEK_BY_ROW(bilinearFalseColorReduction),
            // By the parity of green, as in SRow.
            .biCubic = {biCubic<T, 1>, biCubic<T, 0>, biCubic<T, 0>, biCubic<T, 1>},
            .biCubicThird = biCubicThird<T>,
            .meanThird = meanThird<T>,
            .pixels = VEK_BY_LAYOUT(pixels, T)};
}

#undef VEK_BY_ROW
#undef VEK_BY_LAYOUT

} // namespace
} // namespace vek::rows::VEK_ISA
