// SPDX-License-Identifier: Apache-2.0
#include "tools/text/LiveLine.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

namespace vek::tools {

namespace {

constexpr std::chrono::milliseconds kBetweenDrawings{250};

// From here on the time that passed is worth telling.
constexpr double kLongWait = 1;

} // namespace

std::string liveText(const SLiveFigures& figures) {
    const client::SCaptureCounts& counts = figures.state.counts;
    std::string line = fmt::format("{} frames", figures.frames);
    if (figures.rate) {
        line += fmt::format("  {:.1f}/s", *figures.rate);
    }
    line += fmt::format("  lost {}", counts.lost + counts.flagged + counts.shortFrames);
    if (counts.dropped > 0) {
        line += fmt::format("  dropped {}", counts.dropped);
    }
    if (counts.suspected > 0) {
        line += fmt::format("  missed {}", counts.suspected);
    }
    if (figures.level) {
        line += fmt::format("  level {:.1f} %  clipped {:.1f} %", 100 * *figures.level, 100 * figures.clipped);
    }
    if (figures.settings.Exposure()) {
        line += fmt::format("  exposure {}", *figures.settings.Exposure());
    }
    if (figures.settings.Gain()) {
        line += fmt::format("  gain {}", *figures.settings.Gain());
    }
    const double waited = std::chrono::duration<double>(client::monotonicNow() - figures.state.waitingSince).count();
    if (figures.state.unplugged) {
        line += fmt::format("  unplugged for {:.0f} s", waited);
    } else if (waited >= kLongWait) {
        line += fmt::format("  no frame for {:.0f} s", waited);
    }
    return line;
}

CLiveLine::CLiveLine() : mTerminal(isatty(STDERR_FILENO) != 0) {
    mService.Ready();
}

CLiveLine::~CLiveLine() {
    mService.Stopping();
    if (mTerminal) {
        std::fputs("\r\033[K", stderr);
    }
}

bool CLiveLine::Due() const {
    return Visible() && Clock::now() - mDrawn >= kBetweenDrawings;
}

void CLiveLine::Draw(const SLiveFigures& figures) {
    if (!Visible()) {
        return;
    }
    mDrawn = Clock::now();
    const std::string line = liveText(figures);
    mService.Status(line);
    if (mTerminal) {
        // A narrow terminal cuts the line off: a wrapped one would stay.
        std::fputs(("\r\033[?7l" + line + "\033[K\033[?7h").c_str(), stderr);
    }
}

} // namespace vek::tools
