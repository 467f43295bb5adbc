// SPDX-License-Identifier: Apache-2.0
// Luminance control against a plain model over long random sequences.
#include "control/LuminanceCtrl.h"
#include "control/LuminanceCtrl/LuminanceModel.h"
#include "control/LuminanceCtrl/ScriptedCamera.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vek::test {

namespace {

/// A control and a model, each with a camera of its own that answers the same.
class CTwins {
public:
    explicit CTwins(std::uint64_t seed)
        : mRandom(seed), mReal(RandomCamera()), mPlain(mReal), mControl(mReal), mModel(&mPlain) {
        mScene = mRandom.Below(2) == 0 ? 0.0 : std::pow(10.0, static_cast<double>(mRandom.Below(600)) / 100.0 - 5.0);
        mControl.SetMode(static_cast<unsigned char>(mModel.mode = 1 + static_cast<unsigned>(mRandom.Below(6))));
    }

    /// Changes a setting now and then, and takes one step. Whether control and model agree.
    ::testing::AssertionResult Step() {
        if (mRandom.Below(8) == 0) {
            ChangeSetting();
        }
        mReal.mTakes = mPlain.mTakes = mRandom.Below(16) != 0;
        mReal.mWrites.clear();
        mPlain.mWrites.clear();
        const unsigned short average = Average();
        const SLuminanceModel before = mModel;
        unsigned long flags = 99;
        unsigned long expectedFlags = 98;
        const unsigned long result = mControl.RunALC(average, &flags);
        const unsigned long expected = mModel.RunALC(average, &expectedFlags);
        mSteps[expectedFlags & 3U] += 1;
        if (result != expected || flags != expectedFlags || mReal.mWrites != mPlain.mWrites ||
            mControl.GetMode() != mModel.mode || mControl.GetTarget() != mModel.target ||
            mControl.GetCurExposureClockNonZero() != mModel.NonZero(mModel.exposure) ||
            mControl.GetAEMaxExposureClockNonZero() != mModel.NonZero(mModel.maxExposure) ||
            mControl.GetAEMinExposureClockNonZero() != mModel.NonZero(mModel.minExposure) ||
            mControl.GetAEMaxExposureClock() != mModel.maxExposure ||
            mControl.GetAEMinExposureClock() != mModel.minExposure || mControl.GetAGCMaxGain() != mModel.maxGain ||
            mControl.GetAGCMinGain() != mModel.minGain) {
            return ::testing::AssertionFailure()
                   << "mode " << before.mode << " target " << before.target << " average " << average << " gain "
                   << before.gain << " in " << before.minGain << ".." << before.maxGain << " exposure "
                   << before.exposure << " in " << before.minExposure << ".." << before.maxExposure << " short "
                   << mReal.mMaxShort << " long " << mReal.mMaxLong << " type " << mReal.mGainType << " max gain "
                   << mReal.mMaxGain << ": result " << result << " for " << expected << ", flags " << flags << " for "
                   << expectedFlags << ", wrote " << Text(mReal) << " for " << Text(mPlain);
        }
        return ::testing::AssertionSuccess();
    }

    const unsigned long* Steps() const { return mSteps; }

private:
    static std::string Text(const CScriptedCamera& camera) {
        return camera.mWrites.empty()
                   ? "nothing"
                   : std::to_string(camera.mWrites.back().first) + "/" + std::to_string(camera.mWrites.back().second);
    }
    unsigned short Level() { return static_cast<unsigned short>(mRandom.Next() >> (48 + mRandom.Below(16))); }
    /// Below 2^62: twice an exposure stays a number.
    unsigned long Clock() {
        switch (mRandom.Below(16)) {
        case 0:
            return 0;
        case 1:
            return mRandom.Next() >> (2 + mRandom.Below(60));
        default:
            return mRandom.Next() >> (40 + mRandom.Below(24));
        }
    }
    unsigned short Gain() { return static_cast<unsigned short>(mRandom.Below(4) == 0 ? Level() : mRandom.Below(500)); }

    CScriptedCamera RandomCamera() {
        constexpr unsigned short maxGains[] = {0, 1, 63, 100, 240, 511, 1023, 65535};
        CScriptedCamera camera;
        camera.mGainType = mRandom.Below(7);
        camera.mMaxGain = maxGains[mRandom.Below(8)];
        camera.mInitialGain = static_cast<unsigned short>(mRandom.Below(3) == 0 ? Gain() : 0);
        camera.mGain = Gain();
        camera.mExposure = Clock();
        camera.mMaxShort = static_cast<long>(Clock() >> mRandom.Below(8));
        camera.mMaxLong = Clock() | mRandom.Below(1000000);
        if (mRandom.Below(16) == 0) {
            constexpr float strange[] = {std::numeric_limits<float>::quiet_NaN(),
                                         std::numeric_limits<float>::infinity(),
                                         -std::numeric_limits<float>::infinity(),
                                         -760.0F,
                                         -2000.0F,
                                         -100.0F,
                                         770.0F,
                                         3000.0F};
            camera.mFixedDb = strange[mRandom.Below(std::size(strange))];
        }
        return camera;
    }

    unsigned short Average() {
        switch (mRandom.Below(mScene > 0.0 ? 16 : 4)) {
        case 0:
            return Level();
        case 1: {
            constexpr unsigned short ends[] = {0, 1, 65534, 65535};
            return ends[mRandom.Below(4)];
        }
        case 2:
        case 3:
            return static_cast<unsigned short>(mModel.target + mRandom.Below(25) - 12);
        default: { // what the scene would give
            const double gain = std::pow(10.0, static_cast<double>(mPlain.GainValue2DB(mModel.gain)) / 20.0);
            const double level = mScene * gain * static_cast<double>(mModel.NonZero(mModel.exposure));
            return static_cast<unsigned short>(level < 65535.0 ? level : 65535.0);
        }
        }
    }

    void ChangeSetting() {
        switch (mRandom.Below(8)) {
        case 0:
        case 1:
            mControl.SetMode(static_cast<unsigned char>(mModel.mode = static_cast<unsigned>(mRandom.Below(16))));
            break;
        case 2:
            mControl.SetTarget(static_cast<unsigned short>(mModel.target = Level()));
            break;
        case 3:
            mControl.SetAEMaxExposureClock(mModel.maxExposure = Clock());
            break;
        case 4:
            mControl.SetAEMinExposureClock(mModel.minExposure = mRandom.Below(2) == 0 ? 1 : Clock());
            break;
        case 5:
            mControl.SetAGCMaxGain(mModel.maxGain = Gain());
            break;
        case 6:
            mControl.SetAGCMinGain(mModel.minGain = mRandom.Below(2) == 0 ? std::uint16_t{0} : Gain());
            break;
        default:
            if (mRandom.Below(4) == 0) {
                EXPECT_EQ(mControl.Reset(), mModel.Reset());
                mControl.SetMode(static_cast<unsigned char>(mModel.mode = 1));
            } else {
                mReal.mMaxShort = mPlain.mMaxShort = static_cast<long>(Clock());
            }
            break;
        }
    }

    CRandom mRandom;
    CScriptedCamera mReal;
    CScriptedCamera mPlain;
    CLuminanceCtrl mControl;
    SLuminanceModel mModel;
    double mScene = 0.0; ///< level per exposure clock at a gain of 1; 0: levels without a scene
    unsigned long mSteps[4] = {};
};

} // namespace

TEST(CLuminanceModel, RandomSequences) {
    unsigned long steps[4] = {};
    for (std::uint64_t seed = 1; seed <= 30000; ++seed) {
        CTwins twins(seed);
        for (int i = 0; i < 60; ++i) {
            ASSERT_TRUE(twins.Step()) << "seed " << seed << ", step " << i;
        }
        for (std::size_t i = 0; i < 4; ++i) {
            steps[i] += twins.Steps()[i];
        }
    }
    // Every kind of step was met often.
    EXPECT_GT(steps[0], 10000U);
    EXPECT_GT(steps[1], 10000U);
    EXPECT_GT(steps[2], 10000U);
    EXPECT_GT(steps[3], 500U);
}

} // namespace vek::test
