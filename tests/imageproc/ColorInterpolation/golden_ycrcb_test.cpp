// SPDX-License-Identifier: Apache-2.0
// YCrCb by hand: single colours, and where the pixels of odd rows go.
#include "imageproc/ColorInterpolation/GoldenImage.h"

namespace vek::test {

namespace {

constexpr unsigned short k422 = 6;
constexpr unsigned short k444 = 7;
constexpr unsigned short k411 = 8;
constexpr unsigned short k422Video = 9;
constexpr unsigned short k444Video = 10;
constexpr unsigned short k411Video = 11;
constexpr unsigned char kGray = 0;
constexpr unsigned char kColor = 2;

/// One row of bytes decoded to 3 channels, kKept where nothing is written.
std::vector<int> decode(unsigned long width, unsigned short colorArray, std::vector<std::uint8_t> source,
                        unsigned char method = kColor) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> dst(width * 3, kKept);
    EXPECT_EQ(callLong(*module, {width, 1, 0, width * 3, method, colorArray, 3}, source.data(), dst.data()), 0U);
    return {dst.begin(), dst.end()};
}

using Pixels = std::vector<int>;

} // namespace

// Full range: neutral chroma leaves luma as it is.
TEST(GoldenYCrCb, NeutralFullRange) {
    EXPECT_EQ(decode(1, k444, {128, 128, 128}), (Pixels{128, 128, 128}));
    EXPECT_EQ(decode(1, k444, {0, 128, 128}), (Pixels{0, 0, 0}));
    EXPECT_EQ(decode(1, k444, {1, 128, 128}), (Pixels{1, 1, 1}));
    EXPECT_EQ(decode(1, k444, {255, 128, 128}), (Pixels{255, 255, 255}));
}

// Video range: 16 and less is black, 235 and more 254, one below white as the fraction is cut off.
TEST(GoldenYCrCb, NeutralVideoRange) {
    EXPECT_EQ(decode(1, k444Video, {16, 128, 128}), (Pixels{0, 0, 0}));
    EXPECT_EQ(decode(1, k444Video, {0, 128, 128}), (Pixels{0, 0, 0}));
    EXPECT_EQ(decode(1, k444Video, {17, 128, 128}), (Pixels{1, 1, 1}));
    EXPECT_EQ(decode(1, k444Video, {235, 128, 128}), (Pixels{254, 254, 254}));
    EXPECT_EQ(decode(1, k444Video, {255, 128, 128}), (Pixels{254, 254, 254}));
}

// Y 255 and Cr 255: red is 255 + 178, held; green is 255 - 90.7.
TEST(GoldenYCrCb, SumsAreHeldAt255) {
    EXPECT_EQ(decode(1, k444, {255, 128, 255}), (Pixels{255, 164, 255}));
    EXPECT_EQ(decode(1, k444, {255, 255, 128}), (Pixels{255, 211, 255}));
}

// Sums below 0 give 0: 0 - 1.402 x 128.
TEST(GoldenYCrCb, SumsAreHeldAt0) {
    EXPECT_EQ(decode(1, k444, {0, 0, 0}), (Pixels{0, 135, 0}));
}

// B 100 - 1.772 x 38 = 32.66, G 100 + 0.34414 x 38 - 0.71414 x 112 = 33.09, R 100 + 1.402 x 112 = 257.
TEST(GoldenYCrCb, OneColorFullRange) {
    EXPECT_EQ(decode(1, k444, {100, 90, 240}), (Pixels{32, 33, 255}));
}

// Y 1.16438 x 84 = 97.81: B - 2.1124 x 38 = 17.54, G + 0.21325 x 38 - 0.53291 x 12 = 99.52, R + 1.79274 x 12 = 119.32.
TEST(GoldenYCrCb, OneColorVideoRange) {
    EXPECT_EQ(decode(1, k444Video, {100, 90, 140}), (Pixels{17, 99, 119}));
}

// Chroma outside 16..240 counts as the nearest inside.
TEST(GoldenYCrCb, VideoChromaIsHeldIn) {
    EXPECT_EQ(decode(1, k444Video, {120, 0, 255}), decode(1, k444Video, {120, 16, 240}));
    EXPECT_EQ(decode(1, k444Video, {120, 255, 0}), decode(1, k444Video, {120, 240, 16}));
}

// Byte order: Cb before Cr. Cb 228 makes blue, Cr 228 red.
TEST(GoldenYCrCb, CbComesFirst) {
    EXPECT_EQ(decode(1, k444, {50, 228, 128}), (Pixels{227, 15, 50}));
    EXPECT_EQ(decode(1, k444, {50, 128, 228}), (Pixels{50, 0, 190}));
}

// Y0 Cb Y1 Cr: both pixels share the chroma.
TEST(GoldenYCrCb, PairsShareTheirChroma) {
    EXPECT_EQ(decode(2, k422, {50, 228, 60, 128}), (Pixels{227, 15, 50, 237, 25, 60}));
    EXPECT_EQ(decode(2, k422Video, {16, 128, 235, 128}), (Pixels{0, 0, 0, 254, 254, 254}));
}

// 4:2:2 of odd width: the last pixel, with the last pair's chroma, replaces the first one; its own place stays.
// The second pixel of the wider row, Y 2 with both chromas 0, is green: 2 + (0.34414 + 0.71414) x 128 = 137.46.
TEST(GoldenYCrCb, OddPairsReplaceTheFirstPixel) {
    EXPECT_EQ(decode(3, k422, {50, 228, 60, 128, 70, 0}), (Pixels{247, 35, 70, 237, 25, 60, kKept, kKept, kKept}));
    EXPECT_EQ(decode(5, k422, {1, 0, 2, 0, 50, 228, 60, 128, 70, 255}),
              (Pixels{247, 35, 70, 0, 137, 0, 227, 15, 50, 237, 25, 60, kKept, kKept, kKept}));
}

// A single pixel of 4:2:2 has no pair before it: luma alone.
TEST(GoldenYCrCb, OnePixelOfAPairIsGray) {
    EXPECT_EQ(decode(1, k422, {77, 255}), (Pixels{77, 77, 77}));
    EXPECT_EQ(decode(1, k422Video, {235, 0}), (Pixels{254, 254, 254}));
}

// 4:1:1 of a multiple of 4: the last group of a row is left out.
TEST(GoldenYCrCb, LastGroupOfFourIsLeftOut) {
    EXPECT_EQ(decode(8, k411, {10, 20, 128, 30, 40, 128, 50, 60, 128, 70, 80, 128}),
              (Pixels{10,    10,    10,    20,    20,    20,    30,    30,    30,    40,    40,    40,
                      kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept}));
    EXPECT_EQ(decode(4, k411, {10, 20, 128, 30, 40, 128}), Pixels(12, kKept));
}

// 4:1:1 of other widths: what is left behind the groups lands on the first pixel, one after the other; the last of
// them, bytes 0, 1 or 3 of the partial group, remains. The group's Cb 228 makes blue.
TEST(GoldenYCrCb, PixelsBehindTheGroupsReplaceTheFirst) {
    const Pixels rest{237, 25, 60, 247, 35, 70, 255, 45, 80};
    const std::vector<std::uint8_t> group{50, 60, 228, 70, 80, 128};
    for (const unsigned short colorArray : {k411, k411Video}) {
        for (unsigned long width = 5; width <= 7; ++width) {
            std::vector<std::uint8_t> source = group;
            source.insert(source.end(), {30, 40, 0, 90});
            const std::uint8_t last = width == 5 ? 30 : width == 6 ? 40 : 90;
            const Pixels first = decode(1, colorArray == k411 ? k444 : k444Video, {last, 228, 128});
            const Pixels row = decode(width, colorArray, source);
            EXPECT_EQ(Pixels(row.begin(), row.begin() + 3), first) << width;
            EXPECT_EQ(Pixels(row.begin() + 12, row.end()), Pixels((width - 4) * 3, kKept));
            if (colorArray == k411) {
                EXPECT_EQ(Pixels(row.begin() + 3, row.begin() + 12), rest);
            }
        }
    }
}

// Rows of 4 pixels and less of 4:1:1 are left alone.
TEST(GoldenYCrCb, FourPixelsOf411AreLeftAlone) {
    EXPECT_EQ(decode(4, k411, std::vector<std::uint8_t>(6, 200)), Pixels(12, kKept));
    EXPECT_EQ(decode(4, k411Video, std::vector<std::uint8_t>(6, 200)), Pixels(12, kKept));
}

// No group is decoded: the pixels are grey, one after the other lands on the row's first place, and the last one stays.
TEST(GoldenYCrCb, ShortRowsOf411) {
    const std::vector<std::uint8_t> source{10, 20, 1, 30, 40, 2};
    EXPECT_EQ(decode(1, k411, source), (Pixels{10, 10, 10}));
    EXPECT_EQ(decode(2, k411, source), (Pixels{20, 20, 20, kKept, kKept, kKept}));
    EXPECT_EQ(decode(3, k411, source), (Pixels{30, 30, 30, kKept, kKept, kKept, kKept, kKept, kKept}));
    // 1.16438 x 14 = 16.3
    EXPECT_EQ(decode(3, k411Video, source), (Pixels{16, 16, 16, kKept, kKept, kKept, kKept, kKept, kKept}));
}

// Grey is luma, a byte a pixel, from the start of the row, also where the rows are wide enough for 3 channels.
TEST(GoldenYCrCb, GrayFillsTheFirstBytesOfARow) {
    EXPECT_EQ(decode(2, k444, {10, 1, 2, 20, 3, 4}, kGray), (Pixels{10, 20, kKept, kKept, kKept, kKept}));
    EXPECT_EQ(decode(3, k422, {10, 1, 20, 2, 30, 3}, kGray),
              (Pixels{10, 20, 30, kKept, kKept, kKept, kKept, kKept, kKept}));
    EXPECT_EQ(decode(5, k411, {10, 20, 1, 30, 40, 2, 50}, kGray),
              (Pixels{10, 20, 30, 40, 50, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept}));
}

// Grey of every width of 4:1:1, also where colour has none.
TEST(GoldenYCrCb, GrayOfShortRowsOf411) {
    const std::vector<std::uint8_t> source{10, 20, 1, 30, 40, 2};
    EXPECT_EQ(decode(1, k411, source, kGray), (Pixels{10, kKept, kKept}));
    EXPECT_EQ(decode(3, k411, source, kGray)[2], 30);
    EXPECT_EQ(decode(4, k411, source, kGray)[3], 40);
}

// Grey of video range: 1.16438 x (Y - 16), the fraction cut off: 126 gives 128.08, 235 gives 254.99.
TEST(GoldenYCrCb, GrayOfVideoRangeIsExpanded) {
    EXPECT_EQ(decode(1, k444Video, {126, 9, 9}, kGray)[0], 128);
    EXPECT_EQ(decode(2, k422Video, {0, 9, 255, 9}, kGray), (Pixels{0, 254, kKept, kKept, kKept, kKept}));
    EXPECT_EQ(decode(2, k411Video, {17, 235, 9}, kGray), (Pixels{1, 254, kKept, kKept, kKept, kKept}));
}

// Through the operations for words everything is bytes too, with rows twice as far apart where pitches are derived.
TEST(GoldenYCrCb, WordsAreTakenForBytes) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src(12 + 3, 0); // rows of 1 pixel stand 6 bytes apart
    src[0] = src[1] = src[2] = 128;
    src[6] = 100;
    src[7] = src[8] = 128;
    std::vector<std::uint8_t> dst(16, kKept); // and 8 in the result: 6 rounded up
    EXPECT_EQ(callShort(*module, {1, 2, 0, 0, kColor, k444, 3}, reinterpret_cast<std::uint16_t*>(src.data()),
                        reinterpret_cast<std::uint16_t*>(dst.data())),
              0U);
    EXPECT_EQ(dst, (std::vector<std::uint8_t>{128, 128, 128, kKept, kKept, kKept, kKept, kKept, //
                                              100, 100, 100, kKept, kKept, kKept, kKept, kKept}));
}

// 4:1:1 through words: 3 x width bytes from row to row, of odd widths too.
TEST(GoldenYCrCb, RowsOf411InWords) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    std::vector<std::uint8_t> src(18 + 2, 0);
    for (std::size_t at = 0; at < src.size(); ++at) {
        src[at] = static_cast<std::uint8_t>(at);
    }
    std::vector<std::uint8_t> dst(8 * 3, kKept);
    EXPECT_EQ(callShort(*module, {3, 2, 0, 0, kGray, k411, 1}, reinterpret_cast<std::uint16_t*>(src.data()),
                        reinterpret_cast<std::uint16_t*>(dst.data())),
              0U);
    EXPECT_EQ(std::vector<int>(dst.begin(), dst.begin() + 11),
              (Pixels{0, 1, 3, kKept, kKept, kKept, kKept, kKept, 9, 10, 12}));
}

} // namespace vek::test
