// SPDX-License-Identifier: Apache-2.0
#include "client/develop/Tone.h"

#include "client/pictures/DisplayRendering.h"
#include "client/pictures/Image.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace vek::client {

namespace {

/// ITU-R BT.709, opto-electronic transfer characteristic.
double bt709Curve(double linear) {
    return linear < 0.018 ? 4.5 * linear : 1.099 * std::pow(linear, 0.45) - 0.099;
}

double tableValue(const std::vector<double>& table, double linear) {
    const double at = linear * static_cast<double>(table.size() - 1);
    const auto below = std::min(static_cast<std::size_t>(at), table.size() - 2);
    return std::lerp(table[below], table[below + 1], at - static_cast<double>(below));
}

} // namespace

double toneValue(const SToneCurve& curve, double linear) {
    const double light = std::clamp(linear, 0.0, 1.0);
    switch (curve.kind) {
    case SToneCurve::EKind::Srgb:
        return sRgbCurve(light);
    case SToneCurve::EKind::Bt709:
        return bt709Curve(light);
    case SToneCurve::EKind::Gamma:
        return std::pow(light, 1 / curve.gamma);
    case SToneCurve::EKind::Table:
        return tableValue(curve.table, light);
    case SToneCurve::EKind::Linear:
        break;
    }
    return light;
}

std::vector<std::uint16_t> toneTable(const SToneCurve& curve, unsigned pedestal, double exposure, unsigned depth) {
    constexpr unsigned kLargest12 = 4095;
    std::vector<std::uint16_t> table(kLargest12 + 1);
    const double scale = exposure / (kLargest12 - pedestal);
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double linear = (static_cast<double>(i) - pedestal) * scale;
        table[i] = static_cast<std::uint16_t>(std::lround(toneValue(curve, linear) * maxSample(depth)));
    }
    return table;
}

} // namespace vek::client
