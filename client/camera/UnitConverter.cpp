// SPDX-License-Identifier: Apache-2.0
#include "client/camera/UnitConverter.h"

#include "client/Errors.h"

#include <fmt/format.h>

#include <cmath>

namespace vek::client {

namespace {

/// What a function of the library gives for its arguments; done: its status then.
template <class Result, class... Parameters, class... Arguments>
Result converted(int done, int (*function)(VekCam_Handle, Parameters...), VekCam_Handle camera,
                 Arguments... arguments) {
    Result result = 0;
    if (const int status = function(camera, arguments..., &result); status != done) {
        throw CFailure(fmt::format("the library refused a conversion: {}", status));
    }
    return result;
}

} // namespace

unsigned long CUnitConverter::Clocks(float seconds) const {
    return converted<unsigned long>(1, VekCam_GetExposureClockFromTime, mCamera, seconds);
}

float CUnitConverter::Seconds(unsigned long clocks) const {
    return converted<float>(1, VekCam_GetExposureTimeFromClock, mCamera, clocks);
}

float CUnitConverter::Decibels(unsigned short gain) const {
    return converted<float>(VEK_OK, VekCam_GetGainDBFromSettingValue, mCamera, gain);
}

unsigned short CUnitConverter::NearestGain(float decibels) const {
    unsigned short nearest = MinGain();
    for (unsigned value = nearest; value <= MaxGain(); ++value) {
        const auto candidate = static_cast<unsigned short>(value);
        if (std::abs(Decibels(candidate) - decibels) < std::abs(Decibels(nearest) - decibels)) {
            nearest = candidate;
        }
    }
    return nearest;
}

unsigned short CUnitConverter::DigitalGain(float times) const {
    return converted<unsigned short>(1, VekCam_GetDigitalGainSettingValueFromGainTimes, mCamera, times);
}

float CUnitConverter::DigitalTimes(unsigned short value) const {
    return converted<float>(1, VekCam_GetDigitalGainTimesFromSettingValue, mCamera, value);
}

std::optional<unsigned long> CUnitConverter::VBlank(float fps) const {
    unsigned long lines = 0;
    return VekCam_GetVBlankFromFPS(mCamera, fps, &lines) == VEK_OK ? std::optional(lines) : std::nullopt;
}

unsigned short CUnitConverter::MinGain() const {
    return converted<unsigned short>(1, VekCam_GetAGCMinGain, mCamera);
}

unsigned short CUnitConverter::MaxGain() const {
    return converted<unsigned short>(1, VekCam_GetAGCMaxGain, mCamera);
}

} // namespace vek::client
