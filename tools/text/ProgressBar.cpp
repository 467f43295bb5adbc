// SPDX-License-Identifier: Apache-2.0
#include "tools/text/ProgressBar.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

namespace vek::tools {

namespace {

constexpr std::size_t kCells = 40;

} // namespace

CProgressBar::CProgressBar(std::size_t steps) : mSteps(steps), mVisible(steps > 1 && isatty(STDERR_FILENO) != 0) {
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
    if (mVisible) {
        const std::size_t cells = kCells * mDone / mSteps;
        std::fputs(fmt::format("\r[{:#<{}}{:.<{}}] {}/{}", "", cells, "", kCells - cells, mDone, mSteps).c_str(),
                   stderr);
    }
}

} // namespace vek::tools
