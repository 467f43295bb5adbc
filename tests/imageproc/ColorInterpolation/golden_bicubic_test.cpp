// SPDX-License-Identifier: Apache-2.0
// Bicubic interpolation by hand: along rows first, then the third colour down the columns.
#include "imageproc/ColorInterpolation/GoldenImage.h"

namespace vek::test {

namespace {

constexpr unsigned char kBicubic = 4;

} // namespace

// 5/8 of 2 x 255 is 319, 1/8 is 64: white stays white, as every grey does.
TEST(GoldenBicubic, UniformImagesStay) {
    for (const int level : {0, 1, 2, 3, 4, 127, 200, 254, 255}) {
        for (unsigned short phase = kRGGB; phase <= kBGGR; ++phase) {
            for (const unsigned long size : {2UL, 3UL, 7UL, 8UL, 11UL}) {
                const std::vector<int> source(size * (size + 1), level);
                expectColor(size, size + 1, kBicubic, phase, source, std::vector<int>(source.size() * 3, level));
            }
        }
    }
}

// Red steps from 0 to 200 between columns 4 and 6; green is 80, blue 40.
TEST(GoldenBicubic, StepAlongARow) {
    // R: columns 1, 2 by two; column 3: inner 0, outer 0 + 200 gives -25, held at 0; column 5: 125 - 25; column 7: 250
    // - 25 = 225; column 9 has no fourth sample: (200 + 200) / 2; column 11: column 10 alone.
    std::vector<int> pixels;
    for (int row = 0; row < 2; ++row) { // the second row copies its red from the first
        for (const int red : {0, 0, 0, 0, 0, 100, 200, 225, 200, 200, 200, 200}) {
            pixels.insert(pixels.end(), {40, 80, red});
        }
    }
    expectColor(12, 2, kBicubic, kRGGB, {0,  80, 0,  80, 0,  80, 200, 80, 200, 80, 200, 80, //
                                         80, 40, 80, 40, 80, 40, 80,  40, 80,  40, 80,  40},
                pixels);
}

// The same step down a column: rows 0 to 2 by copies and means, and the last three rows too.
TEST(GoldenBicubic, StepDownAColumn) {
    std::vector<int> source;
    std::vector<int> pixels;
    for (const int red : {0, 0, 0, 200, 200, 200}) {
        source.insert(source.end(), {red, 80, 80, 40});
    }
    for (const int red : {0, 0, 0, 0, 0, 100, 200, 225, 200, 200, 200, 200}) {
        pixels.insert(pixels.end(), {40, 80, red, 40, 80, red});
    }
    expectColor(2, 12, kBicubic, kRGGB, source, pixels);
}

// From 0 to 255 the overshoot is 319 - 32 = 287: held at 255.
TEST(GoldenBicubic, OvershootIsHeldAt255) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src(24, 0);
    for (std::size_t x = 6; x < 12; x += 2) {
        src[x] = 255;
    }
    std::vector<std::uint8_t> dst(12 * 2 * 3, kKept);
    EXPECT_EQ(callLong(*module, {12, 2, 0, 0, kBicubic, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[3 * 3 + 2], 0);
    EXPECT_EQ(dst[7 * 3 + 2], 255);
}

// Without a fourth sample behind the last column of an odd width nothing is taken from there: its green is column 1's.
TEST(GoldenBicubic, ThreeByThree) {
    expectColor(3, 3, kBicubic, kRGGB, {10, 20, 30, 40, 50, 60, 70, 80, 90}, {50, 20, 10, 50, 20, 20, 50, 20, 30, //
                                                                              50, 40, 40, 50, 50, 50, 50, 60, 60, //
                                                                              50, 80, 70, 50, 80, 80, 50, 80, 90});
}

TEST(GoldenBicubic, OneCell) {
    const std::vector<int> source{10, 20, 30, 40};
    expectColor(2, 2, kBicubic, kRGGB, source, {40, 20, 10, 40, 20, 10, 40, 30, 10, 40, 30, 10});
    expectColor(2, 2, kBicubic, kGRBG, source, {30, 10, 20, 30, 10, 20, 30, 40, 20, 30, 40, 20});
    expectColor(2, 2, kBicubic, kGBRG, source, {20, 10, 30, 20, 10, 30, 20, 40, 30, 20, 40, 30});
    expectColor(2, 2, kBicubic, kBGGR, source, {10, 20, 40, 10, 20, 40, 10, 30, 40, 10, 30, 40});
}

// Each half is rounded by itself: inner 1 gives 1, outer 4 gives -1; 5/8 - 4/8 in one would give 0.
TEST(GoldenBicubic, HalvesAreRoundedByThemselves) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src(16, 0);
    src[2] = 1; // R of row 0: 0 1 0 3 around column 3
    src[6] = 3;
    std::vector<std::uint8_t> dst(8 * 2 * 3, kKept);
    EXPECT_EQ(callLong(*module, {8, 2, 0, 0, kBicubic, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[3 * 3 + 2], 1);
    src[0] = 1; // outer 4: 1 - 1
    EXPECT_EQ(callLong(*module, {8, 2, 0, 0, kBicubic, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[3 * 3 + 2], 0);
}

// What the cubic gives ends at 255 also in words, while copies and means of two keep the full range.
TEST(GoldenBicubic, FlatWordsDropTo255WhereTheCubicApplies) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint16_t> src(64, 1000);
    std::vector<std::uint16_t> dst(8 * 8 * 3, kKept);
    EXPECT_EQ(callLong(*module, {8, 8, 0, 0, kBicubic, kRGGB, 3}, src.data(), dst.data()), 0U);
    for (std::size_t y = 0; y < 8; ++y) {
        for (std::size_t x = 0; x < 8; ++x) {
            const bool cubicRow = y == 3 || y == 4;    // three rows above and below
            const bool cubicColumn = x == 3 || x == 4; // three columns on either side
            const bool redColumn = x % 2 == 0;         // holds R in even and G in odd rows
            const bool redRow = y % 2 == 0;
            const bool greenSite = redColumn != redRow;
            // Along the row: red of even rows in the columns of blue and the reverse, green of the other sites.
            const bool redIsCubic = (cubicColumn && !redColumn) || (!redRow && cubicRow);
            const bool blueIsCubic = (cubicColumn && redColumn) || (redRow && cubicRow);
            const bool greenIsCubic = cubicColumn && !greenSite;
            const std::uint16_t* const pixel = dst.data() + (y * 8 + x) * 3;
            EXPECT_EQ(pixel[0], blueIsCubic ? 255 : 1000) << y << " " << x;
            EXPECT_EQ(pixel[1], greenIsCubic ? 255 : 1000) << y << " " << x;
            EXPECT_EQ(pixel[2], redIsCubic ? 255 : 1000) << y << " " << x;
        }
    }
}

// Sums above 8191 take the tables' last entries, 5119 and -1024: inner 1640 gives 1025, and 1 is left.
TEST(GoldenBicubic, SumsBeyondTheTablesTakeTheLastEntry) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint16_t> src(16, 0);
    src[0] = 65535;
    src[2] = 820;
    src[4] = 820;
    src[6] = 65535;
    std::vector<std::uint16_t> dst(8 * 2 * 3, kKept);
    EXPECT_EQ(callLong(*module, {8, 2, 0, 0, kBicubic, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[3 * 3 + 2], 1);
    src[2] = 65535;
    src[4] = 65535;
    EXPECT_EQ(callLong(*module, {8, 2, 0, 0, kBicubic, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[3 * 3 + 2], 255);
    EXPECT_EQ(dst[1 * 3 + 2], 65535); // a mean of two
}

} // namespace vek::test
