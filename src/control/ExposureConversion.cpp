// SPDX-License-Identifier: Apache-2.0
#include "control/ExposureConversion.h"

#include "common/Saturate.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vek {

namespace {

/// Part of the exposure that the lines do not count, seconds (EExposureUnit::LineWithConstant).
constexpr double kLineConstant = 0.00001373;
/// Shortest times that the conversions know, seconds.
constexpr float kShortestMicrosecondExposure = 0.000022F;
constexpr double kShortestOffsetExposure = 0.000001;

float asFloat(unsigned long value) {
    return static_cast<float>(value);
}

double asDouble(unsigned long value) {
    return static_cast<double>(value);
}

/// Times of EExposureUnit::LineWithOffset, seconds but for clocksPerSecond.
struct SOffsetTiming {
    double clocksPerSecond;
    double offset;
    double lineTime;

    explicit SOffsetTiming(const SExposureTiming& timing)
        : clocksPerSecond(asDouble(timing.timeBase * 1000000)), offset(asDouble(timing.timeOffset) / clocksPerSecond),
          lineTime(asDouble(timing.totalHClock) / asDouble(timing.clock)) {}
};

unsigned long offsetClocks(const SExposureTiming& timing, float seconds) {
    const SOffsetTiming times(timing);
    const double wanted = std::max(static_cast<double>(seconds), kShortestOffsetExposure);
    if (times.offset >= wanted) {
        return saturateTo<unsigned long>(wanted * times.clocksPerSecond + 0.5);
    }
    const auto lines = saturateTo<unsigned long>((wanted - times.offset) / times.lineTime + 0.5);
    if (lines == 0) {
        return timing.timeOffset;
    }
    return saturateTo<unsigned long>(asDouble(lines) * times.lineTime * times.clocksPerSecond +
                                     asDouble(timing.timeOffset));
}

float offsetSeconds(const SExposureTiming& timing, unsigned long clocks) {
    const SOffsetTiming times(timing);
    double seconds = asDouble(clocks) / times.clocksPerSecond;
    if (seconds < kShortestOffsetExposure) {
        seconds = kShortestOffsetExposure;
    }
    if (timing.timeOffset < clocks) {
        // The driver's exposure control is a signed 32-bit number.
        const auto signedClocks = static_cast<double>(static_cast<std::int32_t>(static_cast<std::uint32_t>(clocks)));
        const double lines =
            std::ceil((signedClocks - asDouble(timing.timeOffset)) / times.clocksPerSecond / times.lineTime);
        seconds = lines * times.lineTime + times.offset;
    }
    return static_cast<float>(seconds);
}

/// The formulas without the limits that all units share.
unsigned long clocksOf(const SExposureTiming& timing, float seconds) {
    switch (timing.unit) {
    case EExposureUnit::Row:
        return saturateTo<unsigned long>((asFloat(timing.clock) * seconds + asFloat(timing.row.rowOffset)) /
                                         asFloat(timing.row.rowClocks));
    case EExposureUnit::Line:
        return saturateTo<unsigned long>(asFloat(timing.clock) * seconds / asFloat(timing.totalHClock));
    case EExposureUnit::Microsecond:
        return saturateTo<unsigned long>(static_cast<double>(seconds) * 1000000 + 0.5);
    case EExposureUnit::LineWithOffset:
        return offsetClocks(timing, seconds);
    case EExposureUnit::LineWithConstant: {
        const double wanted = static_cast<double>(seconds);
        if (!(wanted > kLineConstant)) {
            return 1;
        }
        const auto lines =
            saturateTo<unsigned long>(asDouble(timing.clock) * (wanted - kLineConstant) / asDouble(timing.totalHClock));
        return std::max(lines, 1UL);
    }
    default:
        return saturateTo<unsigned long>(asFloat(timing.clock) * seconds);
    }
}

} // namespace

SRowClocks rowClocksOf(unsigned long width, unsigned char binningH, unsigned char binningV) {
    // Sensor clocks besides half the width, by vertical and horizontal binning code.
    static constexpr unsigned long kBase[3][3] = {{450, 430, 420}, {796, 776, 766}, {1488, 1468, 1458}};
    const unsigned long binnedRows = (binningV > 1 ? 3UL : binningV) + 1;
    const unsigned long base = kBase[std::min<unsigned>(binningV, 2)][std::min<unsigned>(binningH, 2)];
    return {2 * std::max(base + width / 2, binnedRows * 346 + 140), binnedRows * 416 + 10};
}

unsigned long exposureClocksFromSeconds(const SExposureTiming& timing, float seconds, unsigned long maxLong) {
    const unsigned long clocks = clocksOf(timing, seconds);
    if (maxLong < clocks) {
        return maxLong;
    }
    return clocks < 2 ? 1 : clocks;
}

float secondsFromExposureClocks(const SExposureTiming& timing, unsigned long clocks) {
    switch (timing.unit) {
    case EExposureUnit::Row:
        return asFloat(timing.row.rowClocks * clocks - timing.row.rowOffset) / asFloat(timing.clock);
    case EExposureUnit::Line:
        return asFloat(timing.totalHClock) * asFloat(clocks) / asFloat(timing.clock);
    case EExposureUnit::Microsecond:
        return std::max(asFloat(clocks) / 1000000.0F, kShortestMicrosecondExposure);
    case EExposureUnit::LineWithOffset:
        return offsetSeconds(timing, clocks);
    case EExposureUnit::LineWithConstant:
        return static_cast<float>(asDouble(clocks) * asDouble(timing.totalHClock) / asDouble(timing.clock) +
                                  kLineConstant);
    default:
        return asFloat(clocks) / asFloat(timing.clock);
    }
}

unsigned long vblankFromFps(unsigned long clock, unsigned long lineClocks, double frameLines, float fps) {
    const double linesPerSecond = 1 / (asDouble(lineClocks) / asDouble(clock));
    const double blanking = linesPerSecond / static_cast<double>(fps) - frameLines;
    return blanking > 0 ? saturateTo<unsigned long>(blanking + 0.5) : 0;
}

} // namespace vek
