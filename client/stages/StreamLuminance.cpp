// SPDX-License-Identifier: Apache-2.0
#include "client/stages/StreamLuminance.h"

#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/frames/Measurement.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

namespace vek::client {

CStreamLuminance::CStreamLuminance(CCapture& capture, const SLuminanceSettings& settings)
    : mCapture(capture), mSettings(settings), mMode(settings.mode) {
    const STransferFormat& format = *capture.Format().format;
    if (!format.IsRaw() || !measuredFormat(format)) {
        throw CBadArguments(fmt::format("luminance control does not measure frames of {}", format.name));
    }
    Open(capture.Camera());
}

void CStreamLuminance::Open(std::shared_ptr<const ICamera> camera) {
    mHandle.reset();
    mCamera = std::move(camera);
    // The library reads gain and exposure as its handle is opened.
    mHandle = std::make_unique<CLibraryHandle>(mCamera->Fd());
    SLuminanceSettings settings = mSettings;
    settings.mode = mMode;
    setLuminance(mHandle->Get(), settings);
}

void CStreamLuminance::See(const CFrameLease& lease) {
    if (Ended() || !lease.Frame().settings.settled) {
        return;
    }
    if (std::shared_ptr<const ICamera> camera = mCapture.Camera(); camera != mCamera) {
        Open(std::move(camera));
    }
    const SVideoFormat& video = mCapture.Format();
    const STransferFormat& format = *video.format;
    // As a grey image: one mean of all pixels, whatever the colour filter.
    const float mean = averagesOf(mHandle->Get(), lease.Bytes(), format, video.width, video.height,
                                  VEK_COLOR_ARRAY_MONO, {0, 0, video.width, video.height})[0];
    const float level = std::ldexp(mean, 8 - int{format.depth});
    unsigned long changes = 0;
    if (VekCam_ALC(mHandle->Get(), static_cast<unsigned short>(std::lround(level)), &changes) != 1) {
        throw CFailure(fmt::format("{}: did not take the new exposure and gain", mCamera->Name()));
    }
    if ((changes & VEK_ALC_EXPOSURE_CHANGED) != 0) {
        mCapture.NoteSet(EFrameSetting::Exposure, readExposure(*mCamera));
    }
    if ((changes & VEK_ALC_GAIN_CHANGED) != 0) {
        mCapture.NoteSet(EFrameSetting::Gain, readGain(*mCamera));
    }
    if (VekCam_GetALCMode(mHandle->Get(), &mMode) != 1) {
        throw CFailure("the library refused the mode");
    }
}

} // namespace vek::client
