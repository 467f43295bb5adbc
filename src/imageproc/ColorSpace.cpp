// SPDX-License-Identifier: Apache-2.0
// Luma tables: the share of each colour in a pixel's luma.
#include "VekTrgApi.h"

#include <array>

namespace {

using LumaTable = std::array<unsigned short, VEK_LUMA_TABLE_SIZE>;

/// floor(i x weight + 0.5), in double.
constexpr LumaTable makeLumaTable(double weight) {
    LumaTable table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        // NOLINTNEXTLINE(bugprone-incorrect-roundings): this very rounding, of values that are not negative
        table[i] = static_cast<unsigned short>(i * weight + 0.5);
    }
    return table;
}

} // namespace

// An array cannot be initialised by a function, a std::array can; it has the layout of the array that it goes out as.
extern "C" {
VEK_API extern const LumaTable vekB2Y __asm__("gpwB2Y");
VEK_API extern const LumaTable vekG2Y __asm__("gpwG2Y");
VEK_API extern const LumaTable vekR2Y __asm__("gpwR2Y");
}

// Luma weights of ITU-R BT.601.
constexpr LumaTable vekB2Y = makeLumaTable(0.114);
constexpr LumaTable vekG2Y = makeLumaTable(0.587);
constexpr LumaTable vekR2Y = makeLumaTable(0.299);

static_assert(sizeof(LumaTable) == sizeof gpwB2Y);
