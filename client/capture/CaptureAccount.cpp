// SPDX-License-Identifier: Apache-2.0
#include "client/capture/CaptureAccount.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace vek::client {

namespace {

// A driver's numbers begin at 0 when streaming does. One that goes on counting from the stream before has larger ones.
constexpr std::uint32_t kMostAtStart = 64;

// Differences from here on are steps back.
constexpr std::uint32_t kHalf = 1U << 31;

// Intervals that tell whether a stream is steady, and the share of them that is near the median then.
constexpr std::size_t kIntervals = 16;
constexpr std::size_t kFewestIntervals = 8;
constexpr double kSteadyShare = 0.9;
constexpr double kNear = 0.1;

// Gaps in a row from which on the camera is slower, and misses nothing.
constexpr unsigned kMostGaps = 8;

// Numbers in a row that are the one before: a driver that does not count.
constexpr std::uint64_t kStandstill = 2;

} // namespace

std::string conservationText(const SCaptureCounts& counts) {
    return fmt::format("sent {} = {} delivered + {} lost + {} flagged + {} short + {} dropped + {} left", counts.Sent(),
                       counts.delivered, counts.lost, counts.flagged, counts.shortFrames, counts.dropped, counts.left);
}

std::string incidentsText(const SCaptureCounts& counts) {
    std::vector<std::string> parts;
    const auto add = [&parts](std::uint64_t count, const char* one, const char* many) {
        if (count > 0) {
            parts.push_back(fmt::format("{} {}", count, count == 1 ? one : many));
        }
    };
    add(counts.suspected, "more missed by the intervals", "more missed by the intervals");
    add(counts.copied, "copied", "copied");
    add(counts.jumps, "sequence number that went back", "sequence numbers that went back");
    add(counts.timeouts, "timeout", "timeouts");
    add(counts.interruptions, "interruption", "interruptions");
    if (!counts.sequenceCounts) {
        parts.emplace_back("the driver's sequence stands still and shows no loss");
    }
    return fmt::format("{}", fmt::join(parts, ", "));
}

nlohmann::ordered_json countsJson(const SCaptureCounts& counts) {
    return {{"sent", counts.Sent()},
            {"delivered", counts.delivered},
            {"lost", counts.lost},
            {"flagged", counts.flagged},
            {"short", counts.shortFrames},
            {"dropped", counts.dropped},
            {"left", counts.left},
            {"suspected", counts.suspected},
            {"copied", counts.copied},
            {"jumps", counts.jumps},
            {"timeouts", counts.timeouts},
            {"interruptions", counts.interruptions},
            {"sequenceCounts", counts.sequenceCounts}};
}

void CSequence::Begin() {
    mLast.reset();
    mLastTime.reset();
    mIntervals.clear();
    mPosition = 0;
    mSame = 0;
    mGaps = 0;
}

CSequence::SStep CSequence::Next(std::uint32_t sequence, std::optional<Time> time) {
    SStep step;
    if (!mLast) {
        step.lost = sequence <= kMostAtStart ? sequence : 0;
    } else {
        const std::uint32_t distance = sequence - *mLast;
        if (distance == 0) {
            ++mSame;
            mStandsStill = mStandsStill || mSame >= kStandstill;
        } else {
            // A number that came twice and was counted on from is wrong; those of a driver that does not count are
            // none.
            step.wentBack = distance >= kHalf || (mSame > 0 && mSame < kStandstill);
            step.lost = distance < kHalf ? distance - 1 : 0;
            mSame = 0;
        }
    }
    step.position = mPosition + step.lost;
    mPosition = step.position + 1;
    step.suspected = mLast ? SuspectedBy(time, step.lost + 1) : 0;
    mLast = sequence;
    mLastTime = time;
    return step;
}

std::uint64_t CSequence::SuspectedBy(std::optional<Time> time, std::uint64_t frames) {
    if (!time || !mLastTime || *time <= *mLastTime) {
        return 0;
    }
    const std::optional<Time> usual = Interval();
    const Time distance = *time - *mLastTime;
    if (usual && usual->count() > 0) {
        // Of a frame that is missing, the interval is a multiple; a pause may be of any length.
        const double parts = static_cast<double>(distance.count()) / static_cast<double>(usual->count());
        const double room = std::round(parts);
        if (room > static_cast<double>(frames) && std::abs(parts - room) <= kNear) {
            if (++mGaps <= kMostGaps) {
                return static_cast<std::uint64_t>(room) - frames;
            }
            mIntervals.clear();
        }
    }
    mGaps = 0;
    mIntervals.push_back(distance / static_cast<std::int64_t>(frames));
    if (mIntervals.size() > kIntervals) {
        mIntervals.pop_front();
    }
    return 0;
}

std::optional<CSequence::Time> CSequence::Interval() const {
    if (mIntervals.size() < kFewestIntervals) {
        return std::nullopt;
    }
    std::vector<Time> sorted(mIntervals.begin(), mIntervals.end());
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    const Time median = *middle;
    const double allowed = kNear * static_cast<double>(median.count());
    const auto near = std::count_if(sorted.begin(), sorted.end(), [&](Time interval) {
        return std::abs(static_cast<double>((interval - median).count())) <= allowed;
    });
    const bool steady = static_cast<double>(near) >= kSteadyShare * static_cast<double>(sorted.size());
    return steady ? std::optional(median) : std::nullopt;
}

} // namespace vek::client
