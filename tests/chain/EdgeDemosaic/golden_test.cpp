// SPDX-License-Identifier: Apache-2.0
// Pixels worked out by hand.
#include "VekTrgApi.h"
#include "chain/EdgeDemosaic.h"
#include "imageproc/rows/RowDispatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vek::test {
namespace {

/// Blue, green, red.
using Pixel = std::vector<std::uint16_t>;

/// The middle pixel of 5 x 5 samples.
Pixel middleOf(const std::vector<std::uint16_t>& samples, unsigned short colorArray, unsigned short depth) {
    Pixel row(15);
    const SFrame frame = {5, 5, 0, colorArray, depth};
    SEdgeDemosaicStage().Rows(rows::bestTable(), frame,
                              SBand<std::uint16_t>{{10, samples.data()}, {30, row.data(), 2}, 2, 3, nullptr});
    return {row.begin() + 6, row.begin() + 9};
}

/// Dark in three columns, bright in two.
const std::vector<std::uint16_t> kUprightEdge = {100, 100, 100, 200, 200, 100, 100, 100, 200, 200, 100, 100, 100,
                                                 200, 200, 100, 100, 100, 200, 200, 100, 100, 100, 200, 200};

// Along the row: s = 150, b = 100 - 150, change 100 + 50; down the column nothing changes, and s = 100 is taken. Blue:
// 100 + the mean of the corners, 150, - that of 150 and 100.
TEST(EdgeDemosaicGolden, RedBesideAnUprightEdge) {
    EXPECT_EQ(middleOf(kUprightEdge, VEK_COLOR_ARRAY_RGGB, 8), (Pixel{125, 100, 100}));
}

// The same along columns. Red: s = 150 and 3/4 of what green lies below the corners, 50: -37.5, up to -37. Blue: s =
// 100.
TEST(EdgeDemosaicGolden, GreenBesideAnUprightEdge) {
    EXPECT_EQ(middleOf(kUprightEdge, VEK_COLOR_ARRAY_GRBG, 8), (Pixel{100, 100, 113}));
}

// The edge lies down: row and column change their parts.
TEST(EdgeDemosaicGolden, GreenAboveALevelEdge) {
    std::vector<std::uint16_t> level(25, 100);
    std::fill(level.begin() + 15, level.end(), std::uint16_t{200});
    EXPECT_EQ(middleOf(level, VEK_COLOR_ARRAY_GRBG, 8), (Pixel{113, 100, 100}));
}

// A bright dot changes both directions alike: the mean of 100 + 40 / 2 and the same.
TEST(EdgeDemosaicGolden, DotTakesBothDirections) {
    std::vector<std::uint16_t> dot(25, 100);
    dot[12] = 140;
    EXPECT_EQ(middleOf(dot, VEK_COLOR_ARRAY_BGGR, 8), (Pixel{140, 120, 120}));
}

// 250 + (255 - 0) / 2 is more than the depth holds, -250 / 2 less than nothing.
TEST(EdgeDemosaicGolden, ResultsAreLimited) {
    std::vector<std::uint16_t> peak = {0,   250, 0,   250, 0,   250, 250, 250, 250, 250, 0,   250, 255,
                                       250, 0,   250, 250, 250, 250, 250, 0,   250, 0,   250, 0};
    EXPECT_EQ(middleOf(peak, VEK_COLOR_ARRAY_RGGB, 8), (Pixel{255, 255, 255}));
    EXPECT_EQ(middleOf(peak, VEK_COLOR_ARRAY_RGGB, 10), (Pixel{378, 378, 255}));
    for (std::uint16_t& sample : peak) {
        sample = static_cast<std::uint16_t>(sample == 0 ? 250 : 0);
    }
    EXPECT_EQ(middleOf(peak, VEK_COLOR_ARRAY_RGGB, 8), (Pixel{0, 0, 0}));
}

} // namespace
} // namespace vek::test
