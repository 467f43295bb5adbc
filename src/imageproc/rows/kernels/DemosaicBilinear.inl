// SPDX-License-Identifier: Apache-2.0
// Demosaic rows of BilinearSimple, and of its border rows without the third colour.
//
//   B G B     R: the mean of left and right; G: the sample itself;
//   R G R     B: the mean of the means of left and right above and below, as R at its own columns.
//   B G B     Every mean of two cuts off a half. Reads columns -1 .. width of the three rows within the image, writes
//             0 .. width-1.
#pragma once

#include "imageproc/rows/kernels/Bayer.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. to-1 of a row ----

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
        pixel[SRow<Row>::rowColor] = horizontal<T, 1 - greenParity>(row, x, width);
    }
}

template <class T, BayerRow Row, unsigned Channels>
inline void bilinearSpan(const T* above, const T* row, const T* below, T* dst, std::size_t from, std::size_t to,
                         std::size_t width) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    bilinearOpenSpan<T, Row, Channels>(row, dst, from, to, width);
    for (std::size_t x = from; x < to; ++x) {
        dst[x * Channels + SRow<Row>::thirdColor] =
            meanOf(horizontal<T, greenParity>(above, x, width), horizontal<T, greenParity>(below, x, width));
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- body: the pixels of a block at column x, even, in registers ----

/// How two samples are averaged: of any bits, or of ones whose sum a lane holds.
struct SMeanOfAll {
    template <class A>
    VEK_INLINE static A Of(A a, A b) {
        return mean(a, b);
    }
};
struct SMeanOfFewerBits {
    template <class A>
    VEK_INLINE static A Of(A a, A b) {
        return (a + b) >> 1;
    }
};

/// Horizontal step: columns of Parity hold the wanted colour themselves, the others take the mean of their neighbours.
template <class A, unsigned Parity, class Mean>
VEK_INLINE A horizontalBlock(const Lane<A>* row, std::size_t x) {
    const A sides = Mean::Of(load<A>(row + x - 1), load<A>(row + x + 1));
    return select(parityMask<A, Parity>(), load<A>(row + x), sides);
}

template <class A, BayerRow Row, class Mean = SMeanOfAll>
VEK_INLINE SColors<A> bilinearBlock(const Lane<A>* above, const Lane<A>* row, const Lane<A>* below, std::size_t x) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    const A third =
        Mean::Of(horizontalBlock<A, greenParity, Mean>(above, x), horizontalBlock<A, greenParity, Mean>(below, x));
    return colorsOf<Row>(horizontalBlock<A, 1 - greenParity, Mean>(row, x),
                         horizontalBlock<A, greenParity, Mean>(row, x), third);
}

#endif

// ---- kernels ----

template <class T, BayerRow Row, unsigned Channels>
void bilinearSimple(const T* above, const T* row, const T* below, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t inner = blockColumns<A>(2, 1, width); inner != 0) {
        bilinearSpan<T, Row, Channels>(above, row, below, dst, 0, 2, width);
        storePixelBlocks<A, Channels>(dst, 2, inner,
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

} // namespace
} // namespace vek::rows::VEK_ISA
