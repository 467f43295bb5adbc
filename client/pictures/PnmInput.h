// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <string>

namespace vek::client {

/// Reads a binary PGM or PPM file of 8 to 16 bits. Throws CFailure.
SImage readPnm(const std::string& path);

} // namespace vek::client
