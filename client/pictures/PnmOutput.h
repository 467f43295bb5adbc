// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/OutputFile.h"
#include "client/pictures/Image.h"
#include "client/pictures/PictureOptions.h"

namespace vek::client {

/// Writes an image of depth 8 or 16 as a binary PGM file, a colour image as PPM. Throws CFailure.
void writePnm(COutputFile& file, const SPictureView& image, const SPictureOptions& options);

/// The same as PPM in any case: grey images have three equal channels there.
void writePpm(COutputFile& file, const SPictureView& image, const SPictureOptions& options);

} // namespace vek::client
