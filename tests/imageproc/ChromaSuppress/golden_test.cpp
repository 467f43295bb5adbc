// SPDX-License-Identifier: Apache-2.0
// Chroma suppression by hand: luma of a pixel, strength in 16384ths, the step of blue and of red.
#include "imageproc/IChromaSuppress.h"
#include "imageproc/ModuleTest.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

class CGoldenChroma : public ::testing::Test {
protected:
    void Low(unsigned short start, unsigned short slope) {
        mModule->SetLowStartLevel(start);
        mModule->SetLowSlope(slope);
    }
    void High(unsigned short start, unsigned short slope) {
        mModule->SetHighStartLevel(start);
        mModule->SetHighSlope(slope);
    }
    /// One pixel in both colour formats.
    void ExpectBytes(const std::vector<std::uint8_t>& pixel, const std::vector<std::uint8_t>& result) {
        Expect(&IChromaSuppress::ProcessB, 4, pixel, result);
    }
    void ExpectWords(const std::vector<std::uint16_t>& pixel, const std::vector<std::uint16_t>& result) {
        Expect(&IChromaSuppress::ProcessW, 256, pixel, result);
    }

    ModulePtr<IChromaSuppress, kModuleChromaSuppress> mModule = makeModule<IChromaSuppress, kModuleChromaSuppress>();

private:
    template <class Process, class Samples>
    void Expect(Process process, unsigned long format, Samples pixel, const Samples& result) {
        Samples four = pixel;
        four.push_back(99);
        EXPECT_EQ((*mModule.*process)(1, 1, 0, format, pixel.data()), 0U);
        EXPECT_EQ(pixel, result);
        EXPECT_EQ((*mModule.*process)(1, 1, 0, 2 * format, four.data()), 0U);
        EXPECT_EQ(four[3], 99);
        four.pop_back();
        EXPECT_EQ(four, result);
    }
};

} // namespace

// A new module is off.
TEST_F(CGoldenChroma, DefaultsTouchNothing) {
    unsigned short value = 7;
    mModule->GetLowStartLevel(&value);
    EXPECT_EQ(value, 0);
    mModule->GetHighStartLevel(&value);
    EXPECT_EQ(value, 255);
    mModule->GetLowSlope(&value);
    EXPECT_EQ(value, 0);
    mModule->GetHighSlope(&value);
    EXPECT_EQ(value, 0);
    ExpectBytes({255, 0, 255}, {255, 0, 255});
    ExpectBytes({0, 1, 2}, {0, 1, 2});
    ExpectWords({4095, 0, 4095}, {4095, 0, 4095});
}

// Luma 29 + 150 + 0 = 179 is below the start level of 200.
TEST_F(CGoldenChroma, YellowBelowTheHighLevelStays) {
    High(200, 1024);
    ExpectBytes({255, 255, 0}, {255, 255, 0});
}

// Luma 29 + 147 + 60 = 236, strength 1024 x 37, more than full: the pixel turns grey.
TEST_F(CGoldenChroma, BrightPixelTurnsGray) {
    High(200, 1024);
    ExpectBytes({250, 250, 200}, {250, 250, 250});
}

// Luma 7 + 23 + 10 = 40, strength 100 x 11: blue loses 22000 >> 14 = 1, red gains 7700 >> 14 = 0.
TEST_F(CGoldenChroma, DarkPixelMovesALittle) {
    Low(50, 100);
    ExpectBytes({60, 40, 33}, {59, 40, 33});
}

// The step is cut off towards the sample on either side: 16383 / 16384 of one level is none.
TEST_F(CGoldenChroma, StepsAreCutOffTowardsTheSample) {
    Low(41, 8191);                           // luma 7 + 23 + 10 = 40, strength 8191 x 2 = 16382
    ExpectBytes({61, 40, 33}, {41, 40, 39}); // 21 x 16382 >> 14 = 20, 7 x 16382 >> 14 = 6
}

// Strength 16383 is not yet full, 16384 is.
TEST_F(CGoldenChroma, FullStrengthStartsAbove16383) {
    Low(42, 5461); // luma 40, 5461 x 3 = 16383
    ExpectBytes({60, 40, 33}, {41, 40, 39});
    Low(41, 8192); // 8192 x 2 = 16384
    ExpectBytes({60, 40, 33}, {40, 40, 40});
}

// A luma at the start level is not beyond it; one level further counts as two steps of the slope.
TEST_F(CGoldenChroma, StartLevelItselfStays) {
    Low(40, 65535);
    ExpectBytes({60, 40, 33}, {60, 40, 33});
    Low(41, 4096);                           // 4096 x 2 = 8192: half
    ExpectBytes({60, 40, 32}, {50, 40, 36}); // luma 7 + 23 + 10 again
    Low(0, 0);
    High(40, 65535);
    ExpectBytes({60, 40, 33}, {60, 40, 33});
    High(39, 4096);
    ExpectBytes({60, 40, 32}, {50, 40, 36});
}

// A pixel in both parts takes the stronger pull.
TEST_F(CGoldenChroma, OverlappingPartsTakeTheStrongerOne) {
    Low(41, 4096);  // 8192
    High(39, 2048); // 4096
    ExpectBytes({60, 40, 32}, {50, 40, 36});
    Low(41, 2048);  // 4096
    High(39, 4096); // 8192
    ExpectBytes({60, 40, 32}, {50, 40, 36});
    Low(41, 2048);
    High(39, 2048); // a quarter: 20 -> 5, 8 -> 2
    ExpectBytes({60, 40, 32}, {55, 40, 34});
}

// Blue and red that equal green stay at any strength, and so does green.
TEST_F(CGoldenChroma, GrayStays) {
    Low(300, 65535);
    High(0, 65535);
    ExpectBytes({77, 77, 77}, {77, 77, 77});
    ExpectWords({777, 777, 777}, {777, 777, 777});
}

// Each part needs both of its numbers.
TEST_F(CGoldenChroma, PartsAreOffWithoutLevelOrSlope) {
    Low(0, 65535);
    ExpectBytes({255, 0, 255}, {255, 0, 255});
    Low(255, 0);
    ExpectBytes({255, 0, 255}, {255, 0, 255});
    Low(0, 0);
    High(255, 65535);
    ExpectBytes({255, 254, 255}, {255, 254, 255});
    High(0, 0);
    ExpectBytes({255, 0, 255}, {255, 0, 255});
}

// The low level of a luma 0 pixel reaches 65536 steps, which count as none in 16 bits.
TEST_F(CGoldenChroma, LowestPixelUnderTheHighestLevelWraps) {
    Low(65535, 65535);
    ExpectBytes({4, 0, 1}, {4, 0, 1}); // luma 0 + 0 + 0
    ExpectBytes({5, 0, 1}, {0, 0, 0}); // luma 1
    ExpectWords({4, 0, 1}, {4, 0, 1});
}

// A strength that needs all 32 bits is full, not negative: 65535 x 65535.
TEST_F(CGoldenChroma, LargestStrengthIsFull) {
    Low(65535, 65535);
    ExpectBytes({8, 1, 0}, {1, 1, 1}); // luma 1 + 1 + 0 = 2, 65534 steps
    ExpectBytes({5, 0, 0}, {0, 0, 0}); // luma 1, 65535 steps
}

// Luma 457 + 2348 + 1193 = 3998, strength 1024 x 6 = 6144: 10 x 6144 >> 14 = 3 on either side.
TEST_F(CGoldenChroma, TwelveBitWords) {
    High(3993, 1024);
    ExpectWords({4000, 4000, 4000}, {4000, 4000, 4000});
    ExpectWords({4010, 4000, 3990}, {4007, 4000, 3993});
}

// The default high level of 255 does not count as the largest word: a slope alone switches it on.
TEST_F(CGoldenChroma, DefaultHighLevelWorksOnWords) {
    High(255, 16384);
    ExpectWords({400, 300, 200}, {300, 300, 300});
    ExpectWords({260, 250, 240}, {260, 250, 240}); // 30 + 147 + 72 = 249
}

// Words beyond the luma tables count as their last entries: 478 + 2462 + 1254 = 4194 for white.
TEST_F(CGoldenChroma, WordsBeyondTheTablesTakeTheLastEntry) {
    High(4193, 8192);
    ExpectWords({65535, 65535, 4195}, {65535, 65535, 65535}); // 8192 x 2: full
    High(4194, 65535);
    ExpectWords({65535, 65535, 4195}, {65535, 65535, 4195});
    Low(1, 16384);
    ExpectWords({65535, 0, 0}, {65535, 0, 0}); // luma 478
}

// Luma 478 + 0 + 1254 = 1732, strength 8 x 1633 = 13064: 13064 x 65535 >> 14 = 52255.
TEST_F(CGoldenChroma, LargestWordsDoNotOverflow) {
    High(100, 8);
    ExpectWords({65535, 0, 65535}, {13280, 0, 13280});
}

// Grey images are success and stay as they are, and need no image at all.
TEST_F(CGoldenChroma, GrayFormats) {
    Low(65535, 65535);
    High(0, 65535);
    std::uint8_t bytes[3] = {1, 2, 3};
    EXPECT_EQ(mModule->ProcessB(1, 1, 0, 1, bytes), 0U);
    EXPECT_EQ(mModule->ProcessB(1, 1, 0, 1, nullptr), 0U);
    std::uint16_t words[3] = {1, 2, 3};
    for (const unsigned long format : {2UL, 16UL, 32UL, 64UL}) {
        EXPECT_EQ(mModule->ProcessW(1, 1, 0, format, words), 0U);
        EXPECT_EQ(mModule->ProcessW(1, 1, 0, format, nullptr), 0U);
        EXPECT_EQ(mModule->ProcessB(1, 1, 0, format, bytes), kInvalid);
    }
    EXPECT_EQ(mModule->ProcessW(1, 1, 0, 1, words), kInvalid);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(words[0], 1);
    EXPECT_EQ(words[2], 3);
}

// A derived line of 3 x 3 bytes takes 12: the three bytes between the rows stay.
TEST_F(CGoldenChroma, DerivedLinesAreMultiplesOfFour) {
    High(0, 16384);
    std::vector<std::uint8_t> image{9, 5, 7, 9, 6, 7, 9, 7, 7, 100, 101, 102, 1, 2, 3, 1, 3, 3, 1, 4, 3};
    EXPECT_EQ(mModule->ProcessB(3, 2, 0, 4, image.data()), 0U);
    EXPECT_EQ(image, (std::vector<std::uint8_t>{5, 5, 5, 6, 6, 6, 7, 7, 7, 100, 101, 102, 2, 2, 2, 3, 3, 3, 4, 4, 4}));
}

} // namespace vek::test
