// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "control/IUpdateGainExposureClockSetting.h"

namespace vek::test {

/// Plain model of the automatic luminance control. All of its state is open.
struct SLuminanceModel {
    explicit SLuminanceModel(IUpdateGainExposureClockSetting* attached);

    bool Reset();
    unsigned long RunALC(unsigned short average, unsigned long* flags);
    unsigned long NonZero(unsigned long clock) const;

    unsigned mode = 0;
    unsigned target = 0;
    unsigned deadBand = 0;
    unsigned startMargin = 0;
    unsigned short gain = 0;
    unsigned long exposure = 0;
    unsigned long maxExposure = 0;
    unsigned long minExposure = 0;
    unsigned short maxGain = 0;
    unsigned short minGain = 0;
    bool adjusting = false;
    IUpdateGainExposureClockSetting* camera;

private:
    void CheckInvalidStatus(unsigned long* flags);
    void Calculate(unsigned average, unsigned long* flags);
    bool RunExposure(unsigned average);
    bool RunGain(unsigned average);
};

} // namespace vek::test
