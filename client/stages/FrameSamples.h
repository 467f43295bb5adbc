// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/Measurement.h"
#include "client/pictures/Image.h"
#include "client/stages/LibraryHandle.h"

namespace vek::client {

/// The samples of a frame as they were transferred, at the format's depth: one a pixel of raw and mono formats, red,
/// green, blue of the others; YCrCb is converted. Samples above the range of their format count as its largest.
/// library: without a camera. threads: that unpack packed ones. Throws CFailure when the library refuses.
SImage frameSamples(const CLibraryHandle& library, STransferredFrame frame, unsigned threads);

} // namespace vek::client
