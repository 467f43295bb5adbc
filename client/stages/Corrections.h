// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/RawFrame.h"
#include "client/stages/Calibration.h"
#include "client/stages/LibraryHandle.h"

#include <optional>
#include <string>
#include <vector>

namespace vek::client {

/// The library's corrections of raw frames that are asked for. They come before all other stages.
struct SCorrections {
    std::optional<unsigned char> noise; ///< enum VekNoiseReductionMode
    std::string darkPath;               ///< calibration for VEK_NOISE_COMPLEX
    std::string shadingPath;            ///< calibration for VEK_SHADING_GAIN; empty: no shading correction

    bool Any() const { return noise || !shadingPath.empty(); }
};

/// The files that the corrections read.
std::vector<std::string> inputsOf(const SCorrections& corrections);

/// Throws CMisfit, which names the settings "noise", "dark" and "shading", when a correction cannot work on such a
/// frame, CBadArguments where a path cannot be a calibration's.
void checkCorrections(const SCorrections& corrections, const STransferFormat& format, std::uint32_t width,
                      std::uint32_t height, unsigned short colorArray);

/// Gives the library what corrections of such frames need. frame: its size, colour array and depth count; format: that
/// it comes in. Throws CFailure where a calibration cannot be read or belongs to other frames, or the library refuses.
void setCorrections(const CLibraryHandle& library, const SCorrections& corrections, const STransferFormat& format,
                    const SRawFrame& frame);

/// Corrects a frame in place, with what was set for such ones. Throws CFailure when the library refuses.
void correct(const CLibraryHandle& library, const SCorrections& corrections, SRawFrame& frame);

} // namespace vek::client
