// SPDX-License-Identifier: Apache-2.0
// The exported unit conversions: results, refusals, and the plain model's values through the shared library.
#include "VekTrgApi.h"
#include "control/ExposureConversion/ConversionInputs.h"
#include "control/ExposureConversion/ConversionModel.h"
#include "support/OpenHandle.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vek::test {

TEST(CConversionExports, NullHandleTouchesNothing) {
    CFakeDriver driver;
    unsigned long number = 5;
    unsigned short value = 6;
    float real = 7.0F;
    EXPECT_EQ(VekCam_GetVBlankFromFPS(nullptr, 1.0F, &number), -22);
    EXPECT_EQ(VekCam_GetDigitalGainTimesFromSettingValue(nullptr, 1, &real), -22);
    EXPECT_EQ(VekCam_GetDigitalGainSettingValueFromGainTimes(nullptr, 1.0F, &value), -22);
    EXPECT_EQ(VekCam_GetExposureClockFromTime(nullptr, 1.0F, &number), -22);
    EXPECT_EQ(VekCam_GetExposureTimeFromClock(nullptr, 1, &real), -22);
    EXPECT_EQ(VekCam_GetGainDBFromSettingValue(nullptr, 1, &real), -22);
    EXPECT_EQ(number, 5U);
    EXPECT_EQ(value, 6U);
    EXPECT_EQ(real, 7.0F);
    EXPECT_TRUE(driver.Log().empty());
}

TEST(CConversionExports, NullOutputIsRefused) {
    for (const std::uint8_t has : {std::uint8_t{0}, std::uint8_t{1}}) {
        SCameraValues values = plainCamera();
        values.hasDigitalGain = has;
        values.hasVBlank = has;
        for (const std::uint32_t product : kProducts) {
            values.productId = product;
            COpenHandle handle(values);
            EXPECT_EQ(VekCam_GetVBlankFromFPS(handle, 1.0F, nullptr), -22);
            EXPECT_EQ(VekCam_GetDigitalGainTimesFromSettingValue(handle, 1, nullptr), -22);
            EXPECT_EQ(VekCam_GetDigitalGainSettingValueFromGainTimes(handle, 1.0F, nullptr), -22);
            EXPECT_EQ(VekCam_GetExposureClockFromTime(handle, 1.0F, nullptr), -22);
            EXPECT_EQ(VekCam_GetExposureTimeFromClock(handle, 1, nullptr), -22);
            EXPECT_EQ(VekCam_GetGainDBFromSettingValue(handle, 1, nullptr), -22);
        }
    }
}

TEST(CConversionExports, WorkedFigures) {
    COpenHandle handle(plainCamera());
    unsigned long number = 5;
    float real = 7.0F;
    unsigned short value = 6;
    EXPECT_EQ(VekCam_GetGainDBFromSettingValue(handle, 10, &real), 0);
    EXPECT_EQ(real, 1.0F);
    EXPECT_EQ(VekCam_GetDigitalGainTimesFromSettingValue(handle, 128, &real), 1);
    EXPECT_EQ(real, 2.0F);
    EXPECT_EQ(VekCam_GetDigitalGainTimesFromSettingValue(handle, 65535, &real), 1);
    EXPECT_EQ(real, 3.0F);
    EXPECT_EQ(VekCam_GetDigitalGainSettingValueFromGainTimes(handle, 2.0F, &value), 1);
    EXPECT_EQ(value, 128U);
    EXPECT_TRUE(handle.Driver().Log().empty()); // from the description alone
    EXPECT_EQ(VekCam_GetVBlankFromFPS(handle, 10.0F, &number), 0);
    EXPECT_EQ(number, 3000U);
    EXPECT_EQ(VekCam_GetExposureClockFromTime(handle, 0.0F, &number), 1);
    EXPECT_EQ(number, 1U);
    EXPECT_EQ(VekCam_GetExposureTimeFromClock(handle, 0, &real), 1);
    EXPECT_EQ(real, 777.0F / 48000000.0F);
    handle.Driver().mControls[0x08000404] = 0;
    EXPECT_EQ(VekCam_GetVBlankFromFPS(handle, 10.0F, &number), -22);
    EXPECT_EQ(number, 0U);
}

TEST(CConversionExports, DigitalGainFromOne) {
    SCameraValues values = plainCamera();
    values.digitalGainFromOne = 1;
    COpenHandle handle(values);
    float times = 7.0F;
    EXPECT_EQ(VekCam_GetDigitalGainTimesFromSettingValue(handle, 128, &times), 1);
    EXPECT_EQ(times, 3.0F);
    const struct {
        float times;
        unsigned value;
    } cases[] = {{1.0F, 0},         {1.015F, 1}, {64.5F / 64.0F, 1},  {64.4F / 64.0F, 0}, {3.0F, 128},  {100.0F, 192},
                 {-1.0F / 64, 192}, {-1e30F, 0}, {-0.49F / 64.0F, 0}, {1e30F, 192},       {1024.0F, 0}, {1025.5F, 32},
                 {NAN, 0}};
    for (const auto& entry : cases) {
        unsigned short value = 6;
        EXPECT_EQ(VekCam_GetDigitalGainSettingValueFromGainTimes(handle, entry.times, &value), 1);
        EXPECT_EQ(value, modelDigitalValue(values, entry.times)) << entry.times;
        if (entry.times != -1.0F / 64) {
            EXPECT_EQ(value, entry.value) << entry.times;
        }
    }
}

TEST(CConversionExports, NoDigitalGain) {
    SCameraValues values = plainCamera();
    values.hasDigitalGain = 0;
    values.digitalGainFromOne = 1;
    COpenHandle handle(values);
    for (const unsigned short value : {std::uint16_t{0}, std::uint16_t{64}, std::uint16_t{65535}}) {
        float times = 7.0F;
        EXPECT_EQ(VekCam_GetDigitalGainTimesFromSettingValue(handle, value, &times), 1);
        EXPECT_EQ(times, 1.0F);
        unsigned short back = 6;
        EXPECT_EQ(VekCam_GetDigitalGainSettingValueFromGainTimes(handle, static_cast<float>(value), &back), 1);
        EXPECT_EQ(back, 0U);
    }
}

TEST(CConversionExports, RandomCamerasAndInputs) {
    CConversionInputs inputs(4);
    for (int round = 0; round < 5000; ++round) {
        const SCameraValues values = inputs.Camera();
        COpenHandle handle(values);
        const float real = inputs.Real();
        unsigned long number = 5;
        ASSERT_EQ(VekCam_GetExposureClockFromTime(handle, real, &number), 1);
        ASSERT_EQ(number, modelExposureClocks(values, real)) << round;
        const unsigned long clocks = inputs.Clocks(values);
        float seconds = 7.0F;
        ASSERT_EQ(VekCam_GetExposureTimeFromClock(handle, clocks, &seconds), 1);
        ASSERT_TRUE(sameFloat(seconds, modelExposureSeconds(values, clocks))) << round;
        const SModelVBlank blank = modelVBlank(values, real);
        number = 5;
        ASSERT_EQ(VekCam_GetVBlankFromFPS(handle, real, &number), blank.result);
        ASSERT_EQ(number, blank.stores ? blank.lines : 5) << round;
        unsigned short value = 6;
        ASSERT_EQ(VekCam_GetDigitalGainSettingValueFromGainTimes(handle, real, &value), 1);
        ASSERT_EQ(value, modelDigitalValue(values, real)) << round << ' ' << real;
    }
}

// On a descriptor that is no camera every value reads as 0.
TEST(CConversionExports, NoCamera) {
    CFakeDriver driver;
    driver.FailAll({-1, 25, false});
    const VekCam_Handle handle = VekCam_Open(4);
    unsigned long number = 5;
    float real = 7.0F;
    unsigned short value = 6;
    EXPECT_EQ(VekCam_GetVBlankFromFPS(handle, 10.0F, &number), -22);
    EXPECT_EQ(number, 5U);
    EXPECT_EQ(VekCam_GetExposureClockFromTime(handle, 1.0F, &number), 1);
    EXPECT_EQ(number, 1U);
    EXPECT_EQ(VekCam_GetExposureTimeFromClock(handle, 1, &real), 1);
    EXPECT_TRUE(std::isnan(real)); // 0 / 0
    EXPECT_EQ(VekCam_GetDigitalGainTimesFromSettingValue(handle, 1, &real), 1);
    EXPECT_EQ(real, 1.0F);
    EXPECT_EQ(VekCam_GetDigitalGainSettingValueFromGainTimes(handle, 9.0F, &value), 1);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(VekCam_GetGainDBFromSettingValue(handle, 0, &real), 0);
    EXPECT_EQ(real, -2.36F);
    VekCam_Close(handle);
}

} // namespace vek::test
