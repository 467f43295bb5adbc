// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VekTrgApi.h>

#include <optional>

namespace vek::client {

/// The library's conversions between a camera's units and seconds, decibels and factors. Each throws CFailure when the
/// library refuses.
class CUnitConverter {
public:
    /// camera: a handle of the library that outlives the converter.
    explicit CUnitConverter(VekCam_Handle camera) : mCamera(camera) {}

    unsigned long Clocks(float seconds) const;
    float Seconds(unsigned long clocks) const;
    float Decibels(unsigned short gain) const;
    /// The setting value whose gain is nearest; curves rise, but not evenly, and have no formula for the way back here.
    unsigned short NearestGain(float decibels) const;
    unsigned short DigitalGain(float times) const;
    float DigitalTimes(unsigned short value) const;
    /// Lines. Nothing: the camera has no blanking setting.
    std::optional<unsigned long> VBlank(float fps) const;
    /// Limits of gain, setting values, as a fresh handle has them.
    unsigned short MinGain() const;
    unsigned short MaxGain() const;

private:
    VekCam_Handle mCamera;
};

} // namespace vek::client
