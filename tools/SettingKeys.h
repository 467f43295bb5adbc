// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Names.h"

#include "settings/Keys.h"

#include <VekTrgApi.h>

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vek::tools {

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
struct SSettingKey : vek::SSettingKey {
    ESetting kind = ESetting::AlcMode;
};

/// By key, in the order of the file. 64-bit settings from 2^63 on are negative, as the file has them.
using SettingValues = std::array<long, kSettingCount>;

/// In the order of the file, which is the one in which the library applies them.
std::span<const SSettingKey, kSettingCount> settingKeys();

/// Index of a key, letter case included; nothing for another text.
std::optional<std::size_t> findSettingKey(std::string_view name);

/// The names of a mode, none for other settings.
std::span<const SName> settingNames(ESetting kind);

/// A value in words, with its unit. camera: adds seconds and decibels on it; null leaves them out.
std::string settingMeaning(const SSettingKey& key, long value, VekCam_Handle camera);

} // namespace vek::tools
