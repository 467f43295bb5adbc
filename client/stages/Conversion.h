// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/stages/Corrections.h"
#include "client/stages/LibraryHandle.h"
#include "client/stages/Stages.h"

#include <cstdint>
#include <optional>
#include <span>

namespace vek::client {

/// How a transferred frame becomes a picture.
struct SConversion {
    const STransferFormat* format = nullptr;
    std::uint32_t width = 0;       ///< pixels
    std::uint32_t height = 0;      ///< rows
    unsigned short colorArray = 0; ///< enum VekColorArray, of frameColorArray; 0 of blue-green-red
    unsigned char method = 0;      ///< enum VekDemosaicMethod
    SCorrections corrections;      ///< run first
    SStages stages;
    bool display = false;          ///< rendered for the eye: levels, grey-world balance, sRGB curve
    std::optional<unsigned> black; ///< display: sensor level of black, in samples of the format; 0 by default
    std::optional<unsigned> white; ///< display: that of white; by default the bright end of the picture
    unsigned short bitsOut = 0;    ///< of a sample of the picture, 8 or 16; 0: as many as the frame needs
};

/// Throws CBadArguments when the method does not take a frame of this size.
void checkMethod(const SConversion& conversion);

/// Checks all else and completes the conversion: bitsOut, and the stages of a setting file that such a frame goes
/// through. Throws CMisfit for what checkCorrections and checkStages tell, and where "black" is not below "white".
void complete(SConversion& conversion);

/// The picture of a frame. bytes: frameBytes of them; conversion: completed; library: without a camera, with the
/// settings of the file where there is one. Throws CFailure where a calibration cannot be read or belongs to other
/// frames, or the library refuses.
SImage pictureOf(const CLibraryHandle& library, std::span<const std::uint8_t> bytes, const SConversion& conversion);

} // namespace vek::client
