// SPDX-License-Identifier: Apache-2.0
// The table of the demosaic kernels.
#pragma once

#include "imageproc/rows/kernels/DemosaicBilinear.inl"
#include "imageproc/rows/kernels/DemosaicBlock.inl"
#include "imageproc/rows/kernels/DemosaicCopy.inl"
#include "imageproc/rows/kernels/DemosaicCubic.inl"
#include "imageproc/rows/kernels/DemosaicEdge.inl"

namespace vek::rows::VEK_ISA {
namespace {

#define VEK_BY_LAYOUT(kernel, ...)                                                                                     \
    { kernel<__VA_ARGS__, 3>, kernel<__VA_ARGS__, 4> }
#define VEK_BY_ROW(kernel)                                                                                             \
    {                                                                                                                  \
        VEK_BY_LAYOUT(kernel, T, BayerRow::RG), VEK_BY_LAYOUT(kernel, T, BayerRow::GR),                                \
            VEK_BY_LAYOUT(kernel, T, BayerRow::GB), VEK_BY_LAYOUT(kernel, T, BayerRow::BG)                             \
    }

template <class T>
constexpr SDemosaicRows<T> demosaicTable() {
    return {.gray = VEK_BY_LAYOUT(gray, T),
            .none = VEK_BY_ROW(none),
            .nearestNeighbor = VEK_BY_ROW(nearestNeighbor),
            .bilinearSimple = VEK_BY_ROW(bilinearSimple),
            .bilinearSimpleOpen = VEK_BY_ROW(bilinearSimpleOpen),
            .nearestNeighbor2 = VEK_BY_ROW(nearestNeighbor2),
            .bilinearFalseColorReduction = VEK_BY_ROW(bilinearFalseColorReduction),
            .edgeDirected = VEK_BY_ROW(edgeDirected),
            .biCubic = {biCubic<T, greenParityOf(BayerRow::RG)>, biCubic<T, greenParityOf(BayerRow::GR)>,
                        biCubic<T, greenParityOf(BayerRow::GB)>, biCubic<T, greenParityOf(BayerRow::BG)>},
            .biCubicThird = biCubicThird<T>,
            .meanThird = meanThird<T>,
            .pixels = VEK_BY_LAYOUT(pixels, T)};
}

#undef VEK_BY_ROW
#undef VEK_BY_LAYOUT

} // namespace
} // namespace vek::rows::VEK_ISA
