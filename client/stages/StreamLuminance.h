// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/LuminanceLoop.h"
#include "client/capture/Capture.h"
#include "client/stages/LibraryHandle.h"

#include <memory>
#include <optional>

namespace vek::client {

/// Runs automatic luminance control on a camera's stream. Frames that do not show yet what the control has set are
/// passed over: it would set the same again.
class CStreamLuminance {
public:
    /// capture: outlives the control, and its frames are raw or mono. Throws CFailure when the library refuses,
    /// CBadArguments for frames that it does not measure.
    CStreamLuminance(CCapture& capture, const SLuminanceSettings& settings);

    /// Measures a frame and lets the control act; to be called with each, in order. Throws CFailure.
    void See(const CFrameLease& lease);

    /// Whether a one-shot mode has reached its end.
    bool Ended() const { return mMode == VEK_ALC_OFF; }

private:
    void Open(std::shared_ptr<const ICamera> camera);

    CCapture& mCapture;
    SLuminanceSettings mSettings;
    std::shared_ptr<const ICamera> mCamera;
    std::unique_ptr<CLibraryHandle> mHandle;
    unsigned char mMode = 0;
};

} // namespace vek::client
