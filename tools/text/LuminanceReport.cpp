// SPDX-License-Identifier: Apache-2.0
#include "tools/text/LuminanceReport.h"

#include "client/names/Names.h"

#include "tools/text/Messages.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace vek::tools {

using namespace client;

namespace {

constexpr std::size_t kLiveLines = 16;
constexpr std::size_t kGaugeCells = 32; // of 8 levels each
constexpr int kDeadBand = 5;

std::string headLine() {
    return fmt::format("{:>5}  {:>6}  {:>10}  {:>10}  {:>5}  {:>6}  {:<14}  {}", "frame", "level", "exposure",
                       "seconds", "gain", "dB", "changes", "mode");
}

/// "exposure", "gain", "exposure, gain" or "-".
std::string changesText(unsigned long changes) {
    const bool exposure = (changes & VEK_ALC_EXPOSURE_CHANGED) != 0;
    const bool gain = (changes & VEK_ALC_GAIN_CHANGED) != 0;
    return exposure && gain ? "exposure, gain" : exposure ? "exposure" : gain ? "gain" : "-";
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
    const int center = static_cast<int>(target);
    for (std::size_t i = cellOf(center - kDeadBand); i <= cellOf(center + kDeadBand); ++i) {
        gauge[i] = '=';
    }
    gauge[cellOf(step.level)] = '#';
    return gauge;
}

} // namespace

CLuminanceReport::CLuminanceReport(unsigned target, bool live) : mTarget(target), mLive(live) {
    if (!mLive) {
        print(headLine() + '\n');
    }
}

void CLuminanceReport::Add(const SLuminanceStep& step) {
    if (!mLive) {
        print(lineOf(step) + '\n');
        return;
    }
    mShown.push_back(step);
    if (mShown.size() > kLiveLines) {
        mShown.pop_front();
    }
    Redraw();
}

void CLuminanceReport::Redraw() {
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
    printNow(text);
}

bool outputIsLive() {
    const char* const terminal = std::getenv("TERM"); // NOLINT(concurrency-mt-unsafe): no thread sets it
    return isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

std::string settlingText(const SSettling& settling, unsigned target) {
    if (!settling.frames) {
        return fmt::format("not settled: level {:.1f}, target {}", settling.level, target);
    }
    // A first frame that needs no change is no time of settling.
    const std::string when = *settling.frames == 0
                                 ? "at the first frame"
                                 : fmt::format("after {} frame{}", *settling.frames, *settling.frames == 1 ? "" : "s");
    return fmt::format("{} {}: level {:.1f}, target {}", settling.reached ? "settled" : "out of reach", when,
                       settling.level, target);
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
