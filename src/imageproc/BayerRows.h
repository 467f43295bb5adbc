// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Image.h"
#include "formats/ColorArrays.h"
#include "imageproc/rows/RowTable.h"

#include <cstddef>

namespace vek {

/// The kinds of a Bayer phase's even and odd rows.
struct SPhase {
    rows::BayerRow row[2];

    constexpr std::size_t Kind(unsigned long y) const { return static_cast<std::size_t>(row[y % 2]); }
    /// Whether a row has red, not blue.
    constexpr bool IsRed(unsigned long y) const { return rows::isRedRow(row[y % 2]); }
    /// Columns at which it has green: 0 for even ones, 1 for odd ones.
    constexpr unsigned GreenParity(unsigned long y) const { return rows::greenParityOf(row[y % 2]); }
};

/// The kind of a row whose even columns have a colour.
constexpr rows::BayerRow rowFrom(EColorSlot even) {
    constexpr rows::BayerRow kinds[kColorSlots] = {rows::BayerRow::RG, rows::BayerRow::GR, rows::BayerRow::GB,
                                                   rows::BayerRow::BG};
    return kinds[even];
}

constexpr SPhase phaseWith(const PhaseSlots& slots) {
    return {{rowFrom(rowSlots(slots, 0)[0]), rowFrom(rowSlots(slots, 1)[0])}};
}

/// By colour array, from VEK_COLOR_ARRAY_RGGB on.
inline constexpr SPhase kPhases[] = {
    phaseWith(phaseSlots(VEK_COLOR_ARRAY_RGGB)), phaseWith(phaseSlots(VEK_COLOR_ARRAY_GRBG)),
    phaseWith(phaseSlots(VEK_COLOR_ARRAY_GBRG)), phaseWith(phaseSlots(VEK_COLOR_ARRAY_BGGR))};

constexpr const SPhase& phaseOf(unsigned short colorArray) {
    return kPhases[colorArray - VEK_COLOR_ARRAY_RGGB];
}

template <class T>
struct SRowsAround {
    const T* above;
    const T* row;
    const T* below;
};
/// Row y of an image of two rows and more, and those beside it. The first and the last row have one neighbour, which
/// stands for both.
template <class T>
SRowsAround<T> rowsAround(const SRows<const T>& image, unsigned long height, unsigned long y) {
    return {image.Row(y == 0 ? 1 : y - 1), image.Row(y), image.Row(y + 1 == height ? y - 1 : y + 1)};
}

} // namespace vek
