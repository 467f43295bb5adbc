// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/DisplayRendering.h"

#include "tools/simulation/SimulatedCamera.h"

#include <optional>
#include <vector>

namespace vek::tools {

/// White balance from the chart's neutral patches; nothing when the picture has none (a very small chart).
std::optional<client::Gains> neutralPatchGains(const client::SImage& image, const std::vector<sim::SPatch>& patches,
                                               const client::SDisplayLevels& levels);

/// What the sensor of a camera, set up like this, measures of the test chart with all three filters in front of every
/// pixel, without noise and defects, at the driver's exposure and gain. Grey of a monochrome one.
client::SImage trueColors(const sim::CSimulatedDriver& driver, SSimulatedSetup setup);

} // namespace vek::tools
