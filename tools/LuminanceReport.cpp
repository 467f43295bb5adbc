// SPDX-License-Identifier: Apache-2.0
#include "LuminanceReport.h"

#include "Names.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace vek::tools {

namespace {

constexpr std::size_t kLiveLines = 16;
constexpr std::size_t kGaugeCells = 32; // of 8 levels each
constexpr int kDeadBand = 5;

std::string headLine() {
    return fmt::format("{:>5}  {:>6}  {:>10}  {:>10}  {:>5}  {:>6}  {:<14}  {}", "frame", "level", "exposure",
                       "seconds", "gain", "dB", "changes", "mode");
}

std::string lineOf(const SLuminanceStep& step) {
    return fmt::format("{:>5}  {:>6.1f}  {:>10}  {:>10.6f}  {:>5}  {:>6.2f}  {:<14}  {}", step.frame, step.level,
                       step.exposure, step.seconds, step.gain, step.decibels, changesText(step.changes),
                       alcModeName(step.mode));
}

std::size_t cellOf(double level) {
    return static_cast<std::size_t>(std::clamp(level / 8, 0.0, static_cast<double>(kGaugeCells - 1)));
}

/// The level as a mark on a scale on which the dead band is drawn.
std::string gaugeOf(const SLuminanceStep& step, unsigned target) {
    std::string gauge(kGaugeCells, '.');
    const int centre = static_cast<int>(target);
    for (std::size_t i = cellOf(centre - kDeadBand); i <= cellOf(centre + kDeadBand); ++i) {
        gauge[i] = '=';
    }
    gauge[cellOf(step.level)] = '#';
    return gauge;
}

} // namespace

CLuminanceReport::CLuminanceReport(unsigned target, bool live) : mTarget(target), mLive(live) {
    if (!mLive) {
        std::fputs((headLine() + '\n').c_str(), stdout);
    }
}

void CLuminanceReport::Add(const SLuminanceStep& step) {
    if (!mLive) {
        std::fputs((lineOf(step) + '\n').c_str(), stdout);
        return;
    }
    mShown.push_back(step);
    if (mShown.size() > kLiveLines) {
        mShown.pop_front();
    }
    mvRedraw();
}

void CLuminanceReport::mvRedraw() {
    // Up to the table's first line; each line is cleared before it is written anew. A narrow terminal cuts lines off:
    // wrapped ones would stand below the place where the next drawing begins.
    std::string text = "\033[?7l";
    text += mDrawnLines > 0 ? fmt::format("\033[{}A", mDrawnLines) : "";
    text += fmt::format("\033[K{}\n", headLine());
    for (const SLuminanceStep& step : mShown) {
        text += fmt::format("\033[K{:<76} {}\n", lineOf(step), gaugeOf(step, mTarget));
    }
    text += "\033[?7h";
    mDrawnLines = mShown.size() + 1;
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

bool outputIsLive() {
    const char* const terminal = std::getenv("TERM"); // NOLINT(concurrency-mt-unsafe): no thread sets it
    return isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

std::string csvOf(const std::vector<SLuminanceStep>& steps, unsigned target) {
    std::string text = "frame,light,target,level,exposure_clocks,exposure_seconds,gain,gain_db,exposure_changed,"
                       "gain_changed,mode\n";
    for (const SLuminanceStep& step : steps) {
        text +=
            fmt::format("{},{},{},{:.3f},{},{:.9g},{},{:.4f},{},{},{}\n", step.frame,
                        step.light ? fmt::format("{}", *step.light) : "", target, step.level, step.exposure,
                        step.seconds, step.gain, step.decibels, (step.changes & VEK_ALC_EXPOSURE_CHANGED) != 0 ? 1 : 0,
                        (step.changes & VEK_ALC_GAIN_CHANGED) != 0 ? 1 : 0, step.mode);
    }
    return text;
}

} // namespace vek::tools
