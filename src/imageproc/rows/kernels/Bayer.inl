// SPDX-License-Identifier: Apache-2.0
// What the demosaic methods share.
//
// A Bayer row holds green at the columns of one parity and its row colour (red or blue) at the others; the third colour
// stands in the rows above and below, at the columns of this row's greens.
//
//   G R G R    row: green at even columns, row colour red
//   B G B G    above and below: the third colour, blue, at even columns
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
    static constexpr unsigned greenParity = greenParityOf(Row);
    static constexpr unsigned rowColor = isRedRow(Row) ? kRed : kBlue;
    static constexpr unsigned thirdColor = kRed - rowColor;
};

template <class T>
inline T meanOf(T a, T b) {
    return static_cast<T>((static_cast<std::uint32_t>(a) + b) >> 1);
}

#if VEK_VECTOR_BYTES != 0

/// A row's own colour, green and the third colour as blue, green and red.
template <BayerRow Row, class A>
VEK_INLINE SColors<A> colorsOf(A rowColor, A green, A third) {
    if constexpr (SRow<Row>::rowColor == kBlue) {
        return {rowColor, green, third};
    } else {
        return {third, green, rowColor};
    }
}

/// Stores the colours that body(x) gives for the blocks of columns first .. first + count - 1; as forBlocks.
template <class A, unsigned Channels, class Body>
inline void storePixelBlocks(Lane<A>* dst, std::size_t first, std::size_t count, Body body) {
    forBlocks<A, Channels>(dst, first, count,
                           [=](std::size_t x) { storePixels<Channels>(dst + x * Channels, body(x)); });
}

#endif

} // namespace
} // namespace vek::rows::VEK_ISA
