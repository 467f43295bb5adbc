// SPDX-License-Identifier: Apache-2.0
// Demosaic rows that copy samples: grey, None, NearestNeighbor, and pixels out of planes.
#pragma once

#include "imageproc/rows/kernels/Bayer.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. to-1 of a row ----

template <class T, unsigned Channels>
inline void graySpan(const T* src, T* dst, std::size_t from, std::size_t to) {
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
        pixel[x % 2 == SRow<Row>::greenParity ? kGreen : SRow<Row>::rowColor] = row[x];
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
        pixel[SRow<Row>::rowColor] = row[rowColumn];
        pixel[SRow<Row>::thirdColor] = other[greenColumn];
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

// ---- bodies: the pixels of a block at column x, in registers ----

/// R - R -    each column its own colour, 0 in the two others.
/// - G - G    Reads and writes the block's columns.
template <class A, BayerRow Row>
VEK_INLINE SColors<A> noneBlock(const Lane<A>* row, std::size_t x) {
    const A green = parityMask<A, SRow<Row>::greenParity>();
    const A own = load<A>(row + x);
    return colorsOf<Row>(own & ~green, own & green, A{});
}

/// G R        both columns take the row's green and its colour, and the third one (below or above)
/// B          of the same cell. x: even. Reads and writes the block's columns.
template <class A, BayerRow Row>
VEK_INLINE SColors<A> nearestNeighborBlock(const Lane<A>* row, const Lane<A>* other, std::size_t x) {
    constexpr unsigned greenParity = SRow<Row>::greenParity;
    const A own = load<A>(row + x);
    return colorsOf<Row>(shareInPairs<1 - greenParity>(own), shareInPairs<greenParity>(own),
                         shareInPairs<greenParity>(load<A>(other + x)));
}

#endif

// ---- kernels ----

template <class T, unsigned Channels>
void gray(const T* src, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t columns = blockColumns<A>(0, 0, width); columns != 0) {
        forBlocks<A, Channels>(dst, 0, columns,
                               [=](std::size_t x) { storeGray<Channels>(dst + x * Channels, load<A>(src + x)); });
        done = columns;
    }
#endif
    graySpan<T, Channels>(src, dst, done, width);
}

template <class T, BayerRow Row, unsigned Channels>
void none(const T* row, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t columns = blockColumns<A>(0, 0, width); columns != 0) {
        storePixelBlocks<A, Channels>(dst, 0, columns, [=](std::size_t x) { return noneBlock<A, Row>(row, x); });
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
        storePixelBlocks<A, Channels>(dst, 0, columns,
                                      [=](std::size_t x) { return nearestNeighborBlock<A, Row>(row, other, x); });
        done = columns;
    }
#endif
    nearestNeighborSpan<T, Row, Channels>(row, other, dst, done, width, width);
}

template <class T, unsigned Channels>
void pixels(const T* blue, const T* green, const T* red, T* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    if (const std::size_t columns = blockColumns<A>(0, 0, width); columns != 0) {
        storePixelBlocks<A, Channels>(dst, 0, columns, [=](std::size_t x) {
            return SColors<A>{load<A>(blue + x), load<A>(green + x), load<A>(red + x)};
        });
        done = columns;
    }
#endif
    pixelSpan<T, Channels>(blue, green, red, dst, done, width);
}

} // namespace
} // namespace vek::rows::VEK_ISA
