// SPDX-License-Identifier: Apache-2.0
// Tone curves: named ones against their formulas, and segments against the entries that they stand for.
#include "chain/ToneCurve.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace vek::test {
namespace {

using Entries = std::vector<std::uint16_t>;

Entries entriesOf(VekChainCurve curve, double gamma, std::size_t count, unsigned outBits) {
    Entries entries(count);
    toneEntries(curve, gamma, count, outBits, entries.data());
    return entries;
}

/// Whether each segment of a curve gives its entries and the others are among its exceptions.
void checkSegments(const rows::SToneCurve& curve) {
    ASSERT_LE(curve.exceptions, rows::SToneCurve::kMaxExceptions);
    const auto* const end = curve.exception + curve.exceptions;
    ASSERT_TRUE(std::is_sorted(curve.exception, end));
    for (unsigned i = 0; i < 4096; ++i) {
        const unsigned segment = i / 64;
        if (std::find(curve.exception, end, segment) == end) {
            const int along = static_cast<int>(i % 64);
            const int slope = curve.segments->slope[segment] + (curve.segments->bend[segment] * along >> 7);
            ASSERT_EQ((curve.segments->base[segment] + (slope * along >> 7)) >> curve.shift, curve.entries[i])
                << "entry " << i;
        }
    }
}

TEST(ToneCurve, NamedCurvesByTheirFormulas) {
    const Entries linear = entriesOf(VEK_CHAIN_CURVE_LINEAR, 1, 4096, 12);
    for (std::size_t i = 0; i < linear.size(); ++i) {
        ASSERT_EQ(linear[i], i);
    }
    const Entries bytes = entriesOf(VEK_CHAIN_CURVE_SRGB, 1, 256, 8);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 13);   // 0.00392 is above 0.0031308: 255 x (1.055 x 0.0992 - 0.055) = 12.7
    EXPECT_EQ(bytes[55], 128); // 255 x (1.055 x 0.5278 - 0.055) = 127.96
    EXPECT_EQ(bytes[255], 255);
    const Entries words = entriesOf(VEK_CHAIN_CURVE_SRGB, 1, 4096, 12);
    EXPECT_EQ(words[10], 129); // 12.92 x 10
    const Entries video = entriesOf(VEK_CHAIN_CURVE_BT709, 1, 4096, 12);
    EXPECT_EQ(video[70], 315); // 4.5 x 70
    EXPECT_EQ(video[4095], 4095);
    EXPECT_EQ(video[1024], 2007); // 4095 x (1.099 x 0.25006^0.45 - 0.099) = 2006.6
    const Entries root = entriesOf(VEK_CHAIN_CURVE_GAMMA, 2, 256, 8);
    for (unsigned i = 0; i < 256; ++i) {
        ASSERT_EQ(root[i], std::lround(std::sqrt(i * 255.0)));
    }
}

TEST(ToneCurve, NoEntryHangsOnTheLastBitOfAPower) {
    // Neighbours of what pow returns round to the same level: any mathematical library gives the same table.
    for (const bool video : {false, true}) {
        for (const std::size_t count : {256UL, 4096UL}) {
            for (unsigned outBits = 8; outBits <= 16; ++outBits) {
                const double largest = (1U << outBits) - 1;
                for (std::size_t i = count / 50; i + 1 < count; ++i) {
                    const double light = static_cast<double>(i) / static_cast<double>(count - 1);
                    const double level =
                        video ? 1.099 * std::pow(light, 0.45) - 0.099 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
                    const double rest = largest * level - std::floor(largest * level);
                    ASSERT_GT(std::abs(rest - 0.5), 1e-8) << i << " of " << count << ", " << outBits << " bits";
                }
            }
        }
    }
}

TEST(ToneCurve, UsualCurvesHaveSegments) {
    for (const unsigned outBits : {8U, 10U, 12U}) {
        for (const VekChainCurve curve : {VEK_CHAIN_CURVE_LINEAR, VEK_CHAIN_CURVE_SRGB, VEK_CHAIN_CURVE_BT709}) {
            const CToneCurves curves(curve, 1, 4096, outBits);
            ASSERT_NE(curves.Tables().curve[0].segments, nullptr) << outBits << " bits";
            checkSegments(curves.Tables().curve[0]);
        }
        for (const double gamma : {0.5, 1.8, 2.2, 2.6}) {
            const CToneCurves curves(VEK_CHAIN_CURVE_GAMMA, gamma, 4096, outBits);
            ASSERT_NE(curves.Tables().curve[0].segments, nullptr) << outBits << " bits, " << gamma;
            checkSegments(curves.Tables().curve[0]);
        }
    }
}

TEST(ToneCurve, EqualTablesAreAlike) {
    const Entries a = entriesOf(VEK_CHAIN_CURVE_SRGB, 1, 4096, 8);
    const Entries same = a;
    const Entries other = entriesOf(VEK_CHAIN_CURVE_BT709, 1, 4096, 8);
    EXPECT_TRUE(CToneCurves(a.data(), same.data(), a.data(), 4096, 8).Tables().alike);
    const std::vector<std::vector<const Entries*>> orders = {
        {&a, &same, &other}, {&a, &other, &a}, {&other, &a, &same}};
    for (const auto& order : orders) {
        const CToneCurves curves(order[0]->data(), order[1]->data(), order[2]->data(), 4096, 8);
        EXPECT_FALSE(curves.Tables().alike);
        for (std::size_t i = 0; i < 3; ++i) {
            const rows::SToneCurve& curve = curves.Tables().curve[i];
            EXPECT_TRUE(std::equal(order[i]->begin(), order[i]->end(), curve.entries));
            EXPECT_TRUE(std::equal(order[i]->begin(), order[i]->end(), curve.low));
        }
    }
}

TEST(ToneCurve, EntriesStopAtTheLargestLevel) {
    Entries entries(256, 65535);
    entries[0] = 1000;
    const CToneCurves curves(entries.data(), entries.data(), entries.data(), 256, 10);
    EXPECT_EQ(curves.Tables().curve[0].entries[0], 1000);
    EXPECT_EQ(curves.Tables().curve[0].entries[255], 1023);
    EXPECT_EQ(curves.Tables().curve[0].high[255], 3);
    EXPECT_EQ(curves.Tables().curve[0].segments, nullptr);
}

TEST(ToneCurve, CurvesThatAreNotSmoothAreLookedUp) {
    CRandom random(1);
    Entries entries(4096);
    fillSamples(entries.data(), entries.size(), Pattern::Random, 12, random);
    const CToneCurves any(entries.data(), entries.data(), entries.data(), 4096, 12);
    EXPECT_EQ(any.Tables().curve[0].segments, nullptr);
    // Eight segments that are torn are exceptions, a ninth one is too many.
    entries = entriesOf(VEK_CHAIN_CURVE_LINEAR, 1, 4096, 12);
    for (std::size_t torn = 0; torn <= rows::SToneCurve::kMaxExceptions; ++torn) {
        const CToneCurves curves(entries.data(), entries.data(), entries.data(), 4096, 12);
        const rows::SToneCurve& curve = curves.Tables().curve[0];
        ASSERT_NE(curve.segments, nullptr);
        ASSERT_EQ(curve.exceptions, torn);
        checkSegments(curve);
        entries[torn * 400 + 70] ^= 0x800;
    }
    EXPECT_EQ(CToneCurves(entries.data(), entries.data(), entries.data(), 4096, 12).Tables().curve[0].segments,
              nullptr);
}

TEST(ToneCurve, MovedCurvesKeepTheirTables) {
    CToneCurves first(VEK_CHAIN_CURVE_SRGB, 1, 4096, 8);
    const CToneCurves second = std::move(first);
    EXPECT_EQ(second.Tables().curve[2].entries[4095], 255);
    checkSegments(second.Tables().curve[2]);
}

} // namespace
} // namespace vek::test
