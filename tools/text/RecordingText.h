// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/recording/Recording.h"

#include <span>
#include <string>

namespace vek::tools {

/// A recording in lines for people, and as JSON. damages: what is wrong with it; checked: all of its frames were read.
std::string recordingLines(const client::CRecording& recording, std::span<const client::SRecordingDamage> damages,
                           bool checked);
std::string recordingJson(const client::CRecording& recording, std::span<const client::SRecordingDamage> damages,
                          bool checked);

} // namespace vek::tools
