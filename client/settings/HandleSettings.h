// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/settings/SettingText.h"

#include <VekTrgApi.h>

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace vek::client {

/// The settings of a handle. Throws CFailure when the library refuses.
SettingValues handleSettings(VekCam_Handle handle);

/// A setting that is to have another value: the index of its key.
struct SSettingChange {
    std::size_t key;
    long value;
};

/// A change that did not come about.
struct SRefusedChange {
    std::size_t key = 0;
    std::optional<long> kept; ///< what the library keeps; nothing: its call refused
};

/// Sets several settings, of changes of one key the last. Tone curves keep their depth and, in VEK_GAMMA_TABLE, their
/// table. Nothing: the handle has all of them. Otherwise the first that it does not have; what was set before stays.
/// Throws CFailure when the library does not tell its settings.
std::optional<SRefusedChange> applyChanges(VekCam_Handle handle, std::span<const SSettingChange> changes);

/// What the library makes of a file's settings.
struct SVerdict {
    std::array<bool, kSettingCount> refused{};
    SettingValues kept{}; ///< where it is not refused

    /// The index of the first setting of the first call that is refused, where the library stops; nothing: none is.
    std::optional<std::size_t> StopsAt() const;
};

/// Tries a file's settings on a handle, which has them then. Throws CFailure when the library does not tell its
/// settings.
SVerdict verdictOn(VekCam_Handle handle, const SSettingText& text);

/// Has the library read a setting file. False when it refuses a setting: the ones before it are applied. Throws
/// CFailure where the file cannot be read, before the library would say so on standard output, or has no setting.
bool readSettingFile(VekCam_Handle handle, const std::string& path);

/// Has the library write a setting file; "-" is standard output. Throws CFailure where it cannot be written, or not as
/// a whole.
void writeSettingFile(VekCam_Handle handle, const std::string& path);

} // namespace vek::client
