// SPDX-License-Identifier: Apache-2.0
#include "client/capture/ControlDelay.h"

#include "client/camera/CameraInfo.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

namespace vek::client {

namespace {

// Frames whose mean and spread are those of a setting, and frames after which every setting is in force.
constexpr unsigned kMeanFrames = 6;
constexpr unsigned kMostDelayed = 40;

// Levels, 0 to 1, between which a step can be seen, and the share of clipped samples that hides one.
constexpr double kDarkestLevel = 0.01;
constexpr double kBrightestLevel = 0.85;
constexpr double kMostClipped = 0.05;

// A step has to be so many standard deviations of the level, and so large a part of it.
constexpr double kFewestDeviations = 10;
constexpr double kSmallestStep = 0.15;

struct SSteadyLevel {
    double mean = 0;
    double deviation = 0;
    double clipped = 0;
};

class CDelayRun {
public:
    CDelayRun(CCapture& capture, EFrameSetting setting,
              const std::function<std::pair<double, double>(const CFrameLease&)>& levelOf)
        : mCapture(capture), mSetting(setting), mLevelOf(levelOf) {}

    const char* Name() const { return mSetting == EFrameSetting::Exposure ? "exposure" : "gain"; }

    std::int32_t Now() const {
        return mSetting == EFrameSetting::Exposure ? readExposure(*mCapture.Camera()) : readGain(*mCapture.Camera());
    }

    [[noreturn]] void Fail(const std::string& why) const {
        throw CFailure(
            fmt::format("{}: the delay of {} cannot be measured: {}", mCapture.Camera()->Name(), Name(), why));
    }

    CFrameLease NextFrame() {
        std::optional<CFrameLease> lease = mCapture.Next();
        if (!lease) {
            const bool ended = mCapture.SawEndOfStream();
            throw CCameraFailure(ended ? ECameraFailure::StreamEnded : ECameraFailure::Interrupted,
                                 mCapture.Camera()->Name() +
                                     (ended ? ": the stream has ended" : ": a signal ended the measurement"));
        }
        return std::move(*lease);
    }

    void Set(std::int32_t value) {
        if (value != mValue) {
            mCapture.Set(mSetting, value);
            mValue = value;
        }
    }

    /// The level of a setting once every frame shows it.
    SSteadyLevel Steady(std::int32_t value) {
        Set(value);
        for (unsigned i = 0; i < kMostDelayed; ++i) {
            NextFrame();
        }
        std::vector<double> levels;
        SSteadyLevel steady;
        for (unsigned i = 0; i < kMeanFrames; ++i) {
            const auto [level, clipped] = mLevelOf(NextFrame());
            levels.push_back(level);
            steady.mean += level / kMeanFrames;
            steady.clipped = std::max(steady.clipped, clipped);
        }
        for (const double level : levels) {
            steady.deviation += (level - steady.mean) * (level - steady.mean) / (kMeanFrames - 1);
        }
        steady.deviation = std::sqrt(steady.deviation);
        return steady;
    }

    /// One step; nothing: a frame was lost where it matters.
    std::optional<unsigned> Round(std::int32_t value, double before, double after) {
        Set(value);
        std::vector<SDelayFrame> frames;
        std::optional<std::uint64_t> last;
        while (frames.size() < kMostDelayed) {
            const CFrameLease lease = NextFrame();
            const SCapturedFrame& frame = lease.Frame();
            // With delays of 0 a frame shows the new value as soon as it was sent after the control was set.
            const bool sentAfter = mSetting == EFrameSetting::Exposure ? frame.settings.Exposure() == value
                                                                       : frame.settings.Gain() == value;
            if (last && frame.position != *last + 1) {
                return std::nullopt;
            }
            last = frame.position;
            if (!sentAfter) {
                continue;
            }
            frames.push_back({frame.position, mLevelOf(lease).first});
            if (const std::optional<unsigned> delay = framesUntilMoved(frames, before, after)) {
                return delay;
            }
        }
        Fail(fmt::format("no frame of {} followed the step", kMostDelayed));
    }

private:
    CCapture& mCapture;
    EFrameSetting mSetting;
    const std::function<std::pair<double, double>(const CFrameLease&)>& mLevelOf;
    std::optional<std::int32_t> mValue;
};

bool isTooBright(const SSteadyLevel& level) {
    return level.mean > kBrightestLevel || level.clipped > kMostClipped;
}

bool isClear(const SSteadyLevel& a, const SSteadyLevel& b) {
    const double step = std::abs(a.mean - b.mean);
    return step >= kSmallestStep * std::max(a.mean, b.mean) &&
           step >= kFewestDeviations * std::max(a.deviation, b.deviation);
}

/// Settings on the way from the one at hand to a limit, nearer ones first.
std::vector<std::int32_t> candidatesTo(EFrameSetting setting, std::int32_t from, std::int32_t limit) {
    std::vector<std::int32_t> values;
    for (const int part : {8, 4, 2, 1}) {
        // Exposure is in proportion to light, gain a curve of which the range alone is known.
        const std::int64_t wide =
            setting == EFrameSetting::Exposure
                ? (limit > from ? from + std::int64_t{from} * 4 / part : from - from * 7LL / 8 / part)
                : from + (std::int64_t{limit} - from) / part;
        const auto value = static_cast<std::int32_t>(limit > from ? std::min<std::int64_t>(wide, limit)
                                                                  : std::max<std::int64_t>(wide, limit));
        if (value != from && (values.empty() || values.back() != value)) {
            values.push_back(value);
        }
    }
    return values;
}

/// The control as it was, whatever happens.
class CRestored {
public:
    CRestored(CCapture& capture, EFrameSetting setting, std::int32_t value)
        : mCapture(capture), mSetting(setting), mValue(value) {}
    ~CRestored() {
        try {
            mCapture.Set(mSetting, mValue);
        } catch (const CFailure&) {
            return; // the camera is gone, and what it was set to with it
        }
    }
    CRestored(const CRestored&) = delete;
    CRestored& operator=(const CRestored&) = delete;

private:
    CCapture& mCapture;
    EFrameSetting mSetting;
    std::int32_t mValue;
};

} // namespace

std::optional<unsigned> framesUntilMoved(std::span<const SDelayFrame> frames, double before, double after) {
    for (const SDelayFrame& frame : frames) {
        if (std::abs(frame.level - before) >= std::abs(after - before) / 2 &&
            (frame.level > before) == (after > before)) {
            return static_cast<unsigned>(frame.position - frames.front().position);
        }
    }
    return std::nullopt;
}

SDelayMeasurement measuredDelay(CCapture& capture, EFrameSetting setting, std::int32_t least, std::int32_t most,
                                unsigned rounds,
                                const std::function<std::pair<double, double>(const CFrameLease&)>& levelOf) {
    CDelayRun run(capture, setting, levelOf);
    const std::int32_t begin = run.Now();
    const CRestored restored(capture, setting, begin);
    const SSteadyLevel first = run.Steady(begin);
    if (first.mean < kDarkestLevel) {
        run.Fail(fmt::format("the scene is too dark, {:.1f} % of the range; more light or a longer exposure show it",
                             100 * first.mean));
    }
    std::optional<std::int32_t> other;
    SSteadyLevel second;
    const auto look = [&](std::int32_t limit) {
        for (const std::int32_t value : candidatesTo(setting, begin, limit)) {
            second = run.Steady(value);
            const bool usable = limit > begin ? !isTooBright(second) : second.mean >= kDarkestLevel / 4;
            if (!usable) {
                return;
            }
            if (isClear(first, second)) {
                other = value;
                return;
            }
        }
    };
    if (!isTooBright(first)) {
        look(most);
    }
    if (!other && first.clipped <= kMostClipped && first.mean <= kBrightestLevel + 0.1) {
        look(least);
    }
    if (!other) {
        run.Fail(isTooBright(first)
                     ? fmt::format("the scene is too bright, {:.1f} % of the range and {:.1f} % clipped",
                                   100 * first.mean, 100 * first.clipped)
                     : fmt::format("no step of it stands out from the frames' own changes, {:.2f} % of the range: the "
                                   "scene is too dark, or not steady",
                                   100 * first.deviation));
    }
    SDelayMeasurement measurement;
    measurement.control = run.Name();
    measurement.low = std::min(begin, *other);
    measurement.high = std::max(begin, *other);
    measurement.lowLevel = std::min(first.mean, second.mean);
    measurement.highLevel = std::max(first.mean, second.mean);
    unsigned tries = 0;
    bool atOther = true;
    while (measurement.rounds.size() < rounds) {
        if (++tries > 3 * rounds) {
            run.Fail("too many frames are lost");
        }
        const double before = atOther ? second.mean : first.mean;
        const double after = atOther ? first.mean : second.mean;
        const std::optional<unsigned> delay = run.Round(atOther ? begin : *other, before, after);
        atOther = !atOther;
        if (delay) {
            measurement.rounds.push_back(*delay);
        } else {
            run.Steady(atOther ? *other : begin);
        }
    }
    const auto [smallest, largest] = std::minmax_element(measurement.rounds.begin(), measurement.rounds.end());
    if (*largest - *smallest > 1) {
        run.Fail(fmt::format("it was {} frames", fmt::join(measurement.rounds, ", ")));
    }
    measurement.frames = *largest;
    return measurement;
}

} // namespace vek::client
