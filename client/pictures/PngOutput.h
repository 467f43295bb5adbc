// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/OutputFile.h"
#include "client/pictures/Image.h"
#include "client/pictures/PictureOptions.h"

#include <string>

namespace vek::client {

/// Writes an image of depth 8 or 16 as a PNG file, by ISA-L where the build has it, else by libpng. Throws CFailure.
void writePng(COutputFile& file, const SPictureView& image, const SPictureOptions& options);
void writePng(COutputFile& file, const SImage& image, const SPictureOptions& options);
/// The same to a file of its own.
void writePng(const std::string& path, const SImage& image, const SPictureOptions& options);

/// The same by libpng in any case.
void writePngByLibpng(COutputFile& file, const SPictureView& image, const SPictureOptions& options);

} // namespace vek::client
