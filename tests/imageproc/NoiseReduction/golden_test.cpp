// SPDX-License-Identifier: Apache-2.0
// Noise reduction by hand. X and Y are the colours that are not green; positions are (column, row).
#include "common/Status.h"
#include "imageproc/NoiseReduction.h"
#include "imageproc/NoiseReduction/NoiseReductionCalls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

namespace vek::test {

namespace {

using Samples = std::vector<int>;

struct SAt {
    std::size_t x;
    std::size_t y;
};

/// A field of 100 with other values at some places.
Samples field(std::size_t width, std::size_t height, std::initializer_list<SAt> places, int value = 200) {
    Samples image(width * height, 100);
    for (const SAt& at : places) {
        image[at.y * width + at.x] = value;
    }
    return image;
}

class CGoldenNoiseReduction : public ::testing::Test {
protected:
    CGoldenNoiseReduction() : mBytes(makeNoiseReduction()), mWords(makeNoiseReduction()) {}

    /// What an image without padding becomes, in samples of both widths; each width has a dark frame of its own.
    Samples Run(unsigned long mode, unsigned long width, const Samples& image, unsigned short colorArray,
                unsigned short bits = 8, unsigned long status = kOk) {
        std::vector<std::uint8_t> bytes(image.begin(), image.end());
        std::vector<std::uint16_t> words(image.begin(), image.end());
        const unsigned long height = image.size() / width;
        EXPECT_EQ(mBytes->NRProcB(width, height, width, colorArray, bytes.data(), bits, mode), status);
        EXPECT_EQ(mWords->NRProcW(width, height, 2 * width, colorArray, words.data(), bits, mode), status);
        const Samples result(bytes.begin(), bytes.end());
        EXPECT_EQ(Samples(words.begin(), words.end()), result);
        return result;
    }
    Samples Easy(unsigned long width, const Samples& image, unsigned short colorArray, unsigned long status = kOk) {
        return Run(kNoiseEasy, width, image, colorArray, 8, status);
    }
    void Store(unsigned long width, const Samples& image, unsigned short colorArray = kMono) {
        EXPECT_EQ(Run(kNoiseStore, width, image, colorArray), image);
    }
    Samples Complex(unsigned long width, const Samples& image, unsigned short colorArray = kMono,
                    unsigned long status = kOk) {
        return Run(kNoiseComplex, width, image, colorArray, 8, status);
    }
    /// The dark frame that is held: what a frame of 255 loses. No sample is saturated at a depth of 0.
    Samples Dark(unsigned long width, unsigned long height, unsigned short colorArray = kMono) {
        Samples lost = Run(kNoiseComplex, width, Samples(width * height, 255), colorArray, 0);
        for (int& value : lost) {
            value = 255 - value;
        }
        return lost;
    }
    /// The middle of a 5 x 5 mono image whose live value was so far below the others, all at full scale; 1 is
    /// subtracted from it alone.
    int RepairedWord(int live, unsigned short bits) {
        return Repaired<std::uint16_t>(*mWords, live, (1U << bits) - 1, bits);
    }
    int RepairedByte(int live, unsigned short bits) { return Repaired<std::uint8_t>(*mBytes, live, 255, bits); }
    /// The last value before the threshold is left alone, that at it rises to full scale, and the next is not below it.
    void ExpectThreshold(int threshold, unsigned short bits) {
        EXPECT_EQ(RepairedWord(threshold - 1, bits), threshold - 2);
        EXPECT_EQ(RepairedWord(threshold, bits), (1 << bits) - 1);
        EXPECT_EQ(RepairedWord(threshold + 1, bits), threshold);
    }

    NoiseReductionPtr mBytes;
    NoiseReductionPtr mWords;

private:
    template <class T>
    static int Repaired(INoiseReduction& module, int live, unsigned full, unsigned short bits) {
        std::vector<T> dark(25, 0);
        dark[12] = 1;
        std::vector<T> image(25, static_cast<T>(full));
        image[12] = static_cast<T>(live);
        SNoiseCall call{5, 5, 5 * sizeof(T), kMono, bits, kNoiseStore};
        EXPECT_EQ(callNoiseReduction(module, call, dark.data()), kOk);
        call.mode = kNoiseComplex;
        EXPECT_EQ(callNoiseReduction(module, call, image.data()), kOk);
        return image[12];
    }
};

/// The neighbours of one pixel of an 8 x 8 image.
struct SNeighbors {
    const char* name;
    std::vector<unsigned short> colorArrays;
    SAt at;
    std::vector<SAt> neighbors;
};

void PrintTo(const SNeighbors& set, std::ostream* out) {
    *out << set.name;
}

class CEasyNeighbors : public CGoldenNoiseReduction, public ::testing::WithParamInterface<SNeighbors> {};

std::string nameOf(const ::testing::TestParamInfo<SNeighbors>& info) {
    return info.param.name;
}

} // namespace

// All is 255 but the neighbours, which have 10, 20, 40 and 80, each of them in each place. The pixel becomes their
// median: of 2 values (255 + 10) / 2 = 132, of 3 values 20, of 4 values (40 + 20) / 2 = 30, of 5 values 40. A
// neighbour too many or too few gives another number, and so does one in the wrong place when it is the 10.
TEST_P(CEasyNeighbors, MedianOfThese) {
    constexpr int lows[] = {10, 20, 40, 80};
    constexpr int medians[] = {255, 132, 20, 30, 40};
    const SNeighbors& set = GetParam();
    const std::size_t count = set.neighbors.size();
    for (const unsigned short colorArray : set.colorArrays) {
        for (std::size_t turn = 0; turn < count; ++turn) {
            Samples image(64, 255);
            for (std::size_t i = 0; i < count; ++i) {
                image[set.neighbors[i].y * 8 + set.neighbors[i].x] = lows[(i + turn) % count];
            }
            const Samples result = Easy(8, image, colorArray);
            EXPECT_EQ(result[set.at.y * 8 + set.at.x], medians[count]) << colorArray << ' ' << turn;
        }
    }
}

#define VEK_MONO                                                                                                       \
    { kMono }
INSTANTIATE_TEST_SUITE_P(
    Mono, CEasyNeighbors,
    ::testing::Values(SNeighbors{"InteriorIsDiagonal", VEK_MONO, {3, 4}, {{2, 3}, {4, 3}, {2, 5}, {4, 5}}},
                      SNeighbors{"FirstInterior", VEK_MONO, {1, 1}, {{0, 0}, {2, 0}, {0, 2}, {2, 2}}},
                      SNeighbors{"LastInterior", VEK_MONO, {6, 6}, {{5, 5}, {7, 5}, {5, 7}, {7, 7}}},
                      SNeighbors{"TopRow", VEK_MONO, {3, 0}, {{2, 0}, {4, 0}, {3, 1}}},
                      SNeighbors{"BottomRow", VEK_MONO, {3, 7}, {{2, 7}, {4, 7}, {3, 6}}},
                      SNeighbors{"LeftColumn", VEK_MONO, {0, 3}, {{1, 3}, {0, 2}, {0, 4}}},
                      SNeighbors{"RightColumn", VEK_MONO, {7, 3}, {{6, 3}, {7, 2}, {7, 4}}},
                      SNeighbors{"TopLeft", VEK_MONO, {0, 0}, {{1, 0}, {0, 1}}},
                      SNeighbors{"TopRight", VEK_MONO, {7, 0}, {{6, 0}, {7, 1}}},
                      SNeighbors{"BottomLeft", VEK_MONO, {0, 7}, {{1, 7}, {0, 6}}},
                      SNeighbors{"BottomRight", VEK_MONO, {7, 7}, {{6, 7}, {7, 6}}}),
    nameOf);

// X G on even rows, G Y on odd ones: the neighbours outside are left out, nothing else.
#define VEK_XGGY                                                                                                       \
    { kRGGB, kBGGR }
INSTANTIATE_TEST_SUITE_P(
    XGGY, CEasyNeighbors,
    ::testing::Values(SNeighbors{"Row0XAt0", VEK_XGGY, {0, 0}, {{2, 0}, {0, 2}}},
                      SNeighbors{"Row0GAt1", VEK_XGGY, {1, 0}, {{0, 1}, {2, 1}}},
                      SNeighbors{"Row0InnerX", VEK_XGGY, {2, 0}, {{0, 0}, {4, 0}, {2, 2}}},
                      SNeighbors{"Row0InnerG", VEK_XGGY, {3, 0}, {{2, 1}, {4, 1}}},
                      SNeighbors{"Row0XAtLastButOne", VEK_XGGY, {6, 0}, {{4, 0}, {6, 2}}},
                      SNeighbors{"Row0GAtLast", VEK_XGGY, {7, 0}, {{6, 1}}},
                      SNeighbors{"Row1GAt0", VEK_XGGY, {0, 1}, {{1, 0}, {1, 2}}},
                      SNeighbors{"Row1YAt1", VEK_XGGY, {1, 1}, {{3, 1}, {1, 3}}},
                      SNeighbors{"Row1InnerG", VEK_XGGY, {2, 1}, {{1, 0}, {3, 0}, {1, 2}, {3, 2}}},
                      SNeighbors{"Row1InnerY", VEK_XGGY, {3, 1}, {{1, 1}, {5, 1}, {3, 3}}},
                      SNeighbors{"Row1GAtLastButOne", VEK_XGGY, {6, 1}, {{5, 0}, {7, 0}, {5, 2}, {7, 2}}},
                      SNeighbors{"Row1YAtLast", VEK_XGGY, {7, 1}, {{5, 1}, {7, 3}}},
                      SNeighbors{"EvenRowXAt0", VEK_XGGY, {0, 2}, {{2, 2}, {0, 0}, {0, 4}}},
                      SNeighbors{"EvenRowGAt1", VEK_XGGY, {1, 2}, {{0, 1}, {2, 1}, {0, 3}, {2, 3}}},
                      SNeighbors{"RedAt22", VEK_XGGY, {2, 2}, {{0, 2}, {4, 2}, {2, 0}, {2, 4}}},
                      SNeighbors{"EvenRowInnerG", VEK_XGGY, {5, 4}, {{4, 3}, {6, 3}, {4, 5}, {6, 5}}},
                      SNeighbors{"EvenRowXAtLastButOne", VEK_XGGY, {6, 4}, {{4, 4}, {6, 2}, {6, 6}}},
                      SNeighbors{"EvenRowGAtLast", VEK_XGGY, {7, 4}, {{6, 3}, {6, 5}}},
                      SNeighbors{"OddRowGAt0", VEK_XGGY, {0, 3}, {{1, 2}, {1, 4}}},
                      SNeighbors{"OddRowYAt1", VEK_XGGY, {1, 3}, {{3, 3}, {1, 1}, {1, 5}}},
                      SNeighbors{"OddRowInnerG", VEK_XGGY, {2, 3}, {{1, 2}, {3, 2}, {1, 4}, {3, 4}}},
                      SNeighbors{"OddRowInnerY", VEK_XGGY, {5, 5}, {{3, 5}, {7, 5}, {5, 3}, {5, 7}}},
                      SNeighbors{"OddRowGAtLastButOne", VEK_XGGY, {6, 5}, {{5, 4}, {7, 4}, {5, 6}, {7, 6}}},
                      SNeighbors{"OddRowYAtLast", VEK_XGGY, {7, 5}, {{5, 5}, {7, 3}, {7, 7}}},
                      SNeighbors{"LastButOneRowXAt0", VEK_XGGY, {0, 6}, {{2, 6}, {0, 4}}},
                      SNeighbors{"LastButOneRowGAt1", VEK_XGGY, {1, 6}, {{0, 5}, {2, 5}, {0, 7}, {2, 7}}},
                      SNeighbors{"LastButOneRowInnerX", VEK_XGGY, {4, 6}, {{2, 6}, {6, 6}, {4, 4}}},
                      SNeighbors{"LastButOneRowInnerG", VEK_XGGY, {5, 6}, {{4, 5}, {6, 5}, {4, 7}, {6, 7}}},
                      SNeighbors{"LastButOneRowXAtLastButOne", VEK_XGGY, {6, 6}, {{4, 6}, {6, 4}}},
                      SNeighbors{"LastButOneRowGAtLast", VEK_XGGY, {7, 6}, {{6, 5}, {6, 7}}},
                      SNeighbors{"LastRowGAt0", VEK_XGGY, {0, 7}, {{1, 6}}},
                      SNeighbors{"LastRowYAt1", VEK_XGGY, {1, 7}, {{3, 7}, {1, 5}}},
                      SNeighbors{"LastRowInnerG", VEK_XGGY, {2, 7}, {{1, 6}, {3, 6}}},
                      SNeighbors{"LastRowInnerY", VEK_XGGY, {3, 7}, {{1, 7}, {5, 7}, {3, 5}}},
                      SNeighbors{"LastRowGAtLastButOne", VEK_XGGY, {6, 7}, {{5, 6}, {7, 6}}},
                      SNeighbors{"LastRowYAtLast", VEK_XGGY, {7, 7}, {{5, 7}, {7, 5}}}),
    nameOf);

// G X on even rows, Y G on odd ones: greens near the left and right edge look to the inside only, the corner borrows
// the green two columns away, and the green before the last of row 0 has one neighbour.
#define VEK_GXYG                                                                                                       \
    { kGRBG, kGBRG }
INSTANTIATE_TEST_SUITE_P(
    GXYG, CEasyNeighbors,
    ::testing::Values(SNeighbors{"Row0GAt0", VEK_GXYG, {0, 0}, {{2, 0}, {1, 1}}},
                      SNeighbors{"Row0XAt1", VEK_GXYG, {1, 0}, {{3, 0}, {1, 2}}},
                      SNeighbors{"Row0InnerG", VEK_GXYG, {2, 0}, {{1, 1}, {3, 1}}},
                      SNeighbors{"Row0InnerX", VEK_GXYG, {3, 0}, {{1, 0}, {5, 0}, {3, 2}}},
                      SNeighbors{"Row0GAtLastButOne", VEK_GXYG, {6, 0}, {{5, 1}}},
                      SNeighbors{"Row0XAtLast", VEK_GXYG, {7, 0}, {{5, 0}, {7, 2}}},
                      SNeighbors{"Row1YAt0", VEK_GXYG, {0, 1}, {{2, 1}, {0, 3}}},
                      SNeighbors{"Row1GAt1", VEK_GXYG, {1, 1}, {{2, 0}, {2, 2}}},
                      SNeighbors{"Row1InnerY", VEK_GXYG, {2, 1}, {{0, 1}, {4, 1}, {2, 3}}},
                      SNeighbors{"Row1InnerG", VEK_GXYG, {3, 1}, {{2, 0}, {4, 0}, {2, 2}, {4, 2}}},
                      SNeighbors{"Row1YAtLastButOne", VEK_GXYG, {6, 1}, {{4, 1}, {6, 3}}},
                      SNeighbors{"Row1GAtLast", VEK_GXYG, {7, 1}, {{6, 0}, {6, 2}}},
                      SNeighbors{"EvenRowGAt0", VEK_GXYG, {0, 2}, {{1, 1}, {1, 3}}},
                      SNeighbors{"EvenRowXAt1", VEK_GXYG, {1, 2}, {{3, 2}, {1, 0}, {1, 4}}},
                      SNeighbors{"EvenRowInnerG", VEK_GXYG, {2, 2}, {{1, 1}, {3, 1}, {1, 3}, {3, 3}}},
                      SNeighbors{"EvenRowInnerX", VEK_GXYG, {5, 4}, {{3, 4}, {7, 4}, {5, 2}, {5, 6}}},
                      SNeighbors{"EvenRowGAtLastButOne", VEK_GXYG, {6, 4}, {{5, 3}, {5, 5}}},
                      SNeighbors{"EvenRowXAtLast", VEK_GXYG, {7, 4}, {{5, 4}, {7, 2}, {7, 6}}},
                      SNeighbors{"OddRowYAt0", VEK_GXYG, {0, 3}, {{2, 3}, {0, 1}, {0, 5}}},
                      SNeighbors{"OddRowGAt1", VEK_GXYG, {1, 3}, {{2, 2}, {2, 4}}},
                      SNeighbors{"OddRowInnerY", VEK_GXYG, {2, 5}, {{0, 5}, {4, 5}, {2, 3}, {2, 7}}},
                      SNeighbors{"OddRowInnerG", VEK_GXYG, {5, 5}, {{4, 4}, {6, 4}, {4, 6}, {6, 6}}},
                      SNeighbors{"OddRowYAtLastButOne", VEK_GXYG, {6, 5}, {{4, 5}, {6, 3}, {6, 7}}},
                      SNeighbors{"OddRowGAtLast", VEK_GXYG, {7, 5}, {{6, 4}, {6, 6}}},
                      SNeighbors{"LastButOneRowGAt0", VEK_GXYG, {0, 6}, {{1, 5}, {1, 7}}},
                      SNeighbors{"LastButOneRowXAt1", VEK_GXYG, {1, 6}, {{3, 6}, {1, 4}}},
                      SNeighbors{"LastButOneRowInnerG", VEK_GXYG, {2, 6}, {{1, 5}, {3, 5}, {1, 7}, {3, 7}}},
                      SNeighbors{"LastButOneRowInnerX", VEK_GXYG, {3, 6}, {{1, 6}, {5, 6}, {3, 4}}},
                      SNeighbors{"LastButOneRowGAtLastButOne", VEK_GXYG, {6, 6}, {{5, 5}, {5, 7}}},
                      SNeighbors{"LastButOneRowXAtLast", VEK_GXYG, {7, 6}, {{5, 6}, {7, 4}}},
                      SNeighbors{"LastRowYAt0", VEK_GXYG, {0, 7}, {{2, 7}, {0, 5}}},
                      SNeighbors{"LastRowGAt1", VEK_GXYG, {1, 7}, {{2, 6}}},
                      SNeighbors{"LastRowInnerY", VEK_GXYG, {2, 7}, {{0, 7}, {4, 7}, {2, 5}}},
                      SNeighbors{"LastRowInnerG", VEK_GXYG, {3, 7}, {{2, 6}, {4, 6}}},
                      SNeighbors{"LastRowYAtLastButOne", VEK_GXYG, {6, 7}, {{4, 7}, {6, 5}}},
                      SNeighbors{"LastRowGAtLast", VEK_GXYG, {7, 7}, {{6, 6}}}),
    nameOf);

TEST_F(CGoldenNoiseReduction, OffKeepsTheImage) {
    const Samples image = field(4, 4, {{1, 1}});
    EXPECT_EQ(Run(kNoiseOff, 4, image, kMono), image);
    EXPECT_EQ(Run(kNoiseOff, 4, image, 6), image);
}

TEST_F(CGoldenNoiseReduction, UnknownModes) {
    const Samples image = field(4, 4, {{1, 1}});
    for (const unsigned long mode : {3UL, 255UL, 0x7FFFFFFFUL, 0x80000001UL, 0x180000000UL, 0xFFFFFFFF80000000UL}) {
        EXPECT_EQ(Run(mode, 4, image, kMono, 8, kInvalid), image);
    }
}

TEST_F(CGoldenNoiseReduction, IsolatedBrightPixelComesDown) {
    EXPECT_EQ(Easy(5, field(5, 5, {{2, 2}}), kMono), field(5, 5, {}));
    for (unsigned short colorArray = kRGGB; colorArray <= kBGGR; ++colorArray) {
        EXPECT_EQ(Easy(8, field(8, 8, {{3, 4}}), colorArray), field(8, 8, {}));
        EXPECT_EQ(Easy(8, field(8, 8, {{4, 4}}), colorArray), field(8, 8, {}));
    }
}

// The filter never brightens.
TEST_F(CGoldenNoiseReduction, IsolatedDarkPixelStays) {
    EXPECT_EQ(Easy(5, field(5, 5, {{2, 2}}, 3), kMono), field(5, 5, {{2, 2}}, 3));
    for (unsigned short colorArray = kRGGB; colorArray <= kBGGR; ++colorArray) {
        EXPECT_EQ(Easy(8, field(8, 8, {{3, 3}}, 0), colorArray), field(8, 8, {{3, 3}}, 0));
    }
}

// Three of five bright: the median is bright, and the pixel stays. All values come from before the filter.
TEST_F(CGoldenNoiseReduction, MonoIsNotRecursive) {
    EXPECT_EQ(Easy(7, field(7, 7, {{2, 2}, {3, 3}, {4, 4}}), kMono), field(7, 7, {{3, 3}}));
}

// A lone bright pixel on a row's edge has three dull neighbours, in a corner two: 200, 100, 100 and perhaps 100.
TEST_F(CGoldenNoiseReduction, MonoEdges) {
    EXPECT_EQ(Easy(4, field(4, 4, {{0, 0}, {3, 0}, {0, 3}, {3, 3}}), kMono), field(4, 4, {}));
    // Two bright neighbours on the top row: 200, 200, 100, 100 gives 150.
    EXPECT_EQ(Easy(4, field(4, 4, {{1, 0}, {2, 0}}), kMono), field(4, 4, {{1, 0}, {2, 0}}, 150));
}

// The mean of the two in the middle loses its half: (8 + 3) / 2 = 5.
TEST_F(CGoldenNoiseReduction, EvenMedianIsCut) {
    // The top row's second pixel: 9, left 8, right 3, below 0.
    EXPECT_EQ(Easy(3, {8, 9, 3, 0, 0, 0}, kMono)[1], 5);
}

// 65535 and 65534 are averaged in more than 16 bits.
TEST_F(CGoldenNoiseReduction, EvenMedianDoesNotWrap) {
    std::vector<std::uint16_t> image = {65535, 65535, 65532, 65534, 0, 0, 0, 65534, 0};
    EXPECT_EQ(mWords->NRProcW(3, 3, 6, kMono, image.data(), 16, kNoiseEasy), kOk);
    // Left column, second row: 65534, right 0, above 65535, below 0 -> (65534 + 0) / 2. Top row: 65535, left 65535,
    // right 65532, below 0 -> (65535 + 65532) / 2 = 65533.5.
    EXPECT_EQ(image[3], 32767);
    EXPECT_EQ(image[1], 65533);
}

// The smallest mono image is all corners: each has 2 neighbours.
TEST_F(CGoldenNoiseReduction, SmallestMono) {
    EXPECT_EQ(Easy(2, {10, 20, 30, 40}, kMono), (Samples{10, 20, 30, 30}));
}

// Two columns have no inner pixels: {30, 40, 10, 50} -> 35 does not lower 30; {40, 30, 20, 60} -> 35 lowers 40.
TEST_F(CGoldenNoiseReduction, TwoColumnsOfMono) {
    EXPECT_EQ(Easy(2, {10, 20, 30, 40, 50, 60}, kMono), (Samples{10, 20, 30, 35, 50, 50}));
}

// From row 1 on, the neighbour to the left counts as filtered: (2,4) comes down, so (4,4) has two bright values of five
// and comes down as well.
TEST_F(CGoldenNoiseReduction, BayerLeftIsFiltered) {
    for (const unsigned short colorArray : {kRGGB, kBGGR}) {
        EXPECT_EQ(Easy(8, field(8, 8, {{2, 4}, {4, 4}, {6, 4}}), colorArray), field(8, 8, {}));
    }
    for (const unsigned short colorArray : {kGRBG, kGBRG}) {
        EXPECT_EQ(Easy(8, field(8, 8, {{3, 4}, {5, 4}, {7, 4}}), colorArray), field(8, 8, {}));
    }
}

// Row 1 has one neighbour less: 200, 100, 200, 100 gives 150, then 200, 150, 100, 100 gives 125.
TEST_F(CGoldenNoiseReduction, BayerRowOneIsRecursive) {
    Samples expected = field(8, 8, {{3, 1}}, 150);
    expected[8 + 5] = 125;
    EXPECT_EQ(Easy(8, field(8, 8, {{3, 1}, {5, 1}}), kRGGB), expected);
    expected = field(8, 8, {{2, 1}}, 150);
    expected[8 + 4] = 125;
    EXPECT_EQ(Easy(8, field(8, 8, {{2, 1}, {4, 1}}), kGRBG), expected);
}

// Row 0 takes its own row as it was: both pixels have 200, 200, 100, 100.
TEST_F(CGoldenNoiseReduction, BayerRowZeroIsNotRecursive) {
    EXPECT_EQ(Easy(8, field(8, 8, {{2, 0}, {4, 0}}), kRGGB), field(8, 8, {{2, 0}, {4, 0}}, 150));
    EXPECT_EQ(Easy(8, field(8, 8, {{3, 0}, {5, 0}}), kGBRG), field(8, 8, {{3, 0}, {5, 0}}, 150));
}

// The rows below row 0 see it filtered: (2,0) becomes 150 (200, 100, 100, 200), then (2,2) the median of 200, 100, 200,
// 150, 100.
TEST_F(CGoldenNoiseReduction, BayerAboveIsFiltered) {
    Samples expected = field(8, 8, {{2, 0}, {2, 2}}, 150);
    // (4,2): 200, left 150, then 100 three times.
    EXPECT_EQ(Easy(8, field(8, 8, {{2, 0}, {2, 2}, {4, 2}}), kBGGR), expected);
}

// To the right and below nothing is filtered yet: (2,2) has 200, right 200, below 200, and stays.
TEST_F(CGoldenNoiseReduction, BayerRightAndBelowAreNotFiltered) {
    const Samples result = Easy(8, field(8, 8, {{2, 2}, {4, 2}, {2, 4}}), kRGGB);
    EXPECT_EQ(result[2 * 8 + 2], 200);
    EXPECT_EQ(result[2 * 8 + 4], 100); // left 200, all else 100
    EXPECT_EQ(result[4 * 8 + 2], 100);
}

// Rows are finished one after the other: (4,2) is down before (3,3) looks at it from its lower left.
TEST_F(CGoldenNoiseReduction, BayerGoesRowByRow) {
    const Samples result = Easy(8, field(8, 8, {{4, 2}, {3, 3}, {4, 4}}), kGRBG);
    EXPECT_EQ(result[2 * 8 + 4], 100);
    EXPECT_EQ(result[3 * 8 + 3], 100);
    // And (4,4) still sees (3,5) as it was: 200 three times of five.
    const Samples below = Easy(8, field(8, 8, {{4, 4}, {3, 5}, {5, 5}}), kGBRG);
    EXPECT_EQ(below[4 * 8 + 4], 200);
}

// The smallest Bayer image: 9 becomes the median of 9, 2 and 3, the 8 the one of 8, 2 and 2.
TEST_F(CGoldenNoiseReduction, SmallestBayer) {
    EXPECT_EQ(Easy(4, {9, 1, 2, 1, 1, 8, 1, 2, 3, 1, 2, 1, 1, 2, 1, 2}, kRGGB),
              (Samples{3, 1, 2, 1, 1, 2, 1, 2, 3, 1, 2, 1, 1, 2, 1, 2}));
}

TEST_F(CGoldenNoiseReduction, EasyRefusesColorArrays) {
    const Samples image = field(4, 4, {{1, 1}});
    for (const unsigned short colorArray :
         {std::uint16_t{0}, std::uint16_t{6}, std::uint16_t{11}, std::uint16_t{0x101}, std::uint16_t{65535}}) {
        EXPECT_EQ(Easy(4, image, colorArray, kInvalid), image);
    }
}

TEST_F(CGoldenNoiseReduction, EasyRefusesSizes) {
    for (unsigned short colorArray = kRGGB; colorArray <= kBGGR; ++colorArray) {
        for (const std::size_t width : {1U, 2U, 3U}) {
            EXPECT_EQ(Easy(width, field(width, 6, {{0, 1}}), colorArray, kInvalid), field(width, 6, {{0, 1}}));
            EXPECT_EQ(Easy(6, field(6, width, {{1, 0}}), colorArray, kInvalid), field(6, width, {{1, 0}}));
        }
    }
    EXPECT_EQ(Easy(1, field(1, 6, {{0, 1}}), kMono, kInvalid), field(1, 6, {{0, 1}}));
    EXPECT_EQ(Easy(6, field(6, 1, {{1, 0}}), kMono, kInvalid), field(6, 1, {{1, 0}}));
}

// Odd sides: what lies outside the image drops out. A pixel that is bright alone becomes 100; at the corner of the last
// row and column the mean with its only neighbour, where that corner is green.
TEST_F(CGoldenNoiseReduction, EasyOddSides) {
    for (unsigned short colorArray = kRGGB; colorArray <= kBGGR; ++colorArray) {
        const bool greenFirst = colorArray == kGRBG || colorArray == kGBRG;
        for (const std::size_t width : {4U, 5U, 6U, 7U}) {
            for (const std::size_t height : {5U, 7U}) {
                for (std::size_t y = 0; y < height; ++y) {
                    for (std::size_t x = 0; x < width; ++x) {
                        const bool green = (x + y) % 2 == (greenFirst ? 0U : 1U);
                        const bool farCorner = y == height - 1 && (x == 0 || x == width - 1);
                        // Greens one column from the side, of which the diagonal on the image's side counts alone.
                        const bool nearSide = greenFirst && width % 2 == 0 && x == width - 2;
                        const bool oneNeighbor = green && (farCorner || (nearSide && (y == 0 || y == height - 1)) ||
                                                           (y == 0 && x == width - 1));
                        const Samples one = field(width, height, {{x, y}}, oneNeighbor ? 150 : 100);
                        EXPECT_EQ(Easy(width, field(width, height, {{x, y}}), colorArray), one)
                            << width << " x " << height << ", at " << x << ", " << y << ", colour array " << colorArray;
                    }
                }
            }
        }
    }
}

// The far edges of GRBG, 5 x 5 pixels. (3, 3) is green and takes all four diagonals, though it stands one column from
// the edge: two of the five values are bright, the median is not. (4, 2) takes (3, 1) and (3, 3), (4, 1) is blue and
// takes (2, 1) and (4, 3): two of three are bright.
TEST_F(CGoldenNoiseReduction, EasyOddSidesAtTheFarEdge) {
    EXPECT_EQ(Easy(5, field(5, 5, {{3, 3}, {2, 4}}), kGRBG)[18], 100);
    EXPECT_EQ(Easy(5, field(5, 5, {{4, 2}, {3, 3}}), kGRBG)[14], 200);
    EXPECT_EQ(Easy(5, field(5, 5, {{4, 1}, {4, 3}}), kGRBG)[9], 200);
    // RGGB: (4, 3) is green and takes (3, 2) and (3, 4).
    EXPECT_EQ(Easy(5, field(5, 5, {{4, 3}, {3, 4}}), kRGGB)[19], 200);
}

// A dark frame of padded bytes is one of words, too, where a row of words is as long: with the bytes between the rows,
// and 0 behind the last one, where the image ends.
TEST_F(CGoldenNoiseReduction, PaddedBytesAreADarkFrameOfWords) {
    constexpr std::uint8_t kAway = 77;
    // Floors of 10, 10, 20, 20; between the rows of two bytes the padding of the first one.
    const std::vector<std::uint8_t> dark = {10, 12, 3, 1, 20, 25, kAway, kAway};
    for (const std::uint8_t fill : {std::uint8_t{0}, std::uint8_t{255}}) {
        // Memory that was in use before.
        for (int i = 0; i < 4; ++i) {
            std::vector<std::uint8_t> used(dark.size(), fill);
            EXPECT_EQ(mWords->NRProcW(2, 2, 4, kMono, reinterpret_cast<std::uint16_t*>(used.data()), 12, kNoiseStore),
                      kOk);
        }
        EXPECT_EQ(mWords->NRProcB(2, 2, 4, kMono, const_cast<std::uint8_t*>(dark.data()), 8, kNoiseStore), kOk);
        std::vector<std::uint16_t> live = {1000, 1000, 1000, 1000};
        EXPECT_EQ(mWords->NRProcW(2, 2, 4, kMono, live.data(), 12, kNoiseComplex), kOk);
        // Stored: 0 0 3 1, 0 0 0 0; as words 0 and 259, 0 and 0.
        EXPECT_EQ(live, (std::vector<std::uint16_t>{1000, 741, 1000, 1000}));
    }
}

// A snapshot that cannot be had is no failure; the image is not looked at, nor is the colour array.
TEST_F(CGoldenNoiseReduction, EasyWithoutMemoryIsNoFailure) {
    std::uint8_t byte = 77;
    EXPECT_EQ(mBytes->NRProcB(4, 4, 1UL << 62, kMono, &byte, 8, kNoiseEasy), kOk);
    EXPECT_EQ(mBytes->NRProcB(4, 4, 1UL << 62, kRGGB, &byte, 8, kNoiseEasy), kOk);
    EXPECT_EQ(mBytes->NRProcB(4, 4, 1UL << 62, 6, &byte, 8, kNoiseEasy), kOk);
    EXPECT_EQ(byte, 77);
}

// A pitch of 0 is the width times the bytes that the depth takes.
TEST_F(CGoldenNoiseReduction, DerivedPitch) {
    std::vector<std::uint16_t> words = {1, 1, 1, 1, 4000, 1, 1, 1, 1};
    EXPECT_EQ(mWords->NRProcW(3, 3, 0, kMono, words.data(), 12, kNoiseEasy), kOk);
    EXPECT_EQ(words, std::vector<std::uint16_t>(9, 1));
    std::vector<std::uint8_t> bytes = {1, 1, 1, 1, 200, 1, 1, 1, 1};
    EXPECT_EQ(mBytes->NRProcB(3, 3, 0, kMono, bytes.data(), 8, kNoiseEasy), kOk);
    EXPECT_EQ(bytes, std::vector<std::uint8_t>(9, 1));
}

// Bytes with a depth of words have derived rows of two bytes a pixel.
TEST_F(CGoldenNoiseReduction, DerivedPitchOfBytesWithTenBits) {
    std::vector<std::uint8_t> bytes = {1, 1, 250, 250, 1, 200, 250, 250};
    EXPECT_EQ(mBytes->NRProcB(2, 2, 0, kMono, bytes.data(), 10, kNoiseEasy), kOk);
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{1, 1, 250, 250, 1, 1, 250, 250}));
}

// Words with a depth of bytes have derived rows of half their length, which are refused.
TEST_F(CGoldenNoiseReduction, DerivedPitchOfWordsWithEightBits) {
    std::vector<std::uint16_t> words = {1, 1, 1, 200};
    for (const unsigned long mode : {kNoiseEasy, kNoiseStore, kNoiseComplex}) {
        EXPECT_EQ(mWords->NRProcW(2, 2, 0, kMono, words.data(), 8, mode), kInvalid);
    }
    EXPECT_EQ(words, (std::vector<std::uint16_t>{1, 1, 1, 200}));
}

TEST_F(CGoldenNoiseReduction, ComplexNeedsADarkFrame) {
    EXPECT_EQ(Complex(4, field(4, 4, {}), kMono, kInvalid), field(4, 4, {}));
}

// Each place of the 2 x 2 cell loses its own floor, in mono images too.
TEST_F(CGoldenNoiseReduction, StoreTakesTheFloorOffEachPhase) {
    for (const unsigned short colorArray : {kMono, kRGGB, kGBRG, std::uint16_t{0}}) {
        Store(4, {10, 20, 15, 28, 30, 40, 30, 41, 12, 20, 10, 21, 39, 45, 31, 40}, colorArray);
        if (colorArray != 0) {
            EXPECT_EQ(Dark(4, 4, colorArray), (Samples{0, 0, 5, 8, 0, 0, 0, 1, 2, 0, 0, 1, 9, 5, 1, 0}));
        }
    }
}

// 3 x 3: only the cell of rows and columns 0 and 1 is complete; the rest stays raw.
TEST_F(CGoldenNoiseReduction, StoreOfOddSizesKeepsTheLastRowAndColumn) {
    Store(3, {10, 20, 30, 40, 50, 60, 70, 80, 90});
    EXPECT_EQ(Dark(3, 3), (Samples{0, 0, 30, 0, 0, 60, 70, 80, 90}));
}

// The raw edge does not count for the floor: 3 is below it.
TEST_F(CGoldenNoiseReduction, StoreFloorLeavesTheEdgeOut) {
    Store(5, {10, 9, 12, 9, 3, 8, 7, 8, 7, 1});
    EXPECT_EQ(Dark(5, 2), (Samples{0, 0, 2, 0, 3, 0, 0, 0, 0, 1}));
}

TEST_F(CGoldenNoiseReduction, StoreWithoutACompleteCellIsRaw) {
    Store(1, {10, 20, 30});
    EXPECT_EQ(Dark(1, 3), (Samples{10, 20, 30}));
    Store(3, {10, 20, 30});
    EXPECT_EQ(Dark(3, 1), (Samples{10, 20, 30}));
}

// The floor starts at the largest sample: full frames lose everything.
TEST_F(CGoldenNoiseReduction, StoreOfFullFrames) {
    Store(2, {255, 255, 255, 255});
    EXPECT_EQ(Dark(2, 2), (Samples{0, 0, 0, 0}));
    std::vector<std::uint16_t> words(9, 65535);
    EXPECT_EQ(mWords->NRProcW(3, 3, 6, kMono, words.data(), 16, kNoiseStore), kOk);
    words.assign(9, 65535);
    EXPECT_EQ(mWords->NRProcW(3, 3, 6, kMono, words.data(), 0, kNoiseComplex), kOk);
    EXPECT_EQ(words, (std::vector<std::uint16_t>{65535, 65535, 0, 65535, 65535, 0, 0, 0, 0}));
}

TEST_F(CGoldenNoiseReduction, StoreReplacesTheDarkFrame) {
    Store(2, {9, 0, 0, 0});
    Store(3, {1, 2, 3});
    EXPECT_EQ(Dark(3, 1), (Samples{1, 2, 3}));
    EXPECT_EQ(Complex(2, {9, 9, 9, 9}, kMono, kInvalid), (Samples{9, 9, 9, 9}));
}

// A refused store leaves the dark frame.
TEST_F(CGoldenNoiseReduction, RefusedStoreKeepsTheDarkFrame) {
    Store(3, {1, 2, 3});
    std::uint8_t bytes[3] = {7, 8, 9};
    std::uint16_t words[3] = {7, 8, 9};
    EXPECT_EQ(mBytes->NRProcB(3, 1, 2, kMono, bytes, 8, kNoiseStore), kInvalid);
    EXPECT_EQ(mWords->NRProcW(3, 1, 4, kMono, words, 8, kNoiseStore), kInvalid);
    EXPECT_EQ(Dark(3, 1), (Samples{1, 2, 3}));
}

// A store without memory has dropped the dark frame before.
TEST_F(CGoldenNoiseReduction, StoreWithoutMemoryLosesTheDarkFrame) {
    Store(3, {1, 2, 3});
    std::uint16_t word = 0;
    EXPECT_EQ(mBytes->NRProcB(2, 4, 1UL << 62, kMono, reinterpret_cast<std::uint8_t*>(&word), 8, kNoiseStore),
              kNoMemory);
    EXPECT_EQ(mWords->NRProcW(1, 4, 1UL << 62, kMono, &word, 8, kNoiseStore), kNoMemory);
    EXPECT_EQ(Complex(3, {5, 5, 5}, kMono, kInvalid), (Samples{5, 5, 5}));
}

// A frame with padded rows is stored, and then fits no call: not with its own pitch, not with a tight one.
TEST_F(CGoldenNoiseReduction, PaddedDarkFrameIsNeverUsed) {
    std::vector<std::uint8_t> bytes(10, 1);
    EXPECT_EQ(mBytes->NRProcB(4, 2, 5, kMono, bytes.data(), 8, kNoiseStore), kOk);
    EXPECT_EQ(mBytes->NRProcB(4, 2, 5, kMono, bytes.data(), 8, kNoiseComplex), kInvalid);
    EXPECT_EQ(mBytes->NRProcB(4, 2, 4, kMono, bytes.data(), 8, kNoiseComplex), kInvalid);
    EXPECT_EQ(mBytes->NRProcB(4, 2, 0, kMono, bytes.data(), 8, kNoiseComplex), kInvalid);
    EXPECT_EQ(mBytes->NRProcB(5, 2, 5, kMono, bytes.data(), 8, kNoiseComplex), kInvalid);
    EXPECT_EQ(bytes, std::vector<std::uint8_t>(10, 1));
}

// 100 - 40, 40 - 40 and 39 - 40.
TEST_F(CGoldenNoiseReduction, SubtractionEndsAtZero) {
    Store(4, {0, 40, 40, 40});
    EXPECT_EQ(Complex(4, {7, 100, 40, 39}), (Samples{7, 60, 0, 0}));
}

// A colour array that has no repair: subtracted all the same, and refused.
TEST_F(CGoldenNoiseReduction, RefusedRepairHasSubtracted) {
    Store(4, {0, 40, 40, 40}, 6);
    EXPECT_EQ(Complex(4, {7, 100, 40, 39}, 6, kInvalid), (Samples{7, 60, 0, 0}));
    Store(4, {0, 40, 40, 40}, 0);
    EXPECT_EQ(Complex(4, {7, 100, 40, 39}, 0, kInvalid), (Samples{7, 60, 0, 0}));
}

// 255 - 5 = 250; the median of 250 and three of 255 and a 100 is 255.
TEST_F(CGoldenNoiseReduction, ClippedPixelRises) {
    Samples dark(16, 0);
    dark[5] = 5;
    Store(4, dark);
    EXPECT_EQ(Complex(4, {255, 0, 255, 0, 0, 255, 0, 0, 255, 0, 100, 0, 0, 0, 0, 0}),
              (Samples{255, 0, 255, 0, 0, 255, 0, 0, 255, 0, 100, 0, 0, 0, 0, 0}));
}

// 250 among dull neighbours keeps 250: a repair never darkens.
TEST_F(CGoldenNoiseReduction, ClippedPixelNeverFalls) {
    Samples dark(16, 0);
    dark[5] = 5;
    Store(4, dark);
    EXPECT_EQ(Complex(4, field(4, 4, {{1, 1}}, 255)), field(4, 4, {{1, 1}}, 250));
}

// The repair takes values behind the subtraction: 255 - 2 = 253 around 255 - 5 = 250.
TEST_F(CGoldenNoiseReduction, RepairReadsSubtractedValues) {
    Samples dark(25, 2);
    dark[0] = dark[1] = dark[5] = dark[6] = 0; // the floors
    dark[12] = 5;
    Store(5, dark);
    EXPECT_EQ(Complex(5, Samples(25, 255))[12], 253);
}

// A repaired pixel counts for the ones behind it: (1,1) has risen to 255 when (2,2) takes the median of 250, 255, 255,
// 255 and 0; with the 250 from before it would stay.
TEST_F(CGoldenNoiseReduction, RepairIsRecursive) {
    Samples dark(16, 0);
    dark[5] = 5;
    dark[10] = 5;
    Store(4, dark);
    const Samples result = Complex(4, {255, 0, 255, 0, 0, 255, 0, 255, 255, 0, 255, 0, 0, 255, 0, 0});
    EXPECT_EQ(result[5], 255);
    EXPECT_EQ(result[10], 255);
}

// Edges of mono images are never repaired.
TEST_F(CGoldenNoiseReduction, MonoEdgesAreNotRepaired) {
    Samples dark(25, 5);
    dark[0] = dark[1] = dark[5] = dark[6] = 0;
    Store(5, dark);
    const Samples result = Complex(5, Samples(25, 255));
    EXPECT_EQ(result, (Samples{255, 255, 250, 250, 250, 255, 255, 250, 250, 250, 250, 250, 250,
                               250, 250, 250, 250, 250, 250, 250, 250, 250, 250, 250, 250}));
}

// Two rows and columns of Bayer images are never repaired: of 6 x 6 pixels the middle four may rise.
TEST_F(CGoldenNoiseReduction, BayerEdgesAreNotRepaired) {
    for (unsigned short colorArray = kRGGB; colorArray <= kBGGR; ++colorArray) {
        for (std::size_t at = 2; at < 36; ++at) {
            if (at == 6 || at == 7) {
                continue; // with 0 and 1 the floors
            }
            Samples dark(36, 0);
            dark[at] = 5;
            Store(6, dark, colorArray);
            const bool middle = at % 6 >= 2 && at % 6 <= 3 && at / 6 >= 2 && at / 6 <= 3;
            EXPECT_EQ(Complex(6, Samples(36, 255), colorArray)[at], middle ? 255 : 250) << colorArray << ' ' << at;
        }
    }
}

// Red takes the reds two pixels away, green its diagonal greens.
TEST_F(CGoldenNoiseReduction, BayerRepairKeepsToItsColor) {
    for (const unsigned short colorArray : {kRGGB, kGRBG}) {
        const bool isGreen = colorArray == kGRBG; // at (2,2)
        Samples dark(36, 0);
        dark[14] = 5;
        Store(6, dark, colorArray);
        EXPECT_EQ(Complex(6, field(6, 6, {{2, 2}, {0, 2}, {4, 2}, {2, 0}, {2, 4}}, 255), colorArray)[14],
                  isGreen ? 250 : 255);
        EXPECT_EQ(Complex(6, field(6, 6, {{2, 2}, {1, 1}, {3, 1}, {1, 3}, {3, 3}}, 255), colorArray)[14],
                  isGreen ? 255 : 250);
    }
}

// No interior, no repair: the subtraction remains.
TEST_F(CGoldenNoiseReduction, SmallImagesAreOnlySubtracted) {
    Store(1, {5});
    EXPECT_EQ(Complex(1, {255}), (Samples{250}));
    Store(2, {0, 0, 0, 0, 5, 5}, kRGGB);
    EXPECT_EQ(Complex(2, Samples(6, 255), kRGGB), (Samples{255, 255, 255, 255, 250, 250}));
    Samples dark(16, 0);
    dark[10] = 5;
    Store(4, dark, kGRBG);
    EXPECT_EQ(Complex(4, Samples(16, 255), kGRBG)[10], 250);
}

// Repaired from the threshold on, 1 below it left alone: 253 at 8 bits, in words as in bytes.
TEST_F(CGoldenNoiseReduction, SaturationAtEightBits) {
    EXPECT_EQ(RepairedByte(252, 8), 251);
    EXPECT_EQ(RepairedByte(253, 8), 255);
    EXPECT_EQ(RepairedByte(254, 8), 253); // 253 is not below
    ExpectThreshold(253, 8);
}

TEST_F(CGoldenNoiseReduction, SaturationAtTenBits) {
    ExpectThreshold(1015, 10);
}

TEST_F(CGoldenNoiseReduction, SaturationAtTwelveBits) {
    ExpectThreshold(4063, 12);
}

TEST_F(CGoldenNoiseReduction, SaturationAtFourteenBits) {
    ExpectThreshold(16255, 14);
}

TEST_F(CGoldenNoiseReduction, SaturationAtSixteenBits) {
    ExpectThreshold(65023, 16);
}

// 7 bits: 128 - 1 - 1. 6 bits: 64 - 1, with nothing between it and full scale.
TEST_F(CGoldenNoiseReduction, SaturationBelowEightBits) {
    EXPECT_EQ(RepairedByte(125, 7), 124);
    EXPECT_EQ(RepairedByte(126, 7), 255);
    EXPECT_EQ(RepairedByte(62, 6), 61);
    EXPECT_EQ(RepairedByte(63, 6), 255);
    EXPECT_EQ(RepairedByte(1, 1), 255);
    EXPECT_EQ(RepairedByte(255, 0), 254); // nothing is below a threshold of 0
}

// Bytes keep the low 8 bits of a deeper threshold: 1015 is 247, 4063 is 223.
TEST_F(CGoldenNoiseReduction, SaturationOfBytesWithMoreBits) {
    EXPECT_EQ(RepairedByte(246, 10), 245);
    EXPECT_EQ(RepairedByte(247, 10), 255);
    EXPECT_EQ(RepairedByte(222, 12), 221);
    EXPECT_EQ(RepairedByte(223, 12), 255);
    EXPECT_EQ(RepairedByte(224, 12), 223);
}

// The depth of a complex call need not be the one of the store.
TEST_F(CGoldenNoiseReduction, DepthIsNotPartOfTheDarkFrame) {
    std::vector<std::uint16_t> dark = {0, 0, 0, 7};
    EXPECT_EQ(mWords->NRProcW(4, 1, 0, kMono, dark.data(), 16, kNoiseStore), kOk);
    std::vector<std::uint16_t> live = {9, 9, 9, 9};
    EXPECT_EQ(mWords->NRProcW(4, 1, 0, kMono, live.data(), 10, kNoiseComplex), kOk);
    EXPECT_EQ(live, (std::vector<std::uint16_t>{9, 9, 9, 2}));
}

// Values are sorted in place, largest first; an even number of them gives the mean of the two in the middle, cut off.
TEST(CNoiseReductionMedian, SortsItsValues) {
    unsigned char odd[] = {10, 50, 30, 20, 40};
    EXPECT_EQ(mGetCenterValue(odd, 5), 30);
    EXPECT_EQ(odd[0], 50);
    EXPECT_EQ(odd[4], 10);
    unsigned short even[] = {65535, 1, 65534, 7};
    EXPECT_EQ(mGetCenterValue(even, 4), 32770); // (65534 + 7) >> 1
}

// The centre stands first and is compared as it was before the sorting moved it.
TEST(CNoiseReductionMedian, SmallerAndLargerCompareTheFirstValue) {
    unsigned char bright[] = {200, 10, 20, 30, 40};
    EXPECT_EQ(mGetCenterValueSmaller(bright, 5), 30);
    unsigned char dark[] = {5, 10, 20, 30, 40};
    EXPECT_EQ(mGetCenterValueSmaller(dark, 5), 5);
    unsigned short clipped[] = {250, 255, 252, 254, 251};
    EXPECT_EQ(mGetCenterValueLarger(clipped, 5), 252);
    unsigned short brighter[] = {250, 1, 2, 3, 4};
    EXPECT_EQ(mGetCenterValueLarger(brighter, 5), 250);
}

} // namespace vek::test
