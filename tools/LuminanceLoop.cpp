// SPDX-License-Identifier: Apache-2.0
#include "LuminanceLoop.h"

#include "CameraInfo.h"
#include "Errors.h"

#include <fmt/format.h>

#include <linux/videodev2.h>

#include <algorithm>
#include <cmath>

namespace vek::tools {

namespace {

// Half the band in which the control stays at rest.
constexpr double kRestBand = 10;

void expectDone(int status, const char* what) {
    if (status != 1) {
        throw CFailure(fmt::format("the library refused {}: {}", what, status));
    }
}

} // namespace

CLuminanceLoop::CLuminanceLoop(const CLibraryHandle& handle, CFrameGrabber& grabber, int fd, std::string source,
                               const SLuminanceSettings& settings, const std::string& region)
    : mHandle(handle), mGrabber(grabber), mFd(fd), mSource(std::move(source)),
      mRegion(regionInside(region, grabber.Width(), grabber.Height())) {
    VekCam_Handle camera = handle.Get();
    expectDone(VekCam_SetALCTargetLevel(camera, settings.target), "the target level");
    if (settings.minGain) {
        expectDone(VekCam_SetAGCMinGain(camera, *settings.minGain), "the smallest gain");
    }
    if (settings.maxGain) {
        expectDone(VekCam_SetAGCMaxGain(camera, *settings.maxGain), "the largest gain");
    }
    if (settings.minExposure) {
        expectDone(VekCam_SetAEMinExposureClock(camera, *settings.minExposure), "the shortest exposure");
    }
    if (settings.maxExposure) {
        expectDone(VekCam_SetAEMaxExposureClock(camera, *settings.maxExposure), "the longest exposure");
    }
    expectDone(VekCam_SetALCMode(camera, settings.mode), "the mode");
}

SLuminanceStep CLuminanceLoop::Step() {
    SLuminanceStep step;
    step.frame = mFrame++;
    step.exposure = static_cast<std::uint32_t>(readControl(mFd, mSource, V4L2_CID_EXPOSURE, "the exposure"));
    step.gain = static_cast<unsigned short>(readControl(mFd, mSource, V4L2_CID_GAIN, "the gain"));
    float seconds = 0;
    float decibels = 0;
    expectDone(VekCam_GetExposureTimeFromClock(mHandle.Get(), step.exposure, &seconds), "the exposure time");
    if (VekCam_GetGainDBFromSettingValue(mHandle.Get(), step.gain, &decibels) != VEK_OK) {
        throw CFailure("the library refused the gain");
    }
    step.seconds = seconds;
    step.decibels = decibels;

    const std::span<const std::uint8_t> frame = mGrabber.Next();
    // As a grey image: one mean of all pixels, whatever the colour filter.
    step.level = averagesOf(mHandle, frame, mGrabber.Format(), mGrabber.Width(), mGrabber.Height(),
                            VEK_COLOR_ARRAY_MONO, mRegion)[0];
    if (VekCam_ALC(mHandle.Get(), static_cast<unsigned short>(std::lround(step.level)), &step.changes) != 1) {
        throw CFailure(fmt::format("{}: did not take the new exposure and gain", mSource));
    }
    expectDone(VekCam_GetALCMode(mHandle.Get(), &step.mode), "the mode");
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

std::string textOf(const SSettling& settling, unsigned target) {
    if (!settling.frames) {
        return fmt::format("not settled: level {:.1f}, target {}", settling.level, target);
    }
    // A first frame that needs no change is no time of settling.
    const std::string when = *settling.frames == 0
                                 ? "at the first frame"
                                 : fmt::format("after {} frame{}", *settling.frames, *settling.frames == 1 ? "" : "s");
    return fmt::format("{} {}: level {:.1f}, target {}", settling.reached ? "settled" : "out of reach", when,
                       settling.level, target);
}

std::string changesText(unsigned long changes) {
    const bool exposure = (changes & VEK_ALC_EXPOSURE_CHANGED) != 0;
    const bool gain = (changes & VEK_ALC_GAIN_CHANGED) != 0;
    return exposure && gain ? "exposure, gain" : exposure ? "exposure" : gain ? "gain" : "-";
}

} // namespace vek::tools
