// SPDX-License-Identifier: Apache-2.0
// The two methods that place each pixel at the centre of a 2 x 2 block, by hand.
#include "imageproc/ColorInterpolation/GoldenImage.h"

#include <algorithm>

namespace vek::test {

namespace {

constexpr unsigned char kFalseColor = 5;
constexpr unsigned char kNearest2 = 6;
constexpr unsigned short kPhases[] = {kRGGB, kGRBG, kGBRG, kBGGR};

/// Pixels with blue and red exchanged.
std::vector<int> swapped(std::vector<int> pixels) {
    for (std::size_t i = 0; i < pixels.size(); i += 3) {
        std::swap(pixels[i], pixels[i + 2]);
    }
    return pixels;
}

/// Pixel (y, x) of an image of bytes, 3 channels and no padding.
std::vector<int> pixelAt(const std::vector<std::uint8_t>& image, std::size_t width, std::size_t y, std::size_t x) {
    const std::size_t at = (y * width + x) * 3;
    return {image[at], image[at + 1], image[at + 2]};
}

// RGGB: R 10 30 / 90 110, B 60 80 / 140 160, the rest green.
const std::vector<int> kImage{10,  21,  30,  41,  //
                              50,  60,  71,  80,  //
                              90,  100, 110, 121, //
                              131, 140, 150, 160};
// Row 0 has blocks of rows 0 and 1, row 1 of rows 1 and 2, rows 2 and 3 of rows 2 and 3.
// G: (21+50)/2 = 35, (21+71)/2 = 46, (41+71)/2 = 56, 41 alone
//    (50+100)/2 = 75, (71+100)/2 = 85, (71+121)/2 = 96, 96 again
//    (100+131)/2 = 115, (100+150)/2 = 125, (121+150)/2 = 135, 121 alone
const std::vector<int> kNearest2Rggb{60,  35,  10, 60,  46,  30,  80,  56,  30,  80,  41,  30,  //
                                     60,  75,  90, 60,  85,  110, 80,  96,  110, 80,  96,  110, //
                                     140, 115, 90, 140, 125, 110, 160, 135, 110, 160, 121, 110, //
                                     140, 115, 90, 140, 125, 110, 160, 135, 110, 160, 121, 110};

// R 16 32 / 48 64 and B 80 96 / 112 128 as RGGB.
const std::vector<int> kSixteens{16, 10,  32, 20, //
                                 30, 80,  41, 96, //
                                 48, 50,  64, 60, //
                                 70, 112, 80, 128};

} // namespace

// A grey image stays as it is, the borders included.
TEST(GoldenBlock, UniformImagesStay) {
    for (const unsigned char method : {kFalseColor, kNearest2}) {
        for (const unsigned short phase : kPhases) {
            for (unsigned long height = 4; height <= 7; ++height) {
                for (unsigned long width = 4; width <= 9; ++width) {
                    expectColor(width, height, method, phase, std::vector<int>(width * height, 201),
                                std::vector<int>(width * height * 3, 201));
                }
            }
        }
    }
}

// The first pixels of RGGB: (B S(1,1), G mean of S(1,0) and S(0,1), R S(0,0)), then (B S(1,1), G S(0,1) and S(1,2),
// R S(0,2)). The last pixel of an even row takes its own row's green alone, that of an odd one repeats its neighbour;
// the last row repeats the one above.
TEST(GoldenNearest2, FourByFourRggb) {
    expectColor(4, 4, kNearest2, kRGGB, kImage, kNearest2Rggb);
}

TEST(GoldenNearest2, BlueFirstSwapsTheChannels) {
    expectColor(4, 4, kNearest2, kBGGR, kImage, swapped(kNearest2Rggb));
}

TEST(GoldenNearest2, FourByFourGreenFirst) {
    // R 21 41 / 100 121, B 50 71 / 131 150.
    // G: (10+60)/2 = 35, (30+60)/2 = 45, (30+80)/2 = 55, 30 alone
    //    (60+90)/2 = 75, (60+110)/2 = 85, (80+110)/2 = 95, 95 again
    //    (90+140)/2 = 115, (110+140)/2 = 125, (110+160)/2 = 135, 110 alone
    const std::vector<int> pixels{50,  35,  21,  71,  45,  21,  71,  55,  41,  71,  30,  41,  //
                                  50,  75,  100, 71,  85,  100, 71,  95,  121, 71,  95,  121, //
                                  131, 115, 100, 150, 125, 100, 150, 135, 121, 150, 110, 121, //
                                  131, 115, 100, 150, 125, 100, 150, 135, 121, 150, 110, 121};
    expectColor(4, 4, kNearest2, kGRBG, kImage, pixels);
    expectColor(4, 4, kNearest2, kGBRG, kImage, swapped(pixels));
}

// Odd width, red first: the last pixel of an odd row takes a green behind the end of the row below, (15 + 31) / 2; the
// other last pixels repeat their neighbours.
TEST(GoldenNearest2, OddWidthReachesBehindTheRowBelow) {
    expectColor(5, 4, kNearest2, kRGGB, {1,  2,  3,  4,  5,  //
                                         11, 12, 13, 14, 15, //
                                         21, 22, 23, 24, 25, //
                                         31, 32, 33, 34, 35},
                {12, 6,  1,  12, 7,  3,  14, 8,  3,  14, 9,  5,  14, 9,  5,  //
                 12, 16, 21, 12, 17, 23, 14, 18, 23, 14, 19, 25, 14, 23, 25, //
                 32, 26, 21, 32, 27, 23, 34, 28, 23, 34, 29, 25, 34, 29, 25, //
                 32, 26, 21, 32, 27, 23, 34, 28, 23, 34, 29, 25, 34, 29, 25});
}

// Odd width, green first: behind the end of its own row, (21 + 25) / 2.
TEST(GoldenNearest2, OddWidthReachesBehindItsOwnRow) {
    expectColor(5, 4, kNearest2, kGBRG, {1,  2,  3,  4,  5,  //
                                         11, 12, 13, 14, 15, //
                                         21, 22, 23, 24, 25, //
                                         31, 32, 33, 34, 35},
                {2,  6,  11, 2,  7,  13, 4,  8,  13, 4,  9,  15, 4,  9,  15, //
                 22, 16, 11, 22, 17, 13, 24, 18, 13, 24, 19, 15, 24, 23, 15, //
                 22, 26, 31, 22, 27, 33, 24, 28, 33, 24, 29, 35, 24, 29, 35, //
                 22, 26, 31, 22, 27, 33, 24, 28, 33, 24, 29, 35, 24, 29, 35});
}

// Odd height: three equal rows at the end, and the last row of the source plays no part.
TEST(GoldenNearest2, OddHeightRepeatsThreeRows) {
    std::vector<int> source = kImage;
    source.insert(source.end(), {255, 0, 255, 0});
    std::vector<int> pixels = kNearest2Rggb;
    pixels.insert(pixels.end(), kNearest2Rggb.end() - 12, kNearest2Rggb.end());
    expectColor(4, 5, kNearest2, kRGGB, source, pixels);
}

TEST(GoldenFalseColor, FourByFourRggb) {
    // Row 0, R of rows 0 and 2: (9*16+3*32+3*48+64)/16 = 28, (9*32+3*16+3*64+48)/16 = 36, (3*32+64)/4 = 40, 40
    //        B of row 1 alone: 80, (3*80+96)/4 = 84, (3*96+80)/4 = 92, 96
    //        G: 20, 25, 30, 20 alone
    // Row 1, R of rows 2 and 0: (9*48+3*64+3*16+32)/16 = 44, (9*64+3*48+3*32+16)/16 = 52, (3*64+32)/4 = 56, 56
    //        B of rows 1 and 3: (3*80+112)/4 = 88, 92, 100, (3*96+128)/4 = 104
    //        G: 40, 45, 50, 60 alone: the green of column 3 is in row 2
    // Row 2, R of row 2 alone: (3*48+64)/4 = 52, 60, 64, 64
    //        B of rows 3 and 1: (3*112+80)/4 = 104, 108, 116, 120
    // Row 3 as row 2 but B of row 3 alone: 112, (3*112+128)/4 = 116, 124, 128
    const std::vector<int> pixels{80,  20, 28, 84,  25, 36, 92,  30, 40, 96,  20, 40, //
                                  88,  40, 44, 92,  45, 52, 100, 50, 56, 104, 60, 56, //
                                  104, 60, 52, 108, 65, 60, 116, 70, 64, 120, 60, 64, //
                                  112, 60, 52, 116, 65, 60, 124, 70, 64, 128, 60, 64};
    expectColor(4, 4, kFalseColor, kRGGB, kSixteens, pixels);
    expectColor(4, 4, kFalseColor, kBGGR, kSixteens, swapped(pixels));
}

// Both sizes odd: the last pixel's green is its left neighbour's, rows 3 and 4 are equal, row 4 of the source plays no
// part.
TEST(GoldenFalseColor, FiveByFiveGrbg) {
    // R 16 32 / 48 64 in columns 1 and 3, B 80 96 112 / 128 144 160 in columns 0, 2 and 4.
    const std::vector<int> source{1,   16, 3,   32, 5,   //
                                  80,  11, 96,  13, 112, //
                                  21,  48, 23,  64, 25,  //
                                  128, 31, 144, 33, 160, //
                                  255, 0,  255, 0,  255};
    const std::vector<int> pixels{84,  6,  24, 92,  7,  28, 100, 8,  36, 108, 9,  40, 112, 9,  40, //
                                  96,  16, 40, 104, 17, 44, 112, 18, 52, 120, 19, 56, 124, 19, 56, //
                                  120, 26, 48, 128, 27, 52, 136, 28, 60, 144, 29, 64, 148, 29, 64, //
                                  132, 26, 48, 140, 27, 52, 148, 28, 60, 156, 29, 64, 160, 29, 64, //
                                  132, 26, 48, 140, 27, 52, 148, 28, 60, 156, 29, 64, 160, 29, 64};
    expectColor(5, 5, kFalseColor, kGRBG, source, pixels);
    expectColor(5, 5, kFalseColor, kGBRG, source, swapped(pixels));
}

// One red sample of 16 at (2, 2): nine sixteenths where it is near, three and one where it is far.
TEST(GoldenFalseColor, OneRedSample) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src(64, 0);
    src[2 * 8 + 2] = 16;
    std::vector<std::uint8_t> dst(8 * 8 * 3, kKept);
    EXPECT_EQ(callLong(*module, {8, 8, 0, 0, kFalseColor, kRGGB, 3}, src.data(), dst.data()), 0U);
    const std::vector<int> near{0, 0, 9};
    const std::vector<int> far{0, 0, 3};
    EXPECT_EQ(pixelAt(dst, 8, 1, 1), near);
    EXPECT_EQ(pixelAt(dst, 8, 1, 2), near);
    EXPECT_EQ(pixelAt(dst, 8, 2, 1), near);
    EXPECT_EQ(pixelAt(dst, 8, 2, 2), near);
    EXPECT_EQ(pixelAt(dst, 8, 1, 3), far);
    EXPECT_EQ(pixelAt(dst, 8, 3, 1), far);
    EXPECT_EQ(pixelAt(dst, 8, 0, 1), far);
    EXPECT_EQ(pixelAt(dst, 8, 3, 3), (std::vector<int>{0, 0, 1}));
    EXPECT_EQ(pixelAt(dst, 8, 1, 0), far);
    EXPECT_EQ(pixelAt(dst, 8, 1, 4), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(pixelAt(dst, 8, 5, 2), (std::vector<int>{0, 0, 0}));
}

// Sums are cut off once, after all four taps: (9 + 3 + 3 + 0) / 16 = 0 and (9*7 + 3*7 + 3*7 + 6) / 16 = 6.
TEST(GoldenFalseColor, SumsAreCutOff) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src{1, 0, 1, 0, 0, 7, 0, 7, 1, 0, 0, 0, 0, 7, 0, 6};
    std::vector<std::uint8_t> dst(4 * 4 * 3, kKept);
    EXPECT_EQ(callLong(*module, {4, 4, 0, 0, kFalseColor, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[2], 0);               // R of (0, 0)
    EXPECT_EQ(dst[(1 * 4 + 1) * 3], 6); // B of (1, 1)
    EXPECT_EQ(dst[(1 * 4 + 2) * 3], 6); // B of (1, 2): (9*7 + 3*7 + 3*6 + 7) / 16
}

// Samples above 12 bits are multiplied as they are.
TEST(GoldenFalseColor, FullWords) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint16_t> src(16, 65535);
    src[0] = 4096;
    std::vector<std::uint16_t> dst(4 * 4 * 3, kKept);
    EXPECT_EQ(callLong(*module, {4, 4, 0, 0, kFalseColor, kRGGB, 3}, src.data(), dst.data()), 0U);
    EXPECT_EQ(dst[2], (9 * 4096 + 7 * 65535) / 16);
    EXPECT_EQ(dst[3 + 2], (3 * 4096 + 13 * 65535) / 16);
    EXPECT_EQ(dst[0], 65535);
}

// Nothing below 4 x 4 is taken.
TEST(GoldenBlock, SmallImagesAreRefused) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src(64, 1);
    std::vector<std::uint8_t> dst(64 * 3, kKept);
    for (const unsigned char method : {kFalseColor, kNearest2}) {
        EXPECT_EQ(callLong(*module, {3, 4, 0, 0, method, kRGGB, 3}, src.data(), dst.data()), kModelInvalid);
        EXPECT_EQ(callLong(*module, {4, 3, 0, 0, method, kGBRG, 3}, src.data(), dst.data()), kModelInvalid);
    }
    EXPECT_EQ(dst, std::vector<std::uint8_t>(64 * 3, kKept));
}

} // namespace vek::test
