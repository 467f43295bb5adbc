// SPDX-License-Identifier: Apache-2.0
#include "client/develop/Highlights.h"

#include <algorithm>
#include <cmath>

namespace vek::client {

namespace {

double meanOf(const Vector3& color) {
    return (color[0] + color[1] + color[2]) / 3;
}

/// Distance from grey, squared.
double chromaOf(const Vector3& color) {
    const double mean = meanOf(color);
    double sum = 0;
    for (const double value : color) {
        sum += (value - mean) * (value - mean);
    }
    return sum;
}

} // namespace

Vector3 blendedHighlights(const Vector3& color) {
    if (*std::ranges::max_element(color) <= 1) {
        return color;
    }
    Vector3 clipped = color;
    for (double& value : clipped) {
        value = std::min(value, 1.0);
    }
    const double chroma = chromaOf(color);
    const double kept = chroma > 0 ? std::sqrt(std::min(chromaOf(clipped) / chroma, 1.0)) : 0;
    const double mean = meanOf(color);
    Vector3 blended{};
    std::ranges::transform(color, blended.begin(), [&](double value) { return mean + (value - mean) * kept; });
    return blended;
}

double rolledOff(double brightness, double most) {
    constexpr double kShoulder = 0.8;
    if (brightness <= kShoulder) {
        return brightness;
    }
    // The extended operator of Reinhard et al. (Photographic tone reproduction for digital images, 2002).
    const double end = (most - kShoulder) / (1 - kShoulder);
    const double above = (brightness - kShoulder) / (1 - kShoulder);
    return std::min(kShoulder + (1 - kShoulder) * above * (1 + above / (end * end)) / (1 + above), 1.0);
}

} // namespace vek::client
