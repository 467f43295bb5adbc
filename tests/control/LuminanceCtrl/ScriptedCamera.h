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
        writes.emplace_back(newGain, exposureClock);
        return takes;
    }
    bool GetGainAndExposure(unsigned short* currentGain, unsigned long* exposureClock) override {
        *currentGain = gain;
        *exposureClock = exposure;
        return true;
    }
    unsigned short GetMaxGain() override { return maxGain; }
    unsigned short GetInitialGain() override { return initialGain; }
    float GainValue2DB(unsigned short value) override { return fixedDb ? *fixedDb : gainDbFromValue(gainType, value); }
    unsigned short GainDB2Value(float dB) override {
        askedDb.push_back(dB);
        return fixedValue ? *fixedValue : gainValueFromDb(gainType, dB, maxGain);
    }
    unsigned long GetMaxLongExposureClock() override { return maxLong; }
    long GetMaxShortExposureClock() override { return maxShort; }

    unsigned long gainType = 4;
    unsigned short maxGain = 1000;
    unsigned short initialGain = 0;
    unsigned short gain = 0;
    unsigned long exposure = 1000;
    unsigned long maxLong = 1000000;
    long maxShort = 5000;
    bool takes = true;
    std::optional<float> fixedDb;
    std::optional<unsigned short> fixedValue;
    std::vector<Write> writes;
    std::vector<float> askedDb;
};

} // namespace vek::test
