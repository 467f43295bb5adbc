// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace vek::tools {

/// From this frame on the scene has this light, 1 being normal.
struct SLightStep {
    unsigned frame = 0;
    float light = 1;
};

/// "FRAME:LIGHT,FRAME:LIGHT,...", frames rising; nothing for another text.
std::optional<std::vector<SLightStep>> parsedLightSteps(std::string_view text);

} // namespace vek::tools
