// SPDX-License-Identifier: Apache-2.0
// The controls that the simulated driver lists, as the control framework of Video4Linux2 shows them.
#pragma once

#include "sim/CameraModel.h"

#include <linux/videodev2.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace vek::sim {

struct SNodeControl {
    std::uint32_t id = 0;
    std::uint32_t type = V4L2_CTRL_TYPE_INTEGER;
    std::string_view name = {}; ///< up to 31 characters
    std::int32_t minimum = 0;
    std::int32_t maximum = 0;
    std::int32_t initial = 0; ///< default_value
    std::uint32_t flags = 0;
    std::span<const std::string_view> menu = {};
};

/// Values of the test pattern control.
enum class EPattern : unsigned char {
    Sensor,  ///< what the sensor sees
    Counter, ///< byte n of frame k is n + k modulo 256, rows and words being of no account
};

/// In rising order of ids, class headings included.
std::vector<SNodeControl> nodeControls(const SCameraModel& model, std::uint32_t initialExposure);

/// The control that a query means, V4L2_CTRL_FLAG_NEXT_CTRL considered; null: there is none.
const SNodeControl* queriedControl(std::span<const SNodeControl> controls, std::uint32_t id);

/// Answers of VIDIOC_QUERYCTRL, VIDIOC_QUERY_EXT_CTRL, and V4L2_EVENT_CTRL.
void describe(const SNodeControl& control, v4l2_queryctrl& query);
void describe(const SNodeControl& control, v4l2_query_ext_ctrl& query);
v4l2_event changeEvent(const SNodeControl& control, std::int32_t value, std::uint32_t changes);

} // namespace vek::sim
