// SPDX-License-Identifier: Apache-2.0
#include "sim/PortableMath.h"

#include <cmath>

namespace vek::sim {

namespace {

constexpr double kLn2High = 6.93147180369123816490e-01; // ln 2 with 21 zero bits at the end: k * high is exact
constexpr double kLn2Low = 1.90821492927058770002e-10;
constexpr double kLn10Over20 = 0.11512925464970228420;
constexpr double kPi = 3.14159265358979323846;

} // namespace

double portableExp(double x) {
    const double k = std::floor(x / (kLn2High + kLn2Low) + 0.5);
    const double r = (x - k * kLn2High) - k * kLn2Low; // |r| <= ln 2 / 2
    double sum = 1.0;
    for (int n = 16; n > 0; --n) { // Taylor series by Horner; the first term left out is below 1e-22
        sum = 1.0 + r / n * sum;
    }
    return std::ldexp(sum, static_cast<int>(k));
}

double portableCos(double x) {
    double r = std::fabs(x);
    r -= std::floor(r / (2.0 * kPi)) * (2.0 * kPi);
    r = r > kPi ? 2.0 * kPi - r : r; // 0 .. pi
    const bool negative = r > kPi / 2.0;
    r = negative ? kPi - r : r; // 0 .. pi / 2
    double sum = 1.0;
    for (int n = 20; n > 0; n -= 2) {
        sum = 1.0 - r * r / (n * (n - 1.0)) * sum;
    }
    return negative ? -sum : sum;
}

double portableSin(double x) {
    return portableCos(x - kPi / 2.0);
}

double portableDbToLinear(double db) {
    return portableExp(db * kLn10Over20);
}

} // namespace vek::sim
