// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/capture/Capture.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace vek::client {

/// A frame's brightness, for the measurement below.
struct SDelayFrame {
    std::uint64_t position = 0; ///< among those sent
    double level = 0;
};

/// Frames that still show the old level, of those that were sent after a control was set: the number of those in front
/// of the first one that has moved half of the way from before to after, at least. Nothing: none has moved.
std::optional<unsigned> framesUntilMoved(std::span<const SDelayFrame> frames, double before, double after);

struct SDelayMeasurement {
    std::string control;          ///< "exposure", "gain"
    std::vector<unsigned> rounds; ///< delay that each found
    unsigned frames = 0;          ///< the largest of them
    std::int32_t low = 0;         ///< the two settings between which it stepped
    std::int32_t high = 0;
    double lowLevel = 0; ///< mean levels with them, 0 to 1
    double highLevel = 0;
};

/// Steps a control up and down and finds the first frame whose level follows. capture: of a camera in front of a scene
/// that does not change, with delays of 0. levelOf: of a frame, and the share of clipped samples. least, most: values
/// that may be set. The control is left as it was. Throws CFailure where the scene is too dark, too bright or too
/// unsteady to tell, or the rounds differ by more than one frame.
SDelayMeasurement measuredDelay(CCapture& capture, EFrameSetting setting, std::int32_t least, std::int32_t most,
                                unsigned rounds,
                                const std::function<std::pair<double, double>(const CFrameLease&)>& levelOf);

} // namespace vek::client
