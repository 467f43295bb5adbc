// SPDX-License-Identifier: Apache-2.0
#include "control/GainCurve.h"

#include "common/Saturate.h"

#include <cmath>
#include <cstdint>

namespace vek {

namespace {

/// Linear gain to setting value on the curve of type 3: the exponent in steps of 64, the fraction below one step.
float exponentValue(double gain) {
    if (std::isinf(gain)) {
        return std::numeric_limits<float>::infinity(); // halving would never end
    }
    std::uint8_t exponent = 0;
    while (gain >= 2.0) {
        gain = gain / 2.0;
        ++exponent;
    }
    std::uint8_t fraction = 0;
    if (gain >= 1.0) {
        fraction = saturateTo<std::uint8_t>((gain - 1.0) / 64.0);
    }
    return static_cast<float>(exponent * 64 + fraction);
}

} // namespace

float gainDbFromValue(unsigned long gainType, unsigned short value) {
    switch (gainType) {
    case 1:
        return static_cast<float>((value + 128) * 0.07038 + 2.0);
    case 2: {
        // The sums stay within 16 bits, as the register does.
        const double gain = value > 20 ? static_cast<std::uint16_t>(value - 12) * 28 / 64.0
                                       : static_cast<std::uint16_t>(value + 8) * 8 / 64.0;
        return static_cast<float>(20 * std::log10(gain));
    }
    case 3: {
        const auto gain = static_cast<float>(((value & 63) / 64.0 + 1.0) * (1 << ((value >> 6) & 3)));
        return static_cast<float>(20 * std::log10(static_cast<double>(gain)));
    }
    case 4:
        return static_cast<float>(value * 0.1);
    case 5:
        return static_cast<float>(value * 0.0351);
    default:
        return static_cast<float>(value * 0.132 - 2.36);
    }
}

unsigned short gainValueFromDb(unsigned long gainType, float dB, unsigned short maxGain) {
    const double wanted = dB;
    float value = 0;
    switch (gainType) {
    case 1:
        value = static_cast<float>((wanted - 2.0) / 0.07038 - 128.0);
        break;
    case 2: {
        const auto n = saturateTo<std::uint32_t>(64 * std::pow(10.0, wanted / 20));
        value = n <= 160 ? static_cast<float>(n / 8.0 - 8) : static_cast<float>(n / 28.0 + 12);
        break;
    }
    case 3:
        value = exponentValue(std::pow(10.0, wanted / 20));
        break;
    case 5:
        value = static_cast<float>(wanted / 0.351 + 0.5);
        break;
    default:
        value = static_cast<float>((wanted + 2.36) / 0.132);
        break;
    }
    if (value < 0) {
        value = 0;
    } else if (value > maxGain) {
        value = maxGain;
    }
    return saturateTo<unsigned short>(static_cast<double>(value));
}

} // namespace vek
