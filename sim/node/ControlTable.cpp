// SPDX-License-Identifier: Apache-2.0
#include "sim/node/ControlTable.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace vek::sim {

namespace {

constexpr std::array<std::string_view, 2> kPatterns = {"Sensor", "Counter"};
constexpr std::int32_t kMinBuffers = 2; // that the camera's transfer needs

std::int32_t limited(std::uint32_t value) {
    constexpr auto kLargest = static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
    return static_cast<std::int32_t>(std::min(value, kLargest));
}

SNodeControl heading(std::uint32_t id, std::string_view name) {
    return {.id = id,
            .type = V4L2_CTRL_TYPE_CTRL_CLASS,
            .name = name,
            .flags = V4L2_CTRL_FLAG_READ_ONLY | V4L2_CTRL_FLAG_WRITE_ONLY};
}

template <class Record>
void describeShared(const SNodeControl& control, Record& query) {
    query = {};
    query.id = control.id;
    query.type = control.type;
    std::memcpy(query.name, control.name.data(), control.name.size());
    query.minimum = control.minimum;
    query.maximum = control.maximum;
    query.step = control.type == V4L2_CTRL_TYPE_CTRL_CLASS ? 0 : 1;
    query.default_value = control.initial;
    query.flags = control.flags;
}

} // namespace

std::vector<SNodeControl> nodeControls(const SCameraModel& model, std::uint32_t initialExposure) {
    return {heading(V4L2_CID_USER_CLASS, "User Controls"),
            {.id = V4L2_CID_EXPOSURE,
             .name = "Exposure",
             .maximum = limited(model.maxLongExposure),
             .initial = limited(initialExposure)},
            {.id = V4L2_CID_GAIN, .name = "Gain", .maximum = model.maxGain, .initial = model.initialGain},
            {.id = V4L2_CID_MIN_BUFFERS_FOR_CAPTURE,
             .name = "Min Number of Capture Buffers",
             .minimum = kMinBuffers,
             .maximum = kMinBuffers,
             .initial = kMinBuffers,
             .flags = V4L2_CTRL_FLAG_READ_ONLY},
            heading(V4L2_CID_IMAGE_PROC_CLASS, "Image Processing Controls"),
            {.id = V4L2_CID_TEST_PATTERN,
             .type = V4L2_CTRL_TYPE_MENU,
             .name = "Test Pattern",
             .maximum = static_cast<std::int32_t>(kPatterns.size()) - 1,
             .menu = kPatterns}};
}

const SNodeControl* queriedControl(std::span<const SNodeControl> controls, std::uint32_t id) {
    const std::uint32_t plain = id & V4L2_CTRL_ID_MASK;
    const bool next = (id & V4L2_CTRL_FLAG_NEXT_CTRL) != 0;
    if (!next && (id & V4L2_CTRL_FLAG_NEXT_COMPOUND) != 0) {
        return nullptr; // there are no compound controls
    }
    for (const SNodeControl& control : controls) {
        if (next ? control.id > plain : control.id == plain) {
            return &control;
        }
    }
    return nullptr;
}

void describe(const SNodeControl& control, v4l2_queryctrl& query) {
    describeShared(control, query);
}

void describe(const SNodeControl& control, v4l2_query_ext_ctrl& query) {
    describeShared(control, query);
    query.elem_size = sizeof(std::int32_t);
    query.elems = 1;
}

v4l2_event changeEvent(const SNodeControl& control, std::int32_t value, std::uint32_t changes) {
    v4l2_event event{};
    event.type = V4L2_EVENT_CTRL;
    event.id = control.id;
    event.u.ctrl.changes = changes;
    event.u.ctrl.type = control.type;
    event.u.ctrl.value = value;
    event.u.ctrl.flags = control.flags;
    event.u.ctrl.minimum = control.minimum;
    event.u.ctrl.maximum = control.maximum;
    event.u.ctrl.step = control.type == V4L2_CTRL_TYPE_CTRL_CLASS ? 0 : 1;
    event.u.ctrl.default_value = control.initial;
    return event;
}

} // namespace vek::sim
