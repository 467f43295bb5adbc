// SPDX-License-Identifier: Apache-2.0
#include "control/LuminanceCtrl.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace vek {

namespace {

constexpr unsigned long kExposureChanged = 1;
constexpr unsigned long kGainChanged = 2;

// Modes. The second three end by themselves.
constexpr unsigned char kOff = 0;
constexpr unsigned char kBoth = 1;
constexpr unsigned char kExposure = 2;
constexpr unsigned char kGain = 3;
constexpr unsigned char kBothOnce = 4;
constexpr unsigned char kExposureOnce = 5;
constexpr unsigned char kGainOnce = 6;

/// Linear gain below which a step never goes, where there is no other limit.
constexpr float kSmallestGain = 0.0001F;

} // namespace

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
    mMode = kOff;
    mulAEMaxExposureClock = 0;
    mulAEMinExposureClock = 1;
    mwAGCMinGain = mpCamera->GetInitialGain();
    mwAGCMaxGain = mpCamera->GetMaxGain();
    return mpCamera->GetGainAndExposure(&mwCurrentGain, &mulCurrentExposureClock);
}

bool CLuminanceCtrl::mbHasBoth() const {
    return mMode == kBoth || mMode == kBothOnce;
}

bool CLuminanceCtrl::mbHasAE() const {
    return mbHasBoth() || mMode == kExposure || mMode == kExposureOnce;
}

bool CLuminanceCtrl::mbHasAGC() const {
    return mbHasBoth() || mMode == kGain || mMode == kGainOnce;
}

unsigned long CLuminanceCtrl::GetExposureClockNonZero(unsigned long clock) const {
    return clock != 0 ? clock : static_cast<unsigned long>(mpCamera->GetMaxShortExposureClock());
}

unsigned long CLuminanceCtrl::RunALC(unsigned short average, unsigned long* flags) {
    *flags = 0;
    if (mMode == kOff) {
        return 1;
    }
    unsigned long result = CheckInvalidStatus(flags);
    if (*flags == 0 && result == 1) {
        result = ALCCalculation(average, flags);
    }
    if (result == 0) {
        return 0;
    }
    if (*flags != 0) {
        result = mpCamera->SetGainAndExposure(mwCurrentGain, mulCurrentExposureClock) ? 1 : 0;
        mAdjusting = 1;
        return result;
    }
    if (mMode == kBothOnce || mMode == kExposureOnce || mMode == kGainOnce) {
        mMode = kOff;
    }
    mAdjusting = 0;
    return result;
}

unsigned long CLuminanceCtrl::CheckInvalidStatus(unsigned long* flags) {
    if (mbHasAGC()) {
        // Against one limit after the other as they stand: with the limits in the wrong order the gain swings.
        if (mwCurrentGain < mwAGCMinGain) {
            mwCurrentGain = mwAGCMinGain;
            *flags |= kGainChanged;
        } else if (mwCurrentGain > mwAGCMaxGain) {
            mwCurrentGain = mwAGCMaxGain;
            *flags |= kGainChanged;
        }
    }
    const unsigned long current = GetCurExposureClockNonZero();
    const unsigned long max = GetAEMaxExposureClockNonZero();
    const unsigned long min = GetAEMinExposureClockNonZero();
    if (mbHasAE()) {
        if (current > max) {
            mulCurrentExposureClock = mulAEMaxExposureClock;
            *flags |= kExposureChanged;
        } else if (current < min) {
            mulCurrentExposureClock = mulAEMinExposureClock;
            *flags |= kExposureChanged;
        }
    }
    // While the exposure has room, the gain stays at its minimum.
    if (mbHasBoth() && current != max && mwCurrentGain != mwAGCMinGain) {
        mwCurrentGain = mwAGCMinGain;
        *flags |= kGainChanged;
    }
    return 1;
}

unsigned long CLuminanceCtrl::ALCCalculation(unsigned short average, unsigned long* flags) {
    const int difference = std::abs(mwTarget - average);
    const bool darker = mwTarget > average;
    const int band = mwDeadBand + (mAdjusting == 1 ? 0 : mwStartMargin);
    if (difference <= band) {
        return 1;
    }
    bool useExposure = mMode == kExposure || mMode == kExposureOnce;
    if (mbHasBoth()) {
        useExposure =
            darker ? GetCurExposureClockNonZero() != GetAEMaxExposureClockNonZero() : mwCurrentGain == mwAGCMinGain;
    }
    if (useExposure) {
        if (RunAE(average, mwTarget)) {
            *flags |= kExposureChanged;
        }
    } else if (mbHasAGC()) {
        if (RunAGC(average, mwTarget)) {
            *flags |= kGainChanged;
        }
    }
    return 1;
}

bool CLuminanceCtrl::RunAE(unsigned short average, unsigned short target) {
    const unsigned long current = GetCurExposureClockNonZero();
    const unsigned long max = GetAEMaxExposureClockNonZero();
    const unsigned long min = GetAEMinExposureClockNonZero();
    const unsigned long step = current / (mExposureStepDivisor + 1UL);
    unsigned long low = std::min(min, max);
    unsigned long high = std::max(min, max);
    if (average > target) {
        low = std::max(low, current - step);
    } else {
        high = std::min(high, current + step);
    }
    unsigned long next = target * current / std::max<unsigned long>(average, 1);
    if (next <= low) {
        next = low;
    } else if (next >= high) {
        next = high;
    }
    if (next == current) {
        return false;
    }
    mulCurrentExposureClock = next == static_cast<unsigned long>(mpCamera->GetMaxShortExposureClock())
                                  ? 0
                                  : std::min(next, mpCamera->GetMaxLongExposureClock());
    return true;
}

bool CLuminanceCtrl::RunAGC(unsigned short average, unsigned short target) {
    const auto decibels = [](float gain) { return static_cast<float>(20.0 * std::log10(static_cast<double>(gain))); };
    const auto gain =
        static_cast<float>(std::pow(10.0, static_cast<double>(mpCamera->GainValue2DB(mwCurrentGain)) / 20.0));
    // The level that the image would have at a gain of 1, a whole number: above 16 bits where gains are below 1.
    float base = average;
    if (gain > 0) {
        base = std::trunc(base / gain);
    }
    float wanted = 1.0F;
    if (base != 0) {
        wanted = static_cast<float>(target) / base;
    } else if (target != 0) {
        wanted = target;
    }
    const float step = gain / static_cast<float>(mGainStepDivisor + 1);
    unsigned short next = 0;
    if (average > target) {
        float floor = gain - step;
        if (!(floor > 0)) {
            floor = kSmallestGain;
        }
        if (floor > wanted) {
            wanted = floor;
        }
        next = mpCamera->GainDB2Value(decibels(wanted));
        if (next >= mwCurrentGain) {
            next = mwCurrentGain == 0 ? 0 : static_cast<unsigned short>(mwCurrentGain - 1);
        }
    } else {
        const float ceiling = gain + step;
        if (wanted > ceiling) {
            wanted = ceiling;
        }
        next = mpCamera->GainDB2Value(decibels(wanted));
        if (next <= mwCurrentGain) {
            constexpr unsigned short largest = std::numeric_limits<unsigned short>::max();
            next = mwCurrentGain == largest ? largest : static_cast<unsigned short>(mwCurrentGain + 1);
        }
    }
    next = std::clamp(next, std::min(mwAGCMinGain, mwAGCMaxGain), std::max(mwAGCMinGain, mwAGCMaxGain));
    if (next == mwCurrentGain) {
        return false;
    }
    mwCurrentGain = next;
    return true;
}

} // namespace vek
