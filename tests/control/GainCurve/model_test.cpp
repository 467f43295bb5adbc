// SPDX-License-Identifier: Apache-2.0
// Gain curves: worked figures, and every value against a plain evaluation in double.
#include "control/GainCurve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace vek::test {

namespace {

constexpr unsigned long kTypes[] = {0, 1, 2, 3, 4, 5, 6, 7, 0xFFFFFFFFUL, 0x100000001UL, 0x100000005UL};
constexpr float kInfinity = std::numeric_limits<float>::infinity();

float plainDb(unsigned long type, unsigned value) {
    const double v = value;
    switch (type) {
    case 1:
        return static_cast<float>((v + 128.0) * 0.07038 + 2.0);
    case 2:
        return static_cast<float>(20.0 * std::log10(value > 20 ? (v - 12.0) * 28.0 / 64.0 : (v + 8.0) * 8.0 / 64.0));
    case 3: {
        const double fraction = static_cast<double>(value % 64) / 64.0 + 1.0;
        const double factor = static_cast<double>(1U << (value / 64 % 4));
        const float gain = static_cast<float>(fraction * factor);
        return static_cast<float>(20.0 * std::log10(static_cast<double>(gain)));
    }
    case 4:
        return static_cast<float>(v * 0.1);
    case 5:
        return static_cast<float>(v * 0.0351);
    default:
        return static_cast<float>(v * 0.132 - 2.36);
    }
}

/// The unclamped setting value. A decibel value is taken to double, the result kept as a float.
float plainSetting(unsigned long type, float decibel) {
    const double dB = static_cast<double>(decibel);
    switch (type) {
    case 1:
        return static_cast<float>((dB - 2.0) / 0.07038 - 128.0);
    case 2: {
        const double n = std::floor(64.0 * std::pow(10.0, dB / 20.0));
        return static_cast<float>(n <= 160.0 ? n / 8.0 - 8.0 : n / 28.0 + 12.0);
    }
    case 3: {
        double gain = std::pow(10.0, dB / 20.0);
        int exponent = 0;
        for (; gain >= 2.0; gain /= 2.0) {
            ++exponent;
        }
        return static_cast<float>(exponent % 256 * 64);
    }
    case 5:
        return static_cast<float>(dB / 0.351 + 0.5);
    default:
        return static_cast<float>((dB + 2.36) / 0.132);
    }
}

unsigned plainValue(unsigned long type, float decibel, unsigned maxGain) {
    const float setting = plainSetting(type, decibel);
    if (!(setting > 0.0F)) {
        return 0;
    }
    return setting > static_cast<float>(maxGain) ? maxGain : static_cast<unsigned>(setting);
}

} // namespace

TEST(CGainCurve, EveryValueOfEveryType) {
    for (const unsigned long type : kTypes) {
        unsigned wrong = 0;
        for (unsigned value = 0; value <= 65535; ++value) {
            const float expected = plainDb(type, value);
            const float result = gainDbFromValue(type, static_cast<unsigned short>(value));
            if (expected != result && ++wrong <= 3) {
                ADD_FAILURE() << "type " << type << ", value " << value << ": " << result << ", not " << expected;
            }
        }
        EXPECT_EQ(wrong, 0U) << "type " << type;
    }
}

TEST(CGainCurve, WorkedDecibels) {
    EXPECT_FLOAT_EQ(gainDbFromValue(1, 0), 11.00864F); // 128 * 0.07038 + 2
    EXPECT_EQ(gainDbFromValue(2, 20), static_cast<float>(20.0 * std::log10(3.5)));
    EXPECT_EQ(gainDbFromValue(2, 21), static_cast<float>(20.0 * std::log10(9.0 * 28.0 / 64.0)));
    EXPECT_EQ(gainDbFromValue(2, 0), 0.0F); // 8 * 8 / 64 = 1
    EXPECT_EQ(gainDbFromValue(3, 0), 0.0F);
    EXPECT_EQ(gainDbFromValue(3, 0x100), 0.0F);                                         // bit 8 does not count
    EXPECT_EQ(gainDbFromValue(3, 0xFF), static_cast<float>(20.0 * std::log10(15.875))); // (63/64 + 1) * 8
    EXPECT_EQ(gainDbFromValue(4, 10), 1.0F);
    EXPECT_FLOAT_EQ(gainDbFromValue(5, 1000), 35.1F);
    EXPECT_EQ(gainDbFromValue(0, 0), -2.36F);
}

TEST(CGainCurve, WorkedSettings) {
    EXPECT_EQ(gainValueFromDb(1, gainDbFromValue(1, 0), 1000), 0U);
    EXPECT_EQ(gainValueFromDb(2, gainDbFromValue(2, 20), 1000), 20U); // n = 224, above 160: 224 / 28 + 12
    EXPECT_EQ(gainValueFromDb(2, 0.0F, 1000), 0U);                    // n = 64: 64 / 8 - 8
    EXPECT_EQ(gainValueFromDb(4, 0.0F, 1000), 17U);                   // default curve: 2.36 / 0.132 = 17.88
    EXPECT_EQ(gainValueFromDb(5, 3.51F, 1000), 10U);                  // 10.5
    EXPECT_EQ(gainValueFromDb(5, 0.0F, 1000), 0U);                    // 0.5
}

TEST(CGainCurve, SettingsOfATightGrid) {
    for (const unsigned long type : kTypes) {
        unsigned wrong = 0;
        for (int step = -40000; step <= 40000; ++step) {
            const float dB = static_cast<float>(step) * 0.00390625F + 0.0009F;
            for (const unsigned short maxGain : {std::uint16_t{1023}, std::uint16_t{65535}}) {
                const unsigned expected = plainValue(type, dB, maxGain);
                const unsigned result = gainValueFromDb(type, dB, maxGain);
                if (expected != result && ++wrong <= 3) {
                    ADD_FAILURE() << "type " << type << ", " << dB << " dB: " << result << ", not " << expected;
                }
            }
        }
        EXPECT_EQ(wrong, 0U) << "type " << type;
    }
}

// Each setting value's own decibels, the points where a curve is most likely to miss a step.
TEST(CGainCurve, SettingsOfEachValuesDecibels) {
    for (const unsigned long type : kTypes) {
        unsigned wrong = 0;
        for (unsigned value = 0; value <= 65535; ++value) {
            const float dB = gainDbFromValue(type, static_cast<unsigned short>(value));
            const unsigned expected = plainValue(type, dB, 65535);
            const unsigned result = gainValueFromDb(type, dB, 65535);
            if (expected != result && ++wrong <= 3) {
                ADD_FAILURE() << "type " << type << ", value " << value << ": " << result << ", not " << expected;
            }
        }
        EXPECT_EQ(wrong, 0U) << "type " << type;
    }
}

TEST(CGainCurve, Type3GivesMultiplesOf64UpToTheMaximum) {
    for (int step = -1000; step <= 4000; ++step) {
        const unsigned value = gainValueFromDb(3, static_cast<float>(step) * 0.01F, 200);
        EXPECT_TRUE(value % 64 == 0 || value == 200) << step;
    }
    EXPECT_EQ(gainValueFromDb(3, 6.1F, 1000), 64U);
    EXPECT_EQ(gainValueFromDb(3, 5.9F, 1000), 0U);
    EXPECT_EQ(gainValueFromDb(3, 40.0F, 1000), 384U); // 100 = 1.5625 * 2^6
    EXPECT_EQ(gainValueFromDb(3, 40.0F, 200), 200U);
}

TEST(CGainCurve, ExtremeDecibels) {
    for (const unsigned long type : kTypes) {
        for (const unsigned short maxGain : {std::uint16_t{0}, std::uint16_t{500}, std::uint16_t{65535}}) {
            EXPECT_EQ(gainValueFromDb(type, -kInfinity, maxGain), 0U) << type;
            EXPECT_EQ(gainValueFromDb(type, -3e38F, maxGain), 0U) << type;
            EXPECT_EQ(gainValueFromDb(type, -1000.0F, maxGain), 0U) << type;
            if (type != 3) {
                EXPECT_EQ(gainValueFromDb(type, kInfinity, maxGain), maxGain) << type;
                EXPECT_EQ(gainValueFromDb(type, 3e38F, maxGain), maxGain) << type;
            } else {
                // The exponent count has 8 bits; what counts is that the search ends.
                EXPECT_LE(gainValueFromDb(type, kInfinity, maxGain), maxGain);
                EXPECT_LE(gainValueFromDb(type, 3e38F, maxGain), maxGain);
            }
        }
    }
}

// Not a number is no gain.
TEST(CGainCurve, NotANumberGives0) {
    for (const unsigned long type : kTypes) {
        for (const unsigned short maxGain : {std::uint16_t{0}, std::uint16_t{500}, std::uint16_t{65535}}) {
            EXPECT_EQ(gainValueFromDb(type, std::numeric_limits<float>::quiet_NaN(), maxGain), 0U) << type;
        }
    }
}

} // namespace vek::test
