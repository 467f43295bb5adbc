// SPDX-License-Identifier: Apache-2.0
// Separable bilinear interpolation by hand. Rows are first completed to their two colours (means of left and
// right), then the third colour is the mean of the rows above and below. Every mean cuts its half off.
#include "imageproc/ColorInterpolation/GoldenImage.h"

namespace vek::test {

TEST(GoldenBilinear, OneCell) {
    const std::vector<int> source{10, 20, 30, 40};
    // No pixel has two neighbours: everything is copied within the cell.
    expectColor(2, 2, 3, kRGGB, source, {40, 20, 10, 40, 20, 10, 40, 30, 10, 40, 30, 10});
    expectColor(2, 2, 3, kGRBG, source, {30, 10, 20, 30, 10, 20, 30, 40, 20, 30, 40, 20});
    expectColor(2, 2, 3, kGBRG, source, {20, 10, 30, 20, 10, 30, 20, 40, 30, 20, 40, 30});
    expectColor(2, 2, 3, kBGGR, source, {10, 20, 40, 10, 20, 40, 10, 30, 40, 10, 30, 40});
}

// (3 + 4) / 2 gives 3.
TEST(GoldenBilinear, MeansCutTheHalfOff) {
    // R G R G over G B G B. Row 0: R at column 1 = (3 + 4) / 2, G at column 2 = (1 + 2) / 2.
    expectColor(4, 2, 3, kRGGB, {3, 1, 4, 2, 0, 0, 0, 0},
                {0, 1, 3, 0, 1, 3, 0, 1, 4, 0, 2, 4,   //
                 0, 0, 3, 0, 0, 3, 0, 0, 4, 0, 0, 4}); // R of the last row: copied from above
}

TEST(GoldenBilinear, FourByFourRggb) {
    // Row 0: R 10 21 33 33, G 21 21 30 40    (10+33)/2 = 21, (21+40)/2 = 30
    // Row 1: G 50 60 71 71, B 62 62 72 83    (50+71)/2 = 60, (62+83)/2 = 72
    // Row 2: R 90 102 115 115, G 101 101 110 120
    // Row 3: G 131 140 150 150, B 140 140 151 163
    // B of row 0 = row 1. R of row 1: (10+90)/2 = 50, (21+102)/2 = 61, (33+115)/2 = 74, 74.
    // B of row 2: (62+140)/2 = 101, 101, (72+151)/2 = 111, (83+163)/2 = 123. R of row 3 = row 2.
    expectColor(4, 4, 3, kRGGB,
                {10, 21, 33, 40,    //
                 50, 62, 71, 83,    //
                 90, 101, 115, 120, //
                 131, 140, 150, 163},
                {62,  21,  10, 62,  21,  21,  72,  30,  33,  83,  40,  33,  //
                 62,  50,  50, 62,  60,  61,  72,  71,  74,  83,  71,  74,  //
                 101, 101, 90, 101, 101, 102, 111, 110, 115, 123, 120, 115, //
                 140, 131, 90, 140, 140, 102, 151, 150, 115, 163, 150, 115});
}

// Odd width: the last column takes the sample behind the row, here the next row's first and 7 after the last row.
TEST(GoldenBilinear, FiveByFourRggb) {
    // Row 0: R 10 20 31 41 51, G 20 20 30 40 50     last G: (40 + 60) / 2
    // Row 1: G 60 70 80 90 100, B 70 70 80 91 100   last B: (91 + 110) / 2
    // Row 2: R 110 120 130 140 150, G 121 121 130 140 150   last G: (140 + 161) / 2
    // Row 3: G 161 170 180 190 200, B 170 170 180 190 98    last B: (190 + 7) / 2
    // R of row 1: 60 70 80 90 100. B of row 2: 120 120 130 140 99.
    expectColor(5, 4, 3, kRGGB, {10,  20,  31,  40,  51,  //
                                 60,  70,  80,  91,  100, //
                                 110, 121, 130, 140, 150, //
                                 161, 170, 180, 190, 200, 7},
                {70,  20,  10,  70,  20,  20,  80,  30,  31,  91,  40,  41,  100, 50,  51,  //
                 70,  60,  60,  70,  70,  70,  80,  80,  80,  91,  90,  90,  100, 100, 100, //
                 120, 121, 110, 120, 121, 120, 130, 130, 130, 140, 140, 140, 99,  150, 150, //
                 170, 161, 110, 170, 170, 120, 180, 180, 130, 190, 190, 140, 98,  200, 150});
}

// Odd height: the last row's blue is not written.
TEST(GoldenBilinear, FourByFiveGrbg) {
    // Row 0: G 1 2 3 3, R 2 2 3 4      Row 1: B 5 6 7 7, G 6 6 7 8
    // Row 2: G 9 10 11 11, R 10 10 11 12   Row 3: B 13 14 15 15, G 14 14 15 16
    // Row 4: G 17 18 19 19, R 18 18 19 20
    expectColor(4, 5, 3, kGRBG, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20},
                {5,     1,  2,  6,     2,  2,  7,     3,  3,  7,     3,  4,  //
                 5,     6,  6,  6,     6,  6,  7,     7,  7,  7,     8,  8,  //
                 9,     9,  10, 10,    10, 10, 11,    11, 11, 11,    11, 12, //
                 13,    14, 14, 14,    14, 14, 15,    15, 15, 15,    16, 16, //
                 kKept, 17, 18, kKept, 18, 18, kKept, 19, 19, kKept, 19, 20});
}

// Blue rows first and both sizes odd: the last row's red is not written.
TEST(GoldenBilinear, ThreeByThreeBggr) {
    // Row 0: B 10 20 30, G 20 20 30   last G: (20 + 40) / 2
    // Row 1: G 40 50 60, R 50 50 60   last R: (50 + 70) / 2
    // Row 2: B 70 80 90, G 80 80 90   last G: (80 + 100) / 2
    // B of row 1: (10+70)/2 = 40, 50, 60.
    expectColor(3, 3, 3, kBGGR, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100},
                {10, 20, 50,    20, 20, 50,    30, 30, 60, //
                 40, 40, 50,    50, 50, 50,    60, 60, 60, //
                 70, 80, kKept, 80, 80, kKept, 90, 90, kKept});
}

TEST(GoldenBilinear, ThreeByTwoGbrg) {
    // Row 0: G 10 20 30, B 20 20 30   last B: (20 + 41) / 2
    // Row 1: R 41 50 60, G 50 50 60   R in the middle (41 + 60) / 2, last G (50 + 71) / 2
    expectColor(3, 2, 3, kGBRG, {10, 20, 30, 41, 50, 60, 71},
                {20, 10, 41, 20, 20, 50, 30, 30, 60, //
                 20, 50, 41, 20, 50, 50, 30, 60, 60});
}

TEST(GoldenBilinear, TwoByThreeGrbg) {
    // Row 0: G 10 10, R 20 20. Row 1: B 30 30, G 40 40. Row 2: G 50 50, R 61 61.
    // R of row 1: (20 + 61) / 2 = 40.
    expectColor(2, 3, 3, kGRBG, {10, 20, 30, 40, 50, 61},
                {30, 10, 20, 30, 10, 20, //
                 30, 40, 40, 30, 40, 40, //
                 kKept, 50, 61, kKept, 50, 61});
}

// The third colour at a green site is a mean of means, cut off twice: ((0+1)/2 + (1+2)/2) / 2 = (0 + 1) / 2 = 0,
// where the mean of all four would be 1.
TEST(GoldenBilinear, MeanOfMeansIsCutTwice) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src{0, 9, 1, 9, //
                                  9, 9, 9, 9, //
                                  1, 9, 2, 9, //
                                  9, 9, 9, 9};
    std::vector<std::uint8_t> dst(4 * 4 * 3, kKept);
    EXPECT_EQ(callLong(*module, {4, 4, 0, 0, 3, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[12 + 3 + 2], 0); // R at row 1, column 1
}

// Nothing is clamped to a bit depth and sums do not overflow: (65535 + 65534) / 2 = 65534.
TEST(GoldenBilinear, FullWords) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint16_t> src{65535, 65535, 65534, 65535, 65535, 65535, 65535, 65535};
    std::vector<std::uint16_t> dst(4 * 2 * 3, kKept);
    EXPECT_EQ(callLong(*module, {4, 2, 0, 0, 3, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[0 * 3 + 2], 65535);
    EXPECT_EQ(dst[1 * 3 + 2], 65534);
    EXPECT_EQ(dst[2 * 3 + 2], 65534);
    EXPECT_EQ(dst[2 * 3 + 1], 65535);
}

} // namespace vek::test
