// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <string>

namespace vek::client {

/// Reads a grey or colour JPEG file. Throws CFailure, also for one that is damaged in parts.
SImage readJpeg(const std::string& path);

} // namespace vek::client
