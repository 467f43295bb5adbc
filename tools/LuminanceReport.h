// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LuminanceLoop.h"

#include <deque>
#include <string>

namespace vek::tools {

/// The table of a run's steps on standard output: one line for each step, or, on a terminal, the last ones with a
/// gauge of the level, redrawn in place.
class CLuminanceReport {
public:
    CLuminanceReport(unsigned target, bool live);

    void Add(const SLuminanceStep& step);

private:
    void mvRedraw();

    unsigned mTarget;
    bool mLive;
    std::deque<SLuminanceStep> mShown; // live: what stands on the screen
    std::size_t mDrawnLines = 0;
};

/// True when standard output is a terminal that can move its cursor.
bool outputIsLive();

/// Steps as comma-separated values with a head line. The light column is empty where it is not known.
std::string csvOf(const std::vector<SLuminanceStep>& steps, unsigned target);

} // namespace vek::tools
