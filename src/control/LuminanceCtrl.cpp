// SPDX-License-Identifier: Apache-2.0
#include "control/LuminanceCtrl.h"

namespace vek {

CLuminanceCtrl::CLuminanceCtrl(IUpdateGainExposureClockSetting* camera) : mpCamera(camera) {
    Reset();
}

bool CLuminanceCtrl::Reset() {
    mAdjusting = 0;
    mwTarget = 128;
    mwDeadBand = 5;
    mwStartMargin = 5;
    mGainStepDivisor = 0;
    mExposureStepDivisor = 0;
    mMode = 0;
    mulAEMaxExposureClock = 0;
    mulAEMinExposureClock = 1;
    mwAGCMinGain = mpCamera->GetInitialGain();
    mwAGCMaxGain = mpCamera->GetMaxGain();
    return mpCamera->GetGainAndExposure(&mwCurrentGain, &mulCurrentExposureClock);
}

} // namespace vek
