// SPDX-License-Identifier: Apache-2.0
#include "client/develop/Highlights.h"
#include "client/develop/Tone.h"
#include "client/pictures/Turning.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace vek::test {

namespace {

using client::SToneCurve;

TEST(ToneCurves, ValuesOfEach) {
    EXPECT_DOUBLE_EQ(client::toneValue({SToneCurve::EKind::Linear, 1, {}}, 0.3), 0.3);
    EXPECT_NEAR(client::toneValue({SToneCurve::EKind::Srgb, 1, {}}, 0.5), 0.735357, 1e-6);
    EXPECT_DOUBLE_EQ(client::toneValue({SToneCurve::EKind::Srgb, 1, {}}, 0.001), 0.01292);
    EXPECT_DOUBLE_EQ(client::toneValue({SToneCurve::EKind::Bt709, 1, {}}, 0.01), 0.045);
    EXPECT_NEAR(client::toneValue({SToneCurve::EKind::Bt709, 1, {}}, 0.5), 0.705515, 1e-6);
    EXPECT_DOUBLE_EQ(client::toneValue({SToneCurve::EKind::Gamma, 2, {}}, 0.25), 0.5);
    const SToneCurve table = {SToneCurve::EKind::Table, 1, {0, 0.5, 0.6}};
    EXPECT_DOUBLE_EQ(client::toneValue(table, 0.25), 0.25);
    EXPECT_DOUBLE_EQ(client::toneValue(table, 0.75), 0.55);
    EXPECT_DOUBLE_EQ(client::toneValue(table, 1), 0.6);
    EXPECT_DOUBLE_EQ(client::toneValue(table, 7), 0.6);
    EXPECT_DOUBLE_EQ(client::toneValue(table, -7), 0);
}

TEST(ToneCurves, TablesBeginAtThePedestal) {
    const auto table = client::toneTable({SToneCurve::EKind::Linear, 1, {}}, 95, 1, 8);
    ASSERT_EQ(table.size(), 4096U);
    EXPECT_EQ(table[0], 0U);
    EXPECT_EQ(table[95], 0U);
    EXPECT_EQ(table[2095], 128U); // the middle of 95 and 4095
    EXPECT_EQ(table[4095], 255U);
    const auto brighter = client::toneTable({SToneCurve::EKind::Linear, 1, {}}, 95, 4, 16);
    EXPECT_EQ(brighter[1095], 65535U);
    EXPECT_EQ(brighter[595], 32768U);
    EXPECT_EQ(brighter[4095], 65535U);
}

TEST(Highlights, WhatIsNotSaturatedStays) {
    const client::Vector3 color = {0.2, 1, 0.9};
    EXPECT_EQ(client::blendedHighlights(color), color);
}

TEST(Highlights, WhereAllAreSaturatedTheyAreGrey) {
    const client::Vector3 grey = client::blendedHighlights({2, 1, 1.5});
    for (const double value : grey) {
        EXPECT_DOUBLE_EQ(value, 1.5);
    }
}

TEST(Highlights, ColorFadesWithoutAStep) {
    // From saturation at 1 on: no jump between neighbours.
    client::Vector3 before = client::blendedHighlights({1, 0.5, 0.2});
    for (double red = 1; red < 3; red += 0.001) {
        const client::Vector3 now = client::blendedHighlights({red, 0.5 * red, 0.2 * red});
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_LT(std::abs(now[i] - before[i]), 0.01) << red;
        }
        before = now;
    }
    EXPECT_LT(before[0] - before[2], 0.9);
}

TEST(Highlights, ShoulderRisesUpToOne) {
    for (const double most : {1.0, 1.5, 3.0}) {
        EXPECT_DOUBLE_EQ(client::rolledOff(0.8, most), 0.8);
        EXPECT_DOUBLE_EQ(client::rolledOff(0.5, most), 0.5);
        EXPECT_NEAR(client::rolledOff(most, most), 1, 1e-12);
        double before = 0;
        for (double brightness = 0; brightness <= most; brightness += 0.01) {
            const double now = client::rolledOff(brightness, most);
            EXPECT_GE(now, before);
            EXPECT_LE(now, brightness + 1e-12);
            before = now;
        }
        EXPECT_DOUBLE_EQ(client::rolledOff(10, most), 1);
    }
    EXPECT_NEAR(client::rolledOff(0.95, 1), 0.95, 1e-12);
}

/// The turned numbers 0 .. 5 of a picture of 3 x 2 pixels.
std::vector<int> numbersOf(const client::STurning& turning, unsigned short channels, unsigned short depth) {
    std::vector<std::uint8_t> bytes;
    const std::size_t pixelBytes = channels * (depth / 8U);
    for (std::uint8_t i = 0; i < 6; ++i) {
        bytes.insert(bytes.end(), pixelBytes, i);
    }
    std::vector<std::uint8_t> samples;
    const client::SPictureView turned = client::turned({3, 2, channels, depth, bytes.data()}, turning, samples);
    EXPECT_EQ(turned.width, turning.quarters % 2 == 0 ? 3U : 2U);
    EXPECT_EQ(turned.height, turning.quarters % 2 == 0 ? 2U : 3U);
    std::vector<int> numbers;
    for (std::size_t i = 0; i < 6; ++i) {
        for (std::size_t b = 0; b < pixelBytes; ++b) {
            EXPECT_EQ(samples[i * pixelBytes + b], samples[i * pixelBytes]);
        }
        numbers.push_back(samples[i * pixelBytes]);
    }
    return numbers;
}

TEST(Turning, EachWayAndEachPixel) {
    for (const unsigned short channels : std::initializer_list<unsigned short>{1, 3}) {
        for (const unsigned short depth : std::initializer_list<unsigned short>{8, 16}) {
            const auto numbers = [&](const client::STurning& turning) { return numbersOf(turning, channels, depth); };
            EXPECT_EQ(numbers({}), (std::vector<int>{0, 1, 2, 3, 4, 5}));
            EXPECT_EQ(numbers({.leftRight = true}), (std::vector<int>{2, 1, 0, 5, 4, 3}));
            EXPECT_EQ(numbers({.topBottom = true}), (std::vector<int>{3, 4, 5, 0, 1, 2}));
            EXPECT_EQ(numbers({.quarters = 1}), (std::vector<int>{3, 0, 4, 1, 5, 2}));
            EXPECT_EQ(numbers({.quarters = 2}), (std::vector<int>{5, 4, 3, 2, 1, 0}));
            EXPECT_EQ(numbers({.quarters = 3}), (std::vector<int>{2, 5, 1, 4, 0, 3}));
            EXPECT_EQ(numbers({.leftRight = true, .quarters = 1}), (std::vector<int>{5, 2, 4, 1, 3, 0}));
            EXPECT_EQ(numbers({.leftRight = true, .topBottom = true}), numbers({.quarters = 2}));
        }
    }
}

} // namespace

} // namespace vek::test
