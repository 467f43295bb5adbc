// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Gain factor of a digital gain setting value, which is first limited to maxValue. 64 steps are a factor of 1;
/// fromOne: the camera counts from a factor of 1 on, not from 0.
float digitalGainTimesFromValue(bool fromOne, unsigned short value, unsigned short maxValue);

/// Nearest setting value for a gain factor, 0 .. maxValue.
unsigned short digitalGainValueFromTimes(bool fromOne, float times, unsigned short maxValue);

} // namespace vek
