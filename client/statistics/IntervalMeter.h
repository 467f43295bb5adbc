// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace vek::client {

/// How evenly frames come.
struct SIntervals {
    std::uint64_t count = 0;
    double mean = 0;      ///< seconds
    double deviation = 0; ///< standard deviation, seconds
    double longest = 0;   ///< seconds
};

/// Distances of frames that follow each other. Frames that are missing in between are no jitter: their distance counts
/// as many.
class CIntervalMeter {
public:
    /// position: number of the frame among those sent.
    void Add(std::uint64_t position, std::chrono::nanoseconds time);
    /// What came since the last call.
    SIntervals Take();

private:
    std::optional<std::uint64_t> mLast;
    std::chrono::nanoseconds mLastTime{};
    std::uint64_t mCount = 0;
    double mMean = 0;
    double mSquares = 0;
    double mLongest = 0;
};

} // namespace vek::client
