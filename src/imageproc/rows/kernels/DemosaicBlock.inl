// SPDX-License-Identifier: Apache-2.0
// Demosaic rows of the block-centred methods, NearestNeighbor2 and BilinearFalseColorReduction: pixel x stands in the
// middle (*) of columns x, x+1 of two rows.
//
//   upper       R  G          NearestNeighbor2: R, B, and the mean of both G, a half cut off.
//                 *           Reads columns x, x+1.
//   lower       G  B
//
//   upper       9  .  3       BilinearFalseColorReduction, red: sixteenths of the four reds around, the fraction cut
//                 *           off; upperFar is the row two below upper. Blue the same toward the other side, with
//   lower       .  B          lowerFar two above lower. Green as above.
//   upperFar    3     1       Reads columns x-1 .. x+2.
#pragma once

#include "imageproc/rows/kernels/Bayer.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. to-1 of a row ----

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
        pixel[SRow<Upper>::rowColor] = upper[block.lowerGreen];
        pixel[kGreen] = meanOf(upper[block.upperGreen], lower[block.lowerGreen]);
        pixel[SRow<Upper>::thirdColor] = lower[block.upperGreen];
    }
}

/// (9 near + 3 far along the row + 3 far across it + far both) / 16.
template <class T>
inline T center(T near, T farColumn, T farRow, T farBoth) {
    return static_cast<T>((9U * near + 3U * farColumn + 3U * farRow + farBoth) >> 4);
}

/// near and far: columns of a colour's samples at either side of the block's middle.
template <class T, BayerRow Upper>
inline void centerColors(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* pixel,
                         std::size_t upperNear, std::size_t upperFarColumn, std::size_t lowerNear,
                         std::size_t lowerFarColumn) {
    pixel[SRow<Upper>::rowColor] =
        center(upper[upperNear], upper[upperFarColumn], upperFar[upperNear], upperFar[upperFarColumn]);
    pixel[SRow<Upper>::thirdColor] =
        center(lower[lowerNear], lower[lowerFarColumn], lowerFar[lowerNear], lowerFar[lowerFarColumn]);
}

template <class T, BayerRow Upper, unsigned Channels>
inline void centerSpan(const T* upper, const T* lower, const T* upperFar, const T* lowerFar, T* dst, std::size_t from,
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
        centerColors<T, Upper>(upper, lower, upperFar, lowerFar, pixel, block.lowerGreen, farColumn(block.lowerGreen),
                               block.upperGreen, farColumn(block.upperGreen));
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- bodies: the pixels of a block at column x, in registers ----

/// A Bayer row's green and its colour in columns x, x+1 of each block-centred pixel.
template <class A>
struct SBlockSamples {
    A green;
    A color;
};
template <class A, unsigned GreenParity>
VEK_INLINE SBlockSamples<A> blockSamples(const Lane<A>* row, std::size_t x) {
    const A green = parityMask<A, GreenParity>();
    const A left = load<A>(row + x);
    const A right = load<A>(row + x + 1);
    return {select(green, left, right), select(green, right, left)};
}

template <class A, BayerRow Upper>
VEK_INLINE SColors<A> nearestNeighbor2Block(const Lane<A>* upper, const Lane<A>* lower, std::size_t x) {
    constexpr unsigned greenParity = SRow<Upper>::greenParity;
    const SBlockSamples<A> u = blockSamples<A, greenParity>(upper, x);
    const SBlockSamples<A> l = blockSamples<A, 1 - greenParity>(lower, x);
    return colorsOf<Upper>(u.color, mean(u.green, l.green), l.color);
}

/// Means as in center().
template <class A>
VEK_INLINE A centerBlock(A near, A farColumn, A farRow, A farBoth) {
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
VEK_INLINE A centerColor(const Lane<A>* row, const Lane<A>* farRow, std::size_t x) {
    const SNearAndFar<A> own = nearAndFar<A, GreenParity>(row, x);
    const SNearAndFar<A> other = nearAndFar<A, GreenParity>(farRow, x);
    return centerBlock(own.near, own.far, other.near, other.far);
}

template <class A, BayerRow Upper>
VEK_INLINE SColors<A> falseColorReductionBlock(const Lane<A>* upper, const Lane<A>* lower, const Lane<A>* upperFar,
                                               const Lane<A>* lowerFar, std::size_t x) {
    constexpr unsigned greenParity = SRow<Upper>::greenParity;
    const A green =
        mean(blockSamples<A, greenParity>(upper, x).green, blockSamples<A, 1 - greenParity>(lower, x).green);
    return colorsOf<Upper>(centerColor<A, greenParity>(upper, upperFar, x), green,
                           centerColor<A, 1 - greenParity>(lower, lowerFar, x));
}

#endif

// ---- kernels ----

template <class T, BayerRow Upper, unsigned Channels>
void nearestNeighbor2(const T* upper, const T* lower, T* dst, std::size_t width, bool lowerOfPair) {
    const std::size_t last = width - 1;
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t inner = blockColumns<A>(0, 1, width); inner != 0) {
        storePixelBlocks<A, Channels>(dst, 0, inner,
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
        centerSpan<T, Upper, Channels>(upper, lower, upperFar, lowerFar, dst, 0, 2, width);
        storePixelBlocks<A, Channels>(dst, 2, inner, [=](std::size_t x) {
            return falseColorReductionBlock<A, Upper>(upper, lower, upperFar, lowerFar, x);
        });
        done = 2 + inner;
    }
#endif
    centerSpan<T, Upper, Channels>(upper, lower, upperFar, lowerFar, dst, done, last, width);
    // The last block has one column in the image. Each colour's last column stands for all of its samples.
    T* const pixel = dst + last * Channels;
    const SBlock<Upper> block(last);
    const std::size_t upperColumn = block.lowerGreen == last ? last : last - 1;
    const std::size_t lowerColumn = block.upperGreen == last ? last : last - 1;
    centerColors<T, Upper>(upper, lower, upperFar, lowerFar, pixel, upperColumn, upperColumn, lowerColumn, lowerColumn);
    if (width % 2 == 0) {
        pixel[kGreen] = block.upperGreen == last ? upper[last] : lower[last];
    } else {
        const T* const left = pixel - Channels;
        pixel[kGreen] = left[kGreen];
    }
}

} // namespace
} // namespace vek::rows::VEK_ISA
