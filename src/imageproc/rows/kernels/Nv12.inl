// SPDX-License-Identifier: Apache-2.0
// Dense blue-green-red bytes to rows of luma and of chroma pairs.
//
//   luma     b0 g0 r0 b1 g1 r1 ...          ->  y0 y1 ...
//   chroma   means of two columns of two rows   ->  cb0 cr0 cb1 cr1 ...
//
// Sums of the colours in 1/32768, rounded, a half up.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"
#include "imageproc/rows/kernels/DensePixels.inl"
#include "imageproc/rows/kernels/Weighing.inl"

namespace vek::rows::VEK_ISA {
namespace {

/// Factors of blue, green and red, and what is added, 16384 being the half that rounds.
struct SNv12Sum {
    int blue;
    int green;
    int red;
    int halves;
};

/// Luma and chroma of white and of every grey are exact: factors add up to what a grey needs.
template <YCrCbSpace Space>
struct SNv12;
template <>
struct SNv12<YCrCbSpace::Full601> {
    static constexpr SNv12Sum luma = {3736, 19235, 9797, 1};
    static constexpr SNv12Sum cb = {16384, -10855, -5529, 1 + 2 * 128};
    static constexpr SNv12Sum cr = {-2664, -13720, 16384, 1 + 2 * 128};
};
template <>
struct SNv12<YCrCbSpace::Video709> {
    static constexpr SNv12Sum luma = {2032, 20127, 5983, 1 + 2 * 16};
    static constexpr SNv12Sum cb = {14392, -11094, -3298, 1 + 2 * 128};
    static constexpr SNv12Sum cr = {-1320, -13072, 14392, 1 + 2 * 128};
};

inline std::uint8_t nv12Byte(const SNv12Sum& of, int blue, int green, int red) {
    const int value = (of.blue * blue + of.green * green + of.red * red + of.halves * 16384) >> 15;
    return static_cast<std::uint8_t>(smaller(value, 255));
}

// ---- plain loops: columns from .. width-1 ----

template <YCrCbSpace Space>
inline void nv12LumaSpan(const std::uint8_t* src, std::uint8_t* dst, std::size_t from, std::size_t width) {
    for (std::size_t x = from; x < width; ++x) {
        dst[x] = nv12Byte(SNv12<Space>::luma, src[3 * x], src[3 * x + 1], src[3 * x + 2]);
    }
}

/// from: even.
template <YCrCbSpace Space>
inline void nv12ChromaSpan(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* dst, std::size_t from,
                           std::size_t width) {
    for (std::size_t x = from; x < width; x += 2) {
        const std::size_t left = 3 * x;
        const std::size_t right = x + 1 < width ? left + 3 : left;
        int mean[3];
        for (std::size_t i = 0; i < 3; ++i) {
            mean[i] = (upper[left + i] + upper[right + i] + lower[left + i] + lower[right + i] + 2) >> 2;
        }
        dst[x] = nv12Byte(SNv12<Space>::cb, mean[0], mean[1], mean[2]);
        dst[x + 1] = nv12Byte(SNv12<Space>::cr, mean[0], mean[1], mean[2]);
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- bodies: colours in words ----

template <class S>
VEK_INLINE Like<std::uint16_t, S> nv12Words(const SColorPairs<S>& pairs, const SNv12Sum& of) {
    return weighed<15, 255>(pairs, SWeights<S>(of.blue, of.green, of.red, of.halves));
}

template <YCrCbSpace Space, class A>
VEK_INLINE A nv12LumaBlock(const SColors<A>& colors) {
    using Words = Like<std::uint16_t, A>;
    return inPairs([](Words blue, Words green,
                      Words red) { return nv12Words(colorPairs<16384>(blue, green, red), SNv12<Space>::luma); },
                   colors.blue, colors.green, colors.red);
}

/// Means of two columns of two rows.
template <class A>
VEK_INLINE Like<std::uint16_t, A> meansOfFour(A upper, A lower) {
    using Words = Like<std::uint16_t, A>;
    const auto above = (Words)upper;
    const auto below = (Words)lower;
    return ((above & 0xFF) + (above >> 8) + (below & 0xFF) + (below >> 8) + 2) >> 2;
}

/// Cb and Cr of every two pixels.
template <YCrCbSpace Space, class A>
VEK_INLINE A nv12ChromaBlock(const SColors<A>& upper, const SColors<A>& lower) {
    const auto pairs = colorPairs<16384>(meansOfFour(upper.blue, lower.blue), meansOfFour(upper.green, lower.green),
                                         meansOfFour(upper.red, lower.red));
    return (A)(nv12Words(pairs, SNv12<Space>::cb) | nv12Words(pairs, SNv12<Space>::cr) << 8);
}

#endif

// ---- kernels ----

template <YCrCbSpace Space>
void nv12Luma(const std::uint8_t* src, std::uint8_t* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = WideV<std::uint8_t>;
    done = forSampleBlocks<3, A>(
        src, width, [=](std::size_t x, const SColors<A>& colors) { store(dst + x, nv12LumaBlock<Space>(colors)); });
#endif
    nv12LumaSpan<Space>(src, dst, done, width);
}

template <YCrCbSpace Space>
void nv12Chroma(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = WideV<std::uint8_t>;
    done = forPlaneBlocks<A>(0, width, [=](std::size_t x) {
        store(dst + x, nv12ChromaBlock<Space>(load3<A>(upper + 3 * x), load3<A>(lower + 3 * x)));
    });
#endif
    nv12ChromaSpan<Space>(upper, lower, dst, done, width);
}

constexpr SNv12Rows nv12Table() {
    return {.luma = {nv12Luma<YCrCbSpace::Full601>, nv12Luma<YCrCbSpace::Video709>},
            .chroma = {nv12Chroma<YCrCbSpace::Full601>, nv12Chroma<YCrCbSpace::Video709>}};
}

} // namespace
} // namespace vek::rows::VEK_ISA
