// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/profiles/Matrix.h"

namespace vek::client {

/// Colours of a pixel of which some are saturated. They are linear and balanced, 1 being the sample of the colour that
/// is saturated first; what is above is faded to grey by as much as saturation at 1 would take of its colour.
Vector3 blendedHighlights(const Vector3& color);

/// Brightness that a shoulder takes into 0 .. 1: unchanged up to 0.8, rolled off above, 1 at most, which is 1 or more.
double rolledOff(double brightness, double most);

} // namespace vek::client
