// SPDX-License-Identifier: Apache-2.0
// White balance by hand. Gains are in 128ths, in the order R, Gr, Gb, B.
#include "common/Status.h"
#include "imageproc/WB/WhiteBalanceCalls.h"
#include "support/SampleVectors.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>
#include <vector>

namespace vek::test {

namespace {

constexpr std::uint8_t kOff = 0;
constexpr std::uint8_t kManual = 1;
constexpr std::uint8_t kAuto = 2;
constexpr std::uint8_t kOnce = 3;

class CGoldenWhiteBalance : public ::testing::Test {
protected:
    CGoldenWhiteBalance() : mModule(makeWhiteBalance()) {}

    void Set(std::uint8_t mode, const Gains& gains) {
        EXPECT_EQ(mModule->SetWBMode(mode), kOk);
        EXPECT_EQ(mModule->SetWBGain(gains.data()), kOk);
    }
    Gains ReadGains() {
        Gains gains{};
        EXPECT_EQ(mModule->GetWBGain(gains.data()), kOk);
        return gains;
    }
    int Mode() {
        std::uint8_t mode = 200;
        EXPECT_EQ(mModule->GetWBMode(&mode), kOk);
        return mode;
    }

    /// What an image without padding becomes.
    template <class T>
    std::vector<T> Run(unsigned long width, unsigned long height, std::vector<T> image,
                       unsigned short colorArray = kRGGB, unsigned short bits = 8, unsigned long status = kOk) {
        const SWhiteBalanceCall call{width, height, width * sizeof(T), colorArray, bits};
        EXPECT_EQ(callWhiteBalance(*mModule, call, image.data()), status);
        return image;
    }

    /// The gains that an 8-bit image gives: rows of two reds and of two blues, and the same value at all greens.
    Gains Automatic(std::array<std::uint8_t, 2> red, std::uint8_t green, std::array<std::uint8_t, 2> blue) {
        Set(kAuto, {1, 128, 128, 1});
        Run<std::uint8_t>(4, 2, {red[0], green, red[1], green, green, blue[0], green, blue[1]});
        return ReadGains();
    }

    WhiteBalancePtr mModule;
};

} // namespace

TEST_F(CGoldenWhiteBalance, Defaults) {
    EXPECT_EQ(Mode(), kOff);
    EXPECT_EQ(ReadGains(), (Gains{256, 128, 128, 217}));
}

// A default module in manual mode: 2, 1, 1 and 217 / 128 times. 100 x 217 / 128 = 169.5.
TEST_F(CGoldenWhiteBalance, DefaultGainsApplied) {
    EXPECT_EQ(mModule->SetWBMode(kManual), kOk);
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {100, 101, 102, 100}), (Bytes{200, 101, 102, 169}));
}

TEST_F(CGoldenWhiteBalance, OffPassesImages) {
    Set(kOff, {0, 1, 2, 3});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {1, 2, 3, 4}), (Bytes{1, 2, 3, 4}));
}

// Off looks at nothing but the depth: not at the image, not at the colour array.
TEST_F(CGoldenWhiteBalance, OffTakesAnyColorArray) {
    Set(kOff, {0, 1, 2, 3});
    EXPECT_EQ(mModule->WBProcB(2, 2, 0, 77, nullptr, 8), kOk);
    EXPECT_EQ(mModule->WBProcB(2, 2, 0, 77, nullptr, 13), kInvalid);
}

TEST_F(CGoldenWhiteBalance, AllOnePassesImages) {
    Set(kManual, {128, 128, 128, 128});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {0, 2, 200, 255}), (Bytes{0, 2, 200, 255}));
    EXPECT_EQ(Run<std::uint16_t>(2, 2, {0, 2, 4095, 65535}, kRGGB, 12), (Words{0, 2, 4095, 65535}));
}

// With all gains at 1 the colour array is not looked at either.
TEST_F(CGoldenWhiteBalance, AllOneTakesAnyColorArray) {
    Set(kManual, {128, 128, 128, 128});
    EXPECT_EQ(mModule->WBProcB(2, 2, 0, 0, nullptr, 8), kOk);
    EXPECT_EQ(mModule->WBProcW(2, 2, 0, 6, nullptr, 12), kOk);
}

// 200 doubled saturates, halved is 100.
TEST_F(CGoldenWhiteBalance, SaturatesAndHalves) {
    Set(kManual, {256, 64, 128, 128});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {200, 200, 200, 200}), (Bytes{255, 100, 200, 200}));
}

// The first value that saturates at a gain of 2 is 128; 127 gives 254.
TEST_F(CGoldenWhiteBalance, SaturationBegins) {
    Set(kManual, {256, 128, 128, 129});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {127, 255, 1, 255}), (Bytes{254, 255, 1, 255}));
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {128, 0, 0, 254}), (Bytes{255, 0, 0, 255})); // 254 x 129 / 128 = 255.98
}

// The fraction is cut off: 3 x 217 / 128 = 5.09, 255 x 127 / 128 = 253.01, 1 x 127 / 128 = 0.99.
TEST_F(CGoldenWhiteBalance, FractionIsCut) {
    Set(kManual, {217, 127, 127, 128});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {3, 255, 1, 9}), (Bytes{5, 253, 0, 9}));
}

TEST_F(CGoldenWhiteBalance, GainOfZeroMakesBlack) {
    Set(kManual, {0, 0, 0, 128});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {255, 1, 100, 77}), (Bytes{0, 0, 0, 77}));
}

// The largest gain, 65535 / 128 = 511.99, saturates every value but 0.
TEST_F(CGoldenWhiteBalance, LargestGain) {
    Set(kManual, {65535, 65535, 65535, 65535});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {0, 1, 2, 255}), (Bytes{0, 255, 255, 255}));
}

// Gains of 1/2, 1, 1 1/2 and 2 show which colour a phase has; mono counts as RGGB.
TEST_F(CGoldenWhiteBalance, ColorsOfThePhases) {
    Set(kManual, {64, 128, 192, 256});
    const Bytes image{100, 100, 100, 100};
    EXPECT_EQ(Run(2, 2, image, 1), (Bytes{50, 100, 150, 200}));
    EXPECT_EQ(Run(2, 2, image, 2), (Bytes{50, 100, 150, 200}));
    EXPECT_EQ(Run(2, 2, image, 3), (Bytes{100, 50, 200, 150}));
    EXPECT_EQ(Run(2, 2, image, 4), (Bytes{150, 200, 50, 100}));
    EXPECT_EQ(Run(2, 2, image, 5), (Bytes{200, 150, 100, 50}));
}

// The last column and the last row of odd sizes have the phases of column 0 and row 0.
TEST_F(CGoldenWhiteBalance, OddSizes) {
    Set(kManual, {64, 128, 192, 256});
    EXPECT_EQ(Run<std::uint8_t>(3, 3, Bytes(9, 100), 4), (Bytes{150, 200, 150, 50, 100, 50, 150, 200, 150}));
}

// Modes that have no meaning of their own work as manual and are kept.
TEST_F(CGoldenWhiteBalance, OtherModesAreManual) {
    for (const std::uint8_t mode : {std::uint8_t{4}, std::uint8_t{128}, std::uint8_t{255}}) {
        Set(mode, {256, 64, 64, 256});
        EXPECT_EQ(Run<std::uint8_t>(2, 2, {100, 100, 20, 20}), (Bytes{200, 50, 10, 40}));
        EXPECT_EQ(Mode(), mode);
        EXPECT_EQ(ReadGains(), (Gains{256, 64, 64, 256}));
    }
}

TEST_F(CGoldenWhiteBalance, TwelveBitsAtMost) {
    for (const std::uint8_t mode : {kOff, kManual, kAuto, kOnce}) {
        for (const unsigned short bits : {std::uint16_t{13}, std::uint16_t{16}, std::uint16_t{65535}}) {
            Set(mode, {256, 64, 64, 256});
            EXPECT_EQ(Run<std::uint8_t>(2, 2, {1, 2, 3, 4}, kRGGB, bits, kInvalid), (Bytes{1, 2, 3, 4}));
            EXPECT_EQ(Run<std::uint16_t>(2, 2, {1, 2, 3, 4}, kRGGB, bits, kInvalid), (Words{1, 2, 3, 4}));
            EXPECT_EQ(Mode(), mode);
            EXPECT_EQ(ReadGains(), (Gains{256, 64, 64, 256}));
        }
    }
}

TEST_F(CGoldenWhiteBalance, ManualRefusesOtherColorArrays) {
    Set(kManual, {256, 64, 64, 256});
    for (const unsigned short colorArray : {std::uint16_t{0}, std::uint16_t{6}, std::uint16_t{0x102}}) {
        EXPECT_EQ(Run<std::uint8_t>(2, 2, {1, 2, 3, 4}, colorArray, 8, kInvalid), (Bytes{1, 2, 3, 4}));
        EXPECT_EQ(Run<std::uint16_t>(2, 2, {1, 2, 3, 4}, colorArray, 12, kInvalid), (Words{1, 2, 3, 4}));
    }
}

// 5 bytes a row are 8 with the pitch derived; what lies between stays.
TEST_F(CGoldenWhiteBalance, DerivedLineLength) {
    Set(kManual, {256, 256, 256, 256});
    Bytes image{1, 2, 3, 4, 5, 66, 77, 88, 6, 7, 8, 9, 10};
    EXPECT_EQ(mModule->WBProcB(5, 2, 0, kRGGB, image.data(), 8), kOk);
    EXPECT_EQ(image, (Bytes{2, 4, 6, 8, 10, 66, 77, 88, 12, 14, 16, 18, 20}));
}

// Pitches are bytes with words, too: 3 words are 6 bytes, 8 when derived. The first depth of 8 bits builds byte
// tables, and R x 2 has the bytes 0, 2, 4, 6 in front: words 0x0200, 0x0604.
TEST_F(CGoldenWhiteBalance, DerivedLineLengthOfWords) {
    Set(kManual, {256, 256, 256, 256});
    Words image{0, 1, 0, 777, 1, 0, 1};
    EXPECT_EQ(mModule->WBProcW(3, 2, 0, kRGGB, image.data(), 8), kOk);
    EXPECT_EQ(image, (Words{0x0200, 0x0604, 0x0200, 777, 0x0604, 0x0200, 0x0604}));
}

// Words are looked up where the byte tables lie, colour k from byte 256 x k on. Nothing has been built there when only
// words came in: the first 512 words of R are 0, then its table of words begins, at entry 0.
TEST_F(CGoldenWhiteBalance, WordsBeginInTheByteTables) {
    Set(kManual, {256, 128, 128, 217});
    for (const unsigned short bits : {std::uint16_t{10}, std::uint16_t{12}}) {
        EXPECT_EQ(Run<std::uint16_t>(1, 1, {100}, kRGGB, bits), (Words{0}));
        EXPECT_EQ(Run<std::uint16_t>(1, 1, {511}, kRGGB, bits), (Words{0}));
        EXPECT_EQ(Run<std::uint16_t>(1, 1, {512}, kRGGB, bits), (Words{0}));
        EXPECT_EQ(Run<std::uint16_t>(1, 1, {513}, kRGGB, bits), (Words{2}));
        EXPECT_EQ(Run<std::uint16_t>(1, 1, {1000}, kRGGB, bits), (Words{976})); // 2 x (1000 - 512)
    }
}

// Each colour starts 128 words behind the one before, and all of them run into the table of words for R.
TEST_F(CGoldenWhiteBalance, EveryColorRunsIntoTheWordsOfRed) {
    Set(kManual, {256, 0, 0, 0});
    // R 2 x (600 - 512), Gr 2 x (600 - 384), Gb 2 x (600 - 256), B 2 x (600 - 128).
    EXPECT_EQ(Run<std::uint16_t>(2, 2, {600, 600, 600, 600}, kRGGB, 12), (Words{176, 432, 688, 944}));
}

// At 10 bits the table of words ends at entry 1023; behind it lies what an earlier 12-bit table left.
TEST_F(CGoldenWhiteBalance, WordsOfAnEarlierDepthStay) {
    Set(kManual, {256, 128, 128, 128});
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {3000}, kRGGB, 10), (Words{0}));    // entry 2488, never built
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {1535}, kRGGB, 10), (Words{1023})); // entry 1023
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {2500}, kRGGB, 12), (Words{3976})); // entry 1988
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {2500}, kRGGB, 10), (Words{3976})); // still
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {1535}, kRGGB, 10), (Words{1023}));
}

// Byte tables that a byte image built are what words are then read from, two entries at a time.
TEST_F(CGoldenWhiteBalance, WordsReadByteTables) {
    Set(kManual, {256, 128, 64, 128});
    Run<std::uint8_t>(1, 1, {0});
    // R 2 and 3: 4, 6. Gr 2 and 3: 2, 3. Gb 2 and 3: 1, 1. B 2 and 3: 2, 3.
    EXPECT_EQ(Run<std::uint16_t>(2, 2, {1, 1, 1, 1}, kRGGB, 12), (Words{0x0604, 0x0302, 0x0101, 0x0302}));
    // R 254 and 255 saturate; 128 words on, R reads the table of Gr from its beginning.
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {127}, kRGGB, 12), (Words{0xFFFF}));
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {129}, kRGGB, 12), (Words{0x0302}));
}

// Samples above 12 bits count as 4095 in the image pass: entry 4095 - 512 = 3583 of R.
TEST_F(CGoldenWhiteBalance, WordsAboveTwelveBits) {
    Set(kManual, {64, 128, 128, 128});
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {4095}, kRGGB, 12), (Words{1791}));
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {4096}, kRGGB, 12), (Words{1791}));
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {65535}, kRGGB, 12), (Words{1791}));
}

// Bytes above a depth of 4 bits find the entries of an earlier depth of 8, and 0 before that.
TEST_F(CGoldenWhiteBalance, BytesAboveTheirDepth) {
    Set(kManual, {256, 128, 128, 128});
    EXPECT_EQ(Run<std::uint8_t>(1, 1, {20}, kRGGB, 4), (Bytes{0}));
    EXPECT_EQ(Run<std::uint8_t>(1, 1, {10}, kRGGB, 4), (Bytes{15}));
    EXPECT_EQ(Run<std::uint8_t>(1, 1, {20}, kRGGB, 8), (Bytes{40}));
    EXPECT_EQ(Run<std::uint8_t>(1, 1, {20}, kRGGB, 4), (Bytes{40}));
    EXPECT_EQ(Run<std::uint8_t>(1, 1, {10}, kRGGB, 4), (Bytes{15}));
}

// A new gain takes effect with the next image, at once.
TEST_F(CGoldenWhiteBalance, NewGainsRebuildTheTables) {
    Set(kManual, {256, 128, 128, 128});
    EXPECT_EQ(Run<std::uint8_t>(1, 1, {20}), (Bytes{40}));
    Set(kManual, {64, 128, 128, 128});
    EXPECT_EQ(Run<std::uint8_t>(1, 1, {20}), (Bytes{10}));
    EXPECT_EQ(Run<std::uint8_t>(2, 1, {20, 20}, 3), (Bytes{20, 10}));
}

// Gains that are all 1 build tables although the image passes: words see them afterwards.
TEST_F(CGoldenWhiteBalance, AllOneStillBuildsTables) {
    Set(kManual, {128, 128, 128, 128});
    Run<std::uint8_t>(1, 1, {0});
    Set(kManual, {128, 128, 128, 256});
    EXPECT_EQ(Run<std::uint16_t>(1, 1, {1}, kRGGB, 12), (Words{0x0302})); // bytes 2 and 3 of R x 1
}

// Red 50 and blue 25 come up to green 100.
TEST_F(CGoldenWhiteBalance, AutomaticGains) {
    Set(kAuto, {1, 128, 128, 1});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {50, 100, 100, 25}), (Bytes{100, 100, 100, 100}));
    EXPECT_EQ(ReadGains(), (Gains{256, 128, 128, 512}));
    EXPECT_EQ(Mode(), kAuto);
    // Each image anew.
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {200, 100, 100, 100}), (Bytes{100, 100, 100, 100}));
    EXPECT_EQ(ReadGains(), (Gains{64, 128, 128, 128}));
}

TEST_F(CGoldenWhiteBalance, OneShotTurnsManual) {
    Set(kOnce, {1, 128, 128, 1});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {50, 100, 100, 25}), (Bytes{100, 100, 100, 100}));
    EXPECT_EQ(ReadGains(), (Gains{256, 128, 128, 512}));
    EXPECT_EQ(Mode(), kManual);
    // The next image is not measured.
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {100, 50, 50, 10}), (Bytes{200, 50, 50, 40}));
    EXPECT_EQ(ReadGains(), (Gains{256, 128, 128, 512}));
}

// A one-shot balance that ends with all gains at 1 is done as well.
TEST_F(CGoldenWhiteBalance, OneShotOnAGrayImage) {
    Set(kOnce, {300, 128, 128, 1});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {90, 90, 90, 90}), (Bytes{90, 90, 90, 90}));
    EXPECT_EQ(ReadGains(), (Gains{128, 128, 128, 128}));
    EXPECT_EQ(Mode(), kManual);
}

// A refused one-shot balance stays pending, with gains and image as they were.
TEST_F(CGoldenWhiteBalance, OneShotStaysPendingWhenRefused) {
    for (const std::uint8_t mode : {kAuto, kOnce}) {
        for (const unsigned short colorArray : {std::uint16_t{0}, std::uint16_t{6}, std::uint16_t{0x103}}) {
            Set(mode, {300, 200, 100, 50});
            EXPECT_EQ(Run<std::uint8_t>(2, 2, {50, 100, 100, 25}, colorArray, 8, kInvalid), (Bytes{50, 100, 100, 25}));
            EXPECT_EQ(Run<std::uint16_t>(2, 2, {5, 6, 7, 8}, colorArray, 12, kInvalid), (Words{5, 6, 7, 8}));
            EXPECT_EQ(Mode(), mode);
            EXPECT_EQ(ReadGains(), (Gains{300, 200, 100, 50}));
        }
    }
}

// The automatic modes judge the colour array even with gains that are all 1.
TEST_F(CGoldenWhiteBalance, AutomaticRefusesBeforeAllOne) {
    Set(kOnce, {128, 128, 128, 128});
    Run<std::uint8_t>(2, 2, {50, 100, 100, 25}, 0, 8, kInvalid);
    EXPECT_EQ(Mode(), kOnce);
    EXPECT_EQ(ReadGains(), (Gains{128, 128, 128, 128}));
}

// The target is the mean of both greens' means, (100 + 50) / 2 = 75; green gains do not count and stay.
TEST_F(CGoldenWhiteBalance, BothGreensMakeTheTarget) {
    Set(kAuto, {1, 300, 2, 1});
    EXPECT_EQ(Run<std::uint8_t>(2, 2, {75, 100, 50, 150}), (Bytes{75, 234, 0, 75})); // 100 x 300 / 128 = 234.4
    EXPECT_EQ(ReadGains(), (Gains{128, 300, 2, 64}));
}

// Each Bayer layout finds its own red and blue: 50 and 25 against 100.
TEST_F(CGoldenWhiteBalance, AutomaticInEveryLayout) {
    const std::pair<unsigned short, Bytes> layouts[] = {{1, {50, 100, 100, 25}},
                                                        {2, {50, 100, 100, 25}},
                                                        {3, {100, 50, 25, 100}},
                                                        {4, {100, 25, 50, 100}},
                                                        {5, {25, 100, 100, 50}}};
    for (const auto& [colorArray, image] : layouts) {
        Set(kAuto, {1, 128, 128, 1});
        EXPECT_EQ(Run(2, 2, image, colorArray), (Bytes{100, 100, 100, 100}));
        EXPECT_EQ(ReadGains(), (Gains{256, 128, 128, 512}));
    }
}

// 128 x 100 / 30 = 426.7, cut to 426; 30 x 426 / 128 = 99.8 is short of 100, so the gain goes up by 1.
// 128 x 100 / 150 = 85.3, cut to 85; 150 x 85 / 128 = 99.6, so 86.
TEST_F(CGoldenWhiteBalance, TruncatedEstimateIsRaised) {
    EXPECT_EQ(Automatic({30, 30}, 100, {150, 150}), (Gains{427, 128, 128, 86}));
}

// Reds 100 and 200, greens 200: 128 x 200 / 150 = 170. From 32640 / gain on the product saturates: at 186 the mean is
// 186 x (100 + 175) / 2 / 128 = 199.8, at 187 it is 187 x (100 + 174) / 2 / 128 = 200.1.
TEST_F(CGoldenWhiteBalance, RefinementMakesUpForSaturation) {
    EXPECT_EQ(Automatic({100, 200}, 200, {200, 200}), (Gains{187, 128, 128, 128}));
}

// Blues 10 and 200 cannot come up to 200 while 200 saturates: the gain stops at 640.
TEST_F(CGoldenWhiteBalance, RefinementStopsAt640) {
    EXPECT_EQ(Automatic({200, 200}, 200, {10, 200}), (Gains{128, 128, 128, 640}));
}

// 128 x 100 / 10 = 1280 is above 639 and stays, although 20 and 0 would saturate with it.
TEST_F(CGoldenWhiteBalance, EstimateAbove639Stays) {
    EXPECT_EQ(Automatic({10, 10}, 100, {0, 20}), (Gains{1280, 128, 128, 1280}));
}

// 128 x 100 / 20 = 640 is not refined; 128 x 202 / 40.5 = 638.4 gives 638, whose mean 201.9 is raised to 202.1.
TEST_F(CGoldenWhiteBalance, EstimateAround639) {
    EXPECT_EQ(Automatic({20, 20}, 100, {20, 20}), (Gains{640, 128, 128, 640}));
    EXPECT_EQ(Automatic({40, 41}, 202, {40, 41}), (Gains{639, 128, 128, 639}));
}

// Means below 1 / 2 with green 255: 128 x 255 / 0.25 = 130560 does not fit.
TEST_F(CGoldenWhiteBalance, EstimateIsHeldAt65535) {
    Set(kAuto, {1, 128, 128, 1});
    // Reds 1, 0, 0, 0; blues 0, 0, 1, 1 with 128 x 255 / 0.5 = 65280.
    Run<std::uint8_t>(8, 2, {1, 255, 0, 255, 0, 255, 0, 255, 255, 0, 255, 0, 255, 1, 255, 1});
    EXPECT_EQ(ReadGains(), (Gains{65535, 128, 128, 65280}));
}

// A colour that is black throughout gets exactly 1, which is not refined, however bright the greens are.
TEST_F(CGoldenWhiteBalance, BlackPhaseGetsOne) {
    EXPECT_EQ(Automatic({0, 0}, 255, {0, 0}), (Gains{128, 128, 128, 128}));
}

// One pixel of 1 is not black: its mean equals 1 / count.
TEST_F(CGoldenWhiteBalance, SmallestMeanThatCounts) {
    EXPECT_EQ(Automatic({0, 1}, 1, {1, 0}), (Gains{256, 128, 128, 256}));
}

// Black greens: the target is 0 and so are the gains, which any mean satisfies.
TEST_F(CGoldenWhiteBalance, BlackGreensGiveGainsOfZero) {
    EXPECT_EQ(Automatic({50, 60}, 0, {1, 255}), (Gains{0, 128, 128, 0}));
}

// A phase without pixels gets 1; without greens there is no target.
TEST_F(CGoldenWhiteBalance, MissingPhases) {
    Set(kAuto, {1, 128, 128, 1});
    EXPECT_EQ(Run<std::uint8_t>(1, 1, {50}), (Bytes{0}));
    EXPECT_EQ(ReadGains(), (Gains{0, 128, 128, 128}));
    Set(kAuto, {1, 128, 128, 1});
    EXPECT_EQ(Run<std::uint8_t>(2, 1, {50, 200}), (Bytes{100, 200})); // target (200 + 0) / 2
    EXPECT_EQ(ReadGains(), (Gains{256, 128, 128, 128}));
}

TEST_F(CGoldenWhiteBalance, NoPixelsGiveOne) {
    Set(kOnce, {300, 77, 88, 1});
    EXPECT_EQ(mModule->WBProcB(0, 0, 0, kRGGB, nullptr, 8), kOk);
    EXPECT_EQ(ReadGains(), (Gains{128, 77, 88, 128}));
    EXPECT_EQ(Mode(), kManual);
}

// Black and saturated pixels take part in the means; bytes behind the rows do not.
TEST_F(CGoldenWhiteBalance, EveryPixelCounts) {
    // Greens 255 and 0 make the target 127.5. Reds 0 and 255 have that mean, blues 255 twice as much.
    Set(kAuto, {1, 128, 128, 1});
    Bytes image{0, 255, 255, 255, 99, 99, 0, 255, 0, 255};
    EXPECT_EQ(mModule->WBProcB(4, 2, 6, kRGGB, image.data(), 8), kOk);
    EXPECT_EQ(ReadGains(), (Gains{128, 128, 128, 64}));
    EXPECT_EQ(image, (Bytes{0, 255, 255, 255, 99, 99, 0, 127, 0, 127}));
}

// The gains of 12-bit images are measured on the samples themselves, not on what the tables make of them.
TEST_F(CGoldenWhiteBalance, AutomaticGainsOfWords) {
    Set(kOnce, {1, 128, 128, 1});
    Run<std::uint16_t>(2, 2, {1000, 2000, 2000, 500}, kRGGB, 12);
    EXPECT_EQ(ReadGains(), (Gains{256, 128, 128, 512}));
    // At 10 bits 500 x 2 does not saturate, 128 x 1000 / 300 = 426.7 is raised to 427.
    Set(kOnce, {1, 128, 128, 1});
    Run<std::uint16_t>(2, 2, {500, 1000, 1000, 300}, kRGGB, 10);
    EXPECT_EQ(ReadGains(), (Gains{256, 128, 128, 427}));
}

// Words above 12 bits enter the mean as they are, (1000 + 5000) / 2, and the saturated mean as 4095: 372 is the first
// gain for which (1000 + 4095 x 128 / 372) / 2 x 372 / 128 reaches the greens' 3500.
TEST_F(CGoldenWhiteBalance, AutomaticGainsOfWordsAboveTwelveBits) {
    Set(kAuto, {1, 128, 128, 1});
    Run<std::uint16_t>(4, 2, {1000, 3500, 5000, 3500, 3500, 3500, 3500, 3500}, kRGGB, 12);
    EXPECT_EQ(ReadGains(), (Gains{372, 128, 128, 128}));
}

// Reading the gains into nothing is no error.
TEST_F(CGoldenWhiteBalance, NullGainsAreIgnoredOnReading) {
    Set(kOnce, {1, 2, 3, 4});
    EXPECT_EQ(mModule->GetWBGain(nullptr), kOk);
    EXPECT_EQ(ReadGains(), (Gains{1, 2, 3, 4}));
}

} // namespace vek::test
