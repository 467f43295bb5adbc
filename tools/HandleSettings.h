// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "SettingKeys.h"

#include <VekTrgApi.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace vek::tools {

/// Keys that one call of the library sets together: count of them from first on.
struct SSettingGroup {
    std::size_t first;
    std::size_t count;
};

/// In the order of the file.
std::span<const SSettingGroup> settingGroups();

/// The settings of a handle. Throws CFailure when the library refuses.
SettingValues handleSettings(VekCam_Handle handle);

/// Sets a group's values. False when the library refuses, and then nothing is changed. Tone curves keep their depth
/// and, in VEK_GAMMA_TABLE, their table.
bool setGroup(VekCam_Handle handle, const SSettingGroup& group, const SettingValues& values);

/// Has the library read a setting file. False when it refuses a setting: the ones before it are applied. Throws
/// CFailure where the file cannot be read, before the library would say so on standard output, or has no setting.
bool readSettingFile(VekCam_Handle handle, const std::string& path);

/// Has the library write a setting file; "-" is standard output. Throws CFailure where it cannot be written, or not as
/// a whole.
void writeSettingFile(VekCam_Handle handle, const std::string& path);

} // namespace vek::tools
