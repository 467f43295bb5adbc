// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/calibration/ColorChart.h"
#include "client/pictures/Image.h"

namespace vek::client {

/// The frame of a chart as a fit makes it, 8 bits of the sRGB curve, with the patches' outlines and what was measured;
/// below it each patch's colour as it should be beside what it is, and a plot of the differences.
/// values: of patchValues. Throws CFailure.
SImage chartPicture(const SCells& cells, const SChartPlace& place, const ChartPatches& patches,
                    std::span<const SPatchValue> values, const SColorFit& fit);

} // namespace vek::client
