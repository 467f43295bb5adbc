// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/names/Names.h"

#include "settings/Keys.h"

#include <VekTrgApi.h>

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vek::client {

/// What the number of a setting means.
enum class ESetting {
    AlcMode,
    Level,
    Gain,
    Exposure,
    ShadingMode,
    ShadingTarget,
    BalanceMode,
    BalanceGain,
    GammaMode,
    Gamma,
    Brightness,
    Contrast,
    Switch,
    Hue,
    Saturation,
    StartLevel,
    Suppression,
    SharpnessGain,
    Coring
};

/// A key of the setting file and what its number means.
struct SSetting : SSettingKey {
    ESetting kind = ESetting::AlcMode;

    /// Smallest and largest number that the setting file has of it: 64-bit settings from 0 on.
    long Lowest() const;
    long Highest() const;
};

/// By key, in the order of the file. 64-bit settings from 2^63 on are negative, as the file has them.
using SettingValues = std::array<long, kSettingCount>;

/// In the order of the file, which is the one in which the library applies them.
std::span<const SSetting, kSettingCount> allSettings();

/// Index of a key, letter case included; nothing for another text.
std::optional<std::size_t> findSetting(std::string_view name);

/// The names of a mode's values, none for other settings.
std::span<const SName> settingNames(ESetting kind);

/// Settings that keep a value of their own only while the mode of their group is on.
bool followsMode(ESetting kind);

/// A value in words, with its unit. camera: adds seconds and decibels on it; null leaves them out.
std::string settingMeaning(const SSetting& setting, long value, VekCam_Handle camera);

} // namespace vek::client
