// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/Dng.h"

#include <optional>
#include <string>

namespace vek::client {

/// Reads the raw frame of a DNG file: samples of 8 or 16 bits, one a pixel, in strips without compression; of them the
/// active area. Nothing where the file is no DNG file, or no regular one. Throws CFailure for DNG files that are
/// damaged or of another form, and where a name that ends in .dng cannot be opened.
std::optional<SDngFrame> readDng(const std::string& path);

/// Whether it is a DNG file: readDng reads or refuses it. Throws CFailure where a name that ends in
/// .dng cannot be opened.
bool isDngFile(const std::string& path);

} // namespace vek::client
