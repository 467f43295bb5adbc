// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <string>

namespace vek::client {

/// Whether a regular file begins as one that readPicture may take. False where it cannot be read.
bool beginsAsPicture(const std::string& path);

/// Reads a picture, grey or red, green, blue, samples as they are stored: PNG; TIFF of 8 or 16 bits in strips; binary
/// PGM and PPM whose largest sample is that of 8 to 16 bits; JPEG. The kind is what the file begins as. Throws CFailure
/// for files that are damaged or of another form, and for those that are transparent somewhere.
SImage readPicture(const std::string& path);

} // namespace vek::client
