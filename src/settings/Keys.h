// SPDX-License-Identifier: Apache-2.0
// The keys of the setting file. docs/settings.md tells what they mean.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace vek {

struct SSettingKey {
    std::string_view name;
    unsigned bits; ///< of the setting, to which a number is cut: 8, 16 or 64
    bool isSigned; ///< not told of 64 bits, which stand in the file as a signed number

    /// A number as the library keeps it.
    constexpr long Cut(long value) const {
        switch (bits) {
        case 8:
            return static_cast<unsigned char>(value);
        case 16:
            return isSigned ? long{static_cast<short>(value)} : long{static_cast<unsigned short>(value)};
        default:
            return value;
        }
    }
};

/// In the order in which settings are written and applied.
inline constexpr std::array kSettingKeys = {
    SSettingKey{"ALCMode", 8, false},
    SSettingKey{"ALCLevel", 16, false},
    SSettingKey{"AGCMaxGain", 16, false},
    SSettingKey{"AGCMinGain", 16, false},
    SSettingKey{"AEMaxExposure", 64, false},
    SSettingKey{"AEMinExposure", 64, false},
    SSettingKey{"ShadingCorrectionMode", 64, false},
    SSettingKey{"ShadingCorrectionTarget", 16, false},
    SSettingKey{"WBMode", 8, false},
    SSettingKey{"WBGainR", 16, false},
    SSettingKey{"WBGainGr", 16, false},
    SSettingKey{"WBGainGb", 16, false},
    SSettingKey{"WBGainB", 16, false},
    SSettingKey{"GammaModeY", 8, false},
    SSettingKey{"GammaY", 16, false},
    SSettingKey{"BrightnessY", 16, true},
    SSettingKey{"ContrastY", 16, false},
    SSettingKey{"GammaModeR", 8, false},
    SSettingKey{"GammaR", 16, false},
    SSettingKey{"BrightnessR", 16, true},
    SSettingKey{"ContrastR", 16, false},
    SSettingKey{"GammaModeGr", 8, false},
    SSettingKey{"GammaGr", 16, false},
    SSettingKey{"BrightnessGr", 16, true},
    SSettingKey{"ContrastGr", 16, false},
    SSettingKey{"GammaModeGb", 8, false},
    SSettingKey{"GammaGb", 16, false},
    SSettingKey{"BrightnessGb", 16, true},
    SSettingKey{"ContrastGb", 16, false},
    SSettingKey{"GammaModeB", 8, false},
    SSettingKey{"GammaB", 16, false},
    SSettingKey{"BrightnessB", 16, true},
    SSettingKey{"ContrastB", 16, false},
    SSettingKey{"HueSaturationMode", 8, false},
    SSettingKey{"Hue", 16, true},
    SSettingKey{"Saturation", 16, false},
    SSettingKey{"StartLevelHigh", 16, false},
    SSettingKey{"SuppressionHigh", 16, false},
    SSettingKey{"StartLevelLow", 16, false},
    SSettingKey{"SuppressionLow", 16, false},
    SSettingKey{"SharpnessMode", 8, false},
    SSettingKey{"SharpnessGain", 16, false},
    SSettingKey{"SharpnessCoring", 8, false},
};
inline constexpr std::size_t kSettingCount = kSettingKeys.size();

} // namespace vek
