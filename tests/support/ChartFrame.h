// SPDX-License-Identifier: Apache-2.0
// Frames of a colour chart as a camera with known colours sees it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

namespace vek::test {

/// X, Y, Z under D50 of the 24 patches of a ColorChecker (GretagMacbeth, 2005: CIE L*a*b* under D50), row by row.
inline constexpr double kChartXyz[24][3] = {
    {0.11519, 0.10080, 0.05088}, {0.39177, 0.34952, 0.19221}, {0.16804, 0.18358, 0.25705}, {0.10907, 0.13251, 0.05291},
    {0.24193, 0.23039, 0.33431}, {0.30422, 0.41780, 0.34602}, {0.40717, 0.31182, 0.04993}, {0.12326, 0.11263, 0.29869},
    {0.29671, 0.19376, 0.10152}, {0.08514, 0.06369, 0.10769}, {0.35361, 0.44456, 0.08949}, {0.48784, 0.43571, 0.06060},
    {0.06860, 0.05752, 0.21372}, {0.14984, 0.23184, 0.07897}, {0.21631, 0.12565, 0.03846}, {0.59340, 0.59807, 0.07192},
    {0.31075, 0.20087, 0.23556}, {0.13608, 0.19301, 0.30931}, {0.87813, 0.91314, 0.73952}, {0.56568, 0.58937, 0.48909},
    {0.34807, 0.36323, 0.30281}, {0.18439, 0.19154, 0.15911}, {0.08466, 0.08831, 0.07591}, {0.02990, 0.03105, 0.02682},
};

/// How a chart is taken.
struct SChartShot {
    std::uint32_t width = 640;
    std::uint32_t height = 480;
    /// Corners of the chart in the frame, from dark skin's on: x, y, to bluish green, black, white. The chart is 6 by 4
    /// patches with their borders, and a black rim of a quarter of a patch is around it.
    std::array<std::array<double, 2>, 4> corners = {{{110, 90}, {530, 90}, {530, 370}, {110, 370}}};
    double lightX = 0; ///< part by which the light grows from the middle of the frame to its right end
    double lightY = 0;
    double noise = 0; ///< standard deviation, samples
    double black = 0; ///< level, samples
    double white = 4095;
    double exposure = 0.8;
    std::array<std::size_t, 4> colors = {0, 1, 1, 2}; ///< red 0, green 1, blue 2 of the places of a cell: RGGB
};

/// What the camera sees of a colour, X, Y, Z of D50: 1 would be the sample at white.
inline std::array<double, 3> chartCamera(const double (&xyz)[3]) {
    constexpr double matrix[3][3] = {{0.62, 0.05, -0.04}, {-0.25, 1.15, 0.08}, {0.02, 0.06, 0.66}};
    std::array<double, 3> camera{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t i = 0; i < 3; ++i) {
            camera[row] += matrix[row][i] * xyz[i];
        }
    }
    return camera;
}

/// Raw samples of a shot, which are the same every time.
inline std::vector<std::uint16_t> chartFrame(const SChartShot& shot) {
    // From the frame to the chart: the homography of the unit square to the corners (P. Heckbert, Fundamentals of
    // texture mapping and image warping, 1989), and its inverse by the adjugate.
    const auto& [p0, p1, p2, p3] = shot.corners;
    const double sx = p0[0] - p1[0] + p2[0] - p3[0];
    const double sy = p0[1] - p1[1] + p2[1] - p3[1];
    const double dx1 = p1[0] - p2[0];
    const double dx2 = p3[0] - p2[0];
    const double dy1 = p1[1] - p2[1];
    const double dy2 = p3[1] - p2[1];
    const double determinant = dx1 * dy2 - dx2 * dy1;
    const double g = (sx * dy2 - dx2 * sy) / determinant;
    const double h = (dx1 * sy - sx * dy1) / determinant;
    const double a = p1[0] - p0[0] + g * p1[0];
    const double b = p3[0] - p0[0] + h * p3[0];
    const double c = p0[0];
    const double d = p1[1] - p0[1] + g * p1[1];
    const double e = p3[1] - p0[1] + h * p3[1];
    const double f = p0[1];
    constexpr double paper[3] = {0.45, 0.47, 0.39};
    constexpr double rim[3] = {0.025, 0.026, 0.021};
    std::mt19937 random(7);
    const auto gauss = [&] { // sum of twelve: about normal, the same on every machine
        double sum = -6;
        for (int i = 0; i < 12; ++i) {
            sum += static_cast<double>(random()) / 4294967295.0;
        }
        return sum;
    };
    std::vector<std::uint16_t> samples;
    samples.reserve(std::size_t{shot.width} * shot.height);
    for (std::uint32_t y = 0; y < shot.height; ++y) {
        for (std::uint32_t x = 0; x < shot.width; ++x) {
            const double fx = x + 0.5;
            const double fy = y + 0.5;
            const double u = (e - f * h) * fx + (c * h - b) * fy + (b * f - c * e);
            const double v = (f * g - d) * fx + (a - c * g) * fy + (c * d - a * f);
            const double w = (d * h - e * g) * fx + (b * g - a * h) * fy + (a * e - b * d);
            const double column = 6 * u / w;
            const double row = 4 * v / w;
            const double(*surface)[3] = &paper;
            if (column > -0.25 && column < 6.25 && row > -0.25 && row < 4.25) {
                surface = &rim;
                if (column > 0 && column < 6 && row > 0 && row < 4) {
                    const auto i = static_cast<std::size_t>(column);
                    const auto j = static_cast<std::size_t>(row);
                    const double inX = column - static_cast<double>(i) - 0.5;
                    const double inY = row - static_cast<double>(j) - 0.5;
                    if (inX > -0.43 && inX < 0.43 && inY > -0.43 && inY < 0.43) {
                        surface = &kChartXyz[6 * j + i];
                    }
                }
            }
            const double light = 1 + shot.lightX * (2 * fx / shot.width - 1) + shot.lightY * (2 * fy / shot.height - 1);
            const double camera = chartCamera(*surface)[shot.colors[y % 2 * 2 + x % 2]];
            double sample = shot.black + (shot.white - shot.black) * shot.exposure * light * camera;
            sample += shot.noise > 0 ? shot.noise * gauss() : 0;
            sample = sample < 0 ? 0 : sample > shot.white ? shot.white : sample;
            samples.push_back(static_cast<std::uint16_t>(sample + 0.5));
        }
    }
    return samples;
}

} // namespace vek::test
