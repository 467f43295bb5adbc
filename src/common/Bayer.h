// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"

#include <array>
#include <cstddef>

namespace vek {

constexpr bool isBayer(unsigned short colorArray) {
    return colorArray >= VEK_COLOR_ARRAY_RGGB && colorArray <= VEK_COLOR_ARRAY_BGGR;
}
/// Bayer or mono: a sample for each pixel.
constexpr bool isRaw(unsigned short colorArray) {
    return colorArray == VEK_COLOR_ARRAY_MONO || isBayer(colorArray);
}

/// Order in which settings, tables and statistics are kept by colour. Gr is the green on a red row.
enum EColorSlot : unsigned char { kSlotR, kSlotGr, kSlotGb, kSlotB };
constexpr std::size_t kColorSlots = 4;

/// Colour slot of each phase, 2 x (row mod 2) + (column mod 2).
using PhaseSlots = std::array<EColorSlot, 4>;

/// Slots of a colour array; every code but the other three Bayer ones counts as VEK_COLOR_ARRAY_RGGB.
constexpr PhaseSlots phaseSlots(unsigned short colorArray) {
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

} // namespace vek
