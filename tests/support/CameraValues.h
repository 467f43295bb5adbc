// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/FakeDriver.h"

#include <cstdint>

namespace vek::test {

/// What a camera reports of itself: the description's fields and the controls' values.
struct SCameraValues {
    std::uint32_t productId = 0;
    std::uint16_t initialGain = 0;
    std::uint32_t gainType = 0;
    std::uint16_t maxGain = 0;
    std::uint8_t hasDigitalGain = 0;
    std::uint8_t digitalGainFromOne = 0;
    std::uint16_t maxDigitalGain = 0;
    std::uint16_t defectSlots = 0;
    std::uint8_t hasVBlank = 1;
    std::uint32_t maxLong = 0xFFFFFFFF;
    std::uint32_t timeBase = 0;
    std::uint32_t timeOffset = 0;

    std::int32_t clock = 0;
    std::int32_t totalHClock = 0;
    std::int32_t totalVLine = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t binningH = 0;
    std::int32_t binningV = 0;
    std::int32_t vblank = 0;
    std::int32_t maxShort = 0;
    std::int32_t gain = 0;
    std::int32_t exposure = 0;
};

/// Lets the driver report the values. The description is read when a camera is opened.
inline void report(const SCameraValues& values, CFakeDriver* driver) {
    driver->Describe(0, 4, values.productId);
    driver->Describe(4, 2, values.initialGain);
    driver->Describe(6, 4, values.gainType);
    driver->Describe(10, 2, values.maxGain);
    driver->Describe(12, 1, values.hasDigitalGain);
    driver->Describe(13, 1, values.digitalGainFromOne);
    driver->Describe(14, 2, values.maxDigitalGain);
    driver->Describe(16, 2, values.defectSlots);
    driver->Describe(18, 1, values.hasVBlank);
    driver->Describe(20, 4, values.maxLong);
    driver->Describe(24, 4, values.timeBase);
    driver->Describe(28, 4, values.timeOffset);
    driver->mControls[0x08000404] = values.clock;
    driver->mControls[0x08000402] = values.totalHClock;
    driver->mControls[0x08000403] = values.totalVLine;
    driver->mControls[0x08000400] = values.width;
    driver->mControls[0x08000401] = values.height;
    driver->mControls[0x08000407] = values.binningH;
    driver->mControls[0x08000408] = values.binningV;
    driver->mControls[0x0800000C] = values.vblank;
    driver->mControls[0x0800000D] = values.maxShort;
    driver->mControls[kCidGain] = values.gain;
    driver->mControls[kCidExposure] = values.exposure;
}

} // namespace vek::test
