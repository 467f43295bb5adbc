// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>

namespace vek::test {

/// One entry of a luma table by its rule. Components beyond the 4196 entries count as the last one.
inline unsigned modelLumaShare(unsigned component, double weight) {
    const unsigned index = component > 4195 ? 4195 : component;
    return static_cast<unsigned>(std::floor(index * weight + 0.5));
}

/// Luma of a pixel, ITU-R BT.601 weights, each share rounded by itself.
inline unsigned modelLuma(unsigned blue, unsigned green, unsigned red) {
    return modelLumaShare(blue, 0.114) + modelLumaShare(green, 0.587) + modelLumaShare(red, 0.299);
}

} // namespace vek::test
