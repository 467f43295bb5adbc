// SPDX-License-Identifier: Apache-2.0
// What became of the frames that a camera sent. Each is in one class: sent = delivered + lost + flagged + short +
// dropped + left.
#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace vek::client {

struct SCaptureCounts {
    std::uint64_t delivered = 0;   ///< reached the application whole and without the error flag
    std::uint64_t lost = 0;        ///< gaps of the sequence: the driver never had them, or had no buffer
    std::uint64_t flagged = 0;     ///< the driver set the error flag
    std::uint64_t shortFrames = 0; ///< fewer bytes than a frame
    std::uint64_t dropped = 0;     ///< by the queue's policy
    std::uint64_t left = 0;        ///< filled, and not taken when streaming ended

    // Beside the law.
    std::uint64_t copied = 0;        ///< delivered, out of memory of our own
    std::uint64_t suspected = 0;     ///< more than those that the intervals leave room for, of a steady stream
    std::uint64_t jumps = 0;         ///< the sequence went back
    std::uint64_t timeouts = 0;      ///< deadlines without a frame
    std::uint64_t interruptions = 0; ///< the camera was gone, or the machine asleep
    bool sequenceCounts = true;      ///< false: it stands still, and shows no loss

    std::uint64_t Sent() const { return delivered + Unseen(); }
    /// Those that did not reach the application.
    std::uint64_t Unseen() const { return lost + flagged + shortFrames + dropped + left; }
    bool operator==(const SCaptureCounts&) const = default;
};

/// "sent 112 = 100 delivered + 3 lost + 1 flagged + 0 short + 0 dropped + 8 left".
std::string conservationText(const SCaptureCounts& counts);
/// The other counts that are not 0, each behind a comma; empty where all are.
std::string incidentsText(const SCaptureCounts& counts);
nlohmann::ordered_json countsJson(const SCaptureCounts& counts);

/// Watches the sequence numbers and times of a stream.
class CSequence {
public:
    using Time = std::chrono::nanoseconds;

    struct SStep {
        std::uint64_t position = 0;  ///< number of the frame among those sent since the stream began, from 0
        std::uint64_t lost = 0;      ///< in front of it
        std::uint64_t suspected = 0; ///< more of them, of which the intervals alone tell
        bool wentBack = false;       ///< the sequence began anew
    };

    /// Streaming begins: numbers count from 0 again.
    void Begin();
    /// A frame that came, in their order. time: nothing where the driver tells none.
    SStep Next(std::uint32_t sequence, std::optional<Time> time);
    /// False once numbers were seen that stand still.
    bool Counts() const { return !mStandsStill; }
    /// Usual distance of frames that follow each other, where it is steady.
    std::optional<Time> Interval() const;

private:
    std::uint64_t SuspectedBy(std::optional<Time> time, std::uint64_t frames);

    std::optional<std::uint32_t> mLast;
    std::uint64_t mPosition = 0;
    std::uint64_t mSame = 0; ///< numbers in a row that were the one before
    bool mStandsStill = false;
    std::optional<Time> mLastTime;
    std::deque<Time> mIntervals; ///< the last ones, each of one frame
    unsigned mGaps = 0;          ///< in a row that the intervals told of
};

} // namespace vek::client
