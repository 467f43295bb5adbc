// SPDX-License-Identifier: Apache-2.0
// The model itself: the samples it reads are the ones that the formulas name.
#include "imageproc/ColorInterpolation/DemosaicModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace vek::test {

namespace {

std::vector<bool> readsOf(const SDemosaicCall& call) {
    std::vector<std::uint8_t> src(modelSrcBytes(call, 1), 1);
    std::vector<std::uint8_t> dst(modelDstBytes(call, 1), 0);
    std::vector<bool> reads;
    EXPECT_EQ(CDemosaicModel<std::uint8_t>(call, src.data(), dst.data()).RunMarkingReads(&reads), 0U);
    return reads;
}

} // namespace

TEST(DemosaicModel, BilinearReadsOneSampleBehindEachOddRow) {
    // 5 x 3 at a pitch of 8: columns 0..5 of every row and nothing of columns 6 and 7.
    const std::vector<bool> reads = readsOf({5, 3, 8, 0, 3, 2, 3});
    ASSERT_EQ(reads.size(), 22U);
    for (std::size_t at = 0; at < reads.size(); ++at) {
        EXPECT_EQ(reads[at], at % 8 <= 5) << at;
    }
}

TEST(DemosaicModel, NearestNeighbor2ReadsBehindOddRowsOfItsPairs) {
    // 5 x 6 at a pitch of 8, red first: the second row of each pair takes its green from column 5 of the row below.
    const std::vector<bool> red = readsOf({5, 6, 8, 0, 6, 2, 3});
    ASSERT_EQ(red.size(), 45U);
    // Green first: from column 5 of its own row.
    const std::vector<bool> green = readsOf({5, 6, 8, 0, 6, 3, 3});
    ASSERT_EQ(green.size(), 45U);
    for (std::size_t at = 0; at < red.size(); ++at) {
        const std::size_t row = at / 8;
        EXPECT_EQ(red[at], at % 8 < 5 || (at % 8 == 5 && (row == 2 || row == 4))) << at;
        EXPECT_EQ(green[at], at % 8 < 5 || (at % 8 == 5 && (row == 1 || row == 3))) << at;
    }
}

TEST(DemosaicModel, BlockMethodsLeaveTheLastRowOfAnOddHeight) {
    for (const unsigned char method : {std::uint8_t{5}, std::uint8_t{6}}) {
        for (unsigned long height = 4; height <= 9; ++height) {
            EXPECT_EQ(readsOf({6, height, 0, 0, method, 4, 3}).size(), 6 * (height - height % 2));
        }
    }
}

TEST(DemosaicModel, OtherMethodsReadTheImageOnly) {
    for (unsigned char method = 0; method <= kLastMethod; ++method) {
        for (unsigned long width = 4; width <= 11; ++width) {
            if ((method == 3 || method == 6) && width % 2 == 1) {
                continue;
            }
            const std::vector<bool> reads = readsOf({width, 4, 12, 0, method, 3, 3});
            for (std::size_t at = 0; at < reads.size(); ++at) {
                EXPECT_EQ(reads[at], at % 12 < width) << "method " << int{method} << " width " << width << " at " << at;
            }
        }
    }
}

TEST(DemosaicModel, ExtentIsTheLastSampleRead) {
    for (unsigned char method = 0; method <= kLastMethod; ++method) {
        for (unsigned short colorArray = 4; colorArray <= kLastColorArray; ++colorArray) {
            for (unsigned long width = 4; width <= 13; ++width) {
                for (unsigned long height = 4; height <= 7; ++height) {
                    for (const unsigned long pitch : {0UL, 41UL}) {
                        const SDemosaicCall call{width, height, pitch, 0, method, colorArray, 4};
                        const std::vector<bool> reads = readsOf(call);
                        if (reads.empty()) {
                            EXPECT_TRUE(width == 4 && (colorArray == 8 || colorArray == 11) && method != 0);
                            continue;
                        }
                        EXPECT_TRUE(reads.back()) << int{method} << " " << width << " x " << height;
                    }
                }
            }
        }
    }
}

// 4:1:1 of 7 pixels: the group, and of the three pixels behind it the lumas alone, Y0 Y1 . Y2 of the next group.
TEST(DemosaicModel, DecodingReadsLumasBehindTheLastGroup) {
    const std::vector<bool> reads = readsOf({7, 1, 0, 0, 1, 8, 3});
    EXPECT_EQ(reads, (std::vector<bool>{true, true, true, true, true, true, true, true, false, true}));
    // 8 pixels: the second group stays out.
    EXPECT_EQ(readsOf({8, 1, 0, 0, 1, 8, 3}), std::vector<bool>(6, true));
    // 4:2:2 of 3 pixels: a pair and a luma.
    EXPECT_EQ(readsOf({3, 1, 0, 0, 1, 6, 3}), std::vector<bool>(5, true));
}

TEST(DemosaicModel, EqualPitchesCopyWholeRowsToGray) {
    const std::vector<bool> reads = readsOf({5, 3, 7, 7, 0, 1, 1});
    ASSERT_EQ(reads.size(), 21U);
    EXPECT_EQ(std::count(reads.begin(), reads.end(), true), 21);
}

} // namespace vek::test
