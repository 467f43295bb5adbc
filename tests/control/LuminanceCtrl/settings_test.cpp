// SPDX-License-Identifier: Apache-2.0
// Settings of the luminance control: defaults, what a reset reads, values kept as given.
#include "control/LuminanceCtrl.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vek::test {

namespace {

/// Camera that writes down what is asked of it.
class CRecordingCamera final : public IUpdateGainExposureClockSetting {
public:
    bool SetGainAndExposure(unsigned short, unsigned long) override {
        mCalls.push_back("set");
        return true;
    }
    bool GetGainAndExposure(unsigned short* gain, unsigned long* exposureClock) override {
        mCalls.push_back("get");
        *gain = 33;
        *exposureClock = 44;
        return mAnswers;
    }
    unsigned short GetMaxGain() override {
        mCalls.push_back("max");
        return 0xFFFE;
    }
    unsigned short GetInitialGain() override {
        mCalls.push_back("initial");
        return 0xFFF0;
    }
    float GainValue2DB(unsigned short) override {
        mCalls.push_back("toDb");
        return 0.0F;
    }
    unsigned short GainDB2Value(float) override {
        mCalls.push_back("fromDb");
        return 0;
    }
    unsigned long GetMaxLongExposureClock() override {
        mCalls.push_back("long");
        return 1;
    }
    long GetMaxShortExposureClock() override {
        mCalls.push_back("short");
        return 1;
    }

    std::vector<std::string> mCalls;
    bool mAnswers = true;
};

void expectDefaults(const CLuminanceCtrl& control) {
    EXPECT_EQ(control.GetMode(), 0U);
    EXPECT_EQ(control.GetTarget(), 128U);
    EXPECT_EQ(control.GetAEMaxExposureClock(), 0U);
    EXPECT_EQ(control.GetAEMinExposureClock(), 1U);
    EXPECT_EQ(control.GetAGCMaxGain(), 0xFFFEU);
    EXPECT_EQ(control.GetAGCMinGain(), 0xFFF0U);
}

} // namespace

TEST(CLuminanceSettings, ConstructionResets) {
    CRecordingCamera camera;
    const CLuminanceCtrl control(camera);
    expectDefaults(control);
    ASSERT_EQ(camera.mCalls.size(), 3U);
    EXPECT_EQ(camera.mCalls.back(), "get");
    EXPECT_NE(camera.mCalls[0], camera.mCalls[1]);
}

TEST(CLuminanceSettings, SettersKeepAnyValue) {
    CRecordingCamera camera;
    CLuminanceCtrl control(camera);
    camera.mCalls.clear();
    for (const unsigned value : {0U, 1U, 15U, 16U, 255U}) {
        control.SetMode(static_cast<unsigned char>(value));
        EXPECT_EQ(control.GetMode(), value);
    }
    for (const unsigned short value : {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{0xFFFF}}) {
        control.SetTarget(value);
        control.SetAGCMaxGain(value);
        control.SetAGCMinGain(static_cast<unsigned short>(value ^ 0x5555U));
        EXPECT_EQ(control.GetTarget(), value);
        EXPECT_EQ(control.GetAGCMaxGain(), value);
        EXPECT_EQ(control.GetAGCMinGain(), value ^ 0x5555U);
    }
    for (const unsigned long value : {0UL, 1UL, 0x100000000UL, ~0UL}) {
        control.SetAEMaxExposureClock(value);
        control.SetAEMinExposureClock(~value);
        EXPECT_EQ(control.GetAEMaxExposureClock(), value);
        EXPECT_EQ(control.GetAEMinExposureClock(), ~value);
    }
    EXPECT_TRUE(camera.mCalls.empty());
}

TEST(CLuminanceSettings, ResetRestoresTheDefaults) {
    CRecordingCamera camera;
    CLuminanceCtrl control(camera);
    control.SetMode(6);
    control.SetTarget(7);
    control.SetAEMaxExposureClock(8);
    control.SetAEMinExposureClock(9);
    control.SetAGCMaxGain(10);
    control.SetAGCMinGain(11);
    EXPECT_TRUE(control.Reset());
    expectDefaults(control);
    camera.mAnswers = false;
    EXPECT_FALSE(control.Reset());
    expectDefaults(control);
}

} // namespace vek::test
