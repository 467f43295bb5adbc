// SPDX-License-Identifier: Apache-2.0
// The model itself: the samples it reads are the ones that the formulas name.
#include "support/DemosaicModel.h"

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

TEST(DemosaicModel, OtherMethodsReadTheImageOnly) {
    for (unsigned char method = 0; method <= 3; ++method) {
        for (unsigned long width = 2; width <= 9; ++width) {
            if (method == 3 && width % 2 == 1) {
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
    for (unsigned char method = 0; method <= 3; ++method) {
        for (unsigned long width = 2; width <= 6; ++width) {
            for (unsigned long height = 2; height <= 5; ++height) {
                for (const unsigned long pitch : {0UL, 11UL}) {
                    const std::vector<bool> reads = readsOf({width, height, pitch, 0, method, 4, 4});
                    ASSERT_FALSE(reads.empty());
                    EXPECT_TRUE(reads.back()) << int{method} << " " << width << " x " << height;
                }
            }
        }
    }
}

TEST(DemosaicModel, EqualPitchesCopyWholeRowsToGrey) {
    const std::vector<bool> reads = readsOf({5, 3, 7, 7, 0, 1, 1});
    ASSERT_EQ(reads.size(), 21U);
    EXPECT_EQ(std::count(reads.begin(), reads.end(), true), 21);
}

} // namespace vek::test
