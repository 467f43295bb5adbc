// SPDX-License-Identifier: Apache-2.0
#include "tools/options/LightSteps.h"

#include "sim/SimulatedSensor.h"
#include "sim/ValueText.h"

#include <limits>

namespace vek::tools {

std::optional<std::vector<SLightStep>> parsedLightSteps(std::string_view text) {
    std::vector<SLightStep> steps;
    for (const std::string_view part : sim::splitText(text, ',')) {
        const std::vector<std::string_view> pair = sim::splitText(part, ':');
        if (pair.size() != 2) {
            return std::nullopt;
        }
        constexpr unsigned kLargest = std::numeric_limits<unsigned>::max();
        const std::optional<unsigned> frame = sim::readWhole<unsigned>(pair[0], 0, kLargest);
        const std::optional<double> light = sim::readNumber(pair[1], 0, sim::kMaxLightLevel);
        if (!frame || !light || (!steps.empty() && *frame <= steps.back().frame)) {
            return std::nullopt;
        }
        steps.push_back({*frame, static_cast<float>(*light)});
    }
    return steps;
}

} // namespace vek::tools
