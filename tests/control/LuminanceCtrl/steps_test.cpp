// SPDX-License-Identifier: Apache-2.0
// Single steps of the luminance control: what each mode, limit and level has to lead to.
#include "control/LuminanceCtrl.h"
#include "control/LuminanceCtrl/ScriptedCamera.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

namespace vek::test {

namespace {

using Writes = std::vector<CScriptedCamera::Write>;

/// A control in a mode, the camera behind it.
struct SLoop {
    explicit SLoop(unsigned char mode, const CScriptedCamera& script = {}) : camera(script), control(camera) {
        control.SetMode(mode);
    }
    unsigned long Run(unsigned short average) {
        camera.mWrites.clear();
        flags = 99;
        return control.RunALC(average, &flags);
    }

    CScriptedCamera camera;
    CLuminanceCtrl control;
    unsigned long flags = 0;
};

CScriptedCamera cameraAt(unsigned short gain, unsigned long exposure) {
    CScriptedCamera camera;
    camera.mGain = gain;
    camera.mExposure = exposure;
    return camera;
}

} // namespace

TEST(CLuminanceSteps, OffDoesNothing) {
    SLoop loop(0, cameraAt(0xFFFF, 0xFFFFFFFF)); // outside every limit
    for (const unsigned short average : {std::uint16_t{0}, std::uint16_t{128}, std::uint16_t{65535}}) {
        EXPECT_EQ(loop.Run(average), 1U);
        EXPECT_EQ(loop.flags, 0U);
        EXPECT_TRUE(loop.camera.mWrites.empty());
    }
}

TEST(CLuminanceSteps, UnknownModesChangeNothing) {
    for (unsigned mode = 7; mode <= 255; ++mode) {
        SLoop loop(static_cast<unsigned char>(mode), cameraAt(0xFFFF, 0xFFFFFFFF));
        EXPECT_EQ(loop.Run(0), 1U);
        EXPECT_EQ(loop.flags, 0U);
        EXPECT_TRUE(loop.camera.mWrites.empty());
        EXPECT_EQ(loop.control.GetMode(), mode);
    }
}

TEST(CLuminanceSteps, Hysteresis) {
    SLoop loop(2);
    loop.control.SetAEMaxExposureClock(5000);
    EXPECT_EQ(loop.Run(120), 1U); // 8 off, at rest
    EXPECT_EQ(loop.flags, 0U);
    loop.Run(118); // 10 off
    EXPECT_EQ(loop.flags, 0U);
    loop.Run(138);
    EXPECT_EQ(loop.flags, 0U);
    loop.Run(117); // 11 off
    EXPECT_EQ(loop.flags, 1U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 1094}})); // 128 * 1000 / 117
    loop.Run(120);
    EXPECT_EQ(loop.flags, 1U);
    loop.Run(122); // 6 off
    EXPECT_EQ(loop.flags, 1U);
    loop.Run(123); // 5 off
    EXPECT_EQ(loop.flags, 0U);
    EXPECT_TRUE(loop.camera.mWrites.empty());
    loop.Run(122); // at rest again
    EXPECT_EQ(loop.flags, 0U);
}

TEST(CLuminanceSteps, ExposureDoublesAtMost) {
    for (const unsigned short average : {std::uint16_t{64}, std::uint16_t{1}, std::uint16_t{0}}) {
        SLoop loop(2);
        loop.control.SetAEMaxExposureClock(5000);
        EXPECT_EQ(loop.Run(average), 1U);
        EXPECT_EQ(loop.flags, 1U);
        EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 2000}}));
    }
    SLoop loop(2, cameraAt(0, 4000));
    loop.control.SetAEMaxExposureClock(4500);
    loop.Run(0);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 4500}}));
}

TEST(CLuminanceSteps, ExposureFallsToItsMinimumAtOnce) {
    SLoop loop(2, cameraAt(0, 4000));
    loop.control.SetAEMinExposureClock(7);
    loop.Run(65535); // 128 * 4000 / 65535 = 7.8
    EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 7}}));
    loop.Run(65535);
    EXPECT_EQ(loop.flags, 0U);
}

TEST(CLuminanceSteps, LongestShortExposureIsWrittenAs0) {
    SLoop loop(2, cameraAt(0, 4000));
    loop.control.SetAEMaxExposureClock(9000);
    loop.Run(102); // 128 * 4000 / 102 = 5019
    EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 5019}}));
    SLoop limited(2, cameraAt(0, 4000)); // the limit is the longest short exposure itself
    limited.Run(102);
    EXPECT_EQ(limited.camera.mWrites, (Writes{{0, 0}}));
    EXPECT_EQ(limited.control.GetCurExposureClockNonZero(), 5000U);
    limited.Run(256); // half of 5000
    EXPECT_EQ(limited.camera.mWrites, (Writes{{0, 2500}}));
}

TEST(CLuminanceSteps, LongestExposureLimitsAndStillCountsAsAChange) {
    CScriptedCamera camera = cameraAt(0, 6000);
    camera.mMaxLong = 6000;
    SLoop loop(2, camera);
    loop.control.SetAEMaxExposureClock(9000);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(loop.Run(0), 1U);
        EXPECT_EQ(loop.flags, 1U);
        EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 6000}}));
    }
}

TEST(CLuminanceSteps, GainIsBroughtIntoItsLimitsFirst) {
    SLoop loop(3, cameraAt(5, 1000));
    loop.control.SetAGCMinGain(20);
    EXPECT_EQ(loop.Run(0), 1U);
    EXPECT_EQ(loop.flags, 2U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{20, 1000}}));
    loop.control.SetAGCMaxGain(19); // wrong order: back and forth, as it is written
    loop.Run(0);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{19, 1000}}));
    loop.Run(0);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{20, 1000}}));
}

TEST(CLuminanceSteps, ExposureIsBroughtIntoItsLimitsFirst) {
    SLoop loop(2, cameraAt(5, 9000));
    loop.Run(0);
    EXPECT_EQ(loop.flags, 1U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{5, 0}})); // the stored maximum, 0
    loop.control.SetAEMaxExposureClock(4999);
    loop.Run(0);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{5, 4999}}));
    loop.control.SetAEMaxExposureClock(8000);
    loop.control.SetAEMinExposureClock(0);
    loop.Run(128);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{5, 0}})); // the stored minimum
    loop.Run(128);
    EXPECT_EQ(loop.flags, 0U);
}

TEST(CLuminanceSteps, GainWaitsAtItsMinimumWhileExposureHasRoom) {
    for (const unsigned char mode : {std::uint8_t{1}, std::uint8_t{4}}) {
        SLoop loop(mode, cameraAt(50, 1000));
        EXPECT_EQ(loop.Run(128), 1U);
        EXPECT_EQ(loop.flags, 2U);
        EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 1000}}));
        EXPECT_EQ(loop.control.GetMode(), mode);
        // The exposure that counts is the one before its own correction.
        SLoop both(mode, cameraAt(50, 9000));
        both.Run(128);
        EXPECT_EQ(both.flags, 3U);
        EXPECT_EQ(both.camera.mWrites, (Writes{{0, 0}}));
    }
}

TEST(CLuminanceSteps, BrighteningTakesExposureThenGain) {
    SLoop loop(1, cameraAt(0, 4000));
    loop.Run(64);
    EXPECT_EQ(loop.flags, 1U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 0}}));
    loop.Run(64);
    EXPECT_EQ(loop.flags, 2U);
    ASSERT_EQ(loop.camera.mWrites.size(), 1U);
    EXPECT_EQ(loop.camera.mWrites[0].second, 0U);
    const unsigned short gain = loop.camera.mWrites[0].first;
    EXPECT_GT(gain, 0U);
    // Darkening: gain first, exposure from its minimum on.
    loop.Run(65535);
    EXPECT_EQ(loop.flags, 2U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 0}}));
    loop.Run(256);
    EXPECT_EQ(loop.flags, 1U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{0, 2500}}));
}

TEST(CLuminanceSteps, GainMovesByAtLeastOneAndTwiceAtMost) {
    SLoop loop(3, cameraAt(200, 1000)); // 20 dB, a gain of 10
    loop.camera.mFixedValue = std::uint16_t{200};
    loop.Run(64);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{201, 1000}}));
    ASSERT_EQ(loop.camera.mAskedDb.size(), 1U);
    loop.Run(300);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{200, 1000}}));

    SLoop dark(3, cameraAt(200, 1000));
    dark.Run(0); // base 0: the target itself is wanted, twice the gain is given
    ASSERT_EQ(dark.camera.mAskedDb.size(), 1U);
    EXPECT_EQ(dark.camera.mAskedDb[0], static_cast<float>(20.0 * std::log10(20.0)));
    SLoop black(3, cameraAt(200, 1000));
    black.control.SetTarget(0);
    black.Run(100);
    ASSERT_EQ(black.camera.mAskedDb.size(), 1U);
    EXPECT_EQ(black.camera.mAskedDb[0], static_cast<float>(20.0 * std::log10(static_cast<double>(0.0001F))));
}

// -2.36 dB is a gain of 0.76208: at a gain of 1 the image would have a level of 78731, and a target of 65000 wants
// 20 log10(65000 / 78731) = -1.6646 dB, whose value is (-1.66 + 2.36) / 0.132 = 5.
TEST(CLuminanceSteps, LevelAtAGainOf1HasNoLimit) {
    CScriptedCamera camera = cameraAt(0, 1000);
    camera.mGainType = 0;
    SLoop loop(3, camera);
    loop.control.SetTarget(65000);
    EXPECT_EQ(loop.Run(60000), 1U);
    EXPECT_EQ(loop.flags, 2U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{5, 1000}}));
    ASSERT_EQ(loop.camera.mAskedDb.size(), 1U);
    EXPECT_NEAR(loop.camera.mAskedDb[0], -1.6646F, 0.0001F);
}

TEST(CLuminanceSteps, GainEndsAreEnds) {
    CScriptedCamera camera = cameraAt(65535, 1000);
    camera.mMaxGain = 65535;
    SLoop top(3, camera);
    EXPECT_EQ(top.Run(0), 1U);
    EXPECT_EQ(top.flags, 0U);
    SLoop bottom(3, cameraAt(0, 1000));
    EXPECT_EQ(bottom.Run(65535), 1U);
    EXPECT_EQ(bottom.flags, 0U);
}

TEST(CLuminanceSteps, OneShotEndsWhenNothingChanges) {
    for (const unsigned char mode : {std::uint8_t{4}, std::uint8_t{5}, std::uint8_t{6}}) {
        SLoop loop(mode, cameraAt(0, 1000));
        EXPECT_EQ(loop.Run(60), 1U);
        EXPECT_NE(loop.flags, 0U);
        EXPECT_EQ(loop.control.GetMode(), mode);
        EXPECT_EQ(loop.Run(128), 1U);
        EXPECT_EQ(loop.flags, 0U);
        EXPECT_EQ(loop.control.GetMode(), 0U);
        EXPECT_TRUE(loop.camera.mWrites.empty());
    }
    for (const unsigned char mode : {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{3}}) {
        SLoop loop(mode, cameraAt(0, 1000));
        loop.Run(128);
        EXPECT_EQ(loop.control.GetMode(), mode);
    }
}

// A limit that keeps the level from being reached ends a one-shot run as well.
TEST(CLuminanceSteps, OneShotEndsAtTheLimits) {
    for (const auto& [mode, gain, exposure] :
         {std::tuple{4, 1000, 5000}, std::tuple{5, 0, 5000}, std::tuple{6, 1000, 1000}}) {
        SLoop loop(static_cast<unsigned char>(mode),
                   cameraAt(static_cast<unsigned short>(gain), static_cast<unsigned long>(exposure)));
        EXPECT_EQ(loop.Run(10), 1U);
        EXPECT_EQ(loop.flags, 0U);
        EXPECT_EQ(loop.control.GetMode(), 0U) << mode;
        EXPECT_TRUE(loop.camera.mWrites.empty());
    }
}

// The control goes on from what it wrote, not from what the application set in between.
TEST(CLuminanceSteps, WhatIsSetInBetweenIsOverwritten) {
    SLoop loop(2, cameraAt(3, 1000));
    loop.camera.mExposure = 100;
    loop.camera.mGain = 50;
    EXPECT_EQ(loop.Run(64), 1U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{3, 2000}}));
    loop.camera.mExposure = 400;
    EXPECT_EQ(loop.Run(64), 1U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{3, 4000}}));
}

TEST(CLuminanceSteps, RefusedWriteKeepsTheNewValues) {
    SLoop loop(5, cameraAt(3, 1000));
    loop.camera.mTakes = false;
    EXPECT_EQ(loop.Run(64), 0U);
    EXPECT_EQ(loop.flags, 1U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{3, 2000}}));
    EXPECT_EQ(loop.control.GetMode(), 5U);
    loop.camera.mTakes = true;
    EXPECT_EQ(loop.Run(64), 1U);
    EXPECT_EQ(loop.camera.mWrites, (Writes{{3, 4000}}));
    EXPECT_EQ(loop.Run(120), 1U); // still adjusting
    EXPECT_EQ(loop.flags, 1U);
}

TEST(CLuminanceSteps, DecibelsThatAreNone) {
    for (const float dB : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(), 1e30F, -1e30F, 3000.0F, -3000.0F, -800.0F}) {
        for (const unsigned short average : {std::uint16_t{0}, std::uint16_t{50}, std::uint16_t{65535}}) {
            SLoop loop(3, cameraAt(100, 1000));
            loop.camera.mFixedDb = dB;
            EXPECT_EQ(loop.Run(average), 1U);
            EXPECT_EQ(loop.flags, 2U) << dB << ' ' << average;
            ASSERT_EQ(loop.camera.mWrites.size(), 1U);
            const unsigned short gain = loop.camera.mWrites[0].first;
            EXPECT_TRUE(average > 128 ? gain < 100 : gain > 100) << dB << ' ' << average;
        }
    }
}

} // namespace vek::test
