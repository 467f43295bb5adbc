// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/FrameInput.h"
#include "client/frames/Measurement.h"
#include "client/pictures/PngInput.h"

#include <optional>
#include <string>

namespace vek::client {

/// What a grey PNG file of 8 or 16 bits is as a raw frame, still without its bytes: words have their value in the low
/// bits. format: one of the depth that counts; how it is packed does not matter. Null: all bits of a sample count, of a
/// mono frame, or of a raw one where the colour array is Bayer. colorArray: enum VekColorArray; nothing: mono.
/// Throws CFailure for a picture that is no raw frame, CBadArguments for a format that its samples do not have, CMisfit
/// as frameColorArray does.
STransferredFrame pngFrameForm(const std::string& path, const SPngForm& png, const STransferFormat* format,
                               std::optional<unsigned> colorArray);

/// Reads its bytes. warn: as of readFrame. Throws CFailure.
void readPngFrame(const std::string& path, STransferredFrame& frame, const Warn& warn);

} // namespace vek::client
