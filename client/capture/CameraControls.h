// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/Camera.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vek::client {

struct SMenuItem {
    std::int64_t value = 0; ///< what is set
    std::string name;       ///< of integer menus the number
};

/// A control of a camera.
struct SCameraControl {
    enum class EKind : unsigned char { Integer, Boolean, Menu, IntegerMenu, Button, Bitmask, Text, Other };

    std::uint32_t id = 0;
    std::string name; ///< to be typed: lower case, underscores
    std::string title;
    EKind kind = EKind::Integer;
    std::optional<std::int64_t> minimum;
    std::optional<std::int64_t> maximum;
    std::optional<std::int64_t> step;
    std::optional<std::int64_t> standard; ///< the driver's default
    std::optional<std::int64_t> value;    ///< nothing: it cannot be read
    std::string text;                     ///< of a text control
    std::string unit;                     ///< empty: none, or unknown
    std::string meaning;                  ///< empty: unknown
    std::vector<SMenuItem> menu;
    bool readOnly = false;
    bool inactive = false; ///< has no effect now
    bool busy = false;     ///< cannot be set now
};

/// Every control that the driver lists, and the trigger camera's own ones that it answers, by id. Throws CFailure.
std::vector<SCameraControl> cameraControls(const ICamera& camera);
/// The one of a name, or of an id (0x00980913); null where there is none.
const SCameraControl* findControl(const std::vector<SCameraControl>& controls, std::string_view name);
/// Sets a control to what was typed: a number, on or off, a menu's entry. Throws CBadArguments for a text that it does
/// not take, CFailure where the driver refuses.
void setCameraControl(const ICamera& camera, const SCameraControl& control, std::string_view text);
/// Its value in words.
std::string valueText(const SCameraControl& control);

} // namespace vek::client
