// SPDX-License-Identifier: Apache-2.0
#include "imageproc/CurveSegments.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace vek {

namespace {

using rows::SToneCurve;

constexpr std::size_t kLength = SToneCurve::kSegment;
constexpr std::size_t kSegments = rows::kCurveEntries<std::uint16_t> / kLength;

/// Segments are fitted in 1/128 of what the kernels add: slope and base for a bend, which is what the slope changes by
/// from entry to entry, in 1/128.
class CSegmentFit {
public:
    CSegmentFit(const std::uint16_t* entries, unsigned shift, unsigned bendStep, unsigned lowBits)
        : mEntries(entries), mShift(shift + 7), mBendStep(static_cast<int>(bendStep)),
          mLowBits(static_cast<int>(lowBits)) {}

    /// False where no bend, slope and base were found that give every entry.
    bool Find(std::uint16_t* base, std::int16_t* slope, std::int16_t* bend) {
        int at = UsualBend() / mBendStep * mBendStep + mLowBits;
        if (at < kLowest || at > kHighest) {
            return false;
        }
        // The room that a bend leaves is concave in it: uphill, in ever smaller steps.
        int room = TryBend(at);
        for (int step = std::max(mBendStep, 1 << (mShift - 7)); step >= mBendStep && !mFound;) {
            int next = at + step;
            int nextRoom = TryBend(next);
            if (!mFound && nextRoom <= room) {
                next = at - step;
                nextRoom = TryBend(next);
            }
            if (nextRoom > room) {
                at = next;
                room = nextRoom;
            } else {
                step /= 2;
            }
        }
        *base = static_cast<std::uint16_t>(mBase);
        *slope = static_cast<std::int16_t>(mSlope);
        *bend = static_cast<std::int16_t>(mBend);
        return mFound;
    }

private:
    static constexpr int kLowest = -32768;
    static constexpr int kHighest = 32767;
    static constexpr int kNoRoom = -(1 << 30);
    static constexpr int kCount = static_cast<int>(kLength);

    /// Where 128 x base has to lie for a slope. The room between the limits is concave in the slope, too: it grows with
    /// it by how much further on the entry of the lower limit stands.
    struct SLimits {
        int low;
        int high;
        int growth;
        int Room() const { return high - low; }
    };
    SLimits Limits(int slope) const {
        int low = kNoRoom;
        int high = -kNoRoom;
        int atLow = 0;
        int atHigh = 0;
        for (int i = 0; i < kCount; ++i) {
            const int at = (mEntries[i] << mShift) - (slope + mBent[i]) * i;
            atLow = at > low ? i : atLow;
            low = std::max(low, at);
            atHigh = at < high ? i : atHigh;
            high = std::min(high, at);
        }
        return {low, high + (1 << mShift) - 1, atLow - atHigh};
    }

    /// The bend of the parabola of least squares.
    int UsualBend() const {
        std::int64_t product = 0;
        std::int64_t square = 0;
        for (int i = 0; i < kCount; ++i) {
            // 12 x what the square of the distance from the middle differs from its mean by.
            const int distance = 2 * i - (kCount - 1);
            const std::int64_t weight = 3 * distance * distance - (kCount * kCount - 1);
            product += weight * mEntries[i];
            square += weight * weight;
        }
        return static_cast<int>((12 * product << (mShift + 7)) / square);
    }

    /// The room that a bend leaves at its best slope. Where that is enough, what fits is kept.
    int TryBend(int bend) {
        if (mFound || bend < kLowest || bend > kHighest) {
            return kNoRoom;
        }
        for (int i = 0; i < kCount; ++i) {
            mBent[i] = bend * i >> 7;
        }
        // The first and the last entry leave the slope this much room about the line between them.
        constexpr int last = kCount - 1;
        const int middle = ((mEntries[last] - mEntries[0]) << mShift) / last - mBent[last];
        const int reach = (1 << mShift) / last + 2;
        const int lowest = std::max(middle - reach, kLowest);
        const int highest = std::min(middle + reach, kHighest);
        if (lowest > highest) {
            return kNoRoom;
        }
        int low = lowest;
        int high = highest;
        int room = kNoRoom;
        int best = lowest;
        while (low <= high && !mFound) {
            const int at = low + (high - low) / 2;
            const SLimits limits = Limits(at);
            if (limits.Room() > room) {
                room = limits.Room();
                best = at;
            }
            if (limits.Room() >= 127) {
                Fits(at, bend);
            }
            if (limits.growth > 0) {
                low = at + 1;
            } else {
                high = at - 1;
            }
        }
        // Some room is not always room for a multiple of 128.
        const int most = room < 0 ? 0 : std::min(reach, 40);
        for (int distance = 0; distance < most && !mFound; ++distance) {
            const bool above = best + distance <= highest && Fits(best + distance, bend);
            if (!above && best - distance >= lowest) {
                Fits(best - distance, bend);
            }
        }
        return room;
    }

    /// Whether base, slope and bend give every entry, as the kernels compute it.
    bool Fits(int slope, int bend) {
        const SLimits limits = Limits(slope);
        const int base = (limits.low + 127) >> 7;
        if (base * 128 > limits.high) {
            return false;
        }
        for (int i = 0; i < kCount; ++i) {
            const auto steepness = static_cast<std::int16_t>(slope + mBent[i]);
            if (static_cast<std::uint16_t>(base + (steepness * i >> 7)) >> (mShift - 7) != mEntries[i]) {
                return false;
            }
        }
        mFound = true;
        mBase = base;
        mSlope = slope;
        mBend = bend;
        return true;
    }

    const std::uint16_t* mEntries;
    unsigned mShift;
    int mBendStep;
    int mLowBits;
    int mBent[kLength] = {};
    bool mFound = false;
    int mBase = 0;
    int mSlope = 0;
    int mBend = 0;
};

} // namespace

void fitSegments(SToneCurve& curve, SToneCurve::Segments& segments) {
    for (std::size_t i = 0; i < kSegments; ++i) {
        const std::uint16_t* const entries = curve.entries + i * kLength;
        std::uint16_t above[kLength];
        unsigned steps = 0;
        if (curve.bySteps) {
            steps = *std::min_element(entries, entries + kLength) / SToneCurve::kStep;
            std::transform(entries, entries + kLength, above, [steps](std::uint16_t entry) {
                return static_cast<std::uint16_t>(entry - steps * SToneCurve::kStep);
            });
        }
        // An odd bend stands for an exception.
        CSegmentFit fit =
            curve.bySteps ? CSegmentFit(above, curve.shift, 16, 2 * steps) : CSegmentFit(entries, curve.shift, 2, 0);
        if (steps >= SToneCurve::kSteps || !fit.Find(&segments.base[i], &segments.slope[i], &segments.bend[i])) {
            if (curve.exceptions == SToneCurve::kMaxExceptions) {
                return;
            }
            curve.exception[curve.exceptions++] = static_cast<std::uint8_t>(i);
            segments.base[i] = 0;
            segments.slope[i] = 0;
            segments.bend[i] = 1;
        }
    }
    curve.segments = &segments;
}

} // namespace vek
