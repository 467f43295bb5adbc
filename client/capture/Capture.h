// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/capture/BufferPolicy.h"
#include "client/capture/CameraFailure.h"
#include "client/capture/CaptureAccount.h"
#include "client/capture/FrameLease.h"
#include "client/capture/SettingsInForce.h"
#include "client/capture/VideoStream.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace vek::client {

struct SCaptureSetup {
    const STransferFormat* format = nullptr; ///< null: what the camera is set to
    unsigned queue = 4;                      ///< frames that wait for readers at most, 1 and more
    unsigned readers = 4;                    ///< frames that readers work on at once, 1 and more
    EBufferPolicy policy = EBufferPolicy::Wait;
    std::optional<std::chrono::nanoseconds> timeout = {}; ///< longest wait for a frame; nothing: for ever
    CSettingsInForce::SDelays delays = {};                ///< the camera's, frames
    bool realtime = false; ///< the thread that takes frames has SCHED_FIFO, and memory stays where it is
    /// Opens the camera again after it was unplugged; null where it is not there yet. Empty: an unplugged camera is a
    /// failure.
    std::function<std::shared_ptr<const ICamera>()> reopen = {};
};

/// What a capture does now.
struct SCaptureState {
    SCaptureCounts counts;
    std::chrono::nanoseconds waitingSince{};          ///< when the last frame came, or streaming began
    std::optional<std::chrono::nanoseconds> interval; ///< usual distance of frames, where it is steady
    bool unplugged = false;                           ///< waits for the camera to come back
};

/// Takes frames from a camera on a thread of its own, and hands them to readers in their order. Signals are held back
/// on that thread.
class CCapture {
public:
    using Time = std::chrono::nanoseconds; ///< CLOCK_MONOTONIC

    /// Agrees on the format; streaming begins with the first call of Next. Throws CFailure, CCameraFailure,
    /// CBadArguments.
    CCapture(std::shared_ptr<const ICamera> camera, const SCaptureSetup& setup);
    /// Ends streaming, and waits until readers have ended their leases.
    ~CCapture();
    CCapture(const CCapture&) = delete;
    CCapture& operator=(const CCapture&) = delete;

    const SVideoFormat& Format() const;
    ETransfer Transfer() const;
    /// Buffers in all, and those that the driver always keeps.
    unsigned Buffers() const;
    unsigned DriverShare() const;

    /// The next frame; waits for it. until: nothing waits for ever, or for the setup's timeout. Nothing: the camera's
    /// stream has ended (EOS), the capture was asked to end, or until has come, as Ended tells. Throws CCameraFailure
    /// once the frames before it are taken; CCameraFailure of ECameraFailure::NoFrame after the setup's timeout.
    std::optional<CFrameLease> Next(std::optional<Time> until = std::nullopt);
    /// Ends the waiting of Next, now and later, whatever waits still. May be called on any thread.
    void End();
    /// Whether Next returns nothing for good.
    bool Ended() const;
    /// Whether the camera's own stream ended.
    bool SawEndOfStream() const;

    /// Ends streaming: what the driver or the queue still held is counted as left. Leases stay. Returns the account,
    /// which does not change any more.
    SCaptureCounts Stop();
    SCaptureState State() const;

    /// Sets exposure or gain, and follows which frames show it. Any thread. Throws CFailure.
    void Set(EFrameSetting setting, std::int32_t value);
    /// The same where someone else has set it right now, as luminance control does.
    void NoteSet(EFrameSetting setting, std::int32_t value);

    /// The camera; another object after it came back.
    std::shared_ptr<const ICamera> Camera() const;

private:
    struct SState;

    std::unique_ptr<SState> mState;
};

} // namespace vek::client
