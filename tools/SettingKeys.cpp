// SPDX-License-Identifier: Apache-2.0
#include "SettingKeys.h"

#include <fmt/format.h>

#include <algorithm>

namespace vek::tools {

namespace {

using enum ESetting;

/// By key, in the order of the file.
constexpr std::array<ESetting, kSettingCount> kKinds = {
    AlcMode,     Level,         Gain,        Gain,        Exposure,    Exposure,    ShadingMode, ShadingTarget,
    BalanceMode, BalanceGain,   BalanceGain, BalanceGain, BalanceGain, GammaMode,   Gamma,       Brightness,
    Contrast,    GammaMode,     Gamma,       Brightness,  Contrast,    GammaMode,   Gamma,       Brightness,
    Contrast,    GammaMode,     Gamma,       Brightness,  Contrast,    GammaMode,   Gamma,       Brightness,
    Contrast,    Switch,        Hue,         Saturation,  StartLevel,  Suppression, StartLevel,  Suppression,
    Switch,      SharpnessGain, Coring};

constexpr std::array<SSettingKey, kSettingCount> kKeys = [] {
    std::array<SSettingKey, kSettingCount> keys{};
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        keys[i] = {kSettingKeys[i], kKinds[i]};
    }
    return keys;
}();

constexpr SName kShadingModes[] = {{VEK_SHADING_OFF, "off"},       {VEK_SHADING_CALIBRATE_GAIN, "calibrate-gain"},
                                   {VEK_SHADING_GAIN, "gain"},     {VEK_SHADING_CALIBRATE_OFFSET, "calibrate-offset"},
                                   {VEK_SHADING_OFFSET, "offset"}, {VEK_SHADING_SHOW_MAP, "show-map"}};
constexpr SName kBalanceModes[] = {
    {VEK_WB_OFF, "off"}, {VEK_WB_MANUAL, "manual"}, {VEK_WB_AUTO, "auto"}, {VEK_WB_ONCE, "once"}};
constexpr SName kGammaModes[] = {
    {VEK_GAMMA_OFF, "off"}, {VEK_GAMMA_CURVE, "curve"}, {VEK_GAMMA_NEGATIVE, "negative"}, {VEK_GAMMA_TABLE, "table"}};
constexpr SName kSwitch[] = {{0, "off"}, {1, "on"}};

std::string modeMeaning(const SSettingKey& key, long value) {
    for (const SName& name : settingNames(key.kind)) {
        if (static_cast<long>(name.code) == value) {
            return std::string(name.name);
        }
    }
    switch (key.kind) {
    case ShadingMode:
        return "does nothing";
    case BalanceMode:
        return "works as manual";
    case Switch: // the sharpness takes every number but 0 for on; hue and saturation refuse it
        return key.name == "SharpnessMode" ? "on" : "no such mode";
    default:
        return "no such mode";
    }
}

std::string gainMeaning(unsigned short value, VekCam_Handle camera) {
    float decibels = 0;
    const bool known = camera != nullptr && VekCam_GetGainDBFromSettingValue(camera, value, &decibels) == VEK_OK;
    return known ? fmt::format("gain setting value, {:.2f} dB", decibels) : "gain setting value";
}

std::string exposureMeaning(unsigned long clocks, VekCam_Handle camera) {
    float seconds = 0;
    const bool known = camera != nullptr && VekCam_GetExposureTimeFromClock(camera, clocks, &seconds) == 1;
    const std::string time = known ? fmt::format(", {:.6g} s", seconds) : std::string();
    const bool negative = clocks >> 63 != 0; // in the file: tell the number, too
    return (clocks == 0 ? std::string("longest exposure that keeps the frame rate")
            : negative  ? fmt::format("{} exposure clocks", clocks)
                        : std::string("exposure clocks")) +
           time;
}

} // namespace

std::span<const SSettingKey, kSettingCount> settingKeys() {
    return kKeys;
}

std::optional<std::size_t> findSettingKey(std::string_view name) {
    const auto* const found =
        std::find_if(kKeys.begin(), kKeys.end(), [&](const SSettingKey& key) { return key.name == name; });
    return found != kKeys.end() ? std::optional(static_cast<std::size_t>(found - kKeys.begin())) : std::nullopt;
}

std::span<const SName> settingNames(ESetting kind) {
    switch (kind) {
    case AlcMode:
        return alcModesAndOff();
    case ShadingMode:
        return kShadingModes;
    case BalanceMode:
        return kBalanceModes;
    case GammaMode:
        return kGammaModes;
    case Switch:
        return kSwitch;
    default:
        return {};
    }
}

std::string settingMeaning(const SSettingKey& key, long value, VekCam_Handle camera) {
    const auto number = static_cast<double>(value);
    switch (key.kind) {
    case AlcMode:
    case ShadingMode:
    case BalanceMode:
    case GammaMode:
    case Switch:
        return modeMeaning(key, value);
    case Gain:
        return gainMeaning(static_cast<unsigned short>(value), camera);
    case Exposure:
        return exposureMeaning(static_cast<unsigned long>(value), camera);
    case ShadingTarget:
        return value == 0 ? "mean of the calibration image's centre" : "level";
    case BalanceGain:
        return fmt::format("factor {:.3f}", number / 128);
    case Gamma:
        return value == 0 ? "no gamma" : fmt::format("gamma {:.2f}", number / 100);
    case Brightness:
        return "levels added";
    case Contrast:
        return "levels black, and as many white";
    case Hue:
        return fmt::format("{:.1f} degrees", number / 10);
    case Saturation:
    case SharpnessGain:
        return fmt::format("{} %", value);
    case StartLevel:
        return "luma";
    case Suppression:
        return value == 0 ? "off" : fmt::format("{:.3f} % for each level beyond", number * 100 / 16384);
    case Coring:
        return "levels left alone";
    case Level:
        return "level";
    }
    return {};
}

} // namespace vek::tools
