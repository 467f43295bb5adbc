// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "control/IUpdateGainExposureClockSetting.h"

namespace vek {

/// Settings and state of automatic luminance control. Gains are the camera's setting values, exposures its exposure
/// clocks; a clock of 0 stands for the camera's longest short exposure. Borrows the camera.
class CLuminanceCtrl {
public:
    explicit CLuminanceCtrl(IUpdateGainExposureClockSetting* camera);

    /// Default settings, limits from the camera's description, current gain and exposure from its driver. Returns
    /// whether the camera gave the current values.
    bool Reset();

    // Stored and returned as given; nothing is checked.
    void SetMode(unsigned char mode) { mMode = mode; }
    unsigned char GetMode() const { return mMode; }
    void SetTarget(unsigned short level) { mwTarget = level; }
    unsigned short GetTarget() const { return mwTarget; }
    void SetAEMaxExposureClock(unsigned long clock) { mulAEMaxExposureClock = clock; }
    unsigned long GetAEMaxExposureClock() const { return mulAEMaxExposureClock; }
    void SetAEMinExposureClock(unsigned long clock) { mulAEMinExposureClock = clock; }
    unsigned long GetAEMinExposureClock() const { return mulAEMinExposureClock; }
    void SetAGCMaxGain(unsigned short gain) { mwAGCMaxGain = gain; }
    unsigned short GetAGCMaxGain() const { return mwAGCMaxGain; }
    void SetAGCMinGain(unsigned short gain) { mwAGCMinGain = gain; }
    unsigned short GetAGCMinGain() const { return mwAGCMinGain; }

private:
    unsigned char mMode = 0; ///< 0: off
    unsigned short mwTarget = 0;
    unsigned short mwDeadBand = 0;
    unsigned short mwStartMargin = 0;
    unsigned short mwCurrentGain = 0;
    unsigned long mulCurrentExposureClock = 0;
    unsigned char mGainStepDivisor = 0;
    unsigned char mExposureStepDivisor = 0;
    unsigned long mulAEMaxExposureClock = 0;
    unsigned long mulAEMinExposureClock = 0;
    unsigned short mwAGCMaxGain = 0;
    unsigned short mwAGCMinGain = 0;
    unsigned char mAdjusting = 0; ///< 1 after a step that changed something
    IUpdateGainExposureClockSetting* mpCamera;
};

} // namespace vek
