// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/LuminanceLoop.h"

#include <deque>
#include <string>
#include <vector>

namespace vek::tools {

/// The table of a run's steps on standard output: one line for each step, or, on a terminal, the last ones with a
/// gauge of the level, redrawn in place.
class CLuminanceReport {
public:
    CLuminanceReport(unsigned target, bool live);

    void Add(const client::SLuminanceStep& step);

private:
    void Redraw();

    unsigned mTarget;
    bool mLive;
    std::deque<client::SLuminanceStep> mShown; // live: what stands on the screen
    std::size_t mDrawnLines = 0;
};

/// True when standard output is a terminal that can move its cursor.
bool outputIsLive();

/// How the control settled, in words, for one line of text.
std::string settlingText(const client::SSettling& settling, unsigned target);

/// Steps as comma-separated values with a head line. The light column is empty where it is not known.
std::string csvOf(const std::vector<client::SLuminanceStep>& steps, unsigned target);

} // namespace vek::tools
