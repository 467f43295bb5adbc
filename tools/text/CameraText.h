// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/CameraInfo.h"

#include <string>

namespace vek::tools {

/// The record as lines of text and as a JSON object, the library's version with it; both end with a line feed.
std::string cameraText(const client::SCameraInfo& info);
std::string cameraJson(const client::SCameraInfo& info);

} // namespace vek::tools
