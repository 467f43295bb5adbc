// SPDX-License-Identifier: Apache-2.0
#include "client/profiles/Temperature.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace vek::client {

namespace {

/// A line of equal correlated colour temperature: where it crosses the black body's curve in the CIE 1960 diagram, and
/// its slope there.
struct SIsotemperature {
    double mired; ///< 1e6 / kelvin
    double u;
    double v;
    double slope;
};

constexpr SIsotemperature kLines[] = {
    {0, 0.18006, 0.26352, -0.24341},   {10, 0.18066, 0.26589, -0.25479},  {20, 0.18133, 0.26846, -0.26876},
    {30, 0.18208, 0.27119, -0.28539},  {40, 0.18293, 0.27407, -0.30470},  {50, 0.18388, 0.27709, -0.32675},
    {60, 0.18494, 0.28021, -0.35156},  {70, 0.18611, 0.28342, -0.37915},  {80, 0.18740, 0.28668, -0.40955},
    {90, 0.18880, 0.28997, -0.44278},  {100, 0.19032, 0.29326, -0.47888}, {125, 0.19462, 0.30141, -0.58204},
    {150, 0.19962, 0.30921, -0.70471}, {175, 0.20525, 0.31647, -0.84901}, {200, 0.21142, 0.32312, -1.0182},
    {225, 0.21807, 0.32909, -1.2168},  {250, 0.22511, 0.33439, -1.4512},  {275, 0.23247, 0.33904, -1.7298},
    {300, 0.24010, 0.34308, -2.0637},  {325, 0.24792, 0.34655, -2.4681},  {350, 0.25591, 0.34951, -2.9641},
    {375, 0.26400, 0.35200, -3.5814},  {400, 0.27218, 0.35407, -4.3633},  {425, 0.28039, 0.35577, -5.3762},
    {450, 0.28863, 0.35714, -6.7262},  {475, 0.29685, 0.35823, -8.5955},  {500, 0.30505, 0.35907, -11.324},
    {525, 0.31320, 0.35968, -15.628},  {550, 0.32129, 0.36011, -23.325},  {575, 0.32931, 0.36038, -40.770},
    {600, 0.33724, 0.36051, -116.45},
};

/// Distance of a point from a line; positive on the side of lower temperatures.
double distance(const SIsotemperature& line, double u, double v) {
    return ((v - line.v) - line.slope * (u - line.u)) / std::hypot(1, line.slope);
}

struct SLightSource {
    unsigned code = 0;
    double temperature = 0; ///< kelvin; 0: none
    const char* name = "";
    SChromaticity white = {}; ///< 0, 0: the black body's
};

constexpr SChromaticity kD50 = {0.34567, 0.35850};
constexpr SChromaticity kD55 = {0.33242, 0.34743};
constexpr SChromaticity kD65 = {0.31272, 0.32903};
constexpr SChromaticity kD75 = {0.29902, 0.31485};
constexpr SChromaticity kStandardA = {0.44757, 0.40745};

constexpr SLightSource kLightSources[] = {
    {0, 0, "unknown"},
    {1, 5503, "daylight", kD55},
    {2, 4150, "fluorescent"},
    {3, 2856, "tungsten", kStandardA},
    {4, 5503, "flash", kD55},
    {9, 5503, "fine weather", kD55},
    {10, 6504, "cloudy weather", kD65},
    {11, 7504, "shade", kD75},
    {12, 6400, "daylight fluorescent"},   // D, 5700 to 7100 K
    {13, 5050, "day white fluorescent"},  // N, 4600 to 5500 K
    {14, 4150, "cool white fluorescent"}, // W, 3800 to 4500 K
    {15, 3525, "white fluorescent"},      // WW, 3250 to 3800 K
    {16, 2925, "warm white fluorescent"}, // L, 2600 to 3250 K
    {17, 2856, "standard light A", kStandardA},
    {18, 4874, "standard light B", {0.34842, 0.35161}},
    {19, 6774, "standard light C", {0.31006, 0.31616}},
    {20, 5503, "D55", kD55},
    {21, 6504, "D65", kD65},
    {22, 7504, "D75", kD75},
    {23, 5003, "D50", kD50},
    {24, 3200, "ISO studio tungsten"},
    {255, 0, "other light source"},
};

const SLightSource* findLightSource(unsigned code) {
    const auto* const found = std::find_if(std::begin(kLightSources), std::end(kLightSources),
                                           [=](const SLightSource& source) { return source.code == code; });
    return found != std::end(kLightSources) ? found : nullptr;
}

} // namespace

double temperatureOf(const SChromaticity& white) {
    const double scale = -white.x + 6 * white.y + 1.5;
    const double u = 2 * white.x / scale;
    const double v = 3 * white.y / scale;
    // The first line behind which the point lies: towards lower temperatures distances turn negative.
    const std::size_t last = std::size(kLines) - 1;
    std::size_t i = 1;
    while (i < last && distance(kLines[i], u, v) > 0) {
        ++i;
    }
    const double before = std::max(distance(kLines[i - 1], u, v), 0.0);
    const double behind = std::max(-distance(kLines[i], u, v), 0.0);
    const double weight = before + behind > 0 ? before / (before + behind) : 0;
    const double mired = kLines[i - 1].mired + weight * (kLines[i].mired - kLines[i - 1].mired);
    return std::clamp(1e6 / mired, kLowestTemperature, kHighestTemperature);
}

SChromaticity chromaticityOf(double temperature) {
    const double mired = 1e6 / std::clamp(temperature, kLowestTemperature, kHighestTemperature);
    const auto* const behind = std::find_if(std::next(std::begin(kLines)), std::prev(std::end(kLines)),
                                            [=](const SIsotemperature& line) { return line.mired >= mired; });
    const SIsotemperature& a = *std::prev(behind);
    const SIsotemperature& b = *behind;
    const double weight = std::clamp((mired - a.mired) / (b.mired - a.mired), 0.0, 1.0);
    const double u = a.u + weight * (b.u - a.u);
    const double v = a.v + weight * (b.v - a.v);
    const double scale = u - 4 * v + 2;
    return {1.5 * u / scale, v / scale};
}

std::optional<double> lightSourceTemperature(unsigned code) {
    const SLightSource* const source = findLightSource(code);
    return source != nullptr && source->temperature > 0 ? std::optional(source->temperature) : std::nullopt;
}

std::optional<SChromaticity> lightSourceWhite(unsigned code) {
    const SLightSource* const source = findLightSource(code);
    if (source == nullptr || source->temperature == 0) {
        return std::nullopt;
    }
    return source->white.y > 0 ? source->white : chromaticityOf(source->temperature);
}

const char* lightSourceName(unsigned code) {
    const SLightSource* const source = findLightSource(code);
    return source != nullptr ? source->name : "";
}

} // namespace vek::client
