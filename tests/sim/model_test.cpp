// SPDX-License-Identifier: Apache-2.0
#include "sim/CameraModel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <stdexcept>

namespace {

using namespace vek::sim;

STiming fullFrame(const SCameraModel& model) {
    STiming timing;
    timing.imageWidth = model.width;
    timing.imageHeight = model.height;
    timing.readLines = model.height;
    return timing;
}

TEST(CameraModel, TableCoversEveryExposureUnitAndGainCurve) {
    std::set<EExposureUnit> units;
    std::set<std::uint32_t> gainTypes;
    std::set<std::string_view> names;
    for (const SCameraModel& model : cameraModels()) {
        units.insert(exposureUnit(model));
        gainTypes.insert(model.gainType);
        names.insert(model.name);
        EXPECT_EQ(findCameraModel(model.name).productId, model.productId);
        EXPECT_LE(model.maxLongExposure, 0x7FFFFFFFU) << "a control carries 31 bits";
        EXPECT_LE(model.initialGain, model.maxGain);
    }
    EXPECT_EQ(units.size(), 6U);
    EXPECT_EQ(gainTypes, (std::set<std::uint32_t>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(names.size(), cameraModels().size());
    EXPECT_THROW(findCameraModel("none"), std::invalid_argument);
}

TEST(CameraModel, UnitsFollowTheProductId) {
    SCameraModel model = cameraModels().front();
    const std::pair<std::uint32_t, EExposureUnit> expected[] = {
        {0x111, EExposureUnit::ComputedRows},    {0x211, EExposureUnit::ComputedRows},
        {0x112, EExposureUnit::Lines},           {0x212, EExposureUnit::Lines},
        {0x613, EExposureUnit::Microseconds},    {0x713, EExposureUnit::LinesPlusOffset},
        {0x813, EExposureUnit::LinesPlusOffset}, {0x116, EExposureUnit::OffsetLines},
        {0x816, EExposureUnit::OffsetLines},     {0x615, EExposureUnit::LinesPlusOffset},
        {0x115, EExposureUnit::Clocks},          {0, EExposureUnit::Clocks}};
    for (const auto& [id, unit] : expected) {
        model.productId = id;
        EXPECT_EQ(exposureUnit(model), unit) << std::hex << id;
    }
}

TEST(CameraModel, GainCurves) {
    SCameraModel model = cameraModels().front();
    struct SPoint {
        std::uint32_t type;
        std::uint16_t value;
        double db;
    };
    const SPoint points[] = {
        {0, 0, -2.36},    {0, 100, 10.84},    // 0.132 dB a step
        {1, 0, 11.00864}, {1, 100, 18.04664}, // 0.07038 dB a step from 128 up, and 2
        {2, 0, 0.0},      {2, 8, 6.0206},     {2, 20, 10.88136}, {2, 21, 11.90456},  // factors 1, 2, 3.5, 252 / 64
        {3, 0, 0.0},      {3, 32, 3.52183},   {3, 64, 6.0206},   {3, 255, 24.01432}, // 1, 1.5, 2, 15.875
        {4, 60, 6.0},     {5, 100, 3.51}};
    for (const SPoint& point : points) {
        model.gainType = point.type;
        EXPECT_NEAR(gainDb(model, point.value), point.db, 0.0002) << point.type << ' ' << point.value;
        EXPECT_NEAR(20.0 * std::log10(linearGain(model, point.value)), point.db, 0.0002)
            << point.type << ' ' << point.value;
    }
}

TEST(CameraModel, digitalGain) {
    SCameraModel model = cameraModels().front();
    model.hasDigitalGain = true;
    model.maxDigitalGain = 255;
    model.digitalGainFromOne = false;
    EXPECT_EQ(digitalGain(model, 128), 2.0);
    EXPECT_EQ(digitalGain(model, 400), 255.0 / 64.0);
    model.digitalGainFromOne = true;
    EXPECT_EQ(digitalGain(model, 128), 3.0);
    model.hasDigitalGain = false;
    EXPECT_EQ(digitalGain(model, 128), 1.0);
}

TEST(CameraModel, ExposureSecondsByHand) {
    const auto seconds = [](std::string_view name, std::uint32_t value) {
        const SCameraModel& model = findCameraModel(name);
        return exposureSeconds(model, fullFrame(model), value);
    };
    // Row of 2 x max(450 + 2304 / 2, 346 + 140) = 3204 clocks, offset 426 clocks, 100 MHz.
    EXPECT_NEAR(seconds("rolling-4m", 100), (320400 - 426) / 100e6, 1e-12);
    EXPECT_NEAR(seconds("line-2m", 100), 190000 / 48e6, 1e-12);
    EXPECT_NEAR(seconds("global-1m", 100), 100e-6, 1e-12);
    EXPECT_NEAR(seconds("global-1m", 10), 22e-6, 1e-12);
    EXPECT_NEAR(seconds("global-3m", 100), 75000 / 72e6 + 13.73e-6, 1e-12);
    EXPECT_NEAR(seconds("clock-vga", 1000), 1000 / 24545454.0, 1e-12);
    // 72 ticks a microsecond, offset 1000 ticks, line 1000 clocks = 1000 ticks: a tick over two lines makes three.
    EXPECT_NEAR(seconds("global-5m", 720), 10e-6, 1e-12);
    EXPECT_NEAR(seconds("global-5m", 10), 1e-6, 1e-12);
    EXPECT_NEAR(seconds("global-5m", 3001), 4000 / 72e6, 1e-12);
}

TEST(CameraModel, ComputedRowsFollowWidthAndBinning) {
    const SCameraModel& model = findCameraModel("rolling-4m");
    STiming timing = fullFrame(model);
    timing.binningCodeH = 2;
    timing.binningCodeV = 2;
    timing.imageWidth = 576;
    timing.imageHeight = 432;
    // 2 x max(1458 + 288, 4 x 346 + 140) = 3492 clocks, offset 4 x 416 + 10.
    EXPECT_NEAR(lineSeconds(model, timing), 3492 / 100e6, 1e-15);
    EXPECT_NEAR(exposureSeconds(model, timing, 10), (34920 - 1674) / 100e6, 1e-12);
    timing.vBlank = 55;
    EXPECT_NEAR(framePeriodSeconds(model, timing), (432 + 13 + 55) * 3492 / 100e6, 1e-12);
}

TEST(CameraModel, FramePeriodCountsBlanking) {
    // Reported lines and blanking give the frame rate the way each kind of model counts.
    for (const SCameraModel& model : cameraModels()) {
        if (exposureUnit(model) == EExposureUnit::ComputedRows) {
            continue;
        }
        STiming timing = fullFrame(model);
        timing.vBlank = 200;
        const bool included = exposureUnit(model) == EExposureUnit::Lines;
        const double extra = model.productId == 0x713 ? 28.0 : 0.0;
        const double lines = reportedVLines(model, timing) + extra + (included ? 0.0 : 200.0);
        EXPECT_NEAR(framePeriodSeconds(model, timing), lines * model.totalHClock / model.clockHz, 1e-12) << model.name;
    }
}

TEST(CameraModel, ExposureSettingsAndSecondsAreInverse) {
    for (const SCameraModel& model : cameraModels()) {
        const STiming timing = fullFrame(model);
        for (std::uint32_t value = 1; value < model.maxLongExposure / 3; value = value * 3 + 1) {
            const double seconds = exposureSeconds(model, timing, value);
            const std::uint32_t back = exposureFromSeconds(model, timing, seconds);
            EXPECT_GE(back, value) << model.name; // several settings may share one time
            EXPECT_DOUBLE_EQ(exposureSeconds(model, timing, back), seconds) << model.name;
        }
        EXPECT_EQ(exposureFromSeconds(model, timing, 0.0), 1U);
        EXPECT_EQ(exposureFromSeconds(model, timing, 1e9), model.maxLongExposure);
        EXPECT_EQ(exposureSeconds(model, timing, model.maxLongExposure), exposureSeconds(model, timing, 0xFFFFFFFFU));
    }
}

TEST(CameraModel, LongestShortExposureFitsTheFrame) {
    for (const SCameraModel& model : cameraModels()) {
        STiming timing = fullFrame(model);
        for (const std::uint32_t vBlank : {0U, 500U}) {
            timing.vBlank = vBlank;
            const std::uint32_t value = maxShortExposure(model, timing);
            const double period = framePeriodSeconds(model, timing);
            EXPECT_LE(exposureSeconds(model, timing, value), period) << model.name;
            EXPECT_GT(exposureSeconds(model, timing, value), 0.99 * period) << model.name;
            EXPECT_EQ(exposureSeconds(model, timing, 0), exposureSeconds(model, timing, value)) << model.name;
        }
    }
}

} // namespace
