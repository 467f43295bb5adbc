// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/capture/Capture.h"
#include "client/statistics/FrameGlance.h"

#include "tools/text/ServiceNotice.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace vek::tools {

/// What a stream's line shows.
struct SLiveFigures {
    client::SCaptureState state;
    std::uint64_t frames = 0;        ///< done
    std::optional<double> rate;      ///< frames a second
    std::optional<double> level;     ///< 0 to 1
    double clipped = 0;              ///< share
    client::SFrameSettings settings; ///< of the last frame
};

/// "120 frames  30.0/s  lost 0  level 31.2 %  clipped 0.1 %  exposure 10000  gain 0", or since when none came.
std::string liveText(const SLiveFigures& figures);

/// A line on standard error that is drawn anew while frames come; nothing where that is no terminal. Gone again when
/// the object ends. The manager of a service is told the same line, which goes on while no frame comes; that the
/// service is ready when the object begins, and that it ends.
class CLiveLine {
public:
    CLiveLine();
    ~CLiveLine();
    CLiveLine(const CLiveLine&) = delete;
    CLiveLine& operator=(const CLiveLine&) = delete;

    /// Whether anybody is shown the line.
    bool Visible() const { return mTerminal || mService.Listened(); }
    /// Whether it is time to draw again.
    bool Due() const;
    void Draw(const SLiveFigures& figures);

private:
    using Clock = std::chrono::steady_clock;

    bool mTerminal;
    CServiceNotice mService;
    Clock::time_point mDrawn{};
};

} // namespace vek::tools
