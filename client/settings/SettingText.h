// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/settings/SettingKeys.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vek::client {

/// A setting as a file has it.
struct SFileSetting {
    long value;       ///< cut to the setting
    long written;     ///< what the file says
    std::size_t line; ///< counted from 1
};

/// What a file has and the library passes over.
struct SPassedOver {
    std::size_t line;
    std::string key;
    std::optional<long> value;
    std::string why;
};

/// The text of a setting file, understood as VekCam_ReadSettingFile understands it.
struct SSettingText {
    std::array<std::optional<SFileSetting>, kSettingCount> settings;
    std::vector<SPassedOver> passedOver; ///< by line
};

/// Words between blanks: a key, and a number behind it. Where no number follows, the word that stands there is the
/// next key. Of equal keys the last one counts.
SSettingText parsedSettings(std::string_view text);

/// Reads a file as it is; "-" is standard input. Throws CFailure, also for more bytes than a setting file can have a
/// use for.
std::string readText(const std::string& path);

/// The same, understood. Throws CFailure, for a file without a setting, too.
SSettingText readSettingText(const std::string& path);

} // namespace vek::client
