// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <string>

namespace vek::client {

/// Reads the first picture of a TIFF file: grey or red, green, blue of 8 or 16 bits, in strips, compressed or not. How
/// it is to be turned is not looked at. Throws CFailure.
SImage readTiff(const std::string& path);

} // namespace vek::client
