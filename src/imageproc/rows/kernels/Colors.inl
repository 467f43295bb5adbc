// SPDX-License-Identifier: Apache-2.0
// The table of the kernels for blue-green-red pixels.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/ChromaSuppression.inl"
#include "imageproc/rows/kernels/Luma.inl"
#include "imageproc/rows/kernels/Matrix.inl"
#include "imageproc/rows/kernels/Sharpness.inl"

namespace vek::rows::VEK_ISA {
namespace {

template <class T>
constexpr SColorRows<T> colorTable() {
    return {.lumaCurve = lumaCurve<T>,
            .matrix = matrix<T>,
            .suppressChroma = suppressChroma<T>,
            .luma = luma<T>,
            .sum3 = sum3<T>,
            .sharpenGray = sharpenGray<T>,
            .sharpenColor = sharpenColor<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
