// SPDX-License-Identifier: Apache-2.0
// Sums of a region that are measured in bands of the frame.
#include "imageproc/AveragePixel.h"
#include "imageproc/BandCheck.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

TEST(AveragePixelBands, AddUpToTheFrame) {
    const struct {
        ELayout layout;
        unsigned depth;
    } formats[] = {{ELayout::Bytes, 8}, {ELayout::Words, 16}, {ELayout::Packed, 10}, {ELayout::Packed, 12}};
    for (const auto& [layout, depth] : formats) {
        for (std::uint64_t seed = 1; seed <= 40; ++seed) {
            CBandCheck<std::uint8_t> check(rows::bestTable(), seed);
            CRandom& random = check.Random();
            const SFrame frame = {.width = 1 + random.Below(100), .height = 1 + random.Below(30)};
            const SRegion region = SRegion::Cut(random.Below(frame.width + 1), random.Below(frame.height + 1),
                                                random.Below(100), random.Below(30), frame.width, frame.height);
            const SAveragePixelStage stage = {layout, depth, region};
            EXPECT_TRUE(check.RunReduction(stage, frame, {layout == ELayout::Bytes ? 1U : 2U, 1, 8}));
        }
    }
}

// Two rows that start at an odd one: 1 2 3, 4 5 6 without the first column.
TEST(AveragePixelBands, CountTheRowsOfTheRegion) {
    const std::uint8_t image[] = {90, 90, 90, 1, 2, 3, 4, 5, 6, 90, 90, 90};
    const SAveragePixelStage stage = {ELayout::Bytes, 8, {1, 1, 3, 3}};
    const SFrame frame = {.width = 3, .height = 4};
    const SRows<const std::uint8_t> source = {3, image};
    SCellSums sums = stage.Measure(rows::bestTable(), frame, {source, 0, 2});
    EXPECT_EQ(sums, (SCellSums{{0, 0, 3, 2}, {0, 0, 1, 1}}));
    sums.Add(stage.Measure(rows::bestTable(), frame, {source, 2, 4}));
    EXPECT_EQ(sums, (SCellSums{{6, 5, 3, 2}, {1, 1, 1, 1}}));
    EXPECT_EQ(stage.Traits(frame), (STraits{.kind = EStage::Reduction, .resultBytes = sizeof(SCellSums)}));
}

} // namespace vek::test
