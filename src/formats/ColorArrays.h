// SPDX-License-Identifier: Apache-2.0
// Kinds of colour arrays, enum VekColorArray. The library and its clients take them from here.
#pragma once

#include "VekTrgApi.h"

namespace vek {

/// A frame of coloured filters.
constexpr bool isBayer(unsigned colorArray) {
    return colorArray >= VEK_COLOR_ARRAY_RGGB && colorArray <= VEK_COLOR_ARRAY_BGGR;
}
/// Bayer or mono: a sample for each pixel.
constexpr bool isRaw(unsigned colorArray) {
    return colorArray == VEK_COLOR_ARRAY_MONO || isBayer(colorArray);
}

} // namespace vek
