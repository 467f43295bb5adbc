// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "control/GainCurve.h"
#include "control/IUpdateGainExposureClockSetting.h"

#include <optional>
#include <utility>
#include <vector>

namespace vek::test {

/// The camera's side of the luminance control: answers from its fields and writes down what it is set to.
class CScriptedCamera final : public IUpdateGainExposureClockSetting {
public:
    using Write = std::pair<unsigned short, unsigned long>;

    bool SetGainAndExposure(unsigned short newGain, unsigned long exposureClock) override {
        mWrites.emplace_back(newGain, exposureClock);
        return mTakes;
    }
    bool GetGainAndExposure(unsigned short* currentGain, unsigned long* exposureClock) override {
        *currentGain = mGain;
        *exposureClock = mExposure;
        return true;
    }
    unsigned short GetMaxGain() override { return mMaxGain; }
    unsigned short GetInitialGain() override { return mInitialGain; }
    float GainValue2DB(unsigned short value) override {
        return mFixedDb ? *mFixedDb : gainDbFromValue(mGainType, value);
    }
    unsigned short GainDB2Value(float dB) override {
        mAskedDb.push_back(dB);
        return mFixedValue ? *mFixedValue : gainValueFromDb(mGainType, dB, mMaxGain);
    }
    unsigned long GetMaxLongExposureClock() override { return mMaxLong; }
    long GetMaxShortExposureClock() override { return mMaxShort; }

    unsigned long mGainType = 4;
    unsigned short mMaxGain = 1000;
    unsigned short mInitialGain = 0;
    unsigned short mGain = 0;
    unsigned long mExposure = 1000;
    unsigned long mMaxLong = 1000000;
    long mMaxShort = 5000;
    bool mTakes = true;
    std::optional<float> mFixedDb;
    std::optional<unsigned short> mFixedValue;
    std::vector<Write> mWrites;
    std::vector<float> mAskedDb;
};

} // namespace vek::test
