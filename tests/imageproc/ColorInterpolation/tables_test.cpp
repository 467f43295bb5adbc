// SPDX-License-Identifier: Apache-2.0
// The exported tables of demosaicing and YCrCb decoding, entry by entry, as an application sees them.
#include "VekTrgApi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vek::test {
namespace {

/// floor(numerator / denominator), denominator above 0.
std::int64_t floorOf(std::int64_t numerator, std::int64_t denominator) {
    const std::int64_t quotient = numerator / denominator;
    return numerator % denominator < 0 ? quotient - 1 : quotient;
}

} // namespace

TEST(CProductTables, AreProducts) {
    for (unsigned i = 0; i < VEK_PRODUCT_TABLE_SIZE; ++i) {
        EXPECT_EQ(pwMul3[i], 3 * i) << i;
        EXPECT_EQ(pwMul9[i], 9 * i) << i;
    }
}

TEST(CProductTables, Have4096WordsEach) {
    EXPECT_EQ(sizeof pwMul3, 8192U);
    EXPECT_EQ(sizeof pwMul9, 8192U);
    EXPECT_EQ(pwMul3[4095], 12285);
    EXPECT_EQ(pwMul9[4095], 36855);
}

// 5/8 and -1/8, each rounded by floor(x + 0.5) before the sign.
TEST(CCubicTables, FollowTheirRule) {
    for (int s = 0; s < VEK_CUBIC_TABLE_SIZE; ++s) {
        EXPECT_EQ(pshtTable_05[s], (5 * s + 4) / 8) << s;
        EXPECT_EQ(pshtTable_15[s], -((s + 4) / 8)) << s;
        EXPECT_EQ(pshtTable_05[s], std::floor(0.625 * s + 0.5)) << s;
        EXPECT_EQ(pshtTable_15[s], -std::floor(0.125 * s + 0.5)) << s;
    }
}

TEST(CCubicTables, TellingEntries) {
    EXPECT_EQ(sizeof pshtTable_05, 16384U);
    EXPECT_EQ(sizeof pshtTable_15, 16384U);
    const short inner[] = {0, 1, 1, 2, 3, 3, 4, 4};
    const short outer[] = {0, 0, 0, 0, -1};
    EXPECT_TRUE(std::equal(inner, inner + 8, pshtTable_05));
    EXPECT_TRUE(std::equal(outer, outer + 5, pshtTable_15));
    EXPECT_EQ(pshtTable_05[510], 319);
    EXPECT_EQ(pshtTable_15[510], -64);
    EXPECT_EQ(pshtTable_05[8191], 5119);
    EXPECT_EQ(pshtTable_15[8191], -1024);
}

// Every grey keeps its level: 5/8 - 1/8 of twice the level.
TEST(CCubicTables, GrayStays) {
    for (int v = 0; v <= 4095; ++v) {
        EXPECT_EQ(pshtTable_05[2 * v] + pshtTable_15[2 * v], v);
    }
}

// The formulas in whole numbers: coefficient x 100000 x level x 2^22, rounded by floor(x + 0.5).
TEST(CYCrCbTables, FollowTheirRules) {
    const std::int64_t full[5] = {100000, 140200, -34414, -71414, 177200};
    const std::int64_t video[5] = {116438, 179274, -21325, -53291, 211240};
    const auto rounded = [](std::int64_t coefficient, std::int64_t level) {
        return floorOf(2 * coefficient * level * 4194304 + 100000, 200000);
    };
    for (int v = 0; v < 256; ++v) {
        for (int row = 0; row < 5; ++row) {
            const int level = row == 0 ? v : v - 128;
            const int held = row == 0 ? std::clamp(v, 16, 235) - 16 : std::clamp(v, 16, 240) - 128;
            EXPECT_EQ(pnYCrCbConvTable[row][v], rounded(full[row], level)) << row << " " << v;
            EXPECT_EQ(pnYCrCbConvTable709[row][v], rounded(video[row], held)) << row << " " << v;
        }
    }
}

TEST(CYCrCbTables, TellingEntries) {
    EXPECT_EQ(sizeof pnYCrCbConvTable, 5120U);
    EXPECT_EQ(sizeof pnYCrCbConvTable709, 5120U);
    EXPECT_EQ(pnYCrCbConvTable[0][1], 4194304);
    EXPECT_EQ(pnYCrCbConvTable[0][255], 1069547520);
    EXPECT_EQ(pnYCrCbConvTable[1][0], -752693019);
    EXPECT_EQ(pnYCrCbConvTable[1][128], 0);
    EXPECT_EQ(pnYCrCbConvTable[1][255], 746812604);
    EXPECT_EQ(pnYCrCbConvTable709[0][0], 0);
    EXPECT_EQ(pnYCrCbConvTable709[0][16], 0);
    EXPECT_EQ(pnYCrCbConvTable709[0][17], 4883764);
    for (int v = 235; v < 256; ++v) {
        EXPECT_EQ(pnYCrCbConvTable709[0][v], 1069544248);
    }
    for (int row = 1; row < 5; ++row) {
        EXPECT_EQ(pnYCrCbConvTable709[row][0], pnYCrCbConvTable709[row][16]);
        EXPECT_EQ(pnYCrCbConvTable709[row][255], pnYCrCbConvTable709[row][240]);
        EXPECT_EQ(pnYCrCbConvTable709[row][128], 0);
    }
}

// No sum of a luma and its chroma terms leaves 32 bits.
TEST(CYCrCbTables, SumsFit) {
    for (const auto& table : {&pnYCrCbConvTable, &pnYCrCbConvTable709}) {
        std::int64_t least[5];
        std::int64_t most[5];
        for (int row = 0; row < 5; ++row) {
            least[row] = *std::min_element((*table)[row], (*table)[row] + 256);
            most[row] = *std::max_element((*table)[row], (*table)[row] + 256);
        }
        for (const std::int64_t sum : {most[0] + most[1], most[0] + most[2] + most[3], most[0] + most[4]}) {
            EXPECT_LE(sum, INT32_MAX);
        }
        for (const std::int64_t sum : {least[1], least[2] + least[3], least[4]}) {
            EXPECT_GE(sum, INT32_MIN);
        }
    }
}

} // namespace vek::test
