// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// What automatic luminance control sees of the camera: gain as setting values and decibels, exposure as clocks.
class IUpdateGainExposureClockSetting {
public:
    virtual bool SetGainAndExposure(unsigned short gain, unsigned long exposureClock) = 0;
    virtual bool GetGainAndExposure(unsigned short* gain, unsigned long* exposureClock) = 0;
    virtual unsigned short GetMaxGain() = 0;
    virtual unsigned short GetInitialGain() = 0;
    virtual float GainValue2DB(unsigned short gain) = 0;
    virtual unsigned short GainDB2Value(float dB) = 0;
    virtual unsigned long GetMaxLongExposureClock() = 0;
    virtual long GetMaxShortExposureClock() = 0;

protected:
    ~IUpdateGainExposureClockSetting() = default;
};

} // namespace vek
