// SPDX-License-Identifier: Apache-2.0
#include "control/ExposureConversion/ConversionModel.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vek::test {

namespace {

/// Fraction cut off; not a number and negative 0, too large the maximum.
unsigned long toUnsigned(double value) {
    if (!(value > 0.0)) {
        return 0;
    }
    if (value >= 18446744073709551616.0) {
        return std::numeric_limits<unsigned long>::max();
    }
    return static_cast<unsigned long>(value);
}

unsigned long positive(std::int32_t value) {
    return static_cast<unsigned long>(static_cast<long>(value));
}

double timeBase(const SCameraValues& values) {
    return static_cast<double>(static_cast<unsigned long>(values.timeBase) * 1000000UL);
}

unsigned long offsetLineClocks(const SCameraValues& values, float seconds) {
    const double base = timeBase(values);
    const double off = static_cast<double>(values.timeOffset);
    const double tMin = off / base;
    double t = static_cast<double>(seconds);
    if (t < 0.000001) {
        t = 0.000001;
    }
    if (tMin >= t) {
        return toUnsigned(t * base + 0.5);
    }
    const double lineTime =
        static_cast<double>(positive(values.totalHClock)) / static_cast<double>(positive(values.clock));
    const unsigned long n = toUnsigned((t - tMin) / lineTime + 0.5);
    if (n == 0) {
        return values.timeOffset;
    }
    return toUnsigned(static_cast<double>(n) * lineTime * base + off);
}

double offsetLineSeconds(const SCameraValues& values, unsigned long c) {
    const double base = timeBase(values);
    const double off = static_cast<double>(values.timeOffset);
    double t = static_cast<double>(c) / base;
    if (t < 0.000001) {
        t = 0.000001;
    }
    if (values.timeOffset < c) {
        const double tMin = off / base;
        const double lineTime =
            static_cast<double>(positive(values.totalHClock)) / static_cast<double>(positive(values.clock));
        const double signedClocks = static_cast<double>(static_cast<std::int32_t>(static_cast<std::uint32_t>(c)));
        const double k = std::ceil((signedClocks - off) / base / lineTime);
        t = k * lineTime + tMin;
    }
    return t;
}

} // namespace

char modelGroup(std::uint32_t productId) {
    switch (productId) {
    case 0x111:
    case 0x211:
        return 'A';
    case 0x112:
    case 0x212:
        return 'B';
    case 0x113:
    case 0x213:
    case 0x313:
    case 0x413:
    case 0x513:
    case 0x613:
        return 'C';
    case 0x116:
    case 0x216:
    case 0x316:
    case 0x416:
    case 0x516:
    case 0x616:
    case 0x716:
    case 0x816:
        return 'D';
    case 0x315:
    case 0x415:
    case 0x515:
    case 0x615:
    case 0x713:
    case 0x813:
        return 'E';
    default:
        return 'O';
    }
}

SModelRow modelRow(const SCameraValues& values) {
    const unsigned h = static_cast<std::uint8_t>(values.binningH);
    const unsigned v = static_cast<std::uint8_t>(values.binningV);
    const unsigned long f = v > 1 ? 3 : v;
    constexpr unsigned long table[3][3] = {{450, 430, 420}, {796, 776, 766}, {1488, 1468, 1458}};
    const unsigned long base = table[v > 2 ? 2 : v][h > 2 ? 2 : h];
    const unsigned long byWidth = base + positive(values.width) / 2;
    const unsigned long byBinning = (f + 1) * 346 + 140;
    return {2 * std::max(byWidth, byBinning), (f + 1) * 416 + 10};
}

unsigned long modelExposureClocks(const SCameraValues& values, float t) {
    const float clk = static_cast<float>(positive(values.clock));
    const float line = static_cast<float>(positive(values.totalHClock));
    unsigned long result = 0;
    switch (modelGroup(values.productId)) {
    case 'A': {
        const SModelRow row = modelRow(values);
        const float product = clk * t;
        const float sum = product + static_cast<float>(row.rowOffset);
        result = toUnsigned(static_cast<double>(sum / static_cast<float>(row.rowClocks)));
        break;
    }
    case 'B': {
        const float product = clk * t;
        result = toUnsigned(static_cast<double>(product / line));
        break;
    }
    case 'C':
        result = toUnsigned(static_cast<double>(t) * 1000000.0 + 0.5);
        break;
    case 'D':
        result = offsetLineClocks(values, t);
        break;
    case 'E':
        result = 1;
        if (static_cast<double>(t) > 0.00001373) {
            result = toUnsigned(static_cast<double>(positive(values.clock)) * (static_cast<double>(t) - 0.00001373) /
                                static_cast<double>(positive(values.totalHClock)));
            if (result == 0) {
                result = 1;
            }
        }
        break;
    default:
        result = toUnsigned(static_cast<double>(clk * t));
        break;
    }
    if (values.maxLong < result) {
        return values.maxLong;
    }
    return result < 2 ? 1 : result;
}

float modelExposureSeconds(const SCameraValues& values, unsigned long c) {
    if (values.maxLong < c) {
        c = values.maxLong;
    } else if (c == 0) {
        c = positive(values.maxShort);
    }
    const float clk = static_cast<float>(positive(values.clock));
    switch (modelGroup(values.productId)) {
    case 'A': {
        const SModelRow row = modelRow(values);
        return static_cast<float>(row.rowClocks * c - row.rowOffset) / clk;
    }
    case 'B': {
        const float product = static_cast<float>(positive(values.totalHClock)) * static_cast<float>(c);
        return product / clk;
    }
    case 'C': {
        const float t = static_cast<float>(c) / 1000000.0F;
        return t < 0.000022F ? 0.000022F : t;
    }
    case 'D':
        return static_cast<float>(offsetLineSeconds(values, c));
    case 'E':
        return static_cast<float>(static_cast<double>(c) * static_cast<double>(positive(values.totalHClock)) /
                                      static_cast<double>(positive(values.clock)) +
                                  0.00001373);
    default:
        return static_cast<float>(c) / clk;
    }
}

SModelVBlank modelVBlank(const SCameraValues& values, float fps) {
    if (values.hasVBlank == 0) {
        return {-22, false, 0};
    }
    const double clk = static_cast<double>(values.clock);
    const bool rowModel = values.productId == 0x111 || values.productId == 0x211;
    const double line =
        rowModel ? static_cast<double>(modelRow(values).rowClocks) : static_cast<double>(values.totalHClock);
    if (!rowModel && (values.clock == 0 || values.totalHClock == 0)) {
        return {-22, true, 0};
    }
    double frame = 0.0;
    if (rowModel) {
        frame = static_cast<double>(values.height) + 13.0;
    } else if (values.productId == 0x112 || values.productId == 0x212) {
        frame = static_cast<double>(values.totalVLine) - static_cast<double>(values.vblank);
    } else if (values.productId == 0x713 || values.productId == 0x813) {
        frame = static_cast<double>(values.totalVLine) + 28.0;
    } else {
        frame = static_cast<double>(values.totalVLine);
    }
    const double x = (1.0 / (line / clk)) / static_cast<double>(fps) - frame;
    return {0, true, x > 0.0 ? toUnsigned(x + 0.5) : 0};
}

float modelDigitalTimes(const SCameraValues& values, unsigned short value) {
    if (values.hasDigitalGain == 0) {
        return 1.0F;
    }
    const double times = static_cast<double>(std::min(value, values.maxDigitalGain)) / 64.0;
    return static_cast<float>(values.digitalGainFromOne != 0 ? times + 1.0 : times);
}

unsigned short modelDigitalValue(const SCameraValues& values, float times) {
    if (values.hasDigitalGain == 0) {
        return 0;
    }
    const float product = 64.0F * times;
    const double rounded = static_cast<double>(product) + 0.5;
    std::int32_t whole = 0;
    if (rounded >= 2147483647.0) {
        whole = std::numeric_limits<std::int32_t>::max();
    } else if (rounded <= -2147483648.0) {
        whole = std::numeric_limits<std::int32_t>::min();
    } else if (!std::isnan(rounded)) {
        whole = static_cast<std::int32_t>(rounded);
    }
    const unsigned n = static_cast<std::uint32_t>(whole) & 0xFFFFU;
    unsigned value = n;
    if (values.digitalGainFromOne != 0) {
        value = n < 65 ? 0 : n - 64;
    }
    return static_cast<unsigned short>(std::min<unsigned>(value, values.maxDigitalGain));
}

bool sameFloat(float a, float b) {
    return (std::isnan(a) && std::isnan(b)) || (!(a < b) && !(b < a) && !std::isnan(a) && !std::isnan(b));
}

} // namespace vek::test
