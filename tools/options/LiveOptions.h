// SPDX-License-Identifier: Apache-2.0
// Options of the commands that take frames from a camera's stream.
#pragma once

#include "client/capture/Capture.h"
#include "client/profiles/Profile.h"

#include "tools/options/CameraOptions.h"
#include "tools/text/LiveLine.h"

#include <CLI/App.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vek::tools {

struct SLiveOptions {
    SCameraChoice camera;
    SSimulatedSetup setup;
    float light = 1;
    std::optional<double> framesPerSecond; ///< of the simulated camera; nothing: as the reader takes them
    unsigned simulatedDelay = 0;           ///< control delay of the simulated camera, frames
    std::string faults;                    ///< file with a script of what goes wrong on it
    std::string format;
    std::optional<std::int32_t> exposure; ///< clocks
    std::optional<std::int32_t> gain;     ///< setting value
    unsigned queue = 4;
    std::string policy = "wait";
    std::optional<double> timeout; ///< seconds
    bool reconnect = false;
    bool realtime = false;
};

/// Adds --device and --sim with what tells of the simulated camera, --format, --exposure, --gain, --timeout,
/// --reconnect.
void addLiveOptions(CLI::App& command, SLiveOptions& options);
/// Adds --queue, --policy and --realtime.
void addQueueOptions(CLI::App& command, SLiveOptions& options);

/// Adds --until, of which untilOf makes a moment.
void addUntil(CLI::App& command, std::string& until);
/// A moment on CLOCK_MONOTONIC; nothing for an empty text.
std::optional<std::chrono::nanoseconds> untilOf(const std::string& until);
/// Adds --no-loss.
void addNoLoss(CLI::App& command, bool& noLoss);
/// Tells of frames that did not come: a warning, or with noLoss a failure with its exit code.
void requireNoLoss(const std::string& camera, const client::SCaptureCounts& counts, bool noLoss);

/// A camera whose frames are taken.
struct SLiveCamera {
    std::shared_ptr<const client::ICamera> camera;
    std::shared_ptr<sim::CSimulatedDriver> driver; ///< null: a device
    std::function<std::shared_ptr<const client::ICamera>()> reopen;
};

/// Opens the camera, and sets exposure and gain. Throws CFailure, CCameraFailure, CBadArguments.
SLiveCamera openLive(const SLiveOptions& options);

/// How its frames are taken. readers: frames that are worked on at once; profile: tells the delay of controls, or null.
client::SCaptureSetup captureSetup(const SLiveOptions& options, const SLiveCamera& camera, unsigned readers,
                                   const client::SProfile* profile);

/// The next frame of a capture; nothing in the end, or when until has come. draw: called while none comes and the line
/// is visible.
std::optional<client::CFrameLease> nextFrame(client::CCapture& capture, std::optional<std::chrono::nanoseconds> until,
                                             const CLiveLine& line, const std::function<void()>& draw);

/// A moment: "90s", "500ms", "10m", "2h" from now, or a local time "18:30", "18:30:15", the next one, or
/// "2026-05-03T18:30:00". now: since 1970-01-01 UTC. Nothing for another text.
std::optional<std::chrono::nanoseconds> parsedMoment(std::string_view text, std::chrono::nanoseconds now);

} // namespace vek::tools
