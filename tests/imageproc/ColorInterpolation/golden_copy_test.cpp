// SPDX-License-Identifier: Apache-2.0
// Grey copies and own colours by hand.
#include "imageproc/ColorInterpolation/GoldenImage.h"

namespace vek::test {

// Method 0 shows a Bayer image's raw samples as grey.
TEST(GoldenGray, BayerSamplesBecomeGrayPixels) {
    for (unsigned short colorArray = 1; colorArray <= 5; ++colorArray) {
        expectColor(3, 1, 0, colorArray, {7, 0, 255}, {7, 7, 7, 0, 0, 0, 255, 255, 255});
        expectColor(1, 1, 0, colorArray, {9}, {9, 9, 9});
        expectColor(1, 2, 0, colorArray, {9, 8}, {9, 9, 9, 8, 8, 8});
    }
}

// A mono image is copied by every method.
TEST(GoldenGray, MonoTakesAnyMethod) {
    for (const int method : {0, 1, 2, 3, 4, 5, 6, 7, 200, 255}) {
        expectColor(2, 1, static_cast<unsigned char>(method), 1, {5, 6}, {5, 5, 5, 6, 6, 6});
    }
}

// Equal pitches and one channel: one block, the padding goes along.
TEST(GoldenGray, EqualPitchesCopyThePadding) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src{1, 2, 3, 91, 92, 4, 5, 6, 93, 94};
    std::vector<std::uint8_t> dst(12, kKept);
    EXPECT_EQ(callLong(*module, {3, 2, 5, 5, 0, 1, 1}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst, (std::vector<std::uint8_t>{1, 2, 3, 91, 92, 4, 5, 6, 93, 94, kKept, kKept}));
}

// Unequal pitches: rows of W samples, the destination padding stays.
TEST(GoldenGray, UnequalPitchesCopyRows) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src{1, 2, 3, 91, 92, 4, 5, 6, 93, 94};
    std::vector<std::uint8_t> dst(12, kKept);
    EXPECT_EQ(callLong(*module, {3, 2, 5, 6, 0, 3, 1}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst, (std::vector<std::uint8_t>{1, 2, 3, kKept, kKept, kKept, 4, 5, 6, kKept, kKept, kKept}));
}

// 16 bit, pitches derived: 3 samples are 6 bytes, the destination's rows take 8.
TEST(GoldenGray, DerivedPitchIsRoundedUpForWords) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint16_t> src{1000, 2000, 3000, 4000, 5000, 6000};
    std::vector<std::uint16_t> dst(8, kKept);
    EXPECT_EQ(callShort(*module, {3, 2, 0, 0, 0, 1, 1}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst, (std::vector<std::uint16_t>{1000, 2000, 3000, kKept, 4000, 5000, 6000, kKept}));
}

TEST(GoldenNone, OnePixel) {
    expectColor(1, 1, 1, kRGGB, {9}, {0, 0, 9});
    expectColor(1, 1, 1, kGRBG, {9}, {0, 9, 0});
    expectColor(1, 1, 1, kGBRG, {9}, {0, 9, 0});
    expectColor(1, 1, 1, kBGGR, {9}, {9, 0, 0});
}

TEST(GoldenNone, OneCell) {
    const std::vector<int> source{10, 20, 30, 40};
    expectColor(2, 2, 1, kRGGB, source, {0, 0, 10, 0, 20, 0, 0, 30, 0, 40, 0, 0}); // R G / G B
    expectColor(2, 2, 1, kGRBG, source, {0, 10, 0, 0, 0, 20, 30, 0, 0, 0, 40, 0}); // G R / B G
    expectColor(2, 2, 1, kGBRG, source, {0, 10, 0, 20, 0, 0, 0, 0, 30, 0, 40, 0}); // G B / R G
    expectColor(2, 2, 1, kBGGR, source, {10, 0, 0, 0, 20, 0, 0, 30, 0, 0, 0, 40}); // B G / G R
}

TEST(GoldenNone, OneRowAndOneColumn) {
    expectColor(3, 1, 1, kRGGB, {1, 2, 3}, {0, 0, 1, 0, 2, 0, 0, 0, 3});
    expectColor(3, 1, 1, kGBRG, {1, 2, 3}, {0, 1, 0, 2, 0, 0, 0, 3, 0});
    expectColor(1, 3, 1, kGRBG, {1, 2, 3}, {0, 1, 0, 2, 0, 0, 0, 3, 0});
    expectColor(1, 3, 1, kBGGR, {1, 2, 3}, {1, 0, 0, 0, 2, 0, 3, 0, 0});
}

// The last column and the last row repeat the phase of column 0 and row 0.
TEST(GoldenNone, OddWidthAndHeight) {
    const std::vector<int> source{1, 2, 3, 4, 5, 6, 7, 8, 9};
    expectColor(3, 3, 1, kRGGB, source,
                {0, 0, 1, 0, 2, 0, 0, 0, 3, 0, 4, 0, 5, 0, 0, 0, 6, 0, 0, 0, 7, 0, 8, 0, 0, 0, 9});
    expectColor(3, 3, 1, kGRBG, source,
                {0, 1, 0, 0, 0, 2, 0, 3, 0, 4, 0, 0, 0, 5, 0, 6, 0, 0, 0, 7, 0, 0, 0, 8, 0, 9, 0});
    expectColor(3, 3, 1, kGBRG, source,
                {0, 1, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 5, 0, 0, 0, 6, 0, 7, 0, 8, 0, 0, 0, 9, 0});
    expectColor(3, 3, 1, kBGGR, source,
                {1, 0, 0, 0, 2, 0, 3, 0, 0, 0, 4, 0, 0, 0, 5, 0, 6, 0, 7, 0, 0, 0, 8, 0, 9, 0, 0});
}

} // namespace vek::test
