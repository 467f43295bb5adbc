// SPDX-License-Identifier: Apache-2.0
// Dense blue-green-red pixels of 12 bits in words through a matrix, in place.
//
//   blue = fbb x b + fbg x g + fbr x r + offset       in 1/4096, rounded, a half up; green and red the same
//
// The sums have 32 bits and stop at 0 and 4095.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/DensePixels.inl"
#include "imageproc/rows/kernels/Weighing.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: pixels from .. width-1 ----

inline void linearMatrixSpan(std::uint16_t* row, std::size_t from, std::size_t width, const SLinearMatrix& matrix) {
    for (std::size_t x = from; x < width; ++x) {
        std::uint16_t* const pixel = row + 3 * x;
        const int blue = pixel[0];
        const int green = pixel[1];
        const int red = pixel[2];
        for (std::size_t i = 0; i < 3; ++i) {
            const std::int16_t* const factor = matrix.factor[i];
            const int sum = factor[0] * blue + factor[1] * green + factor[2] * red + matrix.offset[i] * 4096 + 2048;
            pixel[i] = static_cast<std::uint16_t>(smaller(larger(sum >> 12, 0), 4095));
        }
    }
}

#if VEK_VECTOR_BYTES != 0

/// A matrix as weights: a constant of 2048 brings in the offset and a half.
template <class S>
struct SMatrixLanes {
    VEK_INLINE explicit SMatrixLanes(const SLinearMatrix& matrix) {
        for (std::size_t i = 0; i < 3; ++i) {
            const std::int16_t* const factor = matrix.factor[i];
            color[i] = SWeights<S>(factor[0], factor[1], factor[2], 2 * matrix.offset[i] + 1);
        }
    }
    SWeights<S> color[3];
};

/// A block of pixels; their samples are at most 4095. In sixteenths: with four bits of the sums' fractions, below which
/// these stop at 0 and 4095.
template <bool InSixteenths, class A, class S = Like<std::int16_t, A>>
VEK_INLINE SColors<A> linearMatrixBlock(const SColors<A>& colors, const SMatrixLanes<S>& matrix) {
    // Sixteenths fill a word: packing limits them.
    constexpr unsigned shift = InSixteenths ? 8 : 12;
    constexpr std::uint16_t max = InSixteenths ? 0xFFFF : 4095;
    const SColorPairs<S> pairs = colorPairs<2048>(colors.blue, colors.green, colors.red);
    return {weighed<shift, max>(pairs, matrix.color[0]), weighed<shift, max>(pairs, matrix.color[1]),
            weighed<shift, max>(pairs, matrix.color[2])};
}

#endif

// ---- kernels ----

void linearMatrix(std::uint16_t* row, std::size_t width, const SLinearMatrix& matrix) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = WideV<std::uint16_t>;
    const SMatrixLanes<Like<std::int16_t, A>> lanes(matrix);
    done = forSampleBlocks<3, A>(row, width, [=](std::size_t x, const SColors<A>& colors) {
        storePixels<3>(row + 3 * x, linearMatrixBlock<false>(colors, lanes));
    });
#endif
    linearMatrixSpan(row, done, width, matrix);
}

} // namespace
} // namespace vek::rows::VEK_ISA
