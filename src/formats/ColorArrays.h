// SPDX-License-Identifier: Apache-2.0
// Kinds of colour arrays, enum VekColorArray, and the colours of their cells. The library and its clients take them
// from here.
#pragma once

#include "VekTrgApi.h"

#include <array>
#include <cstddef>

namespace vek {

/// A frame of coloured filters.
constexpr bool isBayer(unsigned colorArray) {
    return colorArray >= VEK_COLOR_ARRAY_RGGB && colorArray <= VEK_COLOR_ARRAY_BGGR;
}
/// Bayer or mono: a sample for each pixel.
constexpr bool isRaw(unsigned colorArray) {
    return colorArray == VEK_COLOR_ARRAY_MONO || isBayer(colorArray);
}

/// Luma and chroma, of ITU-R BT.601 or BT.709.
constexpr bool isYCrCb(unsigned colorArray) {
    return colorArray >= VEK_COLOR_ARRAY_YCRCB422 && colorArray <= VEK_COLOR_ARRAY_YCRCB411_BT709;
}

/// Order in which settings, tables and statistics are kept by colour. Gr is the green on a red row.
enum EColorSlot : unsigned char { kSlotR, kSlotGr, kSlotGb, kSlotB };
constexpr std::size_t kColorSlots = 4;

/// Colour slot of each phase, 2 x (row mod 2) + (column mod 2).
using PhaseSlots = std::array<EColorSlot, 4>;

/// Slots of a colour array; every code but the other three Bayer ones counts as VEK_COLOR_ARRAY_RGGB.
constexpr PhaseSlots phaseSlots(unsigned colorArray) {
    switch (colorArray) {
    case VEK_COLOR_ARRAY_GRBG:
        return {kSlotGr, kSlotR, kSlotB, kSlotGb};
    case VEK_COLOR_ARRAY_GBRG:
        return {kSlotGb, kSlotB, kSlotR, kSlotGr};
    case VEK_COLOR_ARRAY_BGGR:
        return {kSlotB, kSlotGb, kSlotGr, kSlotR};
    default:
        return {kSlotR, kSlotGr, kSlotGb, kSlotB};
    }
}

/// Slots of the even and of the odd columns of row y.
constexpr std::array<EColorSlot, 2> rowSlots(const PhaseSlots& slots, unsigned long y) {
    return {slots[2 * (y % 2)], slots[2 * (y % 2) + 1]};
}
/// Whether row y has red, not blue.
constexpr bool isRedRow(const PhaseSlots& slots, unsigned long y) {
    const auto [even, odd] = rowSlots(slots, y);
    return even == kSlotR || odd == kSlotR;
}

} // namespace vek
