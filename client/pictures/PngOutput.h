// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/OutputFile.h"
#include "client/pictures/Image.h"

#include <string>

namespace vek::client {

/// Writes an image of depth 8 or 16 as a PNG file. displayCurve: the samples follow the sRGB curve, which the file then
/// says. Throws CFailure.
void writePng(COutputFile& file, const SImage& image, bool displayCurve);
/// The same to a file of its own.
void writePng(const std::string& path, const SImage& image, bool displayCurve);

} // namespace vek::client
