// SPDX-License-Identifier: Apache-2.0
#include "control/LuminanceCtrl.h"

#include "VekTrgApi.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace vek {

namespace {

/// Distance from the target at which the control rests, and how much more of it starts it again.
constexpr int kDeadBand = 5;
constexpr int kStartMargin = 5;

/// Least linear gain that a step asks for.
constexpr float kSmallestGain = 0.0001F;

} // namespace

CLuminanceCtrl::CLuminanceCtrl(IUpdateGainExposureClockSetting& camera) : mCamera(camera) {
    Reset();
}

bool CLuminanceCtrl::Reset() {
    mAdjusting = false;
    mSettings = {};
    mSettings.minGain = mCamera.GetInitialGain();
    mSettings.maxGain = mCamera.GetMaxGain();
    return mCamera.GetGainAndExposure(&mCurrentGain, &mCurrentExposureClock);
}

bool CLuminanceCtrl::HasBoth() const {
    return mSettings.mode == VEK_ALC_EXPOSURE_AND_GAIN || mSettings.mode == VEK_ALC_EXPOSURE_AND_GAIN_ONCE;
}

bool CLuminanceCtrl::HasAE() const {
    return HasBoth() || mSettings.mode == VEK_ALC_EXPOSURE || mSettings.mode == VEK_ALC_EXPOSURE_ONCE;
}

bool CLuminanceCtrl::HasAGC() const {
    return HasBoth() || mSettings.mode == VEK_ALC_GAIN || mSettings.mode == VEK_ALC_GAIN_ONCE;
}

unsigned long CLuminanceCtrl::GetExposureClockNonZero(unsigned long clock) const {
    return clock != 0 ? clock : static_cast<unsigned long>(mCamera.GetMaxShortExposureClock());
}

unsigned long CLuminanceCtrl::RunALC(unsigned short average, unsigned long* flags) {
    *flags = 0;
    if (mSettings.mode == VEK_ALC_OFF) {
        return 1;
    }
    CheckInvalidStatus(flags);
    if (*flags == 0) {
        ALCCalculation(average, flags);
    }
    mAdjusting = *flags != 0;
    if (mAdjusting) {
        return mCamera.SetGainAndExposure(mCurrentGain, mCurrentExposureClock) ? 1 : 0;
    }
    if (mSettings.mode == VEK_ALC_EXPOSURE_AND_GAIN_ONCE || mSettings.mode == VEK_ALC_EXPOSURE_ONCE ||
        mSettings.mode == VEK_ALC_GAIN_ONCE) {
        mSettings.mode = VEK_ALC_OFF;
    }
    return 1;
}

void CLuminanceCtrl::CheckInvalidStatus(unsigned long* flags) {
    if (HasAGC()) {
        // Against one limit after the other as they stand: with the limits in the wrong order the gain swings.
        if (mCurrentGain < mSettings.minGain) {
            mCurrentGain = mSettings.minGain;
            *flags |= VEK_ALC_GAIN_CHANGED;
        } else if (mCurrentGain > mSettings.maxGain) {
            mCurrentGain = mSettings.maxGain;
            *flags |= VEK_ALC_GAIN_CHANGED;
        }
    }
    const unsigned long current = GetCurExposureClockNonZero();
    const unsigned long max = GetAEMaxExposureClockNonZero();
    const unsigned long min = GetAEMinExposureClockNonZero();
    if (HasAE()) {
        if (current > max) {
            mCurrentExposureClock = mSettings.maxExposureClock;
            *flags |= VEK_ALC_EXPOSURE_CHANGED;
        } else if (current < min) {
            mCurrentExposureClock = mSettings.minExposureClock;
            *flags |= VEK_ALC_EXPOSURE_CHANGED;
        }
    }
    // While the exposure has room, the gain stays at its minimum.
    if (HasBoth() && current != max && mCurrentGain != mSettings.minGain) {
        mCurrentGain = mSettings.minGain;
        *flags |= VEK_ALC_GAIN_CHANGED;
    }
}

void CLuminanceCtrl::ALCCalculation(unsigned short average, unsigned long* flags) {
    const int difference = std::abs(mSettings.target - average);
    const bool darker = mSettings.target > average;
    const int band = kDeadBand + (mAdjusting ? 0 : kStartMargin);
    if (difference <= band) {
        return;
    }
    bool useExposure = HasAE();
    if (HasBoth()) {
        useExposure =
            darker ? GetCurExposureClockNonZero() != GetAEMaxExposureClockNonZero() : mCurrentGain == mSettings.minGain;
    }
    if (useExposure) {
        if (RunAE(average)) {
            *flags |= VEK_ALC_EXPOSURE_CHANGED;
        }
    } else if (HasAGC() && RunAGC(average)) {
        *flags |= VEK_ALC_GAIN_CHANGED;
    }
}

bool CLuminanceCtrl::RunAE(unsigned short average) {
    const unsigned long current = GetCurExposureClockNonZero();
    const unsigned long max = GetAEMaxExposureClockNonZero();
    const unsigned long min = GetAEMinExposureClockNonZero();
    const unsigned long low = std::min(min, max);
    unsigned long high = std::max(min, max);
    if (average <= mSettings.target) {
        high = std::min(high, 2 * current);
    }
    unsigned long next = mSettings.target * current / std::max<unsigned long>(average, 1);
    if (next <= low) {
        next = low;
    } else if (next >= high) {
        next = high;
    }
    if (next == current) {
        return false;
    }
    mCurrentExposureClock = next == static_cast<unsigned long>(mCamera.GetMaxShortExposureClock())
                                ? 0
                                : std::min(next, mCamera.GetMaxLongExposureClock());
    return true;
}

bool CLuminanceCtrl::RunAGC(unsigned short average) {
    const auto decibels = [](float gain) { return static_cast<float>(20.0 * std::log10(static_cast<double>(gain))); };
    const auto gain =
        static_cast<float>(std::pow(10.0, static_cast<double>(mCamera.GainValue2DB(mCurrentGain)) / 20.0));
    // The level that the image would have at a gain of 1, a whole number: above 16 bits where gains are below 1.
    float base = average;
    if (gain > 0) {
        base = std::trunc(base / gain);
    }
    float wanted = 1.0F;
    if (base != 0) {
        wanted = static_cast<float>(mSettings.target) / base;
    } else if (mSettings.target != 0) {
        wanted = mSettings.target;
    }
    unsigned short next = 0;
    if (average > mSettings.target) {
        if (wanted < kSmallestGain) {
            wanted = kSmallestGain;
        }
        next = mCamera.GainDB2Value(decibels(wanted));
        if (next >= mCurrentGain) {
            next = mCurrentGain == 0 ? 0 : static_cast<unsigned short>(mCurrentGain - 1);
        }
    } else {
        const float ceiling = 2 * gain;
        if (wanted > ceiling) {
            wanted = ceiling;
        }
        next = mCamera.GainDB2Value(decibels(wanted));
        if (next <= mCurrentGain) {
            constexpr unsigned short largest = std::numeric_limits<unsigned short>::max();
            next = mCurrentGain == largest ? largest : static_cast<unsigned short>(mCurrentGain + 1);
        }
    }
    next = std::clamp(next, std::min(mSettings.minGain, mSettings.maxGain),
                      std::max(mSettings.minGain, mSettings.maxGain));
    if (next == mCurrentGain) {
        return false;
    }
    mCurrentGain = next;
    return true;
}

} // namespace vek
