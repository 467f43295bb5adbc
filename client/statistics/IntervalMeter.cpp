// SPDX-License-Identifier: Apache-2.0
#include "client/statistics/IntervalMeter.h"

#include <algorithm>
#include <cmath>

namespace vek::client {

void CIntervalMeter::Add(std::uint64_t position, std::chrono::nanoseconds time) {
    if (mLast && position > *mLast && time > mLastTime) {
        const double interval =
            std::chrono::duration<double>(time - mLastTime).count() / static_cast<double>(position - *mLast);
        // Welford: sums of squares of small differences between large numbers lose them.
        ++mCount;
        const double difference = interval - mMean;
        mMean += difference / static_cast<double>(mCount);
        mSquares += difference * (interval - mMean);
        mLongest = std::max(mLongest, interval);
    }
    mLast = position;
    mLastTime = time;
}

SIntervals CIntervalMeter::Take() {
    SIntervals intervals{mCount, mMean, mCount > 1 ? std::sqrt(mSquares / static_cast<double>(mCount - 1)) : 0,
                         mLongest};
    mCount = 0;
    mMean = 0;
    mSquares = 0;
    mLongest = 0;
    return intervals;
}

} // namespace vek::client
