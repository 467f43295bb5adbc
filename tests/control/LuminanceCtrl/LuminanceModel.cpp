// SPDX-License-Identifier: Apache-2.0
#include "control/LuminanceCtrl/LuminanceModel.h"

#include <algorithm>
#include <cmath>

namespace vek::test {

namespace {

constexpr unsigned long kExposureChanged = 1;
constexpr unsigned long kGainChanged = 2;

float decibels(float linear) {
    return static_cast<float>(20.0 * std::log10(static_cast<double>(linear)));
}

} // namespace

SLuminanceModel::SLuminanceModel(IUpdateGainExposureClockSetting* attached) : camera(attached) {
    Reset();
}

bool SLuminanceModel::Reset() {
    adjusting = false;
    target = 128;
    deadBand = 5;
    startMargin = 5;
    mode = 0;
    maxExposure = 0;
    minExposure = 1;
    minGain = camera->GetInitialGain();
    maxGain = camera->GetMaxGain();
    return camera->GetGainAndExposure(&gain, &exposure);
}

unsigned long SLuminanceModel::NonZero(unsigned long clock) const {
    return clock != 0 ? clock : static_cast<unsigned long>(camera->GetMaxShortExposureClock());
}

unsigned long SLuminanceModel::RunALC(unsigned short average, unsigned long* flags) {
    *flags = 0;
    if (mode == 0) {
        return 1;
    }
    CheckInvalidStatus(flags);
    if (*flags == 0) {
        Calculate(average, flags);
    }
    if (*flags != 0) {
        adjusting = true;
        return camera->SetGainAndExposure(gain, exposure) ? 1 : 0;
    }
    if (mode == 4 || mode == 5 || mode == 6) {
        mode = 0;
    }
    adjusting = false;
    return 1;
}

void SLuminanceModel::CheckInvalidStatus(unsigned long* flags) {
    if (mode == 1 || mode == 3 || mode == 4 || mode == 6) {
        if (gain < minGain) {
            gain = minGain;
            *flags |= kGainChanged;
        } else if (gain > maxGain) {
            gain = maxGain;
            *flags |= kGainChanged;
        }
    }
    const unsigned long cur = NonZero(exposure);
    const unsigned long max = NonZero(maxExposure);
    const unsigned long min = NonZero(minExposure);
    if (mode == 1 || mode == 2 || mode == 4 || mode == 5) {
        if (cur > max) {
            exposure = maxExposure;
            *flags |= kExposureChanged;
        } else if (cur < min) {
            exposure = minExposure;
            *flags |= kExposureChanged;
        }
    }
    if ((mode == 1 || mode == 4) && cur != max && gain != minGain) {
        gain = minGain;
        *flags |= kGainChanged;
    }
}

void SLuminanceModel::Calculate(unsigned average, unsigned long* flags) {
    const bool darker = target > average;
    const unsigned diff = darker ? target - average : average - target;
    const unsigned band = adjusting ? deadBand : deadBand + startMargin;
    if (diff <= band) {
        return;
    }
    bool byExposure = false;
    switch (mode) {
    case 1:
    case 4:
        byExposure = darker ? NonZero(exposure) != NonZero(maxExposure) : gain == minGain;
        break;
    case 2:
    case 5:
        byExposure = true;
        break;
    case 3:
    case 6:
        break;
    default:
        return;
    }
    if (byExposure) {
        *flags |= RunExposure(average) ? kExposureChanged : 0;
    } else {
        *flags |= RunGain(average) ? kGainChanged : 0;
    }
}

bool SLuminanceModel::RunExposure(unsigned average) {
    const unsigned long cur = NonZero(exposure);
    const unsigned long max = NonZero(maxExposure);
    const unsigned long min = NonZero(minExposure);
    unsigned long lo = std::min(min, max);
    unsigned long hi = std::max(min, max);
    if (average > target) {
        lo = std::max(lo, cur - cur);
    } else {
        hi = std::min(hi, cur + cur);
    }
    unsigned long next = target * cur / (average == 0 ? 1 : average);
    if (next <= lo) {
        next = lo;
    } else if (next >= hi) {
        next = hi;
    }
    if (next == cur) {
        return false;
    }
    if (next == static_cast<unsigned long>(camera->GetMaxShortExposureClock())) {
        exposure = 0;
    } else {
        exposure = std::min(next, camera->GetMaxLongExposureClock());
    }
    return true;
}

bool SLuminanceModel::RunGain(unsigned average) {
    const float g = static_cast<float>(std::pow(10.0, static_cast<double>(camera->GainValue2DB(gain)) / 20.0));
    float base = static_cast<float>(average);
    if (g > 0.0F) {
        base = std::trunc(static_cast<float>(average) / g);
    }
    float w = 1.0F;
    if (base != 0.0F) {
        w = static_cast<float>(target) / base;
    } else if (target != 0) {
        w = static_cast<float>(target);
    }
    unsigned short next = 0;
    if (average > target) {
        float floor = g - g;
        if (!(floor > 0.0F)) {
            floor = 0.0001F;
        }
        if (floor > w) {
            w = floor;
        }
        next = camera->GainDB2Value(decibels(w));
        if (next >= gain) {
            next = gain == 0 ? gain : static_cast<unsigned short>(gain - 1);
        }
    } else {
        const float ceiling = g + g;
        if (w > ceiling) {
            w = ceiling;
        }
        next = camera->GainDB2Value(decibels(w));
        if (next <= gain) {
            next = gain == 65535 ? gain : static_cast<unsigned short>(gain + 1);
        }
    }
    next = std::clamp(next, std::min(minGain, maxGain), std::max(minGain, maxGain));
    if (next == gain) {
        return false;
    }
    gain = next;
    return true;
}

} // namespace vek::test
