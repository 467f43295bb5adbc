// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/CameraValues.h"
#include "support/Random.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace vek::test {

/// Every product with a formula of its own, and neighbours that must not have one.
constexpr std::uint32_t kProducts[] = {0x111, 0x211, 0x112, 0x212, 0x113,     0x213,      0x313,     0x413, 0x513,
                                       0x613, 0x116, 0x216, 0x316, 0x416,     0x516,      0x616,     0x716, 0x816,
                                       0x315, 0x415, 0x515, 0x615, 0x713,     0x813,      0x110,     0x311, 0x312,
                                       0x412, 0x013, 0x114, 0x115, 0x215,     0x117,      0x715,     0x815, 0x913,
                                       0x916, 0x016, 0,     1,     0x1000111, 0x80000116, 0xFFFFFFFF};

/// A camera of usual size and speed.
inline SCameraValues plainCamera(std::uint32_t productId = 0) {
    SCameraValues values;
    values.productId = productId;
    values.clock = 48000000;
    values.totalHClock = 1200;
    values.totalVLine = 1000;
    values.width = 1280;
    values.height = 900;
    values.vblank = 100;
    values.maxShort = 777;
    values.gainType = 4;
    values.hasDigitalGain = 1;
    values.maxDigitalGain = 192;
    values.timeBase = 74;
    values.timeOffset = 1019;
    return values;
}

/// Inputs at which the conversions turn, and random ones between them.
class CConversionInputs {
public:
    explicit CConversionInputs(std::uint64_t seed) : mRandom(seed) {}

    CRandom& Random() { return mRandom; }

    std::int32_t Pick(std::initializer_list<std::int32_t> values) {
        return values.begin()[mRandom.Below(values.size())];
    }
    /// 0 .. 2^31-1, small numbers as likely as large ones.
    std::int32_t Number() { return static_cast<std::int32_t>(mRandom.Next() >> (33 + mRandom.Below(31))); }
    std::uint32_t Unsigned() { return static_cast<std::uint32_t>(mRandom.Next() >> (32 + mRandom.Below(32))); }

    SCameraValues Camera() {
        constexpr std::int32_t max = std::numeric_limits<std::int32_t>::max();
        SCameraValues values;
        values.productId = kProducts[mRandom.Below(std::size(kProducts))];
        const bool plain = mRandom.Below(2) == 0;
        values.clock = plain ? Pick({24000000, 37125000, 48000000, 74250000}) : Pick({0, 1, max, Number(), Number()});
        values.totalHClock = plain ? Pick({500, 1040, 2200, 4400}) : Pick({0, 1, max, Number(), Number()});
        values.totalVLine = plain ? Pick({525, 1125, 2250}) : Pick({0, 1, max, Number()});
        values.width = plain ? Pick({640, 1280, 2048}) : Pick({0, 1, 71, 72, 73, 111, 112, 113, max, Number()});
        values.height = plain ? Pick({480, 1024, 1536}) : Pick({0, 1, max, Number()});
        values.binningH = Pick({0, 1, 2, 3, 4, 255, 0x101});
        values.binningV = Pick({0, 1, 2, 3, 4, 255, 0x101, 0x200});
        values.vblank = plain ? Pick({0, 10, 400}) : Pick({0, 1, max, Number()});
        values.maxShort = Pick({0, 1, 2, 1000, max, Number()});
        values.maxLong = static_cast<std::uint32_t>(plain ? -1 : Pick({0, 1, 2, 1000, max, -1, Number()}));
        values.timeBase = plain ? 74 : mRandom.Below(4) == 0 ? 0 : Unsigned();
        values.timeOffset = plain ? 1019 : mRandom.Below(4) == 0 ? 0 : Unsigned();
        values.hasVBlank = static_cast<std::uint8_t>(Pick({0, 1, 1, 1, 2, 255}));
        values.hasDigitalGain = static_cast<std::uint8_t>(Pick({0, 1, 1, 2, 128}));
        values.digitalGainFromOne = static_cast<std::uint8_t>(Pick({0, 0, 1, 64}));
        values.maxDigitalGain = static_cast<std::uint16_t>(Pick({0, 1, 63, 64, 65, 192, 1023, 65535}));
        return values;
    }

    /// A time, rate or factor.
    float Real() {
        const auto nudge = [this](double value) {
            float f = static_cast<float>(value);
            for (std::uint64_t steps = mRandom.Below(3); steps > 0; --steps) {
                f = std::nextafter(f, mRandom.Below(2) == 0 ? -1.0F : 1e30F);
            }
            return f;
        };
        switch (mRandom.Below(8)) {
        case 0:
            return std::bit_cast<float>(static_cast<std::uint32_t>(mRandom.Next()));
        case 1: {
            constexpr double points[] = {0.0,      -0.0, 1e-45, 1e-6, 0.00001373, 0.000022, 1e-3,
                                         1.0,      -1.0, -1e-6, 1e19, 1.9e19,     1e38,     -1e38,
                                         4294.967, 0.5,  2.0,   64.0, 1.015625,   33554432, 1023.99};
            return nudge(points[mRandom.Below(std::size(points))]);
        }
        case 2: {
            constexpr float inf = std::numeric_limits<float>::infinity();
            constexpr float points[] = {inf, -inf, std::numeric_limits<float>::quiet_NaN(),
                                        std::numeric_limits<float>::max(), std::numeric_limits<float>::denorm_min()};
            return points[mRandom.Below(std::size(points))];
        }
        case 3:
            return static_cast<float>(mRandom.Below(1000000)) / 1000000.0F;
        case 4:
            return static_cast<float>(mRandom.Below(100000)) / 64.0F;
        default:
            return static_cast<float>(std::pow(10.0, static_cast<double>(mRandom.Below(9000)) / 1000.0 - 7.0));
        }
    }

    unsigned long Clocks(const SCameraValues& values) {
        constexpr unsigned long points[] = {0,       1,          2,          21,         22,          23,
                                            1000000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x100000000, ~0UL};
        switch (mRandom.Below(5)) {
        case 0:
            return points[mRandom.Below(std::size(points))];
        case 1:
            return values.maxLong + mRandom.Below(3) - 1;
        case 2:
            return values.timeOffset + mRandom.Below(3) - 1;
        default:
            return mRandom.Next() >> mRandom.Below(64);
        }
    }

private:
    CRandom mRandom;
};

} // namespace vek::test
