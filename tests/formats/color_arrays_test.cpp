// SPDX-License-Identifier: Apache-2.0
// The colours of a cell against the names of the colour arrays, which spell them row by row.
#include "VekTrgApi.h"
#include "formats/ColorArrays.h"

#include <gtest/gtest.h>

#include <string_view>

namespace vek::test {

namespace {

void expectCell(unsigned colorArray, std::string_view cell) {
    const PhaseSlots slots = phaseSlots(colorArray);
    for (std::size_t phase = 0; phase < slots.size(); ++phase) {
        EXPECT_EQ("RGGB"[slots[phase]], cell[phase]) << cell;
    }
    for (unsigned long y = 0; y < 4; ++y) {
        const bool red = cell.substr(2 * (y % 2), 2).find('R') != std::string_view::npos;
        EXPECT_EQ(isRedRow(slots, y), red) << cell << ", row " << y;
        for (const EColorSlot slot : rowSlots(slots, y)) {
            EXPECT_EQ(slot == kSlotR || slot == kSlotGr, red) << cell << ", row " << y;
        }
    }
}

} // namespace

TEST(ColorArrays, CellsAreAsTheirNamesSpellThem) {
    expectCell(VEK_COLOR_ARRAY_RGGB, "RGGB");
    expectCell(VEK_COLOR_ARRAY_GRBG, "GRBG");
    expectCell(VEK_COLOR_ARRAY_GBRG, "GBRG");
    expectCell(VEK_COLOR_ARRAY_BGGR, "BGGR");
    expectCell(VEK_COLOR_ARRAY_MONO, "RGGB");
}

} // namespace vek::test
