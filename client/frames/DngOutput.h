// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/OutputFile.h"
#include "client/frames/Dng.h"

#include <string>

namespace vek::client {

/// Whether a path's name ends in .dng.
bool isDngName(const std::string& path);

/// Writes a frame, untouched, as a DNG file of version 1.4 that readers of version 1.3 take. Throws CFailure.
void writeDng(COutputFile& file, const SDngFrame& frame);

} // namespace vek::client
