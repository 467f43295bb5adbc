// SPDX-License-Identifier: Apache-2.0
#include "client/calibration/ColorDifference.h"

#include <algorithm>
#include <cmath>

namespace vek::client {

namespace {

constexpr double kPi = 3.14159265358979323846;

// The curve of lightness is a cube root down to (6/29)^3 and the tangent there below (CIE 15).
constexpr double kKnee = 6.0 / 29;
constexpr double kFoot = 4.0 / 29;

double compressed(double value) {
    return value > kKnee * kKnee * kKnee ? std::cbrt(value) : value / (3 * kKnee * kKnee) + kFoot;
}

double expanded(double value) {
    return value > kKnee ? value * value * value : 3 * kKnee * kKnee * (value - kFoot);
}

double radians(double degrees) {
    return degrees * kPi / 180;
}

/// x^7 / (x^7 + 25^7), its root.
double chromaShare(double chroma) {
    const double power = std::pow(chroma, 7);
    return std::sqrt(power / (power + std::pow(25.0, 7)));
}

/// Angle of a hue, 0 to 2 pi; 0 of grey.
double hueOf(double a, double b) {
    if (a == 0 && b == 0) {
        return 0;
    }
    const double hue = std::atan2(b, a);
    return hue < 0 ? hue + 2 * kPi : hue;
}

} // namespace

Lab labOf(const Vector3& xyz) {
    const double x = compressed(xyz[0] / kWhiteD50[0]);
    const double y = compressed(xyz[1] / kWhiteD50[1]);
    const double z = compressed(xyz[2] / kWhiteD50[2]);
    return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

Vector3 xyzOfLab(const Lab& lab) {
    const double y = (lab[0] + 16) / 116;
    return {kWhiteD50[0] * expanded(y + lab[1] / 500), kWhiteD50[1] * expanded(y),
            kWhiteD50[2] * expanded(y - lab[2] / 200)};
}

Vector3 differenceParts(const Lab& a, const Lab& b) {
    const double stretch = 0.5 * (1 - chromaShare((std::hypot(a[1], a[2]) + std::hypot(b[1], b[2])) / 2));
    const double aOfA = (1 + stretch) * a[1];
    const double aOfB = (1 + stretch) * b[1];
    const double chromaA = std::hypot(aOfA, a[2]);
    const double chromaB = std::hypot(aOfB, b[2]);
    const double hueA = hueOf(aOfA, a[2]);
    const double hueB = hueOf(aOfB, b[2]);

    // Grey has no hue: then the other one's counts as the mean, and there is no difference.
    const bool hued = chromaA * chromaB != 0;
    double turn = hued ? hueB - hueA : 0;
    double hue = hueA + hueB;
    if (hued) {
        // Half a turn exactly counts as no more than that, whatever the last bit of its two angles makes of it.
        constexpr double kHalfTurn = kPi * (1 + 1e-15);
        if (std::abs(turn) > kHalfTurn) {
            turn += turn > 0 ? -2 * kPi : 2 * kPi;
            hue += hue < 2 * kPi ? 2 * kPi : -2 * kPi;
        }
        hue /= 2;
    }

    const double lightness = (a[0] + b[0]) / 2 - 50;
    const double chroma = (chromaA + chromaB) / 2;
    const double tint = 1 - 0.17 * std::cos(hue - radians(30)) + 0.24 * std::cos(2 * hue) +
                        0.32 * std::cos(3 * hue + radians(6)) - 0.20 * std::cos(4 * hue - radians(63));
    const double lightnessWeight = 1 + 0.015 * lightness * lightness / std::sqrt(20 + lightness * lightness);
    const double chromaWeight = 1 + 0.045 * chroma;
    const double hueWeight = 1 + 0.015 * chroma * tint;
    const double blue = (hue - radians(275)) / radians(25);
    const double rotation = -std::sin(radians(60) * std::exp(-blue * blue)) * 2 * chromaShare(chroma);

    const double lightnessPart = (b[0] - a[0]) / lightnessWeight;
    const double chromaPart = (chromaB - chromaA) / chromaWeight;
    const double huePart = 2 * std::sqrt(chromaA * chromaB) * std::sin(turn / 2) / hueWeight;
    // c^2 + h^2 + r c h = (c + r/2 h)^2 + (1 - r^2/4) h^2, and r is never beyond 2.
    return {lightnessPart, chromaPart + rotation / 2 * huePart,
            huePart * std::sqrt(std::max(0.0, 1 - rotation * rotation / 4))};
}

double colorDifference(const Lab& a, const Lab& b) {
    const Vector3 parts = differenceParts(a, b);
    return std::hypot(parts[0], parts[1], parts[2]);
}

} // namespace vek::client
