// SPDX-License-Identifier: Apache-2.0
#include "sim/SimulatedDriver.h"

#include "VekTrgApi.h"
#include "device/DriverAbi.h"
#include "sim/NoiselessSensor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <numeric>

namespace {

using namespace vek::sim;

/// Small camera without noise whose pixel at (x, y) has the level 10 y + x (8 bits, up to 12 x 10 pixels).
CSimulatedDriver countingDriver(std::string_view model = "global-1m") {
    SSensorConfig config = vek::test::noiselessSensor(12, 10, 8);
    config.dnPerElectron = 1.0F;
    config.fullWellElectrons = 1000.0F;
    config.whiteElectronsPerSecond = 20000.0F; // 200 electrons in 10 ms
    config.monoFromScene = {1, 0, 0};
    std::vector<float> pixels;
    for (unsigned i = 0; i < 12 * 10; ++i) {
        pixels.insert(pixels.end(), {static_cast<float>(i / 12 * 10 + i % 12) / 200.0F, 0, 0});
    }
    return CSimulatedDriver(findCameraModel(model), config, CScene::FromPixels(12, 10, pixels));
}

/// A model's camera with a sensor of that size.
CSimulatedDriver smallDriver(const SCameraModel& model, unsigned width, unsigned height) {
    SSensorConfig config = CSimulatedDriver::DefaultSensor(model);
    config.width = width;
    config.height = height;
    return CSimulatedDriver(model, config);
}

std::vector<std::uint8_t> bytesOf(const std::vector<std::vector<unsigned>>& rows) {
    std::vector<std::uint8_t> bytes;
    for (const auto& row : rows) {
        for (const unsigned value : row) {
            bytes.push_back(static_cast<std::uint8_t>(value));
        }
    }
    return bytes;
}

TEST(Capture, EveryModelDeliversAFrameOfTheReportedSize) {
    for (const SCameraModel& model : cameraModels()) {
        CSimulatedDriver driver = smallDriver(model, 32, 24);
        EXPECT_EQ(driver.Width(), 32U);
        for (unsigned long format = 0; format < kTransferFormatCount; ++format) {
            driver.SetTransferFormat(format);
            EXPECT_EQ(driver.CaptureFrame().size(), driver.FrameSize()) << model.name << ' ' << format;
            EXPECT_EQ(driver.FrameSize(), vek::sim::frameBytes(format, 32, 24));
        }
        EXPECT_EQ(driver.FrameNumber(), kTransferFormatCount);
        EXPECT_NEAR(driver.SimulatedSeconds(), kTransferFormatCount * driver.FramePeriod(), 1e-9);
    }
}

TEST(Capture, PowerOnPictureIsWellExposed) {
    for (const SCameraModel& model : cameraModels()) {
        CSimulatedDriver driver = smallDriver(model, 160, 120);
        EXPECT_NEAR(driver.ExposureTime(), 0.01, 0.0001) << model.name;
        driver.SetTransferFormat(VEK_TRANSFER_MONO8);
        const std::vector<std::uint8_t> frame = driver.CaptureFrame();
        const double mean = std::accumulate(frame.begin(), frame.end(), 0.0) / static_cast<double>(frame.size());
        EXPECT_GT(mean, 20.0) << model.name;
        EXPECT_LT(mean, 120.0) << model.name;
        EXPECT_LT(std::count(frame.begin(), frame.end(), 255), 10) << model.name;
    }
}

TEST(Capture, GainSettingScalesTheLevelByItsCurve) {
    for (const SCameraModel& model : cameraModels()) {
        SSensorConfig config = CSimulatedDriver::DefaultSensor(model);
        config.width = 4;
        config.height = 4;
        config.photonNoise = false;
        config.readNoiseElectrons = 0.0F;
        config.depth = 16;
        config.blackLevel = 0;
        config.dnPerElectron = static_cast<float>(6.0 / linearGain(model, 0));
        CSimulatedDriver driver(model, config, CScene::Flat(4, 4, 0.1F));
        driver.SetGain(0);
        const double base = driver.CaptureRaw().samples[5];
        const auto value = static_cast<std::uint16_t>(model.maxGain / 2);
        driver.SetGain(value);
        const double expected = base * linearGain(model, value) / linearGain(model, 0);
        EXPECT_NEAR(driver.CaptureRaw().samples[5], expected, 0.002 * expected) << model.name;
        driver.SetGain(0);
        const double time = driver.ExposureTime();
        driver.SetExposure(driver.ExposureValue() * 2);
        EXPECT_NEAR(driver.CaptureRaw().samples[5] / base, driver.ExposureTime() / time, 0.002) << model.name;
        EXPECT_THROW(driver.SetGain(static_cast<std::uint16_t>(model.maxGain + 1)), std::invalid_argument);
    }
}

TEST(Capture, WholeFrameInOrder) {
    CSimulatedDriver driver = countingDriver();
    const std::vector<std::uint8_t> frame = driver.CaptureFrame();
    ASSERT_EQ(frame.size(), 120U);
    EXPECT_EQ(frame[0], 0);
    EXPECT_EQ(frame[11], 11);
    EXPECT_EQ(frame[12 * 9 + 3], 93);
}

TEST(Capture, OneRegion) {
    CSimulatedDriver driver = countingDriver();
    driver.SetRois({{true, {3, 2, 2, 3}}});
    EXPECT_EQ(driver.Width(), 2U);
    EXPECT_EQ(driver.Height(), 3U);
    EXPECT_EQ(driver.CaptureFrame(), bytesOf({{23, 24}, {33, 34}, {43, 44}}));
    driver.SetFullFrame();
    EXPECT_EQ(driver.CaptureFrame().size(), 120U);
}

TEST(Capture, BandsSqueezeOutTheGaps) {
    // Two bands of two regions: rows 1-2 and 5, columns 0-1 and 6-8.
    CSimulatedDriver driver = countingDriver("global-1m"); // 4 regions
    driver.SetRois({{true, {0, 1, 2, 2}}, {true, {6, 1, 3, 2}}, {true, {0, 5, 2, 1}}, {true, {6, 5, 3, 1}}});
    EXPECT_EQ(driver.Width(), 5U);
    EXPECT_EQ(driver.Height(), 3U);
    EXPECT_EQ(driver.FrameSize(), 15U);
    EXPECT_EQ(driver.CaptureFrame(), bytesOf({{10, 11, 16, 17, 18}, {20, 21, 26, 27, 28}, {50, 51, 56, 57, 58}}));
    EXPECT_EQ(driver.CaptureRaw().samples[7], 26);
}

TEST(Capture, ABandThatIsNarrowerIsFilledWithZeros) {
    CSimulatedDriver driver = countingDriver();
    driver.SetRois({{true, {0, 1, 3, 1}}, {true, {1, 4, 1, 2}}});
    EXPECT_EQ(driver.CaptureFrame(), bytesOf({{10, 11, 12}, {41, 0, 0}, {51, 0, 0}}));
}

TEST(Capture, BlocksFollowEachOther) {
    CSimulatedDriver driver = countingDriver("line-2m"); // 8 regions: blocks
    // Disabled slots and overlaps are fine; the order is the slots'.
    driver.SetRois({{true, {6, 5, 3, 1}}, {false, {0, 0, 12, 10}}, {true, {0, 1, 2, 2}}, {true, {1, 2, 2, 1}}});
    EXPECT_EQ(driver.FrameSize(), 9U);
    EXPECT_EQ(driver.CaptureFrame(), bytesOf({{56, 57, 58}, {10, 11}, {20, 21}, {21, 22}}));
    EXPECT_THROW(driver.CaptureRaw(), std::logic_error);
    EXPECT_EQ(driver.Width(), 6U); // columns 0-2 and 6-8
    EXPECT_EQ(driver.Height(), 3U);
}

TEST(Capture, EachPackedBlockStartsAtAByte) {
    CSimulatedDriver driver = countingDriver("line-2m");
    driver.SetTransferFormat(VEK_TRANSFER_RAW12_PACKED);
    driver.SetRois({{true, {1, 0, 1, 2}}, {true, {2, 0, 2, 1}}});
    // 8-bit levels in 12 bits: shifted up by four. Rows 1 | 11 | 2 3.
    EXPECT_EQ(driver.CaptureFrame(), (std::vector<std::uint8_t>{0x10, 0x00, 0xB0, 0x00, 0x20, 0x00, 0x03}));
}

TEST(Capture, RegionsAreChecked) {
    CSimulatedDriver driver = countingDriver();
    const SRoi a = {true, {0, 0, 4, 4}};
    EXPECT_THROW(driver.SetRois({a, a, a, a, a}), std::invalid_argument);
    EXPECT_THROW(driver.SetRois({{true, {9, 0, 4, 4}}}), std::invalid_argument);
    EXPECT_THROW(driver.SetRois({{true, {0, 0, 4, 11}}}), std::invalid_argument);
    EXPECT_THROW(driver.SetRois({{true, {0xFFFFFFFFU, 0, 4, 4}}}), std::invalid_argument);
    EXPECT_THROW(driver.SetRois({{false, {0, 0, 4, 4}}}), std::invalid_argument);
    EXPECT_THROW(driver.SetRois({}), std::invalid_argument);
    EXPECT_THROW(driver.SetRois({a, {true, {2, 0, 4, 4}}}), std::invalid_argument); // overlap in a band
    EXPECT_THROW(driver.SetRois({a, {true, {4, 0, 4, 3}}}), std::invalid_argument); // other height
    EXPECT_THROW(driver.SetRois({a, {true, {0, 3, 4, 4}}}), std::invalid_argument); // overlapping bands
    EXPECT_THROW(driver.SetMaxRoiCount(5), std::invalid_argument);
    EXPECT_EQ(driver.CaptureFrame().size(), 120U);
    driver.SetMaxRoiCount(16);
    EXPECT_NO_THROW(
        driver.SetRois({a, {true, {4, 0, 4, 4}}, {true, {8, 0, 1, 4}}, {true, {0, 4, 9, 1}}, {true, {0, 5, 1, 1}}}));
}

TEST(Capture, BinningHalvesTheFrame) {
    CSimulatedDriver driver = countingDriver();
    driver.SetBinning(1, 2);
    EXPECT_EQ(driver.Width(), 6U);
    EXPECT_EQ(driver.Height(), 2U);
    // Columns 0-1, rows 0-3: mean 0.5 + 15, rounded up.
    EXPECT_EQ(driver.CaptureFrame()[0], 16);
    EXPECT_THROW(driver.SetBinning(3, 0), std::invalid_argument);
    driver.SetBinning(0, 0);
    EXPECT_EQ(driver.CaptureFrame().size(), 120U);
}

TEST(Capture, DefectSlotMasksAHotPixelInTheNextFrame) {
    SSensorConfig config = CSimulatedDriver::DefaultSensor(findCameraModel("global-1m"));
    config.width = 64;
    config.height = 48;
    config.hotPixels = {{20, 11, 0.0F, 8000.0F}, {41, 30, 400000.0F, 0.0F}};
    CSimulatedDriver driver(findCameraModel("global-1m"), config);
    driver.SetTransferFormat(VEK_TRANSFER_RAW8);
    driver.SetLensCap(true);
    const auto hot = [&] {
        const std::vector<std::uint8_t> frame = driver.CaptureFrame();
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < frame.size(); ++i) {
            if (frame[i] > 50) {
                found.push_back(i);
            }
        }
        return found;
    };
    const auto program = [&](std::uint8_t slot, std::uint16_t x, std::uint16_t y) {
        vek::SDEFECT_PIXEL_POSITION position{};
        position.index = slot;
        position.x = x;
        position.y = y;
        ASSERT_EQ(driver.Ioctl(vek::VIDIOC_S_DEFECT_PIXEL_POSITION, &position), 0);
    };
    EXPECT_EQ(hot(), (std::vector<std::size_t>{11 * 64 + 20, 30 * 64 + 41}));
    program(0, 20, 11);
    EXPECT_EQ(hot(), (std::vector<std::size_t>{30 * 64 + 41}));
    program(31, 41, 30);
    EXPECT_TRUE(hot().empty());
    program(0, 65535, 65535);
    EXPECT_EQ(hot(), (std::vector<std::size_t>{11 * 64 + 20}));
}

TEST(Capture, FramesRepeatWithTheFrameNumber) {
    CSimulatedDriver driver = smallDriver(findCameraModel("global-3m"), 40, 30);
    const std::vector<std::uint8_t> first = driver.CaptureFrame();
    EXPECT_NE(driver.CaptureFrame(), first);
    driver.SetFrameNumber(0);
    EXPECT_EQ(driver.CaptureFrame(), first);
}

TEST(Capture, ColorFormatsShowTheScene) {
    SSensorConfig config = CSimulatedDriver::DefaultSensor(findCameraModel("global-1m"));
    config.width = 32;
    config.height = 32;
    config.lensShading = 0.0F;
    CSimulatedDriver driver(findCameraModel("global-1m"), config, CScene::FlatColor(32, 32, {0.8F, 0.4F, 0.1F}));
    driver.SetTransferFormat(VEK_TRANSFER_BGR8);
    const std::vector<std::uint8_t> frame = driver.CaptureFrame();
    double sums[3] = {};
    for (std::size_t i = 0; i < frame.size(); ++i) {
        sums[i % 3] += frame[i];
    }
    // White at half the full well: 127.5 times the scene, in the order blue, green, red.
    EXPECT_NEAR(sums[0] / 1024.0, 12.7, 1.5);
    EXPECT_NEAR(sums[1] / 1024.0, 51.0, 1.5);
    EXPECT_NEAR(sums[2] / 1024.0, 102.0, 2.0);
}

TEST(Capture, SettingsRefuseWhatTheCameraCannotTake) {
    CSimulatedDriver driver("clock-vga");
    EXPECT_THROW(driver.SetTransferFormat(22), std::invalid_argument);
    EXPECT_THROW(driver.SetColorArray(0), std::invalid_argument);
    EXPECT_THROW(driver.SetColorArray(6), std::invalid_argument);
    EXPECT_THROW(driver.SetDigitalGain(1), std::invalid_argument);
    EXPECT_THROW(driver.SetExposure(250000001), std::invalid_argument);
    EXPECT_THROW(driver.SetExposureTime(0.0), std::invalid_argument);
    EXPECT_THROW(driver.SetVBlank(65536), std::invalid_argument);
    EXPECT_THROW(driver.SetLightLevel(-1.0F), std::invalid_argument);
    EXPECT_THROW(driver.SetLightLevel(std::numeric_limits<float>::quiet_NaN()), std::invalid_argument);
    EXPECT_THROW(CSimulatedDriver("none"), std::invalid_argument);
    EXPECT_EQ(driver.ColorArray(), 1);
}

TEST(Capture, ChangingTheSensorResetsRegionsAndSlots) {
    CSimulatedDriver driver = countingDriver();
    driver.SetRois({{true, {0, 0, 4, 4}}});
    SSensorConfig config = driver.Sensor();
    config.width = 20;
    config.height = 16;
    driver.SetSensor(config);
    EXPECT_EQ(driver.Width(), 20U);
    EXPECT_EQ(driver.CaptureFrame().size(), 320U);
    driver.SetBinning(1, 1);
    driver.SetColorArray(3);
    EXPECT_EQ(driver.CaptureFrame().size(), driver.FrameSize());
}

} // namespace
