// SPDX-License-Identifier: Apache-2.0
// Shading correction by hand. Gains are in 128ths; targets stand in the order of the top-left 2 x 2 pixels.
#include "common/Status.h"
#include "imageproc/ShadingCorrection/ShadingCalls.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kOff = 0;
constexpr unsigned long kCalibrateGain = 1;
constexpr unsigned long kGain = 2;
constexpr unsigned long kCalibrateOffset = 3;
constexpr unsigned long kOffset = 4;
constexpr unsigned long kShowMap = 255;

using Samples = std::vector<int>;
using Entries = std::vector<int>;

class CGoldenShading : public ::testing::Test {
protected:
    CGoldenShading() : mModule(makeShading()) {}

    /// Runs one frame without padding; pitch 0 is derived.
    template <class T>
    Samples Frame(unsigned long mode, unsigned long width, const Samples& image, unsigned short bits,
                  unsigned long pitch) {
        const unsigned long height = image.size() / width;
        const unsigned long row = pitch == 0 ? width : pitch / sizeof(T);
        std::vector<T> frame(row * height, T{99});
        for (std::size_t i = 0; i < image.size(); ++i) {
            frame[i / width * row + i % width] = static_cast<T>(image[i]);
        }
        // Modes 1 and 3 start anew when they are set, so a mode is set only where it changes.
        unsigned long now = 0;
        EXPECT_EQ(mModule->GetMode(&now), kOk);
        if (now != mode) {
            EXPECT_EQ(mModule->SetMode(mode), kOk);
        }
        EXPECT_EQ(callShading(*mModule, {width, height, pitch, bits}, frame.data()), kOk);
        Samples result;
        for (std::size_t i = 0; i < frame.size(); ++i) {
            if (i % row < width) {
                result.push_back(frame[i]);
            } else {
                EXPECT_EQ(int{frame[i]}, 99);
            }
        }
        return result;
    }
    Samples Bytes(unsigned long mode, unsigned long width, const Samples& image, unsigned short bits = 8,
                  unsigned long pitch = 0) {
        return Frame<std::uint8_t>(mode, width, image, bits, pitch);
    }
    Samples Words(unsigned long mode, unsigned long width, const Samples& image, unsigned short bits,
                  unsigned long pitch = 0) {
        return Frame<std::uint16_t>(mode, width, image, bits, pitch);
    }
    /// A new calibration of one frame; the frame is not changed.
    void Calibrate(unsigned long width, const Samples& image, unsigned long mode = kCalibrateGain) {
        EXPECT_EQ(mModule->SetMode(mode), kOk);
        EXPECT_EQ(Words(mode, width, image, 16), image);
    }
    /// Another frame of the same calibration, whose pitch of four bytes a pixel keeps the mean.
    void Add(unsigned long width, const Samples& image) {
        unsigned long mode = 0;
        EXPECT_EQ(mModule->GetMode(&mode), kOk);
        EXPECT_EQ(Words(mode, width, image, 16, 4 * width), image);
    }
    void SetTargets(const std::vector<std::uint16_t>& targets) {
        EXPECT_EQ(mModule->SetTargetEachColor(targets.data()), kOk);
    }
    std::vector<std::uint16_t> Targets() {
        std::vector<std::uint16_t> targets(4, 9);
        EXPECT_EQ(mModule->GetTargetEachColor(targets.data()), kOk);
        return targets;
    }
    void SetMap(unsigned long width, const Entries& entries) {
        EXPECT_EQ(mModule->SetMap(width, entries.size() / width, 4 * width, entries.data()), kOk);
    }
    Entries Map() {
        unsigned long width = 9;
        unsigned long height = 9;
        unsigned long pitch = 9;
        EXPECT_EQ(mModule->GetMap(&width, &height, &pitch, nullptr), kOk);
        Entries entries(pitch * height / 4);
        EXPECT_EQ(mModule->GetMap(nullptr, nullptr, nullptr, entries.data()), kOk);
        return entries;
    }
    /// The map that a correcting mode makes of the calibration; the frame is the calibration's size.
    Entries Rebuild(unsigned long mode, unsigned long width, unsigned long height, unsigned short bits = 8) {
        EXPECT_EQ(mModule->SetMode(mode), kOk);
        std::vector<std::uint16_t> frame(width * height);
        EXPECT_EQ(mModule->ProcessW(width, height, 0, frame.data(), bits), kOk);
        return Map();
    }
    /// What one sample becomes with a map of one entry.
    int One(unsigned long mode, int sample, int entry, unsigned short bits = 8) {
        SetMap(1, {entry});
        const int word = Words(mode, 1, {sample}, bits)[0];
        if (bits <= 8 && sample <= 255) {
            EXPECT_EQ(Bytes(mode, 1, {sample}, bits)[0], word);
        }
        return word;
    }

    ShadingPtr mModule;
};

} // namespace

TEST_F(CGoldenShading, Defaults) {
    unsigned long mode = 9;
    EXPECT_EQ(mModule->GetMode(&mode), kOk);
    EXPECT_EQ(mode, kOff);
    EXPECT_EQ(Targets(), (std::vector<std::uint16_t>{0, 0, 0, 0}));
    std::uint16_t colorArray = 9;
    EXPECT_EQ(mModule->GetColorArray(&colorArray), kOk);
    EXPECT_EQ(colorArray, kMono);
    EXPECT_EQ(Map(), Entries{});
}

// 1 + 2 + 3 + 4 = 10, a quarter is 2.5; four of 65535 do not wrap.
TEST_F(CGoldenShading, TargetOfAll) {
    std::uint16_t target = 9;
    SetTargets({1, 2, 3, 4});
    EXPECT_EQ(mModule->GetTargetAll(&target), kOk);
    EXPECT_EQ(target, 2);
    SetTargets({65535, 65535, 65535, 65535});
    EXPECT_EQ(mModule->GetTargetAll(&target), kOk);
    EXPECT_EQ(target, 65535);
    SetTargets({65535, 65535, 0, 0});
    EXPECT_EQ(mModule->GetTargetAll(&target), kOk);
    EXPECT_EQ(target, 32767);
    EXPECT_EQ(mModule->SetTargetAll(7), kOk);
    EXPECT_EQ(Targets(), (std::vector<std::uint16_t>{7, 7, 7, 7}));
}

// A flat frame has gains of 1 and stays as it is.
TEST_F(CGoldenShading, FlatFrame) {
    for (const unsigned short colorArray : {kMono, kRGGB}) {
        EXPECT_EQ(mModule->SetColorArray(colorArray), kOk);
        EXPECT_EQ(mModule->SetMode(kCalibrateGain), kOk);
        Bytes(kCalibrateGain, 3, Samples(9, 100));
        EXPECT_EQ(Bytes(kGain, 3, Samples(9, 100)), Samples(9, 100));
        EXPECT_EQ(Map(), Entries(9, 128));
    }
}

// 100 x 128 / 50 = 256 and so on: 8 becomes 16 where the light was half, 4 where it was double.
TEST_F(CGoldenShading, GainMap) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    Calibrate(4, {50, 100, 200, 60});
    EXPECT_EQ(Rebuild(kGain, 4, 1), (Entries{256, 128, 64, 213})); // 213.3
    EXPECT_EQ(Bytes(kGain, 4, {8, 8, 8, 8}), (Samples{16, 8, 4, 13}));
}

// 100 / 16 = 6: levels of 0, 5 and 6 have the largest gain, 7 has 12800 / 7 = 1828.57.
TEST_F(CGoldenShading, GainLimit) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    Calibrate(4, {0, 5, 6, 7});
    EXPECT_EQ(Rebuild(kGain, 4, 1), (Entries{2048, 2048, 2048, 1828}));
}

// Levels are compared with the target's 16th without its fraction, 6 for 111: a mean of 6.5 is above it and has
// 14208 / 6.5 = 2185.8, more than the largest gain otherwise.
TEST_F(CGoldenShading, FractionalMeansPassTheLimit) {
    EXPECT_EQ(mModule->SetTargetAll(111), kOk);
    EXPECT_EQ(mModule->SetMode(kCalibrateGain), kOk);
    Add(2, {6, 6});
    Add(2, {7, 6});
    EXPECT_EQ(Rebuild(kGain, 2, 1), (Entries{2185, 2048}));
}

// Targets below 16 have a 16th of 0: every level above 0 has its own gain, 10 x 128 / 0.5 = 2560.
TEST_F(CGoldenShading, SmallTargetsHaveNoLimit) {
    EXPECT_EQ(mModule->SetTargetAll(10), kOk);
    EXPECT_EQ(mModule->SetMode(kCalibrateGain), kOk);
    Add(2, {1, 0});
    Add(2, {0, 0});
    EXPECT_EQ(Rebuild(kGain, 2, 1), (Entries{2560, 2048}));
}

// A black scene measures a target of 0: lit pixels have a gain of 0, black ones the largest.
TEST_F(CGoldenShading, BlackTarget) {
    Calibrate(4, {9, 0, 0, 1}); // the middle is column 1
    EXPECT_EQ(Rebuild(kGain, 4, 1), (Entries{0, 2048, 2048, 0}));
}

// 10 x 6: a side of 6 / 4 = 1, at row 2, column 4.
TEST_F(CGoldenShading, MeasuringSquareOfTenBySix) {
    Samples image(60, 50);
    image[24] = 200;
    Calibrate(10, image, kCalibrateOffset);
    const Entries map = Rebuild(kOffset, 10, 6);
    EXPECT_EQ(map[0], 150);
    EXPECT_EQ(map[24], 0);
}

// A side of 3 is not quartered, one of 4 is: all of 3 x 3, and row 1, column 1 of 4 x 4.
TEST_F(CGoldenShading, MeasuringSquareOfSmallFrames) {
    Calibrate(3, {10, 20, 30, 40, 50, 60, 70, 80, 90}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 3, 3)[0], 40); // 50 - 10
    Samples image(16, 0);
    image[5] = 200;
    Calibrate(4, image, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 4, 4)[0], 200);
}

// 5 x 2: a side of 2, at row 0, column (5 - 2) / 2 = 1.
TEST_F(CGoldenShading, MeasuringSquareOfOddRemainders) {
    Calibrate(5, {0, 10, 20, 0, 0, 0, 30, 40, 0, 0}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 5, 2)[0], 25);
}

// 8 x 8: a side of 2, at row and column 3: its four pixels are one of each phase.
TEST_F(CGoldenShading, ColorIsMeasuredByPhase) {
    EXPECT_EQ(mModule->SetColorArray(kRGGB), kOk);
    Samples image(64, 0);
    image[3 * 8 + 3] = 40;
    image[3 * 8 + 4] = 30;
    image[4 * 8 + 3] = 20;
    image[4 * 8 + 4] = 10;
    Calibrate(8, image, kCalibrateOffset);
    const Entries map = Rebuild(kOffset, 8, 8);
    EXPECT_EQ(map[0], 10);
    EXPECT_EQ(map[1], 20);
    EXPECT_EQ(map[8], 30);
    EXPECT_EQ(map[9], 40);
}

// Every code but 1 is colour.
TEST_F(CGoldenShading, EveryOtherColorArrayIsColor) {
    for (const unsigned short colorArray :
         {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{5}, std::uint16_t{6}, std::uint16_t{0x101}}) {
        EXPECT_EQ(mModule->SetColorArray(colorArray), kOk);
        Calibrate(2, {10, 20, 30, 40}, kCalibrateOffset);
        EXPECT_EQ(Rebuild(kOffset, 2, 2), colorArray == 1 ? (Entries{15, 5, -5, -15}) : Entries(4, 0)) << colorArray;
    }
}

// A phase without a pixel in the square is 128, at most full scale.
TEST_F(CGoldenShading, PhasesWithoutPixels) {
    EXPECT_EQ(mModule->SetColorArray(kRGGB), kOk);
    Calibrate(2, {10, 20}, kCalibrateOffset); // a side of 1 at column 0
    EXPECT_EQ(Rebuild(kOffset, 2, 1), (Entries{0, 108}));
    Calibrate(2, {10, 20}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 2, 1, 6), (Entries{0, 43})); // 63 - 20
}

// Colour measures the phases that are 0 and keeps the others.
TEST_F(CGoldenShading, ColorKeepsSetTargets) {
    EXPECT_EQ(mModule->SetColorArray(kRGGB), kOk);
    SetTargets({0, 100, 0, 200});
    Calibrate(2, {10, 20, 30, 40}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 2, 2), (Entries{0, 80, 0, 160}));
}

// Mono measures all of them as soon as one is 0.
TEST_F(CGoldenShading, MonoReplacesSetTargets) {
    SetTargets({200, 200, 0, 200});
    Calibrate(2, {10, 20, 30, 40}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 2, 2), (Entries{15, 5, -5, -15}));
}

// Mono with four targets that are set uses each for its phase.
TEST_F(CGoldenShading, MonoUsesFourSetTargets) {
    SetTargets({1, 2, 3, 4});
    Calibrate(2, {10, 20, 30, 40}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 2, 2), (Entries{-9, -18, -27, -36}));
}

// Measured targets end at full scale of the corrected frame's depth: 4095 x 128 / 5000 = 104.8.
TEST_F(CGoldenShading, MeasuredTargetsAreLimited) {
    Calibrate(1, {5000});
    EXPECT_EQ(Rebuild(kGain, 1, 1, 12), (Entries{104}));
    Calibrate(1, {5000});
    EXPECT_EQ(Rebuild(kGain, 1, 1, 16), (Entries{128}));
}

// Set ones do not: 60000 x 128 / 5000 = 1536.
TEST_F(CGoldenShading, SetTargetsAreNotLimited) {
    EXPECT_EQ(mModule->SetTargetAll(60000), kOk);
    Calibrate(1, {5000});
    EXPECT_EQ(Rebuild(kGain, 1, 1, 8), (Entries{1536}));
}

// Measured targets lose their fraction: (10 + 11) / 2 = 10.5 is 10.
TEST_F(CGoldenShading, MeasuredTargetsAreCut) {
    Calibrate(2, {10, 11, 10, 11}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 2, 2), (Entries{0, -1, 0, -1}));
}

// Targets that are 0 stay 0 and are measured for each rebuild.
TEST_F(CGoldenShading, MeasuredTargetsAreNotKept) {
    Calibrate(1, {50}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 1, 1), (Entries{0}));
    EXPECT_EQ(Targets(), (std::vector<std::uint16_t>{0, 0, 0, 0}));
    Calibrate(1, {90}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kOffset, 1, 1), (Entries{0}));
}

// Offsets take the level without its fraction: 100 - 10 for a mean of 10.5.
TEST_F(CGoldenShading, OffsetsCutTheLevel) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    EXPECT_EQ(mModule->SetMode(kCalibrateOffset), kOk);
    Add(2, {10, 0});
    Add(2, {11, 3});
    EXPECT_EQ(Rebuild(kOffset, 2, 1), (Entries{90, 99}));
}

// Either calibration serves either correction.
TEST_F(CGoldenShading, CalibrationsAreTheSame) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    Calibrate(1, {50}, kCalibrateOffset);
    EXPECT_EQ(Rebuild(kGain, 1, 1), (Entries{256}));
    Calibrate(1, {50}, kCalibrateGain);
    EXPECT_EQ(Rebuild(kOffset, 1, 1), (Entries{50}));
}

// The mean of 10, 20 and 60 is 30 with rows of four bytes a pixel.
TEST_F(CGoldenShading, MeanOfThreeFrames) {
    EXPECT_EQ(mModule->SetTargetAll(200), kOk);
    EXPECT_EQ(mModule->SetMode(kCalibrateOffset), kOk);
    for (const int level : {10, 20, 60}) {
        Add(3, Samples(6, level));
    }
    EXPECT_EQ(Rebuild(kOffset, 3, 2), Entries(6, 170));
    EXPECT_EQ(mModule->SetMode(kCalibrateOffset), kOk);
    for (const int level : {10, 20, 60}) {
        Bytes(kCalibrateOffset, 3, Samples(6, level), 8, 12);
    }
    EXPECT_EQ(Rebuild(kOffset, 3, 2), Entries(6, 170));
}

// Any other pitch starts anew with each frame: the last one remains.
TEST_F(CGoldenShading, OtherPitchesKeepTheLastFrame) {
    EXPECT_EQ(mModule->SetTargetAll(200), kOk);
    for (const unsigned long pitch : {0UL, 3UL, 6UL, 11UL, 13UL, 16UL}) {
        EXPECT_EQ(mModule->SetMode(kCalibrateOffset), kOk);
        for (const int level : {10, 20, 60}) {
            Bytes(kCalibrateOffset, 3, Samples(6, level), 8, pitch);
        }
        EXPECT_EQ(Rebuild(kOffset, 3, 2), Entries(6, 140)) << pitch;
    }
    for (const unsigned long pitch : {0UL, 6UL, 10UL, 14UL}) {
        EXPECT_EQ(mModule->SetMode(kCalibrateOffset), kOk);
        for (const int level : {10, 20, 60}) {
            Words(kCalibrateOffset, 3, Samples(6, level), 12, pitch);
        }
        EXPECT_EQ(Rebuild(kOffset, 3, 2), Entries(6, 140)) << pitch;
    }
}

// A first frame of any pitch begins a mean that frames of four bytes a pixel go on with.
TEST_F(CGoldenShading, MeanBeginsWithAnyPitch) {
    EXPECT_EQ(mModule->SetTargetAll(200), kOk);
    EXPECT_EQ(mModule->SetMode(kCalibrateOffset), kOk);
    Bytes(kCalibrateOffset, 3, Samples(6, 10));
    Add(3, Samples(6, 20));
    EXPECT_EQ(Rebuild(kOffset, 3, 2), Entries(6, 185));
}

TEST_F(CGoldenShading, AnotherSizeStartsAnew) {
    EXPECT_EQ(mModule->SetTargetAll(200), kOk);
    EXPECT_EQ(mModule->SetMode(kCalibrateOffset), kOk);
    Add(3, Samples(6, 10));
    Add(2, Samples(6, 20));
    Add(2, Samples(4, 40));
    EXPECT_EQ(Rebuild(kOffset, 2, 2), Entries(4, 160));
}

// Setting a calibrating mode, even the same one, starts anew; a detour over modes that do nothing does not.
TEST_F(CGoldenShading, WhatStartsACalibration) {
    EXPECT_EQ(mModule->SetTargetAll(200), kOk);
    for (const unsigned long mode : {kCalibrateGain, kCalibrateOffset}) {
        EXPECT_EQ(mModule->SetMode(kCalibrateGain), kOk);
        Add(2, {10, 10});
        EXPECT_EQ(mModule->SetMode(mode), kOk);
        Add(2, {20, 20});
        EXPECT_EQ(Rebuild(kOffset, 2, 1), (Entries{180, 180}));
    }
    for (const unsigned long mode : {kOff, 5UL, 0x100000001UL, 0x100000003UL}) {
        EXPECT_EQ(mModule->SetMode(kCalibrateGain), kOk);
        Add(2, {10, 10});
        EXPECT_EQ(mModule->SetMode(mode), kOk);
        EXPECT_EQ(Rebuild(kOffset, 2, 1), (Entries{190, 190})) << mode;
    }
}

// A rebuild ends the calibration: the next frame of it would start anew.
TEST_F(CGoldenShading, RebuildHappensOnce) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    Calibrate(1, {50});
    EXPECT_EQ(Rebuild(kGain, 1, 1), (Entries{256}));
    // The targets have changed, but nothing waits to be rebuilt; the offset mode takes the gains for offsets.
    EXPECT_EQ(mModule->SetTargetAll(10), kOk);
    EXPECT_EQ(Rebuild(kGain, 1, 1), (Entries{256}));
    EXPECT_EQ(Rebuild(kOffset, 1, 1), (Entries{256}));
    EXPECT_EQ(Words(kOffset, 1, {5}, 12), (Samples{261}));
}

// The rebuild happens even when the frame is of another size and passes.
TEST_F(CGoldenShading, RebuildByAFrameOfAnotherSize) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    Calibrate(2, {50, 25});
    EXPECT_EQ(Bytes(kGain, 3, {1, 2, 3}), (Samples{1, 2, 3}));
    EXPECT_EQ(Map(), (Entries{256, 512}));
}

// A map that no correction has filled is 0; showing it uses the calibration up.
TEST_F(CGoldenShading, ShowMapDoesNotBuildIt) {
    Calibrate(2, {50, 60});
    EXPECT_EQ(Map(), (Entries{0, 0}));
    EXPECT_EQ(Bytes(kShowMap, 2, {7, 8}), (Samples{0, 0}));
    EXPECT_EQ(Bytes(kGain, 2, {7, 8}), (Samples{0, 0}));
}

// A map belongs to the mode that made it: gains of 1 and 2, added as offsets, and back.
TEST_F(CGoldenShading, MapStaysWhenTheModeChanges) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    Calibrate(2, {100, 50});
    EXPECT_EQ(Bytes(kGain, 2, {7, 8}), (Samples{7, 16}));
    EXPECT_EQ(Bytes(kOffset, 2, {7, 8}), (Samples{7 + 128, 255}));
    EXPECT_EQ(Bytes(kGain, 2, {7, 8}), (Samples{7, 16}));
}

// A calibration begins with an empty map, whatever was set before.
TEST_F(CGoldenShading, CalibrationDropsTheMap) {
    SetMap(2, {5, 6});
    Calibrate(2, {50, 60});
    EXPECT_EQ(Map(), (Entries{0, 0}));
}

TEST_F(CGoldenShading, ModesThatDoNothing) {
    SetMap(2, {0, 0});
    for (const unsigned long mode :
         {kOff, 5UL, 254UL, 256UL, 0x1FFUL, 0x100000001UL, 0x100000002UL, 0x1000000FFUL, ~0UL}) {
        EXPECT_EQ(Bytes(mode, 2, {7, 8}), (Samples{7, 8})) << mode;
        EXPECT_EQ(Words(mode, 2, {7, 8}, 12), (Samples{7, 8})) << mode;
    }
    EXPECT_EQ(Map(), (Entries{0, 0}));
}

// Without a map, or with one of another size, frames pass.
TEST_F(CGoldenShading, FramesOfAnotherSizePass) {
    for (const unsigned long mode : {kGain, kOffset, kShowMap}) {
        EXPECT_EQ(mModule->SetMap(0, 0, 0, Entries(1).data()), kOk);
        EXPECT_EQ(Bytes(mode, 2, {7, 8}), (Samples{7, 8}));
        SetMap(2, {0, 0});
        EXPECT_EQ(Bytes(mode, 3, {7, 8, 9}), (Samples{7, 8, 9}));
        EXPECT_EQ(Bytes(mode, 1, {7}), (Samples{7}));
        EXPECT_EQ(Bytes(mode, 2, {7, 8, 9, 10}), (Samples{7, 8, 9, 10}));
        EXPECT_EQ(Bytes(mode, 1, {7, 8}), (Samples{7, 8})); // as many pixels, the other way round
    }
}

// 255 x 2 is limited to 255, 127 x 2 is 254, 128 x 2 is 255.
TEST_F(CGoldenShading, GainIsLimitedToFullScale) {
    EXPECT_EQ(One(kGain, 255, 256), 255);
    EXPECT_EQ(One(kGain, 127, 256), 254);
    EXPECT_EQ(One(kGain, 128, 256), 255);
    EXPECT_EQ(One(kGain, 4095, 256, 12), 4095);
    EXPECT_EQ(One(kGain, 2047, 256, 12), 4094);
}

// 3 x 200 / 128 = 4.69, 1 x 127 / 128 = 0.99.
TEST_F(CGoldenShading, GainIsCut) {
    EXPECT_EQ(One(kGain, 3, 200), 4);
    EXPECT_EQ(One(kGain, 1, 127), 0);
    EXPECT_EQ(One(kGain, 255, 128), 255);
    EXPECT_EQ(One(kGain, 255, 0), 0);
}

// A gain of 1 limits samples beyond the depth as well.
TEST_F(CGoldenShading, SamplesBeyondTheDepthAreLimited) {
    EXPECT_EQ(One(kGain, 5000, 128, 12), 4095);
    EXPECT_EQ(One(kOffset, 5000, 0, 12), 4095);
    EXPECT_EQ(One(kOffset, 5000, -905, 12), 4095);
    EXPECT_EQ(One(kOffset, 5000, -906, 12), 4094);
    EXPECT_EQ(One(kGain, 200, 128, 7), 127);
}

// Negative gains count as unsigned numbers: far beyond full scale, and 0 for a black sample.
TEST_F(CGoldenShading, NegativeGainsAreUnsigned) {
    EXPECT_EQ(One(kGain, 1, -128), 255);
    EXPECT_EQ(One(kGain, 1, -1), 255);
    EXPECT_EQ(One(kGain, 0, -1), 0);
    EXPECT_EQ(One(kGain, 2, INT_MIN), 0); // 2^32 has no bit left
    EXPECT_EQ(One(kGain, 1, INT_MIN, 16), 65535);
}

// Products wrap at 32 bits: 256 x 2^24 is 0, 257 x 2^24 / 128 is 2^17.
TEST_F(CGoldenShading, GainWraps) {
    EXPECT_EQ(One(kGain, 256, 1 << 24, 16), 0);
    EXPECT_EQ(One(kGain, 257, 1 << 24, 16), 65535);
    EXPECT_EQ(One(kGain, 65535, 65537, 16), 65535); // 65535 x 65537 = 2^32 - 1
    EXPECT_EQ(One(kGain, 65535, 65538, 16), 511);   // 65534 / 128
}

TEST_F(CGoldenShading, OffsetEndsAtZeroAndFullScale) {
    EXPECT_EQ(One(kOffset, 10, -20), 0);
    EXPECT_EQ(One(kOffset, 10, -10), 0);
    EXPECT_EQ(One(kOffset, 10, -9), 1);
    EXPECT_EQ(One(kOffset, 10, 244), 254);
    EXPECT_EQ(One(kOffset, 10, 245), 255);
    EXPECT_EQ(One(kOffset, 10, 246), 255);
    EXPECT_EQ(One(kOffset, 10, 100000), 255);
    EXPECT_EQ(One(kOffset, 10, INT_MIN), 0);
    EXPECT_EQ(One(kOffset, 0, INT_MAX), 255);
}

// Shown entries end at full scale, and negative ones are full scale.
TEST_F(CGoldenShading, ShownMap) {
    EXPECT_EQ(One(kShowMap, 10, 0), 0);
    EXPECT_EQ(One(kShowMap, 10, 128), 128);
    EXPECT_EQ(One(kShowMap, 10, 254), 254);
    EXPECT_EQ(One(kShowMap, 10, 255), 255);
    EXPECT_EQ(One(kShowMap, 10, 2048), 255);
    EXPECT_EQ(One(kShowMap, 10, 2048, 12), 2048);
    EXPECT_EQ(One(kShowMap, 10, -1), 255);
    EXPECT_EQ(One(kShowMap, 10, -20, 12), 4095);
    EXPECT_EQ(One(kShowMap, 10, INT_MIN, 16), 65535);
}

// At 0 bits full scale is 0.
TEST_F(CGoldenShading, ZeroBits) {
    EXPECT_EQ(One(kGain, 200, 128, 0), 0);
    EXPECT_EQ(One(kOffset, 200, 5, 0), 0);
    EXPECT_EQ(One(kShowMap, 200, 5, 0), 0);
}

// A map comes back as it was given, padding included.
TEST_F(CGoldenShading, PaddedMap) {
    const Entries entries{1, 2, 77, 3, 4, 78};
    EXPECT_EQ(mModule->SetMap(2, 2, 12, entries.data()), kOk);
    EXPECT_EQ(Map(), entries);
    EXPECT_EQ(Bytes(kShowMap, 2, {9, 9, 9, 9}), (Samples{1, 2, 3, 4}));
}

// A map of the size of the one before replaces its entries.
TEST_F(CGoldenShading, MapOfTheSameSize) {
    SetMap(2, {1, 2});
    SetMap(2, {3, 4});
    EXPECT_EQ(Map(), (Entries{3, 4}));
    SetMap(1, {5, 6});
    EXPECT_EQ(Map(), (Entries{5, 6}));
    EXPECT_EQ(Bytes(kShowMap, 1, {9, 9}), (Samples{5, 6}));
}

// A map that is set while a calibration waits is overwritten by the rebuild.
TEST_F(CGoldenShading, RebuildOverwritesASetMap) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    Calibrate(2, {50, 25});
    SetMap(2, {5, 6});
    EXPECT_EQ(Map(), (Entries{5, 6}));
    EXPECT_EQ(Rebuild(kGain, 2, 1), (Entries{256, 512}));
}

// Its rows stay where they are; their padding is not touched.
TEST_F(CGoldenShading, RebuildIntoAPaddedMap) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    Calibrate(2, {50, 25, 100, 10});
    EXPECT_EQ(mModule->SetMap(2, 2, 12, Entries{1, 2, 77, 3, 4, 78}.data()), kOk);
    EXPECT_EQ(Rebuild(kGain, 2, 2), (Entries{256, 512, 77, 128, 1280, 78}));
}

// A map of another size is not: the rebuild leaves it, and is done.
TEST_F(CGoldenShading, RebuildLeavesAMapOfAnotherSize) {
    Calibrate(2, {50, 25});
    SetMap(1, {5, 6});
    EXPECT_EQ(Rebuild(kGain, 1, 2), (Entries{5, 6}));
    SetMap(2, {7, 8});
    EXPECT_EQ(Rebuild(kGain, 2, 1), (Entries{7, 8}));
}

TEST_F(CGoldenShading, RefusedMapsChangeNothing) {
    SetMap(2, {5, 6});
    EXPECT_EQ(mModule->SetMap(2, 1, 7, Entries{1, 2}.data()), kInvalid);
    EXPECT_EQ(mModule->SetMap(2, 1, 0, Entries{1, 2}.data()), kInvalid);
    EXPECT_EQ(mModule->SetMap(2, 1, 8, nullptr), kInvalid);
    EXPECT_EQ(Map(), (Entries{5, 6}));
}

// A map that is too large costs the one before.
TEST_F(CGoldenShading, MapWithoutMemory) {
    SetMap(2, {5, 6});
    EXPECT_EQ(mModule->SetMap(2, 1UL << 62, 8, Entries{1, 2}.data()), kNoMemory);
    EXPECT_EQ(Map(), Entries{});
    EXPECT_EQ(Bytes(kShowMap, 2, {9, 9}), (Samples{9, 9}));
}

// A calibration that is too large is 1.
TEST_F(CGoldenShading, CalibrationWithoutMemory) {
    EXPECT_EQ(mModule->SetMode(kCalibrateGain), kOk);
    std::uint8_t byte = 5;
    EXPECT_EQ(mModule->ProcessB(1UL << 31, 1UL << 30, 0, &byte, 8), 1U);
    EXPECT_EQ(byte, 5);
    EXPECT_EQ(Map(), Entries{});
    EXPECT_EQ(Bytes(kGain, 1, {9}), (Samples{9}));
}

// Correction and calibration leave the padding of frames.
TEST_F(CGoldenShading, PaddedFrames) {
    EXPECT_EQ(mModule->SetTargetAll(100), kOk);
    EXPECT_EQ(mModule->SetMode(kCalibrateGain), kOk);
    EXPECT_EQ(Bytes(kCalibrateGain, 2, {50, 25, 100, 10}, 8, 5), (Samples{50, 25, 100, 10}));
    EXPECT_EQ(Bytes(kGain, 2, {10, 10, 10, 10}, 8, 7), (Samples{20, 40, 10, 100}));
    EXPECT_EQ(Words(kGain, 2, {10, 10, 10, 10}, 12, 10), (Samples{20, 40, 10, 100}));
}

// Samples calibrate with all their bits, whatever the depth.
TEST_F(CGoldenShading, CalibrationIgnoresTheDepth) {
    EXPECT_EQ(mModule->SetTargetAll(60000), kOk);
    EXPECT_EQ(mModule->SetMode(kCalibrateOffset), kOk);
    EXPECT_EQ(Words(kCalibrateOffset, 1, {50000}, 8), (Samples{50000}));
    EXPECT_EQ(Rebuild(kOffset, 1, 1), (Entries{10000}));
}

} // namespace vek::test
