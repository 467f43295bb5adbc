// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Analogue gain of a gain setting value, dB. gainType: the gain curve that the camera description names, 1..5;
/// any other is the default curve. docs/units.md lists the curves.
float gainDbFromValue(unsigned long gainType, unsigned short value);

/// Gain setting value for a gain in dB, 0 .. maxGain, the fraction cut off. Not the inverse of gainDbFromValue in
/// three places, on purpose: type 4 uses the default curve, type 5 divides by 0.351 where the other way multiplies
/// by 0.0351, and type 3 gives multiples of 64 only.
unsigned short gainValueFromDb(unsigned long gainType, float dB, unsigned short maxGain);

} // namespace vek
