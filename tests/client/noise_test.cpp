// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/stages/BlackMeter.h"
#include "client/stages/PhotonTransfer.h"
#include "client/stages/PhotonTransferPlot.h"

#include "sim/SimulatedSensor.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vek::test {

namespace {

/// A mono sensor with a dark signal, and pairs of its frames. At 12 bits a full well of 8000 electrons has 3931 DN.
class ClientNoise : public ::testing::Test {
protected:
    static sim::SSensorConfig Config() {
        sim::SSensorConfig config;
        config.width = kSide;
        config.height = kSide;
        config.colorArray = VEK_COLOR_ARRAY_MONO;
        config.fullWellElectrons = 8000;
        config.blackLevel = 164;
        config.readNoiseElectrons = 12;
        config.darkElectronsPerSecond = 2000;
        config.darkCurrentSpread = 0.3F;
        config.photoResponseSpread = 0.012F;
        config.whiteElectronsPerSecond = 800'000;
        config.lensShading = 0;
        return config;
    }

    client::STransferredFrame Frame(double light) {
        mSensor.SetLightLevel(static_cast<float>(light));
        sim::SExposure exposure;
        exposure.seconds = kSeconds;
        exposure.frameNumber = mFrame++;
        const sim::SRasterImage image = mSensor.ReadRaw(exposure, {0, 0, kSide, kSide});
        client::STransferredFrame frame{transferFormat(VEK_TRANSFER_MONO12), kSide, kSide, VEK_COLOR_ARRAY_MONO, {}};
        for (const std::uint16_t level : image.samples) {
            frame.bytes.push_back(static_cast<std::uint8_t>(level & 0xFF));
            frame.bytes.push_back(static_cast<std::uint8_t>(level >> 8));
        }
        return frame;
    }

    client::PairByColor Pair(double light) {
        const client::STransferredFrame first = Frame(light);
        return client::measuredPair(first, Frame(light), {0, 0, kSide, kSide}, light);
    }

    static constexpr unsigned kSide = 400;
    static constexpr double kSeconds = 0.01;
    sim::CSimulatedSensor mSensor{Config(), sim::CScene::Flat(kSide, kSide, 1)};
    std::uint64_t mFrame = 0;
};

TEST_F(ClientNoise, FiguresAreThoseOfTheModel) {
    std::vector<client::PairByColor> dark;
    for (int i = 0; i < 8; ++i) {
        dark.push_back(Pair(0));
    }
    std::vector<client::PairByColor> lit;
    for (int i = 1; i <= 48; ++i) {
        lit.push_back(Pair(1.1 * i / 48));
    }
    const auto colors = client::photonTransfer(lit, dark, VEK_COLOR_ARRAY_MONO);
    ASSERT_EQ(colors.size(), 1U);
    const client::SPhotonTransfer& transfer = colors[0];
    const double gain = mSensor.DnPerElectron();
    const auto expectNear = [](double value, double expected) { EXPECT_NEAR(value, expected, 0.03 * expected); };
    expectNear(transfer.gain, gain);
    // 20 electrons of dark current have noise of their own, 6 of them a pattern.
    expectNear(transfer.readNoise.value_or(0), std::sqrt(12.0 * 12 + 20));
    expectNear(transfer.ReadNoiseDn(), gain * std::sqrt(12.0 * 12 + 20));
    expectNear(transfer.dsnu, 6);
    expectNear(transfer.prnu.value_or(0), 0.012);
    EXPECT_NEAR(transfer.dark.mean, 164 + 20 * gain, 0.2);
    ASSERT_TRUE(transfer.linearity);
    EXPECT_LT(transfer.linearity->error, 0.001);

    // The model's own variance is largest where the fewest pixels are cut off yet: among fine steps of it.
    double best = 0;
    double saturation = 0;
    for (double mean = 6000; mean < 8200; mean += 10) {
        // Photons of a pixel: normal, cut off at the full well; Simpson's rule is not needed at steps this fine.
        double weights = 0;
        double sum = 0;
        double squares = 0;
        for (double z = -5; z <= 5; z += 0.01) {
            const double weight = std::exp(-z * z / 2);
            const double charge = std::min(mean + z * std::sqrt(mean), 8000.0);
            weights += weight;
            sum += weight * charge;
            squares += weight * charge * charge;
        }
        const double variance = squares / weights - sum / weights * (sum / weights);
        if (variance > best) {
            best = variance;
            saturation = sum / weights;
        }
    }
    expectNear(transfer.SaturationElectrons().value_or(0), saturation);

    const std::vector<client::SNoise> noise = client::profileNoise(colors, 4095);
    ASSERT_EQ(noise.size(), 1U);
    const double range = 4095 - transfer.dark.mean;
    EXPECT_DOUBLE_EQ(noise[0].scale, transfer.gain / range);
    EXPECT_DOUBLE_EQ(noise[0].offset, transfer.dark.variance / range / range);

    const client::SImage picture = client::photonTransferPicture(colors, "sensor");
    EXPECT_EQ(picture.width, 900U);
    EXPECT_GT(picture.height, 600U);
}

TEST_F(ClientNoise, PairsByHand) {
    // Means 10 and 12, differences -1, -3, -2, -2: variance (18 / 4 - 4) / 2; products 120.5.
    const client::STransferredFrame a{transferFormat(VEK_TRANSFER_MONO8), 2, 2, VEK_COLOR_ARRAY_MONO, {9, 11, 10, 10}};
    const client::STransferredFrame b{transferFormat(VEK_TRANSFER_MONO8), 2, 2, VEK_COLOR_ARRAY_MONO, {10, 14, 12, 12}};
    const client::PairByColor pair = client::measuredPair(a, b, {0, 0, 2, 2}, 5);
    ASSERT_EQ(pair.size(), 1U);
    EXPECT_DOUBLE_EQ(pair[0].mean, 11);
    EXPECT_DOUBLE_EQ(pair[0].variance, 0.25);
    EXPECT_DOUBLE_EQ(pair[0].spatial, 1);
    EXPECT_DOUBLE_EQ(pair[0].exposure, 5);
    client::STransferredFrame bayer = a;
    bayer.colorArray = VEK_COLOR_ARRAY_BGGR;
    EXPECT_EQ(client::measuredPair(bayer, bayer, {0, 0, 2, 2}, 0).size(), 4U);
    EXPECT_THROW(client::measuredPair(bayer, bayer, {0, 0, 1, 2}, 0), client::CFailure);
}

/// A pair of a model: variance 4 + 0.5 x signal, dark at 100.
client::PairByColor modelPair(double exposure, double signal, double variance) {
    return {{exposure, 100 + signal, variance, 0}};
}

TEST_F(ClientNoise, WhatCannotBeToldIsLeftOpen) {
    const std::vector<client::PairByColor> dark = {modelPair(0, 0, 4)};
    std::vector<client::PairByColor> lit;
    for (int i = 1; i <= 10; ++i) {
        lit.push_back(modelPair(0, 100 * i, 4 + 50 * i));
    }
    const auto rising = client::photonTransfer(lit, dark, VEK_COLOR_ARRAY_MONO);
    EXPECT_DOUBLE_EQ(rising[0].gain, 0.5);
    EXPECT_FALSE(rising[0].saturation);
    EXPECT_FALSE(rising[0].prnu);
    EXPECT_FALSE(rising[0].SaturationElectrons());
    // No exposures: no linearity. Any order of the pairs will do.
    lit.insert(lit.begin(), modelPair(0, 1100, 3));
    const auto full = client::photonTransfer(lit, dark, VEK_COLOR_ARRAY_MONO);
    EXPECT_EQ(full[0].saturation, 9U);
    EXPECT_DOUBLE_EQ(full[0].SaturationElectrons().value_or(0), 2000);
    EXPECT_FALSE(full[0].linearity);
    EXPECT_EQ(client::photonTransferPicture(full, "no exposures").height, 600U);

    EXPECT_FALSE(client::photonTransfer(lit, std::vector(1, modelPair(0, 0, 0.24)), VEK_COLOR_ARRAY_MONO)[0].readNoise);
    EXPECT_TRUE(client::photonTransfer(lit, std::vector(1, modelPair(0, 0, 0.25)), VEK_COLOR_ARRAY_MONO)[0].readNoise);
    EXPECT_THROW(client::photonTransfer({}, dark, VEK_COLOR_ARRAY_MONO), client::CFailure);
    EXPECT_THROW(client::photonTransfer(lit, {}, VEK_COLOR_ARRAY_MONO), client::CFailure);
    EXPECT_THROW(client::photonTransfer(std::vector(5, modelPair(0, 50, 1)), dark, VEK_COLOR_ARRAY_MONO),
                 client::CFailure);
}

TEST_F(ClientNoise, LinearityHasTheLeastRelativeDeviations) {
    const std::vector<client::PairByColor> dark = {modelPair(0, 0, 4)};
    std::vector<client::PairByColor> lit;
    for (int i = 1; i <= 20; ++i) {
        // An offset of 7 is no deviation; what is below 5 % or above 95 % does not count.
        const double off = i == 10 ? 1.01 : i == 1 ? 0.5 : i == 20 ? 2 : 1;
        lit.push_back(modelPair(i, off * (7 + 30 * i), i == 20 ? 4 : 4 + 15 * i));
    }
    const auto colors = client::photonTransfer(lit, dark, VEK_COLOR_ARRAY_MONO);
    ASSERT_TRUE(colors[0].linearity);
    const client::SLinearity& linearity = *colors[0].linearity;
    EXPECT_NEAR(linearity.slope, 30, 0.1);
    EXPECT_NEAR(linearity.offset, 7, 1);
    EXPECT_NEAR(linearity.error, 0.01 / static_cast<double>(linearity.deviations.size()), 0.0006);
}

TEST_F(ClientNoise, BlackOfOneFrameHasNoTemporalNoise) {
    client::CBlackMeter meter(*transferFormat(VEK_TRANSFER_RAW8), 3, 3, VEK_COLOR_ARRAY_GRBG);
    meter.Add(std::vector<std::uint8_t>{5, 6, 5, 7, 8, 7, 5, 6, 5});
    const client::SBlackMeasurement one = meter.Result();
    ASSERT_EQ(one.places.size(), 4U);
    EXPECT_EQ(one.places[0].name, "Gr");
    EXPECT_DOUBLE_EQ(one.places[3].level, 8);
    EXPECT_FALSE(one.places[0].noise);
    EXPECT_EQ(one.Levels().levels, (std::vector<double>{5, 6, 7, 8}));
    meter.Add(std::vector<std::uint8_t>{7, 8, 7, 9, 10, 9, 7, 8, 7});
    const client::SBlackMeasurement two = meter.Result();
    // A frame that is brighter as a whole is no noise of pixels, but makes the level uncertain.
    EXPECT_DOUBLE_EQ(two.places[0].noise.value_or(9), 0);
    EXPECT_DOUBLE_EQ(two.places[0].level, 6);
    EXPECT_DOUBLE_EQ(two.places[0].error, 1);
    // The smallest frames.
    client::CBlackMeter pixel(*transferFormat(VEK_TRANSFER_RAW8), 1, 1, VEK_COLOR_ARRAY_RGGB);
    pixel.Add(std::vector<std::uint8_t>{9});
    EXPECT_EQ(pixel.Result().Levels().levels, std::vector<double>{9});
}

} // namespace

} // namespace vek::test
