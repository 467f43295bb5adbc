// SPDX-License-Identifier: Apache-2.0
#include "tools/text/ProgressBar.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <string>

namespace vek::tools {

namespace {

constexpr std::size_t kCells = 40;

} // namespace

CProgressBar::CProgressBar(std::size_t steps) : mSteps(steps), mVisible(steps != 1 && isatty(STDERR_FILENO) != 0) {
    Draw();
}

CProgressBar::~CProgressBar() {
    if (mVisible) {
        std::fputs("\r\033[K", stderr); // back to the line's start, clear it
    }
}

void CProgressBar::Advance() {
    ++mDone;
    Draw();
}

void CProgressBar::Draw() const {
    if (!mVisible) {
        return;
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - mBegin).count();
    std::string line = "\r";
    if (mSteps > 0) {
        const std::size_t cells = kCells * mDone / mSteps;
        line += fmt::format("[{:#<{}}{:.<{}}] ", "", cells, "", kCells - cells);
    }
    line += mSteps > 0 ? fmt::format("{}/{}", mDone, mSteps) : fmt::format("{}", mDone);
    if (mDone > 0 && seconds > 0) {
        const double rate = static_cast<double>(mDone) / seconds;
        line += fmt::format(", {:.3g} frames/s", rate);
        if (mSteps > 0) {
            const long left = std::lround(static_cast<double>(mSteps - mDone) / rate);
            line += fmt::format(", {}:{:02} left", left / 60, left % 60);
        }
    }
    std::fputs((line + "\033[K").c_str(), stderr);
}

} // namespace vek::tools
