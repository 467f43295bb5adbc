// SPDX-License-Identifier: Apache-2.0
// The exported luminance control: settings, refusals, and the requests that a step ends in.
#include "VekTrgApi.h"
#include "support/CameraValues.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vek::test {

namespace {

class CLuminanceExports : public ::testing::Test {
protected:
    void SetUp() override {
        SCameraValues values;
        values.initialGain = 2;
        values.gainType = 4;
        values.maxGain = 300;
        values.maxLong = 100000;
        values.maxShort = 5000;
        values.gain = 2;
        values.exposure = 1000;
        report(values, &mDriver);
        mHandle = VekCam_Open(6);
        mDriver.ClearLog();
    }
    void TearDown() override { VekCam_Close(mHandle); }

    int Mode() {
        unsigned char mode = 99;
        EXPECT_EQ(VekCam_GetALCMode(mHandle, &mode), 1);
        return mode;
    }
    /// What a getter of another setting gives.
    template <class Number>
    Number Read(int (*getter)(VekCam_Handle, Number*)) {
        Number number = 9;
        EXPECT_EQ(getter(mHandle, &number), 1);
        return number;
    }
    int Step(unsigned short average) {
        mDriver.ClearLog();
        mFlags = 99;
        return VekCam_ALC(mHandle, average, &mFlags);
    }
    /// The writes of the log, in their order: "gain/exposure".
    std::vector<std::uint64_t> Writes() const {
        std::vector<std::uint64_t> writes;
        for (const SRequest& request : mDriver.Log()) {
            if (request.number != kGetControl) {
                EXPECT_EQ(request.number, kSetControl);
                writes.push_back(request.Id());
                writes.push_back(request.Value());
            }
        }
        return writes;
    }

    CFakeDriver mDriver;
    VekCam_Handle mHandle = nullptr;
    unsigned long mFlags = 99;
};

using Values = std::vector<std::uint64_t>;

} // namespace

TEST_F(CLuminanceExports, NullHandle) {
    unsigned char mode = 9;
    unsigned short word = 9;
    unsigned long number = 9;
    EXPECT_EQ(VekCam_SetALCMode(nullptr, 1), -22);
    EXPECT_EQ(VekCam_GetALCMode(nullptr, &mode), -22);
    EXPECT_EQ(VekCam_SetALCTargetLevel(nullptr, 1), -22);
    EXPECT_EQ(VekCam_GetALCTargetLevel(nullptr, &word), -22);
    EXPECT_EQ(VekCam_SetAGCMaxGain(nullptr, 1), -22);
    EXPECT_EQ(VekCam_GetAGCMaxGain(nullptr, &word), -22);
    EXPECT_EQ(VekCam_SetAGCMinGain(nullptr, 1), -22);
    EXPECT_EQ(VekCam_GetAGCMinGain(nullptr, &word), -22);
    EXPECT_EQ(VekCam_SetAEMaxExposureClock(nullptr, 1), -22);
    EXPECT_EQ(VekCam_GetAEMaxExposureClock(nullptr, &number), -22);
    EXPECT_EQ(VekCam_SetAEMinExposureClock(nullptr, 1), -22);
    EXPECT_EQ(VekCam_GetAEMinExposureClock(nullptr, &number), -22);
    EXPECT_EQ(VekCam_ALC(nullptr, 1, &number), -22);
    EXPECT_EQ(mode, 9U);
    EXPECT_EQ(word, 9U);
    EXPECT_EQ(number, 9U);
    EXPECT_TRUE(mDriver.Log().empty());
}

TEST_F(CLuminanceExports, NullOutput) {
    EXPECT_EQ(VekCam_GetALCMode(mHandle, nullptr), -22);
    EXPECT_EQ(VekCam_GetALCTargetLevel(mHandle, nullptr), -22);
    EXPECT_EQ(VekCam_GetAGCMaxGain(mHandle, nullptr), -22);
    EXPECT_EQ(VekCam_GetAGCMinGain(mHandle, nullptr), -22);
    EXPECT_EQ(VekCam_GetAEMaxExposureClock(mHandle, nullptr), -22);
    EXPECT_EQ(VekCam_GetAEMinExposureClock(mHandle, nullptr), -22);
    for (unsigned mode = 0; mode < 16; ++mode) {
        ASSERT_EQ(VekCam_SetALCMode(mHandle, static_cast<unsigned char>(mode)), 1);
        EXPECT_EQ(VekCam_ALC(mHandle, 0, nullptr), -22);
        EXPECT_EQ(Mode(), static_cast<int>(mode));
    }
    EXPECT_TRUE(Writes().empty());
    // The refused steps moved nothing: the first good one starts from where the camera is.
    ASSERT_EQ(VekCam_SetALCMode(mHandle, 2), 1);
    EXPECT_EQ(Step(120), 1);
    EXPECT_EQ(mFlags, 0U);
    EXPECT_EQ(Step(64), 1);
    EXPECT_EQ(Writes(), (Values{kCidGain, 2, kCidExposure, 2000}));
}

TEST_F(CLuminanceExports, DefaultsAndSettings) {
    EXPECT_EQ(Mode(), 0);
    EXPECT_EQ(Read(VekCam_GetALCTargetLevel), 128U);
    EXPECT_EQ(Read(VekCam_GetAGCMaxGain), 300U);
    EXPECT_EQ(Read(VekCam_GetAGCMinGain), 2U);
    EXPECT_EQ(Read(VekCam_GetAEMaxExposureClock), 0U);
    EXPECT_EQ(Read(VekCam_GetAEMinExposureClock), 1U);

    for (const unsigned short value : {std::uint16_t{0}, std::uint16_t{0x1234}, std::uint16_t{0xFFFF}}) {
        EXPECT_EQ(VekCam_SetALCTargetLevel(mHandle, value), 1);
        EXPECT_EQ(VekCam_SetAGCMaxGain(mHandle, static_cast<unsigned short>(value ^ 1U)), 1);
        EXPECT_EQ(VekCam_SetAGCMinGain(mHandle, static_cast<unsigned short>(value ^ 2U)), 1);
        EXPECT_EQ(Read(VekCam_GetALCTargetLevel), value);
        EXPECT_EQ(Read(VekCam_GetAGCMaxGain), value ^ 1U);
        EXPECT_EQ(Read(VekCam_GetAGCMinGain), value ^ 2U);
    }
    for (const unsigned long value : {0UL, 0x100000000UL, ~0UL}) {
        EXPECT_EQ(VekCam_SetAEMaxExposureClock(mHandle, value), 1);
        EXPECT_EQ(VekCam_SetAEMinExposureClock(mHandle, ~value), 1);
        EXPECT_EQ(Read(VekCam_GetAEMaxExposureClock), value);
        EXPECT_EQ(Read(VekCam_GetAEMinExposureClock), ~value);
    }
    EXPECT_TRUE(mDriver.Log().empty());
}

TEST_F(CLuminanceExports, ModeKeepsItsLowFourBits) {
    for (unsigned mode = 0; mode <= 255; ++mode) {
        EXPECT_EQ(VekCam_SetALCMode(mHandle, static_cast<unsigned char>(mode)), 1);
        EXPECT_EQ(Mode(), static_cast<int>(mode & 15U));
    }
}

TEST_F(CLuminanceExports, OffAndUnknownModesWriteNothing) {
    for (const unsigned mode : {0U, 16U, 7U, 8U, 15U, 0xF7U}) {
        ASSERT_EQ(VekCam_SetALCMode(mHandle, static_cast<unsigned char>(mode)), 1);
        EXPECT_EQ(Step(0), 1);
        EXPECT_EQ(mFlags, 0U);
        EXPECT_TRUE(Writes().empty());
    }
}

TEST_F(CLuminanceExports, StepWritesGainThenExposure) {
    ASSERT_EQ(VekCam_SetALCMode(mHandle, 0xF2), 1);
    EXPECT_EQ(Step(64), 1);
    EXPECT_EQ(mFlags, 1U);
    EXPECT_EQ(Writes(), (Values{kCidGain, 2, kCidExposure, 2000}));
    EXPECT_EQ(Step(50), 1); // the longest short exposure goes out as 0
    EXPECT_EQ(Step(50), 1);
    EXPECT_EQ(Writes(), (Values{kCidGain, 2, kCidExposure, 0}));
    EXPECT_EQ(Step(50), 1);
    EXPECT_EQ(mFlags, 0U);
    EXPECT_TRUE(Writes().empty());
}

TEST_F(CLuminanceExports, GainStep) {
    ASSERT_EQ(VekCam_SetALCMode(mHandle, 3), 1);
    ASSERT_EQ(VekCam_SetAGCMinGain(mHandle, 20), 1);
    EXPECT_EQ(Step(0), 1);
    EXPECT_EQ(mFlags, 2U);
    EXPECT_EQ(Writes(), (Values{kCidGain, 20, kCidExposure, 1000}));
    // 2 dB; twice that gain is 8.02 dB, by the default curve (8.02 + 2.36) / 0.132 = 78.
    EXPECT_EQ(Step(0), 1);
    EXPECT_EQ(Writes(), (Values{kCidGain, 78, kCidExposure, 1000}));
    ASSERT_EQ(VekCam_SetAGCMaxGain(mHandle, 79), 1);
    EXPECT_EQ(Step(0), 1);
    EXPECT_EQ(Writes(), (Values{kCidGain, 79, kCidExposure, 1000}));
    EXPECT_EQ(Step(0), 1);
    EXPECT_EQ(mFlags, 0U);
}

// -2.36 dB: the level at a gain of 1 is 78731, above 16 bits; 65000 of it are -1.66 dB.
TEST_F(CLuminanceExports, GainStepAtAGainBelow1) {
    SCameraValues values;
    values.gainType = 0;
    values.maxGain = 300;
    values.exposure = 1000;
    report(values, &mDriver);
    VekCam_Close(mHandle);
    mHandle = VekCam_Open(6);
    ASSERT_EQ(VekCam_SetALCMode(mHandle, 3), 1);
    ASSERT_EQ(VekCam_SetALCTargetLevel(mHandle, 65000), 1);
    EXPECT_EQ(Step(60000), 1);
    EXPECT_EQ(mFlags, 2U);
    EXPECT_EQ(Writes(), (Values{kCidGain, 5, kCidExposure, 1000}));
}

TEST_F(CLuminanceExports, RefusedWrites) {
    ASSERT_EQ(VekCam_SetALCMode(mHandle, 5), 1);
    mDriver.mControls.erase(kCidExposure);
    EXPECT_EQ(Step(64), 0);
    EXPECT_EQ(mFlags, 1U);
    EXPECT_EQ(Writes(), (Values{kCidGain, 2, kCidExposure, 2000}));
    mDriver.mControls.erase(kCidGain);
    EXPECT_EQ(Step(64), 0);
    EXPECT_EQ(mFlags, 1U);
    EXPECT_EQ(Writes(), (Values{kCidGain, 2})); // no exposure after a refused gain
    EXPECT_EQ(Mode(), 5);
    mDriver.mControls[kCidGain] = 0;
    mDriver.mControls[kCidExposure] = 0;
    EXPECT_EQ(Step(128), 1); // what the camera has now is not asked
    EXPECT_EQ(mFlags, 0U);
    EXPECT_EQ(Mode(), 0);
    ASSERT_EQ(VekCam_SetALCMode(mHandle, 2), 1);
    EXPECT_EQ(Step(256), 1); // from 4000
    EXPECT_EQ(Writes(), (Values{kCidGain, 2, kCidExposure, 2000}));
}

} // namespace vek::test
