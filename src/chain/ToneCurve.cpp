// SPDX-License-Identifier: Apache-2.0
#include "chain/ToneCurve.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace vek {

namespace {

using rows::SToneCurve;

constexpr std::size_t kLength = SToneCurve::kSegment;
constexpr std::size_t kWordEntries = 4096;
constexpr std::size_t kSegments = kWordEntries / kLength;

double levelOf(VekChainCurve curve, double gamma, double light) {
    switch (curve) {
    case VEK_CHAIN_CURVE_SRGB:
        return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
    case VEK_CHAIN_CURVE_BT709:
        return light < 0.018 ? 4.5 * light : 1.099 * std::pow(light, 0.45) - 0.099;
    case VEK_CHAIN_CURVE_GAMMA:
        return std::pow(light, 1 / gamma);
    case VEK_CHAIN_CURVE_LINEAR:
    case VEK_CHAIN_CURVE_TABLE: // has no formula
        break;
    }
    return light;
}

/// Segments are fitted in 1/128 of what the kernels add: slope and base for a bend, which is what the slope changes by
/// from entry to entry, in 1/128.
class CSegmentFit {
public:
    CSegmentFit(const std::uint16_t* entries, unsigned shift) : mEntries(entries), mShift(shift + 7) {}

    /// False where no bend, slope and base were found that give every entry.
    bool Find(std::uint16_t* base, std::int16_t* slope, std::int16_t* bend) {
        int at = UsualBend() / kBendStep * kBendStep;
        if (at < kLowest || at > kHighest) {
            return false;
        }
        // The room that a bend leaves is concave in it: uphill, in ever smaller steps.
        int room = TryBend(at);
        for (int step = std::max(kBendStep, 1 << (mShift - 7)); step >= kBendStep && !mFound;) {
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
    static constexpr int kBendStep = 2; // an odd bend stands for an exception
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
    int mBent[kLength] = {};
    bool mFound = false;
    int mBase = 0;
    int mSlope = 0;
    int mBend = 0;
};

/// Segments of a curve of 4096 entries; more exceptions than a curve may have, and it has no segments.
void fitSegments(SToneCurve& curve, SToneCurve::Segments& segments) {
    for (std::size_t i = 0; i < kSegments; ++i) {
        CSegmentFit fit(curve.entries + i * kLength, curve.shift);
        if (!fit.Find(&segments.base[i], &segments.slope[i], &segments.bend[i])) {
            if (curve.exceptions == SToneCurve::kMaxExceptions) {
                return;
            }
            curve.exception[curve.exceptions++] = static_cast<std::uint8_t>(i);
            segments.bend[i] = 1;
        }
    }
    curve.segments = &segments;
}

} // namespace

struct CToneCurves::SCurve {
    SToneCurve::Segments segments;
    alignas(64) std::uint16_t entries[kWordEntries];
    std::uint8_t low[kWordEntries];
    std::uint8_t high[kWordEntries];
};

void toneEntries(VekChainCurve curve, double gamma, std::size_t count, unsigned outBits, std::uint16_t* entries) {
    const double largest = (1U << outBits) - 1;
    for (std::size_t i = 0; i < count; ++i) {
        const double light = static_cast<double>(i) / static_cast<double>(count - 1);
        entries[i] = static_cast<std::uint16_t>(std::floor(largest * levelOf(curve, gamma, light) + 0.5));
    }
}

CToneCurves::CToneCurves(const std::uint16_t* blue, const std::uint16_t* green, const std::uint16_t* red,
                         std::size_t count, unsigned outBits) {
    const std::uint16_t* const tables[3] = {blue, green, red};
    // Which curve each colour has.
    std::size_t number[3];
    std::size_t curves = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        number[i] = curves;
        for (std::size_t j = 0; j < i; ++j) {
            if (std::equal(tables[i], tables[i] + count, tables[j])) {
                number[i] = number[j];
                break;
            }
        }
        curves += number[i] == curves ? 1 : 0;
    }
    mCurves = std::make_unique_for_overwrite<SCurve[]>(curves);
    const auto largest = static_cast<std::uint16_t>((1U << outBits) - 1);
    std::size_t made = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        if (number[i] < made) {
            mTables.curve[i] = mTables.curve[std::find(number, number + i, number[i]) - number];
            continue;
        }
        SCurve& curve = mCurves[made++];
        for (std::size_t k = 0; k < count; ++k) {
            curve.entries[k] = std::min(tables[i][k], largest);
            curve.low[k] = static_cast<std::uint8_t>(curve.entries[k]);
            curve.high[k] = static_cast<std::uint8_t>(curve.entries[k] >> 8);
        }
        mTables.curve[i] = Fit(curve, count, outBits);
    }
    mTables.alike = curves == 1;
}

CToneCurves::CToneCurves(VekChainCurve curve, double gamma, std::size_t count, unsigned outBits) {
    std::vector<std::uint16_t> entries(count);
    toneEntries(curve, gamma, count, outBits, entries.data());
    *this = CToneCurves(entries.data(), entries.data(), entries.data(), count, outBits);
}

CToneCurves::~CToneCurves() = default;
CToneCurves::CToneCurves(CToneCurves&& other) noexcept = default;
CToneCurves& CToneCurves::operator=(CToneCurves&& other) noexcept = default;

rows::SToneCurve CToneCurves::Fit(SCurve& curve, std::size_t count, unsigned outBits) {
    rows::SToneCurve result = {};
    result.entries = curve.entries;
    result.low = curve.low;
    result.high = curve.high;
    result.shift = 16 - outBits;
    if (count == kWordEntries) {
        fitSegments(result, curve.segments);
    }
    return result;
}

} // namespace vek
