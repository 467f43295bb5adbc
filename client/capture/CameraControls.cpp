// SPDX-License-Identifier: Apache-2.0
#include "client/capture/CameraControls.h"

#include "client/Errors.h"
#include "client/capture/DriverCall.h"

#include <VekTrgApi.h>

#include <fmt/format.h>
#include <linux/videodev2.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>

namespace vek::client {

namespace {

using EKind = SCameraControl::EKind;

/// What is known of a control beside what drivers tell.
struct SKnown {
    std::uint32_t id;
    std::string_view name; ///< of the trigger cameras' own ones; empty: the driver's
    std::string_view unit;
    std::string_view meaning;
    bool readOnly = false;
};

constexpr std::array kKnown = {
    SKnown{V4L2_CID_EXPOSURE, "", "exposure clocks",
           "exposure of the next frames; 0: the longest one that keeps the rate"},
    SKnown{V4L2_CID_GAIN, "", "setting value", "analogue gain; \"vekcam units\" has it in decibels"},
    SKnown{V4L2_CID_EXPOSURE_ABSOLUTE, "", "100 us", "exposure time"},
    SKnown{V4L2_CID_EXPOSURE_AUTO, "", "", "who sets the exposure"},
    SKnown{V4L2_CID_BRIGHTNESS, "", "", "level that is added to the picture"},
    SKnown{V4L2_CID_CONTRAST, "", "", "contrast of the picture"},
    SKnown{V4L2_CID_GAMMA, "", "1/100", "exponent of the tone curve"},
    SKnown{V4L2_CID_WHITE_BALANCE_TEMPERATURE, "", "K", "light that is white"},
    SKnown{V4L2_CID_FOCUS_ABSOLUTE, "", "", "place of the lens"},
    SKnown{V4L2_CID_HFLIP, "", "", "mirrored left to right"},
    SKnown{V4L2_CID_VFLIP, "", "", "mirrored top to bottom"},
    SKnown{V4L2_CID_MIN_BUFFERS_FOR_CAPTURE, "", "buffers", "buffers that the driver needs at least"},
    SKnown{V4L2_CID_VBLANK, "", "lines", "vertical blanking"},
    SKnown{V4L2_CID_HBLANK, "", "pixels", "horizontal blanking"},
    SKnown{V4L2_CID_PIXEL_RATE, "", "pixels/s", "pixels that the sensor sends"},
    SKnown{V4L2_CID_ANALOGUE_GAIN, "", "setting value", "gain of the sensor's amplifier"},
    SKnown{V4L2_CID_DIGITAL_GAIN, "", "setting value", "factor on samples"},
    SKnown{VEK_CID_COLOR_ARRAY, "color_array", "", "colour array of the sensor: 1 mono, 2 RGGB, 3 GRBG, 4 GBRG, 5 BGGR",
           true},
    SKnown{VEK_CID_TRANSFER_FORMAT, "transfer_format", "", "number of the transfer format; not while frames are taken"},
    SKnown{VEK_CID_VBLANK, "vertical_blanking_lines", "lines", "vertical blanking: more lines, fewer frames a second"},
    SKnown{VEK_CID_MAX_SHORT_EXPOSURE_CLOCK, "max_short_exposure", "exposure clocks",
           "longest exposure that keeps the frame rate", true},
    SKnown{VEK_CID_IMAGE_WIDTH, "image_width", "pixels", "width of the frames", true},
    SKnown{VEK_CID_IMAGE_HEIGHT, "image_height", "rows", "height of the frames", true},
    SKnown{VEK_CID_TOTAL_H_CLOCK, "total_h_clock", "clocks", "a line of the sensor, blanking included", true},
    SKnown{VEK_CID_TOTAL_V_LINE, "total_v_line", "lines", "a frame of the sensor, blanking included", true},
    SKnown{VEK_CID_CLOCK, "clock", "Hz", "clock of the sensor", true},
    SKnown{VEK_CID_RAW_IMAGE_SIZE, "raw_image_size", "bytes", "size of a frame", true},
    SKnown{VEK_CID_BINNING_H, "binning_h", "", "horizontal binning: 0 none, 1 two pixels, 2 four"},
    SKnown{VEK_CID_BINNING_V, "binning_v", "", "vertical binning: 0 none, 1 two rows, 2 four"},
};

/// "Exposure, Auto" -> "exposure_auto", as v4l2-ctl names them.
std::string typedName(std::string_view title) {
    std::string name;
    bool gap = false;
    for (const char character : title) {
        if (std::isalnum(static_cast<unsigned char>(character)) == 0) {
            gap = !name.empty();
            continue;
        }
        name += gap ? "_" : "";
        gap = false;
        name += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return name;
}

EKind kindOf(std::uint32_t type) {
    switch (type) {
    case V4L2_CTRL_TYPE_INTEGER:
    case V4L2_CTRL_TYPE_INTEGER64:
        return EKind::Integer;
    case V4L2_CTRL_TYPE_BOOLEAN:
        return EKind::Boolean;
    case V4L2_CTRL_TYPE_MENU:
        return EKind::Menu;
    case V4L2_CTRL_TYPE_INTEGER_MENU:
        return EKind::IntegerMenu;
    case V4L2_CTRL_TYPE_BUTTON:
        return EKind::Button;
    case V4L2_CTRL_TYPE_BITMASK:
        return EKind::Bitmask;
    case V4L2_CTRL_TYPE_STRING:
        return EKind::Text;
    default:
        return EKind::Other;
    }
}

void takeFlags(SCameraControl& control, std::uint32_t flags) {
    control.readOnly = (flags & V4L2_CTRL_FLAG_READ_ONLY) != 0;
    control.inactive = (flags & V4L2_CTRL_FLAG_INACTIVE) != 0;
    control.busy = (flags & V4L2_CTRL_FLAG_GRABBED) != 0;
}

void takeMenu(int fd, SCameraControl& control) {
    for (std::int64_t i = control.minimum.value_or(0); i <= control.maximum.value_or(-1); ++i) {
        v4l2_querymenu item{};
        item.id = control.id;
        item.index = static_cast<std::uint32_t>(i);
        if (askDriver(fd, VIDIOC_QUERYMENU, &item) == 0) { // menus have holes
            const bool number = control.kind == EKind::IntegerMenu;
            control.menu.push_back({i, number ? std::to_string(item.value) : fieldText(item.name)});
        }
    }
}

/// Reads a value: by the call for all kinds, else by the one of the first drivers.
void takeValue(int fd, SCameraControl& control, std::size_t textSize, bool wide) {
    std::string text(textSize + 1, '\0');
    v4l2_ext_control value{};
    value.id = control.id;
    if (control.kind == EKind::Text) {
        value.size = static_cast<std::uint32_t>(text.size());
        value.string = text.data();
    }
    v4l2_ext_controls request{};
    request.which = V4L2_CTRL_WHICH_CUR_VAL;
    request.count = 1;
    request.controls = &value;
    if (askDriver(fd, VIDIOC_G_EXT_CTRLS, &request) == 0) {
        if (control.kind == EKind::Text) {
            control.text.assign(text, 0, text.find('\0')); // up to the driver's own end
        } else {
            control.value = wide ? std::int64_t{value.value64} : std::int64_t{value.value};
        }
        return;
    }
    v4l2_control old{};
    old.id = control.id;
    if (control.kind != EKind::Text && !wide && askDriver(fd, VIDIOC_G_CTRL, &old) == 0) {
        control.value = old.value;
    }
}

void complete(int fd, SCameraControl& control, std::uint32_t flags, std::size_t textSize, bool wide) {
    takeFlags(control, flags);
    if (control.kind == EKind::Menu || control.kind == EKind::IntegerMenu) {
        takeMenu(fd, control);
    }
    if ((flags & V4L2_CTRL_FLAG_WRITE_ONLY) == 0 && control.kind != EKind::Button && control.kind != EKind::Other) {
        takeValue(fd, control, textSize, wide);
    }
}

/// What a driver lists by the newer call; false: it does not have it.
bool listed(int fd, std::vector<SCameraControl>& controls) {
    constexpr std::uint32_t kNext = V4L2_CTRL_FLAG_NEXT_CTRL | V4L2_CTRL_FLAG_NEXT_COMPOUND;
    v4l2_query_ext_ctrl query{};
    query.id = kNext;
    int error = askDriver(fd, VIDIOC_QUERY_EXT_CTRL, &query);
    if (error == ENOTTY) {
        return false;
    }
    for (; error == 0; error = askDriver(fd, VIDIOC_QUERY_EXT_CTRL, &query)) {
        const std::uint32_t id = query.id;
        if ((query.flags & V4L2_CTRL_FLAG_DISABLED) == 0 && query.type != V4L2_CTRL_TYPE_CTRL_CLASS) {
            SCameraControl control;
            control.id = id;
            control.title = fieldText(query.name);
            control.name = typedName(control.title);
            control.kind = (query.flags & V4L2_CTRL_FLAG_HAS_PAYLOAD) != 0 && query.type != V4L2_CTRL_TYPE_STRING
                               ? EKind::Other
                               : kindOf(query.type);
            if (control.kind != EKind::Button && control.kind != EKind::Other) {
                control.minimum = query.minimum;
                control.maximum = query.maximum;
                control.step = static_cast<std::int64_t>(query.step);
                control.standard = query.default_value;
            }
            const auto longest = static_cast<std::size_t>(std::clamp<std::int64_t>(query.maximum, 0, 65536));
            complete(fd, control, query.flags, longest, query.type == V4L2_CTRL_TYPE_INTEGER64);
            controls.push_back(std::move(control));
        }
        query = {};
        query.id = id | kNext;
    }
    return true;
}

/// The same by the call of the first drivers.
void listedBefore(int fd, std::vector<SCameraControl>& controls) {
    v4l2_queryctrl query{};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    while (askDriver(fd, VIDIOC_QUERYCTRL, &query) == 0) {
        const std::uint32_t id = query.id;
        if ((query.flags & V4L2_CTRL_FLAG_DISABLED) == 0 && query.type != V4L2_CTRL_TYPE_CTRL_CLASS) {
            SCameraControl control;
            control.id = id;
            control.title = fieldText(query.name);
            control.name = typedName(control.title);
            control.kind = kindOf(query.type);
            control.minimum = query.minimum;
            control.maximum = query.maximum;
            control.step = query.step;
            control.standard = query.default_value;
            complete(fd, control, query.flags, 0, false);
            controls.push_back(std::move(control));
        }
        query = {};
        query.id = id | V4L2_CTRL_FLAG_NEXT_CTRL;
    }
}

/// The trigger cameras' own controls, which no driver has to list.
void addOwn(int fd, std::vector<SCameraControl>& controls) {
    for (const SKnown& known : kKnown) {
        const auto found = std::find_if(controls.begin(), controls.end(),
                                        [&](const SCameraControl& control) { return control.id == known.id; });
        if (found != controls.end()) {
            found->unit = known.unit;
            found->meaning = known.meaning;
            found->readOnly = found->readOnly || known.readOnly;
            found->name = known.name.empty() ? found->name : std::string(known.name);
            continue;
        }
        v4l2_control value{};
        value.id = known.id;
        if (!known.name.empty() && askDriver(fd, VIDIOC_G_CTRL, &value) == 0) {
            SCameraControl control;
            control.id = known.id;
            control.name = known.name;
            control.title = known.name;
            control.unit = known.unit;
            control.meaning = known.meaning;
            control.value = value.value;
            control.readOnly = known.readOnly;
            controls.push_back(std::move(control));
        }
    }
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
    return error == std::errc() && end == text.data() + text.size() && !text.empty() ? std::optional(value)
                                                                                     : std::nullopt;
}

/// The value that was typed. Throws CBadArguments.
std::int64_t typedValue(const SCameraControl& control, std::string_view text) {
    const auto refuse = [&](const std::string& why) {
        throw CBadArguments(fmt::format("{}: \"{}\" {}", control.name, text, why));
    };
    if (control.kind == EKind::Button) {
        return 0;
    }
    if (control.kind == EKind::Boolean && (text == "on" || text == "off")) {
        return text == "on" ? 1 : 0;
    }
    for (const SMenuItem& item : control.menu) {
        if (typedName(item.name) == typedName(text) && !item.name.empty() && control.kind == EKind::Menu) {
            return item.value;
        }
    }
    const std::optional<std::int64_t> value = wholeNumber(text);
    if (!value) {
        refuse("is no whole number");
    }
    if (control.minimum && control.maximum && (*value < *control.minimum || *value > *control.maximum)) {
        refuse(fmt::format("is not from {} to {}", *control.minimum, *control.maximum));
    }
    if (!control.menu.empty() && std::none_of(control.menu.begin(), control.menu.end(),
                                              [&](const SMenuItem& item) { return item.value == *value; })) {
        refuse("is none of the menu");
    }
    return *value;
}

} // namespace

std::vector<SCameraControl> cameraControls(const ICamera& camera) {
    v4l2_capability capability{};
    if (const int error = askDriver(camera.Fd(), VIDIOC_QUERYCAP, &capability); error != 0) {
        throw CFailure(
            fmt::format("{}: {}", camera.Name(), error == ENOTTY ? "no Video4Linux2 device" : systemMessage(error)));
    }
    std::vector<SCameraControl> controls;
    if (!listed(camera.Fd(), controls)) {
        listedBefore(camera.Fd(), controls);
    }
    addOwn(camera.Fd(), controls);
    std::stable_sort(controls.begin(), controls.end(),
                     [](const SCameraControl& a, const SCameraControl& b) { return a.id < b.id; });
    return controls;
}

const SCameraControl* findControl(const std::vector<SCameraControl>& controls, std::string_view name) {
    const std::optional<std::int64_t> id = wholeNumber(name);
    const std::string typed = typedName(name);
    const auto found = std::find_if(controls.begin(), controls.end(), [&](const SCameraControl& control) {
        return id ? control.id == *id : control.name == typed || typedName(control.title) == typed;
    });
    return found != controls.end() ? &*found : nullptr;
}

void setCameraControl(const ICamera& camera, const SCameraControl& control, std::string_view text) {
    if (control.readOnly) {
        throw CBadArguments(fmt::format("{}: the camera tells it and takes no other", control.name));
    }
    if (control.kind == EKind::Other) {
        throw CBadArguments(fmt::format("{}: no control of one value", control.name));
    }
    std::string copy(text);
    v4l2_ext_control value{};
    value.id = control.id;
    std::int64_t number = 0;
    if (control.kind == EKind::Text) {
        value.size = static_cast<std::uint32_t>(copy.size() + 1);
        value.string = copy.data();
    } else {
        number = typedValue(control, text);
        value.value64 = number;
    }
    v4l2_ext_controls request{};
    request.which = V4L2_CTRL_WHICH_CUR_VAL;
    request.count = 1;
    request.controls = &value;
    int error = askDriver(camera.Fd(), VIDIOC_S_EXT_CTRLS, &request);
    if (error == ENOTTY || (error == EINVAL && control.kind != EKind::Text)) {
        v4l2_control old{};
        old.id = control.id;
        old.value = static_cast<std::int32_t>(number);
        error = askDriver(camera.Fd(), VIDIOC_S_CTRL, &old);
    }
    if (error != 0) {
        throw CFailure(fmt::format("{}: cannot set {} to {}: {}", camera.Name(), control.name, text,
                                   error == EBUSY ? "not while frames are taken" : systemMessage(error)));
    }
}

std::string valueText(const SCameraControl& control) {
    if (control.kind == EKind::Text) {
        return control.text;
    }
    if (!control.value) {
        return {};
    }
    if (control.kind == EKind::Boolean) {
        return *control.value != 0 ? "on" : "off";
    }
    for (const SMenuItem& item : control.menu) {
        if (item.value == *control.value) {
            return fmt::format("{} ({})", item.value, item.name);
        }
    }
    return std::to_string(*control.value);
}

} // namespace vek::client
