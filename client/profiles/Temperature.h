// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/profiles/Matrix.h"

#include <optional>

namespace vek::client {

/// CIE 1931 chromaticity.
struct SChromaticity {
    double x = 0;
    double y = 0;
};

/// The white of the profile connection space, as ICC.1 has it: X, Y, Z of D50.
inline constexpr Vector3 kWhiteD50 = {0.9642, 1, 0.8249};

/// Of X, Y and Z, whose sum is not 0.
constexpr SChromaticity chromaticityOf(const Vector3& xyz) {
    const double sum = xyz[0] + xyz[1] + xyz[2];
    return {xyz[0] / sum, xyz[1] / sum};
}
/// X, Y = 1 and Z of a chromaticity whose y is not 0.
constexpr Vector3 xyzOf(const SChromaticity& white) {
    return {white.x / white.y, 1, (1 - white.x - white.y) / white.y};
}

/// Kelvin; where the chromaticity lies beyond the ends of Robertson's table: these. 1667 K is its lowest.
inline constexpr double kLowestTemperature = 1e6 / 600;
inline constexpr double kHighestTemperature = 1e6;

/// Correlated colour temperature, kelvin, by Robertson's isotemperature lines (A. R. Robertson, Computation of
/// correlated color temperature and distribution temperature, J. Opt. Soc. Am. 58, 1968; the table as Wyszecki and
/// Stiles print it, Color Science, 1982, with the line of 325 mired mended).
double temperatureOf(const SChromaticity& white);

/// The black body's chromaticity at a temperature, kelvin, by the same table, so that temperatureOf tells it again.
SChromaticity chromaticityOf(double temperature);

/// Correlated colour temperature of a light source of the Exif standard (CIPA DC-008, tag LightSource), kelvin: that of
/// the CIE's illuminants A, D50, D55, D65 and D75, of other sources the middle of the range that the standard gives.
/// Nothing for unknown sources and those without a temperature.
std::optional<double> lightSourceTemperature(unsigned code);

/// The white of such a source: the chromaticity that the CIE gives (CIE 15, 2 degrees), of sources without one the
/// black body's at their temperature.
std::optional<SChromaticity> lightSourceWhite(unsigned code);

/// What the standard calls it; empty where it knows no such code.
const char* lightSourceName(unsigned code);

} // namespace vek::client
