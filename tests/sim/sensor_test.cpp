// SPDX-License-Identifier: Apache-2.0
#include "sim/SimulatedSensor.h"

#include "sim/NoiselessSensor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace {

using namespace vek::sim;

/// A noiseless sensor that sees colours apart: level = scene x 1000 DN at 10 ms and gain 1.
SSensorConfig idealSensor(unsigned width, unsigned height) {
    SSensorConfig config = vek::test::noiselessSensor(width, height, 12);
    config.fullWellElectrons = 10000.0F;
    config.dnPerElectron = 0.5F;
    config.whiteElectronsPerSecond = 200000.0F;
    config.sensorFromScene = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    config.monoFromScene = {0, 1, 0};
    return config;
}

SRectangle wholeFrame(const CSimulatedSensor& sensor) {
    return {0, 0, sensor.Config().width, sensor.Config().height};
}

double meanOf(const SRasterImage& image) {
    double sum = 0.0;
    for (const std::uint16_t sample : image.samples) {
        sum += sample;
    }
    return sum / static_cast<double>(image.samples.size());
}

double varianceOf(const SRasterImage& image) {
    const double mean = meanOf(image);
    double sum = 0.0;
    for (const std::uint16_t sample : image.samples) {
        sum += (sample - mean) * (sample - mean);
    }
    return sum / static_cast<double>(image.samples.size());
}

TEST(Sensor, SameSeedAndFrameNumberGiveTheSameFrame) {
    SSensorConfig config;
    config.width = 64;
    config.height = 48;
    const CSimulatedSensor a(config, CScene::Chart(64, 48));
    const CSimulatedSensor b(config, CScene::Chart(64, 48));
    SExposure exposure{.frameNumber = 7};
    const SRasterImage first = a.ReadRaw(exposure, wholeFrame(a));
    exposure.frameNumber = 8;
    const SRasterImage next = a.ReadRaw(exposure, wholeFrame(a));
    exposure.frameNumber = 7;
    EXPECT_EQ(b.ReadRaw(exposure, wholeFrame(b)).samples, first.samples);
    EXPECT_NE(next.samples, first.samples);
    config.seed = 2;
    const CSimulatedSensor c(config, CScene::Chart(64, 48));
    EXPECT_NE(c.ReadRaw(exposure, wholeFrame(c)).samples, first.samples);
}

TEST(Sensor, FrameIsTheSameOnEveryMachine) {
    SSensorConfig config;
    config.width = 96;
    config.height = 64;
    config.flickerHz = 100.0F;
    config.flickerDepth = 0.3F;
    const CSimulatedSensor sensor(config, CScene::Chart(96, 64));
    SExposure exposure{.seconds = 0.004, .frameNumber = 3, .startSeconds = 0.123};
    std::uint64_t hash = 0xCBF29CE484222325ULL; // FNV-1a over the samples
    for (const std::uint16_t sample : sensor.ReadColor(exposure, wholeFrame(sensor)).samples) {
        hash = (hash ^ sample) * 0x100000001B3ULL;
    }
    EXPECT_EQ(hash, 0xE4311A53F480D522ULL);
}

TEST(Sensor, LevelIsLinearInTimeLightAndGain) {
    CSimulatedSensor sensor(idealSensor(4, 2), CScene::Flat(4, 2, 0.5F));
    const auto level = [&](double seconds, double gain) {
        SExposure exposure;
        exposure.seconds = seconds;
        exposure.gain = gain;
        return sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[5];
    };
    EXPECT_EQ(level(0.010, 1.0), 500);
    EXPECT_EQ(level(0.020, 1.0), 1000);
    EXPECT_EQ(level(0.001, 1.0), 50);
    EXPECT_EQ(level(0.010, 4.0), 2000);
    EXPECT_EQ(level(0.000, 4.0), 0);
    sensor.SetLightLevel(0.5F);
    EXPECT_EQ(level(0.010, 1.0), 250);
    sensor.SetLensCap(true);
    EXPECT_EQ(level(0.010, 1.0), 0);
}

TEST(Sensor, SaturatesAtFullWellAndAtTheConverter) {
    // 10000 electrons are 5000 DN: above the 4095 of the converter at gain 1, below it at gain 0.5.
    const CSimulatedSensor sensor(idealSensor(4, 2), CScene::Flat(4, 2, 1.0F));
    SExposure exposure{.seconds = 1.0};
    EXPECT_EQ(sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[0], 4095);
    exposure.gain = 0.5;
    EXPECT_EQ(sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[0], 2500);
}

TEST(Sensor, BlackLevelIsAddedAfterTheGain) {
    SSensorConfig config = idealSensor(4, 2);
    config.blackLevel = 100;
    const CSimulatedSensor sensor(config, CScene::Flat(4, 2, 0.5F));
    SExposure exposure{.gain = 2.0};
    EXPECT_EQ(sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[0], 1100);
}

TEST(Sensor, PhotonNoiseVarianceEqualsTheMean) {
    SSensorConfig config = idealSensor(200, 200);
    config.dnPerElectron = 1.0F; // one DN an electron: the transfer curve has slope 1
    config.depth = 14;
    config.photonNoise = true;
    const CSimulatedSensor sensor(config, CScene::Flat(200, 200, 1.0F));
    for (const double seconds : {0.00002, 0.0002, 0.002, 0.02}) {
        SExposure exposure;
        exposure.seconds = seconds;
        const SRasterImage image = sensor.ReadRaw(exposure, wholeFrame(sensor));
        const double electrons = seconds * 200000.0;
        EXPECT_NEAR(meanOf(image), electrons, 5.0 * std::sqrt(electrons / 40000.0)) << seconds;
        EXPECT_NEAR(varianceOf(image) / electrons, 1.0, 0.05) << seconds;
    }
}

TEST(Sensor, ReadNoiseStandsOnTheBlackLevel) {
    SSensorConfig config = idealSensor(200, 200);
    config.dnPerElectron = 1.0F;
    config.readNoiseElectrons = 6.0F;
    config.blackLevel = 64;
    const CSimulatedSensor sensor(config, CScene::Flat(200, 200, 0.0F));
    SExposure exposure;
    EXPECT_NEAR(meanOf(sensor.ReadRaw(exposure, wholeFrame(sensor))), 64.0, 0.2);
    EXPECT_NEAR(varianceOf(sensor.ReadRaw(exposure, wholeFrame(sensor))), 36.0 + 1.0 / 12.0, 1.3); // with rounding
    exposure.gain = 2.0;
    EXPECT_NEAR(varianceOf(sensor.ReadRaw(exposure, wholeFrame(sensor))), 144.0, 5.2);
}

TEST(Sensor, DarkCurrentGrowsWithTimeAndIgnoresTheLight) {
    SSensorConfig config = idealSensor(8, 8);
    config.darkElectronsPerSecond = 400.0F;
    config.lensCap = true;
    const CSimulatedSensor sensor(config, CScene::Flat(8, 8, 1.0F));
    SExposure exposure{.seconds = 0.5};
    EXPECT_EQ(sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[9], 100);
    exposure.seconds = 1.0;
    EXPECT_EQ(sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[9], 200);
}

TEST(Sensor, LensShadingFallsWithTheSquareOfTheDistance) {
    SSensorConfig config = idealSensor(101, 101);
    config.lensShading = 0.4F;
    const CSimulatedSensor sensor(config, CScene::Flat(101, 101, 1.0F));
    const SRasterImage image = sensor.ReadRaw(SExposure{}, wholeFrame(sensor));
    EXPECT_EQ(image.samples[50 * 101 + 50], 1000);
    EXPECT_EQ(image.samples[0], 600);
    EXPECT_EQ(image.samples[50 * 101], 800); // half the squared distance of the corner
}

TEST(Sensor, HotAndDeadPixels) {
    SSensorConfig config = idealSensor(6, 4);
    config.hotPixels = {{2, 1, 20000.0F, 0.0F}, {3, 1, 0.0F, 50.0F}, {99, 99, 1.0F, 1.0F}};
    config.deadPixels = {{4, 3}};
    const CSimulatedSensor sensor(config, CScene::Flat(6, 4, 0.1F));
    const SRasterImage image = sensor.ReadRaw(SExposure{}, wholeFrame(sensor));
    EXPECT_EQ(image.samples[1 * 6 + 1], 100);
    EXPECT_EQ(image.samples[1 * 6 + 2], 200); // 20000 e/s x 10 ms x 0.5 DN
    EXPECT_EQ(image.samples[1 * 6 + 3], 125);
    EXPECT_EQ(image.samples[3 * 6 + 4], 0);
}

TEST(Sensor, BayerPhases) {
    // Scene red 0.1, green 0.2, blue 0.3.
    const std::vector<std::uint16_t> expected[] = {
        {200, 200, 200, 200}, {100, 200, 200, 300}, {200, 100, 300, 200}, {200, 300, 100, 200}, {300, 200, 200, 100}};
    for (int colorArray = 1; colorArray <= 5; ++colorArray) {
        SSensorConfig config = idealSensor(2, 2);
        config.colorArray = colorArray;
        const CSimulatedSensor sensor(config, CScene::FlatColor(2, 2, {0.1F, 0.2F, 0.3F}));
        EXPECT_EQ(sensor.ReadRaw(SExposure{}, wholeFrame(sensor)).samples, expected[colorArray - 1]) << colorArray;
    }
}

TEST(Sensor, AnAreaEqualsThatPartOfTheFrame) {
    SSensorConfig config;
    config.width = 40;
    config.height = 30;
    for (const int colorArray : {1, 3}) {
        config.colorArray = colorArray;
        CSimulatedSensor sensor(config, CScene::Chart(40, 30));
        sensor.SetMaskedPixels({{6, 6}, {7, 7}});
        const SRectangle area = {5, 6, 11, 9};
        const SRasterImage raw = sensor.ReadRaw(SExposure{}, wholeFrame(sensor));
        const SRasterImage rawPart = sensor.ReadRaw(SExposure{}, area);
        const SRasterImage color = sensor.ReadColor(SExposure{}, wholeFrame(sensor));
        const SRasterImage colorPart = sensor.ReadColor(SExposure{}, area);
        for (unsigned y = 0; y < area.height; ++y) {
            for (unsigned x = 0; x < area.width; ++x) {
                const std::size_t whole = (y + area.y) * 40 + x + area.x;
                const std::size_t part = y * area.width + x;
                ASSERT_EQ(rawPart.samples[part], raw.samples[whole]);
                for (std::size_t c = 0; c < 3; ++c) {
                    ASSERT_EQ(colorPart.samples[part * 3 + c], color.samples[whole * 3 + c]);
                }
            }
        }
    }
}

TEST(Sensor, MonoBinningAveragesNeighbors) {
    // Levels of the row: 100, 200, 300, 400, 500 (the odd one out is not read); two equal rows of them.
    std::vector<float> pixels;
    for (int row = 0; row < 2; ++row) {
        for (const float level : {0.1F, 0.2F, 0.3F, 0.4F, 0.5F}) {
            pixels.insert(pixels.end(), {level, level, level});
        }
    }
    const CSimulatedSensor sensor(idealSensor(5, 2), CScene::FromPixels(5, 2, pixels));
    SExposure exposure{.binningH = 2};
    EXPECT_EQ(sensor.BinnedWidth(2), 2U);
    EXPECT_EQ(sensor.ReadRaw(exposure, {0, 0, 2, 2}).samples, (std::vector<std::uint16_t>{150, 350, 150, 350}));
    exposure.binningH = 4;
    exposure.binningV = 2;
    EXPECT_EQ(sensor.ReadRaw(exposure, {0, 0, 1, 1}).samples, (std::vector<std::uint16_t>{250}));
}

TEST(Sensor, BayerBinningKeepsPhases) {
    // Each filter colour has its own level; a Bayer sensor keeps whole cells: 10 columns binned by 2 are 4.
    for (int colorArray = 2; colorArray <= 5; ++colorArray) {
        SSensorConfig config = idealSensor(10, 8);
        config.colorArray = colorArray;
        const CSimulatedSensor sensor(config, CScene::FlatColor(10, 8, {0.1F, 0.2F, 0.3F}));
        SExposure exposure;
        exposure.binningH = 2;
        exposure.binningV = 2;
        ASSERT_EQ(sensor.BinnedWidth(2), 4U);
        ASSERT_EQ(sensor.BinnedHeight(2), 4U);
        const SRasterImage binned = sensor.ReadRaw(exposure, {0, 0, 4, 4});
        const SRasterImage plain = sensor.ReadRaw(SExposure{}, {0, 0, 4, 4});
        EXPECT_EQ(binned.samples, plain.samples) << colorArray;
    }
    // Four cells with their red pixel at 1, 2, 3, 4: by 2 in both directions one cell with their mean.
    std::vector<float> pixels(4 * 4 * 3, 0.0F);
    pixels[0] = 0.1F;
    pixels[2 * 3] = 0.2F;
    pixels[2 * 4 * 3] = 0.3F;
    pixels[(2 * 4 + 2) * 3] = 0.4F;
    SSensorConfig config = idealSensor(4, 4);
    config.colorArray = 2;
    const CSimulatedSensor sensor(config, CScene::FromPixels(4, 4, pixels));
    SExposure exposure{.binningH = 2, .binningV = 2};
    EXPECT_EQ(sensor.ReadRaw(exposure, {0, 0, 2, 2}).samples, (std::vector<std::uint16_t>{250, 0, 0, 0}));
}

TEST(Sensor, BinningReducesNoise) {
    SSensorConfig config = idealSensor(400, 400);
    config.readNoiseElectrons = 20.0F;
    config.blackLevel = 500;
    config.dnPerElectron = 1.0F;
    const CSimulatedSensor sensor(config, CScene::Flat(400, 400, 0.0F));
    SExposure exposure{.binningH = 2, .binningV = 4};
    EXPECT_NEAR(varianceOf(sensor.ReadRaw(exposure, {0, 0, 200, 100})), 400.0 / 8.0, 3.0);
}

TEST(Sensor, MaskedPixelTakesTheMeanOfSameColorNeighbors) {
    SSensorConfig config = idealSensor(8, 4);
    config.colorArray = 2;
    std::vector<float> pixels;
    for (unsigned i = 0; i < 8 * 4; ++i) {
        const float level = 0.1F * static_cast<float>(i % 8);
        pixels.insert(pixels.end(), {level, level, level});
    }
    config.hotPixels = {{4, 1, 0.0F, 3000.0F}, {0, 2, 0.0F, 3000.0F}};
    CSimulatedSensor sensor(config, CScene::FromPixels(8, 4, pixels));
    EXPECT_GT(sensor.ReadRaw(SExposure{}, wholeFrame(sensor)).samples[8 + 4], 1800);
    sensor.SetMaskedPixels({{4, 1}, {0, 2}, {6, 1}, {500, 1}});
    const SRasterImage image = sensor.ReadRaw(SExposure{}, wholeFrame(sensor));
    EXPECT_EQ(image.samples[8 + 4], 200); // its right neighbour is masked and the next one outside: the left alone
    EXPECT_EQ(image.samples[8 + 6], 200); // the left neighbour is masked: the one before it
    EXPECT_EQ(image.samples[16], 200);    // no left neighbour: the right one
    sensor.SetMaskedPixels({});
    EXPECT_GT(sensor.ReadRaw(SExposure{}, wholeFrame(sensor)).samples[8 + 4], 1800);
}

TEST(Sensor, ColorOutputRestoresTheScene) {
    SSensorConfig config = idealSensor(16, 12);
    config.depth = 16;
    config.dnPerElectron = 8.0F;
    config.colorArray = 4;
    config.blackLevel = 1000;
    config.sensorFromScene = SSensorConfig{}.sensorFromScene;
    const LinearRgb color = {0.5F, 0.3F, 0.8F};
    const CSimulatedSensor sensor(config, CScene::FlatColor(16, 12, color));
    const SRasterImage image = sensor.ReadColor(SExposure{}, wholeFrame(sensor));
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        // 2000 electrons at scene 1, 8 DN each, range stretched over the removed black level.
        const double expected = static_cast<double>(color[i % 3]) * 16000.0 * 65535.0 / 64535.0;
        ASSERT_NEAR(image.samples[i], expected, 4.0) << i;
    }
}

TEST(Sensor, FlickerAveragesOutOverWholePeriods) {
    SSensorConfig config = idealSensor(2, 2);
    config.flickerHz = 100.0F;
    config.flickerDepth = 0.5F;
    const CSimulatedSensor sensor(config, CScene::Flat(2, 2, 0.5F));
    SExposure exposure{.seconds = 0.01};
    EXPECT_EQ(sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[0], 500);
    exposure.seconds = 0.0001; // at the crest
    EXPECT_NEAR(sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[0], 7.5, 0.6);
    exposure.startSeconds = 1.005; // in the trough
    EXPECT_NEAR(sensor.ReadRaw(exposure, wholeFrame(sensor)).samples[0], 2.5, 0.6);
}

TEST(Sensor, RefusesImpossibleValuesAndKeepsTheOldOnes) {
    CSimulatedSensor sensor(idealSensor(4, 4), CScene::Flat(4, 4, 0.5F));
    for (const unsigned depth : {0U, 7U, 9U, 17U}) {
        SSensorConfig config = idealSensor(4, 4);
        config.depth = depth;
        EXPECT_THROW(sensor.SetConfig(config), std::invalid_argument);
    }
    SSensorConfig config = idealSensor(4, 4);
    config.colorArray = 6;
    EXPECT_THROW(sensor.SetConfig(config), std::invalid_argument);
    config = idealSensor(1, 4);
    EXPECT_THROW(sensor.SetConfig(config), std::invalid_argument);
    config = idealSensor(4, 4);
    config.sensorFromScene = {};
    EXPECT_THROW(sensor.SetConfig(config), std::invalid_argument);
    EXPECT_EQ(sensor.ReadRaw(SExposure{}, wholeFrame(sensor)).samples[0], 500);
    EXPECT_THROW(sensor.ReadRaw(SExposure{}, {1, 0, 4, 4}), std::invalid_argument);
    SExposure exposure{.binningH = 3};
    EXPECT_THROW(sensor.ReadRaw(exposure, {0, 0, 1, 1}), std::invalid_argument);
}

TEST(Sensor, ResizingScalesTheScene) {
    CSimulatedSensor sensor(idealSensor(4, 4), CScene::Flat(2, 8, 0.25F));
    EXPECT_EQ(sensor.ReadRaw(SExposure{}, wholeFrame(sensor)).samples, std::vector<std::uint16_t>(16, 250));
    sensor.SetConfig(idealSensor(6, 2));
    EXPECT_EQ(sensor.ReadRaw(SExposure{}, wholeFrame(sensor)).samples, std::vector<std::uint16_t>(12, 250));
}

} // namespace
