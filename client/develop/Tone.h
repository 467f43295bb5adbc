// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/profiles/Profile.h"

#include <cstdint>
#include <vector>

namespace vek::client {

/// What a curve makes of linear light, 0 to 1; light beyond counts as the nearer end.
double toneValue(const SToneCurve& curve, double linear);

/// The samples of a depth, 8 to 16 bits, that a curve makes of those of 12 bits. pedestal: the sample of black, below
/// 4095, which is white; exposure: factor in front of the curve.
std::vector<std::uint16_t> toneTable(const SToneCurve& curve, unsigned pedestal, double exposure, unsigned depth);

} // namespace vek::client
