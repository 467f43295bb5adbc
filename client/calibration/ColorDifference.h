// SPDX-License-Identifier: Apache-2.0
// CIE 1976 L*a*b* and how far apart two of its colours look.
#pragma once

#include "client/profiles/Matrix.h"
#include "client/profiles/Temperature.h"

namespace vek::client {

/// L* (0 to 100 of surfaces), a*, b* (CIE 15).
using Lab = Vector3;

/// Of XYZ under D50, white being Y = 1. Colours darker than black follow the straight line that the curve begins with.
Lab labOf(const Vector3& xyz);
/// The way back.
Vector3 xyzOfLab(const Lab& lab);

/// CIEDE2000 with all weights 1, after Sharma, Wu and Dalal, The CIEDE2000 color-difference formula: implementation
/// notes, supplementary test data, and mathematical observations, Color Res. Appl. 30, 2005.
double colorDifference(const Lab& a, const Lab& b);

/// Three numbers, of lightness, chroma and hue, the root of whose squares' sum is colorDifference: where the difference
/// has a kink in 0, they pass through it smoothly, as a fit by least squares needs it.
Vector3 differenceParts(const Lab& a, const Lab& b);

} // namespace vek::client
