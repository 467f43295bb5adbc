// SPDX-License-Identifier: Apache-2.0
#include "VekTrgApi.h"
#include "chain/EdgeDemosaic.h"
#include "imageproc/BandCheck.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {
namespace {

template <class T>
void tryBands(unsigned short depth) {
    for (unsigned short array = VEK_COLOR_ARRAY_RGGB; array <= VEK_COLOR_ARRAY_BGGR; ++array) {
        for (std::uint64_t seed = 1; seed <= 20; ++seed) {
            CBandCheck<T> check(rows::bestTable(), seed);
            const SFrame frame = {2 + check.Random().Below(150), 2 + check.Random().Below(14), 0, array, depth};
            ASSERT_TRUE(check.Run(SEdgeDemosaicStage(), frame, {1, 3, depth})) << "array " << array;
        }
    }
}

TEST(EdgeDemosaicBands, AreTheFrame) {
    tryBands<std::uint8_t>(8);
    tryBands<std::uint16_t>(12);
}

TEST(EdgeDemosaicBands, TraitsAreThoseOfTheResults) {
    const SEdgeDemosaicStage stage;
    for (const unsigned long width : {12, 13}) {
        for (const unsigned long height : {12, 13}) {
            const SFrame frame = {width, height, 0, VEK_COLOR_ARRAY_GRBG, 8};
            EXPECT_EQ(CBandCheck<std::uint8_t>(rows::bestTable(), height).Observed(stage, frame, {1, 3, 8}),
                      stage.Traits(frame));
            EXPECT_EQ(CBandCheck<std::uint16_t>(rows::bestTable(), height).Observed(stage, frame, {1, 3, 8}),
                      stage.Traits(frame));
        }
    }
}

TEST(EdgeDemosaicBands, NoneOfOtherFrames) {
    EXPECT_EQ(SEdgeDemosaicStage().Traits({8, 8, 0, VEK_COLOR_ARRAY_MONO, 8}).kind, EStage::None);
    EXPECT_EQ(SEdgeDemosaicStage().Traits({8, 8, 0, VEK_COLOR_ARRAY_YCRCB422, 8}).kind, EStage::None);
}

} // namespace
} // namespace vek::test
