// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/FrameGrabber.h"
#include "client/frames/Measurement.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace vek::client {

/// One frame and what the control made of it.
struct SLuminanceStep {
    unsigned frame = 0;          ///< from 0
    std::uint32_t exposure = 0;  ///< exposure clocks that the frame was taken with, 0 the longest short exposure
    double seconds = 0;          ///< the same as a time
    unsigned short gain = 0;     ///< setting value that the frame was taken with
    double decibels = 0;         ///< the same as a gain
    double level = 0;            ///< mean of the region, before it is rounded for the library
    unsigned long changes = 0;   ///< what the next frame gets anew, bits of enum VekALCChange
    unsigned char mode = 0;      ///< after the step, enum VekALCMode
    std::optional<double> light; ///< light of a simulated scene, where it is known
};

/// What automatic luminance control does; nothing given means what a fresh handle of the library has.
struct SLuminanceSettings {
    unsigned char mode = VEK_ALC_EXPOSURE_AND_GAIN;
    unsigned short target = 128;
    std::optional<unsigned short> minGain = {};
    std::optional<unsigned short> maxGain = {};
    std::optional<std::uint32_t> minExposure = {}; ///< exposure clocks
    std::optional<std::uint32_t> maxExposure = {};
};

/// Gives the library's handle of a camera the settings. Throws CFailure when it refuses.
void setLuminance(VekCam_Handle handle, const SLuminanceSettings& settings);

/// Runs automatic luminance control on an open camera, frame by frame. The library reads gain and exposure when its
/// handle is opened: later the control alone may set them.
class CLuminanceLoop {
public:
    /// handle: of the library, opened on the camera; grabber: of 8-bit raw frames; region: where the level is measured,
    /// inside the image. All but settings and region outlive the loop. Throws CFailure when the library refuses.
    CLuminanceLoop(VekCam_Handle handle, CFrameGrabber& grabber, const ICamera& camera,
                   const SLuminanceSettings& settings, const SRegion& region);

    /// Takes a frame, measures it and lets the control act. Throws CFailure.
    SLuminanceStep Step();

private:
    VekCam_Handle mHandle;
    CFrameGrabber& mGrabber;
    const ICamera& mCamera;
    SRegion mRegion;
    unsigned mFrame = 0;
};

/// How the control came to rest, or not, while the light stayed as it was.
struct SSettling {
    std::optional<unsigned> frames; ///< frames until one needed no change and none did afterwards; nothing: it moved on
    double level = 0;               ///< of the last frame
    bool reached = false;           ///< at rest near the target, not at a limit
};

/// For steps that follow each other under one light.
SSettling settlingOf(const std::vector<SLuminanceStep>& steps, unsigned target);

} // namespace vek::client
