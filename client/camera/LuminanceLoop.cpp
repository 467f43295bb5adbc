// SPDX-License-Identifier: Apache-2.0
#include "client/camera/LuminanceLoop.h"

#include "client/Errors.h"
#include "client/camera/CameraInfo.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace vek::client {

namespace {

// Half the band in which the control stays at rest.
constexpr double kRestBand = 10;

void expectDone(int status, const char* what) {
    if (status != 1) {
        throw CFailure(fmt::format("the library refused {}: {}", what, status));
    }
}

} // namespace

void setLuminance(VekCam_Handle handle, const SLuminanceSettings& settings) {
    expectDone(VekCam_SetALCTargetLevel(handle, settings.target), "the target level");
    if (settings.minGain) {
        expectDone(VekCam_SetAGCMinGain(handle, *settings.minGain), "the smallest gain");
    }
    if (settings.maxGain) {
        expectDone(VekCam_SetAGCMaxGain(handle, *settings.maxGain), "the largest gain");
    }
    if (settings.minExposure) {
        expectDone(VekCam_SetAEMinExposureClock(handle, *settings.minExposure), "the shortest exposure");
    }
    if (settings.maxExposure) {
        expectDone(VekCam_SetAEMaxExposureClock(handle, *settings.maxExposure), "the longest exposure");
    }
    expectDone(VekCam_SetALCMode(handle, settings.mode), "the mode");
}

CLuminanceLoop::CLuminanceLoop(VekCam_Handle handle, CFrameGrabber& grabber, const ICamera& camera,
                               const SLuminanceSettings& settings, const SRegion& region)
    : mHandle(handle), mGrabber(grabber), mCamera(camera), mRegion(region) {
    setLuminance(handle, settings);
}

SLuminanceStep CLuminanceLoop::Step() {
    SLuminanceStep step;
    step.frame = mFrame++;
    step.exposure = static_cast<std::uint32_t>(readExposure(mCamera));
    step.gain = static_cast<unsigned short>(readGain(mCamera));
    float seconds = 0;
    float decibels = 0;
    expectDone(VekCam_GetExposureTimeFromClock(mHandle, step.exposure, &seconds), "the exposure time");
    if (VekCam_GetGainDBFromSettingValue(mHandle, step.gain, &decibels) != VEK_OK) {
        throw CFailure("the library refused the gain");
    }
    step.seconds = seconds;
    step.decibels = decibels;

    const std::span<const std::uint8_t> frame = mGrabber.Next();
    // As a grey image: one mean of all pixels, whatever the colour filter.
    step.level = averagesOf(mHandle, frame, mGrabber.Format(), mGrabber.Width(), mGrabber.Height(),
                            VEK_COLOR_ARRAY_MONO, mRegion)[0];
    if (VekCam_ALC(mHandle, static_cast<unsigned short>(std::lround(step.level)), &step.changes) != 1) {
        throw CFailure(fmt::format("{}: did not take the new exposure and gain", mCamera.Name()));
    }
    expectDone(VekCam_GetALCMode(mHandle, &step.mode), "the mode");
    return step;
}

SSettling settlingOf(const std::vector<SLuminanceStep>& steps, unsigned target) {
    SSettling settling;
    const auto moved = [](const SLuminanceStep& step) { return step.changes != 0; };
    const auto lastChange = std::find_if(steps.rbegin(), steps.rend(), moved);
    if (steps.empty() || lastChange == steps.rbegin()) {
        settling.level = steps.empty() ? 0 : steps.back().level;
        return settling;
    }
    settling.level = steps.back().level;
    settling.frames = static_cast<unsigned>(steps.rend() - lastChange);
    settling.reached = std::abs(std::round(settling.level) - target) <= kRestBand;
    return settling;
}

} // namespace vek::client
