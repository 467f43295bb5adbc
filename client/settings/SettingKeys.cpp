// SPDX-License-Identifier: Apache-2.0
#include "client/settings/SettingKeys.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace vek::client {

namespace {

using enum ESetting;

struct SKind {
    std::string_view begin; ///< of the keys
    ESetting kind;
};

/// The first that a key begins with is its kind.
constexpr SKind kKinds[] = {{"ALCMode", AlcMode},
                            {"ALCLevel", Level},
                            {"AGC", Gain},
                            {"AE", Exposure},
                            {"ShadingCorrectionMode", ShadingMode},
                            {"ShadingCorrectionTarget", ShadingTarget},
                            {"WBMode", BalanceMode},
                            {"WBGain", BalanceGain},
                            {"GammaMode", GammaMode},
                            {"Gamma", Gamma},
                            {"Brightness", Brightness},
                            {"Contrast", Contrast},
                            {"HueSaturationMode", Switch},
                            {"Hue", Hue},
                            {"Saturation", Saturation},
                            {"StartLevel", StartLevel},
                            {"Suppression", Suppression},
                            {"SharpnessMode", Switch},
                            {"SharpnessGain", SharpnessGain},
                            {"SharpnessCoring", Coring}};

constexpr ESetting kindOf(std::string_view key) {
    for (const SKind& kind : kKinds) {
        if (key.starts_with(kind.begin)) {
            return kind.kind;
        }
    }
    throw std::logic_error("a key without a kind"); // while compiling
}

constexpr std::array<SSetting, kSettingCount> kSettings = [] {
    std::array<SSetting, kSettingCount> all{};
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        all[i] = {kSettingKeys[i], kindOf(kSettingKeys[i].name)};
    }
    return all;
}();

constexpr SName kShadingModes[] = {{VEK_SHADING_OFF, "off"},       {VEK_SHADING_CALIBRATE_GAIN, "calibrate-gain"},
                                   {VEK_SHADING_GAIN, "gain"},     {VEK_SHADING_CALIBRATE_OFFSET, "calibrate-offset"},
                                   {VEK_SHADING_OFFSET, "offset"}, {VEK_SHADING_SHOW_MAP, "show-map"}};
constexpr SName kBalanceModes[] = {
    {VEK_WB_OFF, "off"}, {VEK_WB_MANUAL, "manual"}, {VEK_WB_AUTO, "auto"}, {VEK_WB_ONCE, "once"}};
constexpr SName kGammaModes[] = {
    {VEK_GAMMA_OFF, "off"}, {VEK_GAMMA_CURVE, "curve"}, {VEK_GAMMA_NEGATIVE, "negative"}, {VEK_GAMMA_TABLE, "table"}};
constexpr SName kSwitch[] = {{0, "off"}, {1, "on"}};

std::string modeMeaning(const SSetting& setting, long value) {
    for (const SName& name : settingNames(setting.kind)) {
        if (static_cast<long>(name.code) == value) {
            return std::string(name.name);
        }
    }
    switch (setting.kind) {
    case ShadingMode:
        return "does nothing";
    case BalanceMode:
        return "works as manual";
    case Switch: // the sharpness takes every number but 0 for on; hue and saturation refuse it
        return setting.name == "SharpnessMode" ? "on" : "no such mode";
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

long SSetting::Lowest() const {
    return isSigned ? -Highest() - 1 : 0;
}

long SSetting::Highest() const {
    const long half = static_cast<long>((1UL << (bits - 1)) - 1); // of a signed number
    return isSigned || bits == 64 ? half : 2 * half + 1;
}

std::span<const SSetting, kSettingCount> allSettings() {
    return kSettings;
}

std::optional<std::size_t> findSetting(std::string_view name) {
    const auto* const found = std::ranges::find(kSettings, name, &SSetting::name);
    return found != kSettings.end() ? std::optional(static_cast<std::size_t>(found - kSettings.begin())) : std::nullopt;
}

bool followsMode(ESetting kind) {
    return kind == Gamma || kind == Brightness || kind == Contrast || kind == Hue || kind == Saturation;
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

std::string settingMeaning(const SSetting& setting, long value, VekCam_Handle camera) {
    const auto number = static_cast<double>(value);
    switch (setting.kind) {
    case AlcMode:
    case ShadingMode:
    case BalanceMode:
    case GammaMode:
    case Switch:
        return modeMeaning(setting, value);
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

} // namespace vek::client
