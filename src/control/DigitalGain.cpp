// SPDX-License-Identifier: Apache-2.0
#include "control/DigitalGain.h"

#include "common/Saturate.h"

#include <algorithm>
#include <cstdint>

namespace vek {

float digitalGainTimesFromValue(bool fromOne, unsigned short value, unsigned short maxValue) {
    const double times = std::min(value, maxValue) / 64.0;
    return static_cast<float>(fromOne ? times + 1.0 : times);
}

unsigned short digitalGainValueFromTimes(bool fromOne, float times, unsigned short maxValue) {
    const float steps = 64 * times;
    // A 32-bit number, of which the register takes 16 bits.
    const std::int32_t rounded = saturateTo<std::int32_t>(static_cast<double>(steps) + 0.5);
    auto value = static_cast<unsigned short>(rounded);
    if (fromOne) {
        value = value < 65 ? 0 : static_cast<unsigned short>(value - 64);
    }
    return std::min(value, maxValue);
}

} // namespace vek
