// SPDX-License-Identifier: Apache-2.0
// The camera profile that a recording holds.
#pragma once

#include "client/profiles/Profile.h"
#include "client/recording/RecordingForm.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace vek::client {

/// A profile as a recording is to hold it: the paths in it count from anywhere. Throws CFailure for paths that are no
/// UTF-8.
nlohmann::ordered_json recordedProfileJson(const SProfile& profile);

/// The profile of a recording, where it has one. path: the recording's, for messages. Throws CFailure.
std::optional<SProfile> recordedProfile(const SRecordingNotes& notes, const std::string& path);

} // namespace vek::client
