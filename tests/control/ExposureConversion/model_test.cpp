// SPDX-License-Identifier: Apache-2.0
// Exposure in clocks and seconds through the camera object: random cameras and inputs against the plain model.
#include "api/VekTrgCamera.h"
#include "control/ExposureConversion/ConversionInputs.h"
#include "control/ExposureConversion/ConversionModel.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace vek::test {

namespace {

constexpr int kFd = 9;

std::string describe(const SCameraValues& v) {
    char text[400];
    std::snprintf(text, sizeof text,
                  "product %x clock %d line %d frame %d size %d x %d binning %d %d vblank %d short %d long %u base %u "
                  "offset %u digital %d %d %d",
                  v.productId, v.clock, v.totalHClock, v.totalVLine, v.width, v.height, v.binningH, v.binningV,
                  v.vblank, v.maxShort, v.maxLong, v.timeBase, v.timeOffset, v.hasDigitalGain, v.digitalGainFromOne,
                  v.maxDigitalGain);
    return text;
}

class COpenCamera {
public:
    explicit COpenCamera(const SCameraValues& values, CFakeDriver* driver) {
        report(values, driver);
        mCamera.CameraOpen(kFd);
        driver->ClearLog();
    }
    ~COpenCamera() { mCamera.CameraClose(); }
    COpenCamera(const COpenCamera&) = delete;
    COpenCamera& operator=(const COpenCamera&) = delete;
    CVekTrgCamera* operator->() { return &mCamera; }

private:
    CVekTrgCamera mCamera;
};

/// Nothing but control reads on the opened descriptor.
bool readsOnly(const CFakeDriver& driver) {
    for (const SRequest& request : driver.Log()) {
        if (request.number != kGetControl || request.fd != kFd) {
            return false;
        }
    }
    return true;
}

unsigned long clocksOf(const SCameraValues& values, float seconds) {
    CFakeDriver driver;
    COpenCamera camera(values, &driver);
    unsigned long clocks = 99;
    EXPECT_TRUE(camera->GetExposureClockFromTime(seconds, &clocks));
    return clocks;
}

float secondsOf(const SCameraValues& values, unsigned long clocks) {
    CFakeDriver driver;
    COpenCamera camera(values, &driver);
    float seconds = -1.0F;
    EXPECT_TRUE(camera->GetExposureTimeFormClock(clocks, &seconds));
    return seconds;
}

} // namespace

TEST(CExposureConversion, RandomCamerasAndInputs) {
    CConversionInputs inputs(1);
    unsigned wrong = 0;
    for (int round = 0; round < 50000 && wrong < 10; ++round) {
        const SCameraValues values = inputs.Camera();
        CFakeDriver driver;
        COpenCamera camera(values, &driver);
        for (int i = 0; i < 8; ++i) {
            const float seconds = inputs.Real();
            unsigned long clocks = 99;
            const bool stored = camera->GetExposureClockFromTime(seconds, &clocks);
            const unsigned long expectedClocks = modelExposureClocks(values, seconds);
            if (!stored || clocks != expectedClocks) {
                ++wrong;
                ADD_FAILURE() << describe(values) << ": " << std::hexfloat << seconds << std::defaultfloat
                              << " s gives " << clocks << ", not " << expectedClocks;
            }
            const unsigned long given = inputs.Clocks(values);
            float result = -1.0F;
            const bool storedSeconds = camera->GetExposureTimeFormClock(given, &result);
            const float expected = modelExposureSeconds(values, given);
            if (!storedSeconds || !sameFloat(result, expected)) {
                ++wrong;
                ADD_FAILURE() << describe(values) << ": " << given << " clocks give " << result << ", not " << expected;
            }
        }
        EXPECT_TRUE(readsOnly(driver));
    }
}

TEST(CExposureConversion, RowClocks) {
    CFakeDriver driver;
    COpenCamera camera({}, &driver);
    SCameraValues values;
    for (const int width : {0, 1, 2, 71, 72, 73, 74, 91, 92, 93, 111, 112, 113, 132, 640, 641, 5000, 0x7FFFFFFF}) {
        for (const int h : {0, 1, 2, 3, 7, 255, 256}) {
            for (const int v : {0, 1, 2, 3, 4, 254, 255, 256, 257, 258}) {
                values.width = width;
                values.binningH = h;
                values.binningV = v;
                report(values, &driver);
                unsigned long clocks = 0;
                unsigned long offset = 0;
                ASSERT_TRUE(camera->GetAptina4MRowClockCount(&clocks, &offset));
                const SModelRow row = modelRow(values);
                ASSERT_EQ(clocks, row.rowClocks) << width << ' ' << h << ' ' << v;
                ASSERT_EQ(offset, row.rowOffset) << width << ' ' << h << ' ' << v;
            }
        }
    }
    values.width = 640;
    values.binningH = 3;
    values.binningV = 3;
    report(values, &driver);
    unsigned long clocks = 0;
    unsigned long offset = 0;
    ASSERT_TRUE(camera->GetAptina4MRowClockCount(&clocks, &offset));
    EXPECT_EQ(clocks, 2U * (1458 + 320));
    EXPECT_EQ(offset, 4U * 416 + 10);
}

// Refused reads give 0: a size of 0, no binning.
TEST(CExposureConversion, RowClocksWithoutADriver) {
    CFakeDriver driver;
    COpenCamera camera(plainCamera(0x111), &driver);
    driver.FailAll({-1, 5, false});
    unsigned long clocks = 0;
    unsigned long offset = 0;
    EXPECT_TRUE(camera->GetAptina4MRowClockCount(&clocks, &offset));
    EXPECT_EQ(clocks, 2U * 486);
    EXPECT_EQ(offset, 426U);
}

TEST(CExposureConversion, EveryProductIdHasItsGroup) {
    CFakeDriver driver;
    for (std::uint32_t id = 0; id < 0x1000; ++id) {
        const SCameraValues values = plainCamera(id);
        COpenCamera camera(values, &driver);
        unsigned long clocks = 0;
        ASSERT_TRUE(camera->GetExposureClockFromTime(0.0123F, &clocks));
        ASSERT_EQ(clocks, modelExposureClocks(values, 0.0123F)) << std::hex << id;
        float seconds = 0.0F;
        ASSERT_TRUE(camera->GetExposureTimeFormClock(12345, &seconds));
        ASSERT_EQ(seconds, modelExposureSeconds(values, 12345)) << std::hex << id;
    }
}

TEST(CExposureConversion, WorkedFigures) {
    EXPECT_EQ(clocksOf(plainCamera(0x113), 0.5F), 500000U);
    EXPECT_EQ(secondsOf(plainCamera(0x113), 10), 0.000022F);
    EXPECT_EQ(secondsOf(plainCamera(0x613), 22), 0.000022F);
    EXPECT_EQ(secondsOf(plainCamera(0x613), 500000), 0.5F);
    EXPECT_EQ(clocksOf(plainCamera(0), 0.0F), 1U);
    EXPECT_EQ(clocksOf(plainCamera(0), 0.5F), 24000000U);
    EXPECT_EQ(secondsOf(plainCamera(0), 24000000), 0.5F);
    EXPECT_EQ(secondsOf(plainCamera(0), 0), 777.0F / 48000000.0F);
    EXPECT_EQ(clocksOf(plainCamera(0x112), 0.5F), 20000U);
    EXPECT_EQ(secondsOf(plainCamera(0x212), 20000), 0.5F);
    EXPECT_EQ(clocksOf(plainCamera(0x315), 0.00001373F), 1U);
    EXPECT_EQ(clocksOf(plainCamera(0x813), 0.5F), 19999U); // 19999.45 lines
    EXPECT_EQ(clocksOf(plainCamera(0x116), 0.0F), 74U);    // a microsecond at the least
    // 1019 / 74 MHz = 13.77 us; one line is 25 us or 1850 clocks.
    EXPECT_EQ(clocksOf(plainCamera(0x116), 0.000020F), 1019U);
    EXPECT_EQ(clocksOf(plainCamera(0x816), 0.000040F), 2869U);
    EXPECT_FLOAT_EQ(secondsOf(plainCamera(0x816), 1020), 0.0000387702703F);
    EXPECT_FLOAT_EQ(secondsOf(plainCamera(0x816), 1019), 0.0000137702703F);
    EXPECT_EQ(secondsOf(plainCamera(0x816), 1), 0.000001F);
    // Rows of 2 x (450 + 640) clocks, 426 clocks of offset.
    EXPECT_EQ(clocksOf(plainCamera(0x111), 0.01F), 220U); // 480426 / 2180
    EXPECT_EQ(secondsOf(plainCamera(0x211), 220), 479174.0F / 48000000.0F);
}

TEST(CExposureConversion, Limits) {
    for (const std::uint32_t product : kProducts) {
        SCameraValues values = plainCamera(product);
        values.maxLong = 0;
        EXPECT_EQ(clocksOf(values, -1e30F), modelExposureClocks(values, -1e30F));
        EXPECT_EQ(clocksOf(values, 1.0F), 0U);
        values.maxLong = 1;
        EXPECT_EQ(clocksOf(values, 1.0F), 1U);
        values.maxLong = 100;
        EXPECT_EQ(clocksOf(values, 1e30F), 100U);
        EXPECT_EQ(clocksOf(values, std::numeric_limits<float>::infinity()), 100U);
        EXPECT_EQ(secondsOf(values, 101), secondsOf(values, 100)) << std::hex << product;
        EXPECT_EQ(secondsOf(values, ~0UL), secondsOf(values, 100)) << std::hex << product;
        values.maxLong = 1000;
        EXPECT_EQ(secondsOf(values, 0), secondsOf(values, 777)) << std::hex << product;
        // The longest short exposure is not limited to the longest one.
        values.maxLong = 5;
        EXPECT_TRUE(sameFloat(secondsOf(values, 0), modelExposureSeconds(values, 0))) << std::hex << product;
    }
}

TEST(CExposureConversion, NoClockOrLine) {
    for (const std::uint32_t product : kProducts) {
        for (const unsigned zeros : {1U, 2U, 3U, 4U, 7U}) {
            SCameraValues values = plainCamera(product);
            values.clock = (zeros & 1U) != 0 ? 0 : values.clock;
            values.totalHClock = (zeros & 2U) != 0 ? 0 : values.totalHClock;
            values.timeBase = (zeros & 4U) != 0 ? 0 : values.timeBase;
            for (const float seconds : {0.0F, 0.5F, -0.5F, 1e30F, std::numeric_limits<float>::quiet_NaN()}) {
                EXPECT_EQ(clocksOf(values, seconds), modelExposureClocks(values, seconds))
                    << std::hex << product << " zeros " << zeros << ' ' << seconds;
            }
            for (const unsigned long clocks : {0UL, 1UL, 1019UL, 1020UL, 0x80000000UL}) {
                EXPECT_TRUE(sameFloat(secondsOf(values, clocks), modelExposureSeconds(values, clocks)))
                    << std::hex << product << " zeros " << zeros << ' ' << clocks;
            }
        }
    }
}

TEST(CVBlankConversion, RandomCamerasAndInputs) {
    CConversionInputs inputs(2);
    for (int round = 0; round < 50000; ++round) {
        SCameraValues values = inputs.Camera();
        CFakeDriver driver;
        COpenCamera camera(values, &driver);
        for (int i = 0; i < 6; ++i) {
            const float fps = inputs.Real();
            unsigned long lines = 0xDEAD;
            const long result = camera->GetVBlankFromFPS(fps, &lines);
            const SModelVBlank expected = modelVBlank(values, fps);
            ASSERT_EQ(result, expected.result) << describe(values) << ": " << fps;
            ASSERT_EQ(lines, expected.stores ? expected.lines : 0xDEAD) << describe(values) << ": " << fps;
        }
        EXPECT_TRUE(readsOnly(driver));
    }
}

TEST(CVBlankConversion, EveryProductIdHasItsGroup) {
    CFakeDriver driver;
    for (std::uint32_t id = 0; id < 0x1000; ++id) {
        const SCameraValues values = plainCamera(id);
        COpenCamera camera(values, &driver);
        unsigned long lines = 0;
        ASSERT_EQ(camera->GetVBlankFromFPS(10.0F, &lines), 0) << std::hex << id;
        ASSERT_EQ(lines, modelVBlank(values, 10.0F).lines) << std::hex << id;
    }
}

TEST(CVBlankConversion, CameraWithoutBlankingIsNotAskedAndStoresNothing) {
    for (const std::uint32_t product : kProducts) {
        SCameraValues values = plainCamera(product);
        values.hasVBlank = 0;
        CFakeDriver driver;
        COpenCamera camera(values, &driver);
        unsigned long lines = 5;
        EXPECT_EQ(camera->GetVBlankFromFPS(10.0F, &lines), -22);
        EXPECT_EQ(camera->GetVBlankForFPS(&lines), -22);
        EXPECT_EQ(lines, 5U);
        EXPECT_TRUE(driver.Log().empty());
    }
}

TEST(CVBlankConversion, CurrentBlanking) {
    CFakeDriver driver;
    COpenCamera camera(plainCamera(0), &driver);
    unsigned long lines = 5;
    EXPECT_EQ(camera->GetVBlankForFPS(&lines), 0);
    EXPECT_EQ(lines, 100U);
    ASSERT_EQ(driver.Log().size(), 1U);
    EXPECT_EQ(driver.Log()[0].Id(), 0x0800000CU);
}

TEST(CVBlankConversion, WorkedFigures) {
    const auto linesOf = [](const SCameraValues& values, float fps) {
        CFakeDriver driver;
        COpenCamera camera(values, &driver);
        unsigned long lines = 5;
        EXPECT_EQ(camera->GetVBlankFromFPS(fps, &lines), 0);
        return lines;
    };
    EXPECT_EQ(linesOf(plainCamera(0), 10.0F), 3000U); // 40000 lines a second
    EXPECT_EQ(linesOf(plainCamera(0), 40.0F), 0U);
    EXPECT_EQ(linesOf(plainCamera(0), 39.0F), 26U); // 25.64
    EXPECT_EQ(linesOf(plainCamera(0x112), 10.0F), 3100U);
    EXPECT_EQ(linesOf(plainCamera(0x713), 10.0F), 2972U);
    EXPECT_EQ(linesOf(plainCamera(0x111), 10.0F), 1289U); // 22018.35 rows a second, 913 of them the frame
    EXPECT_EQ(linesOf(plainCamera(0), 0.0F), ~0UL);
    EXPECT_EQ(linesOf(plainCamera(0), -1.0F), 0U);
    EXPECT_EQ(linesOf(plainCamera(0), std::numeric_limits<float>::quiet_NaN()), 0U);
}

TEST(CDigitalGain, RandomCamerasAndInputs) {
    CConversionInputs inputs(3);
    for (int round = 0; round < 5000; ++round) {
        const SCameraValues values = inputs.Camera();
        CFakeDriver driver;
        COpenCamera camera(values, &driver);
        for (int i = 0; i < 20; ++i) {
            const float times = inputs.Real();
            unsigned short value = 0xDEAD;
            ASSERT_TRUE(camera->GetDigitalGainSettingValueFromGainTimes(times, &value));
            ASSERT_EQ(value, modelDigitalValue(values, times)) << describe(values) << ": " << times;
            const auto given = static_cast<unsigned short>(inputs.Unsigned());
            float result = -1.0F;
            ASSERT_TRUE(camera->GetDigitalGainTimesFromSettingValue(given, &result));
            ASSERT_EQ(result, modelDigitalTimes(values, given)) << describe(values) << ": " << given;
        }
        EXPECT_TRUE(driver.Log().empty());
    }
}

} // namespace vek::test
