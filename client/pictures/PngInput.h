// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <string>

namespace vek::client {

/// Reads a grey PNG file of 16 bits, samples as they are stored. Throws CFailure, also for PNG files of another form.
SImage readGrayPng16(const std::string& path);

} // namespace vek::client
