// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/profiles/CameraColors.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vek::test {

namespace {

using client::CameraColors;
using client::Matrix3;
using client::SChromaticity;
using client::Vector3;
using client::operator*;

void expectNear(const Matrix3& got, const Matrix3& expected, double most) {
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(got[i / 3][i % 3], expected[i / 3][i % 3], most) << "place " << i;
    }
}

void expectNear(const Vector3& got, const Vector3& expected, double most) {
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(got[i], expected[i], most) << "place " << i;
    }
}

constexpr Vector3 kOnes = {1, 1, 1};
constexpr Matrix3 kIdentity = client::diagonal(kOnes);

/// XYZ under D65 to linear sRGB, IEC 61966-2-1.
constexpr Matrix3 kXyzToSrgb = {{{3.2406, -1.5372, -0.4986}, {-0.9689, 1.8758, 0.0415}, {0.0557, -0.2040, 1.0570}}};
constexpr Matrix3 kWarm = {{{2.9, -1.3, -0.5}, {-1.0, 1.9, 0.1}, {0.1, -0.3, 1.2}}};
constexpr unsigned kLightA = 17;
constexpr unsigned kLightD65 = 21;

CameraColors twoLights() {
    CameraColors colors;
    colors[0] = {kWarm, {}, kLightA};
    colors[1] = {kXyzToSrgb, {}, kLightD65};
    return colors;
}

CameraColors srgbCamera() {
    CameraColors colors;
    colors[0] = {kXyzToSrgb, {}, kLightD65};
    return colors;
}

// CIE 15:2004, table T.3: the illuminants' chromaticities and correlated colour temperatures.
TEST(ClientTemperature, OfTheIlluminants) {
    EXPECT_NEAR(client::temperatureOf({0.44757, 0.40745}), 2856, 3);
    EXPECT_NEAR(client::temperatureOf({0.34567, 0.35850}), 5003, 5);
    EXPECT_NEAR(client::temperatureOf({0.33242, 0.34743}), 5503, 6);
    EXPECT_NEAR(client::temperatureOf({0.31272, 0.32903}), 6504, 8);
    EXPECT_NEAR(client::temperatureOf({0.29902, 0.31485}), 7504, 10);
    EXPECT_NEAR(client::temperatureOf({0.31006, 0.31616}), 6774, 10);
}

// M. Krystek, An algorithm to calculate correlated colour temperature, Color Res. Appl. 10, 1985: within 9e-5 in u, v.
TEST(ClientTemperature, BlackBodiesLieOnTheirCurve) {
    for (double t = 1700; t < 15000; t += 50) {
        const double u =
            (0.860117757 + 1.54118254e-4 * t + 1.28641212e-7 * t * t) / (1 + 8.42420235e-4 * t + 7.08145163e-7 * t * t);
        const double v =
            (0.317398726 + 4.22806245e-5 * t + 4.20481691e-8 * t * t) / (1 - 2.89741816e-5 * t + 1.61456053e-7 * t * t);
        const SChromaticity xy = client::chromaticityOf(t);
        const double scale = -2 * xy.x + 12 * xy.y + 3;
        EXPECT_NEAR(4 * xy.x / scale, u, 2e-4) << t;
        EXPECT_NEAR(6 * xy.y / scale, v, 2e-4) << t;
    }
}

TEST(ClientTemperature, ThereAndBack) {
    for (double t = 1700; t < 100000; t *= 1.01) {
        EXPECT_NEAR(client::temperatureOf(client::chromaticityOf(t)) / t, 1, 1e-3) << t;
    }
}

TEST(ClientTemperature, EndsAtTheTable) {
    EXPECT_DOUBLE_EQ(client::temperatureOf({0.7, 0.28}), client::kLowestTemperature);
    EXPECT_DOUBLE_EQ(client::temperatureOf({0.15, 0.02}), client::kHighestTemperature);
    EXPECT_NEAR(client::chromaticityOf(100.0).x, client::chromaticityOf(client::kLowestTemperature).x, 1e-12);
    EXPECT_TRUE(std::isfinite(client::chromaticityOf(1e9).x));
}

TEST(ClientTemperature, LightSources) {
    EXPECT_EQ(client::lightSourceTemperature(kLightA), 2856);
    EXPECT_EQ(client::lightSourceTemperature(0), std::nullopt);
    EXPECT_EQ(client::lightSourceTemperature(255), std::nullopt);
    EXPECT_EQ(client::lightSourceTemperature(5), std::nullopt);
    EXPECT_STREQ(client::lightSourceName(kLightD65), "D65");
    EXPECT_STREQ(client::lightSourceName(5), "");
    EXPECT_EQ(client::lightSourceWhite(kLightD65)->x, 0.31272);
    EXPECT_NEAR(client::temperatureOf(*client::lightSourceWhite(24)), 3200, 3);
    for (unsigned code = 0; code < 256; ++code) {
        if (const auto temperature = client::lightSourceTemperature(code)) {
            EXPECT_NEAR(client::temperatureOf(*client::lightSourceWhite(code)), *temperature, 0.002 * *temperature);
        }
    }
}

TEST(ClientMatrix, Inverse) {
    expectNear(*client::inverse(kWarm) * kWarm, kIdentity, 1e-12);
    EXPECT_FALSE(client::inverse({{{1, 2, 3}, {2, 4, 6}, {0, 0, 1}}}));
    EXPECT_FALSE(client::inverse({}));
    // Smallness alone is no reason.
    EXPECT_TRUE(client::inverse(client::diagonal({1e-3, 1e-4, 1e-3})));
}

// B. Lindbloom, Chromatic Adaptation and RGB/XYZ Matrices (brucelindbloom.com): Bradford, D50 to D65, and XYZ under
// D50 to sRGB.
TEST(ClientColors, PublishedMatrices) {
    expectNear(
        client::whiteAdaptation({0.96422, 1, 0.82521}, {0.95047, 1, 1.08883}),
        {{{0.9555766, -0.0230393, 0.0631636}, {-0.0282895, 1.0099416, 0.0210077}, {0.0122982, -0.0204830, 1.3299098}}},
        1e-6);
    expectNear(
        client::xyzToSrgb(),
        {{{3.1338561, -1.6168667, -0.4906146}, {-0.9787684, 1.9161415, 0.0334540}, {0.0719453, -0.2289914, 1.4052427}}},
        2e-3);
    expectNear(client::xyzToSrgb() * client::kWhiteD50, kOnes, 1e-12);
}

TEST(ClientColors, ACameraThatMeasuresSrgb) {
    const CameraColors colors = srgbCamera();
    const client::Neutral neutral = client::neutralOf(colors, {0.3127, 0.3290});
    expectNear(neutral, kOnes, 3e-4);
    const SChromaticity white = client::whiteOf(colors, kOnes);
    EXPECT_NEAR(white.x, 0.3127, 1e-4);
    EXPECT_NEAR(white.y, 0.3290, 1e-4);
    expectNear(client::cameraToSrgb(colors, kOnes), kIdentity, 5e-4);
    expectNear(client::cameraToXyz(colors, kOnes) * kOnes, client::kWhiteD50, 1e-9);
}

TEST(ClientColors, InterpolationIsLinearInInverseTemperature) {
    const CameraColors colors = twoLights();
    expectNear(client::colorMatrixAt(colors, 2000), kWarm, 0);
    expectNear(client::colorMatrixAt(colors, 2856), kWarm, 1e-12);
    expectNear(client::colorMatrixAt(colors, 6504), kXyzToSrgb, 1e-12);
    expectNear(client::colorMatrixAt(colors, 20000), kXyzToSrgb, 0);
    const double middle = 2 / (1.0 / 2856 + 1.0 / 6504);
    expectNear(client::colorMatrixAt(colors, middle), client::mixed(kWarm, kXyzToSrgb, 0.5), 1e-12);
    // The order of the lights does not matter.
    const CameraColors turned = {colors[1], colors[0]};
    expectNear(client::colorMatrixAt(turned, 4000), client::colorMatrixAt(colors, 4000), 1e-12);
}

TEST(ClientColors, NeutralsAndLightsFollowEachOther) {
    const CameraColors colors = twoLights();
    for (double temperature = 2200; temperature < 12000; temperature += 100) {
        const SChromaticity light = client::chromaticityOf(temperature);
        const SChromaticity found = client::whiteOf(colors, client::neutralOf(colors, light));
        EXPECT_NEAR(found.x, light.x, 1e-5) << temperature;
        EXPECT_NEAR(found.y, light.y, 1e-5) << temperature;
    }
}

TEST(ClientColors, BalancedWhiteStaysWhite) {
    CameraColors colors = twoLights();
    const client::Neutral neutral = {0.5, 1, 0.6};
    expectNear(client::balancedToSrgb(colors, neutral) * kOnes, kOnes, 1e-9);
    expectNear(client::cameraToSrgb(colors, neutral) * neutral, kOnes, 1e-9);
    expectNear(client::balancedToSrgb(colors, SChromaticity{0.34567, 0.35850}) * kOnes, kOnes, 1e-9);
    // A neutral's scale does not matter.
    expectNear(client::balancedToSrgb(colors, Vector3{5, 10, 6}), client::balancedToSrgb(colors, neutral), 1e-9);
    colors[0].forward = Matrix3{{{0.8, 0.13, 0.03}, {0.29, 0.71, 0.01}, {0, 0.02, 0.8}}};
    colors[1].forward = Matrix3{{{0.7, 0.2, 0.06}, {0.25, 0.8, -0.05}, {0.01, 0.1, 0.7}}};
    expectNear(client::cameraToXyz(colors, neutral) * neutral, client::kWhiteD50, 1e-9);
    expectNear(client::balancedToSrgb(colors, neutral) * kOnes, kOnes, 1e-9);
}

TEST(ClientColors, ForwardMatricesComeFirst) {
    CameraColors colors = srgbCamera();
    colors[0].forward = Matrix3{{{0.7978, 0.1352, 0.0312}, {0.2880, 0.7119, 0.0001}, {0, 0, 0.8249}}};
    expectNear(client::cameraToXyz(colors, {0.5, 1, 0.25}), *colors[0].forward * client::diagonal({2, 1, 4}), 1e-9);
    // They are enough for a light, and without colour matrices for a neutral.
    colors[0].color.reset();
    expectNear(client::balancedToSrgb(colors, SChromaticity{0.3127, 0.3290}), client::xyzToSrgb() * *colors[0].forward,
               1e-9);
    expectNear(client::cameraToXyz(colors, kOnes) * kOnes, client::kWhiteD50, 1e-9);
}

TEST(ClientColors, GainsBeginWithOne) {
    expectNear(client::balanceGains({0.5, 1, 0.625}), {2, 1, 1.6}, 1e-15);
    expectNear(client::balanceGains({2, 1, 1.25}), {1, 2, 1.6}, 1e-15);
}

TEST(ClientColors, WhatCannotBeIsAFailure) {
    EXPECT_THROW(client::cameraToXyz({}, kOnes), client::CFailure);
    EXPECT_THROW(client::neutralOf({}, {0.3, 0.3}), client::CFailure);
    CameraColors colors;
    colors[0].color = client::diagonal({1, -1, 1});
    EXPECT_THROW(client::whiteOf(colors, kOnes), client::CFailure); // below every light
    EXPECT_THROW(client::neutralOf(colors, {0.3, 0.3}), client::CFailure);
    colors[0].color = Matrix3{{{1, 2, 3}, {2, 4, 6}, {0, 0, 1}}};
    EXPECT_THROW(client::whiteOf(colors, kOnes), client::CFailure);
    colors[0].forward = Matrix3{{{-1, 0, 0}, {0, -1, 0}, {0, 0, -1}}};
    EXPECT_THROW(client::balancedToSrgb(colors, SChromaticity{0.3, 0.3}), client::CFailure);
}

} // namespace

} // namespace vek::test
