// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/OutputFile.h"
#include "client/pictures/Image.h"
#include "client/pictures/PictureOptions.h"

#include <cstdint>

namespace vek::client {

/// Largest width and height of JPEG files that the usual library writes, pixels.
inline constexpr std::uint32_t kLargestJpegSide = 65500;

/// Writes an image of depth 8 as a JPEG file, colours at full resolution. Throws CFailure.
void writeJpeg(COutputFile& file, const SPictureView& image, const SPictureOptions& options);

} // namespace vek::client
