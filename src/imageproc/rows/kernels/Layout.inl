// SPDX-License-Identifier: Apache-2.0
// Dense blue-green-red pixels to those of a picture.
//
//   b0 g0 r0 b1 g1 r1 ...  ->  b0 g0 r0 b1 ...   r0 g0 b0 r1 ...   b0 g0 r0 - b1 ...   r0 g0 b0 f r1 ...
//
// No neighbours.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/DensePixels.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. width-1 ----

template <class T, ColorOrder Order, FourthSample Fourth>
inline void arrangeSpan(const T* src, T* dst, std::size_t from, std::size_t width, T fill) {
    constexpr std::size_t channels = Fourth == FourthSample::None ? 3 : 4;
    constexpr std::size_t blue = Order == ColorOrder::BlueFirst ? 0 : 2;
    for (std::size_t x = from; x < width; ++x) {
        const T first = src[3 * x + blue];
        const T last = src[3 * x + 2 - blue];
        T* const pixel = dst + channels * x;
        pixel[1] = src[3 * x + 1];
        pixel[0] = first;
        pixel[2] = last;
        if constexpr (Fourth == FourthSample::Filled) {
            pixel[3] = fill;
        }
    }
}

#if VEK_VECTOR_BYTES != 0

/// Blue and red change places where red comes first.
template <ColorOrder Order, class A>
VEK_INLINE SColors<A> ordered(const SColors<A>& colors) {
    if constexpr (Order == ColorOrder::BlueFirst) {
        return colors;
    } else {
        return {colors.red, colors.green, colors.blue};
    }
}

template <FourthSample Fourth, class A>
VEK_INLINE void storeArranged(Lane<A>* dst, const SColors<A>& colors, [[maybe_unused]] A fill) {
    if constexpr (Fourth == FourthSample::None) {
        storePixels<3>(dst, colors);
    } else if constexpr (Fourth == FourthSample::Kept) {
        storePixels<4>(dst, colors);
    } else {
        storeFilled(dst, colors, fill);
    }
}

#endif

// ---- kernels ----

template <class T, ColorOrder Order, FourthSample Fourth>
void arrange(const T* src, T* dst, std::size_t width, T fill) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = WideV<T>;
    constexpr std::size_t channels = Fourth == FourthSample::None ? 3 : 4;
    const A fourth = all<A>(fill);
    done = forSampleBlocks<3, A>(src, width, [=](std::size_t x, const SColors<A>& colors) {
        storeArranged<Fourth>(dst + channels * x, ordered<Order>(colors), fourth);
    });
#endif
    arrangeSpan<T, Order, Fourth>(src, dst, done, width, fill);
}

template <class T>
constexpr SLayoutRows<T> layoutTable() {
    using enum ColorOrder;
    using enum FourthSample;
    return {.arrange = {{arrange<T, BlueFirst, None>, arrange<T, BlueFirst, Kept>, arrange<T, BlueFirst, Filled>},
                        {arrange<T, RedFirst, None>, arrange<T, RedFirst, Kept>, arrange<T, RedFirst, Filled>}}};
}

} // namespace
} // namespace vek::rows::VEK_ISA
