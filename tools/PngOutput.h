// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Image.h"

#include <string>

namespace vek::tools {

/// Writes an image of depth 8 or 16 as a PNG file; "-" is standard output. A file that cannot be finished is
/// removed. displayCurve: the samples follow the sRGB curve, which the file then says.
/// Throws CFailure.
void writePng(const std::string& path, const SImage& image, bool displayCurve);

} // namespace vek::tools
