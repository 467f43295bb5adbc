// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/OutputFile.h"
#include "client/pictures/Image.h"
#include "client/pictures/PictureOptions.h"

namespace vek::client {

/// Writes an image of depth 8 or 16 as a TIFF file without compression. Throws CFailure.
void writeTiff(COutputFile& file, const SPictureView& image, const SPictureOptions& options);

} // namespace vek::client
