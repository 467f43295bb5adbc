// SPDX-License-Identifier: Apache-2.0
#include "client/profiles/TuningFile.h"

#include "client/Errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace vek::client {

namespace {

constexpr double kSteps = 100000; // five decimals

/// Five decimals each. What rounding leaves of the sum goes to the row's own colour.
Vector3 rounded(const Vector3& row, std::size_t own) {
    std::array<double, 3> steps{};
    double others = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
        steps[i] = std::round(row[i] * kSteps);
        others += i == own ? 0 : steps[i];
    }
    steps[own] = kSteps - others;
    return {steps[0] / kSteps, steps[1] / kSteps, steps[2] / kSteps};
}

} // namespace

std::string libcameraTuning(const SProfile& profile) {
    std::vector<std::pair<double, Matrix3>> matrices;
    for (const SCalibratedColors& colors : profile.colors) {
        if (!colors.color && !colors.forward) {
            continue;
        }
        const std::optional<SChromaticity> white = lightSourceWhite(colors.illuminant);
        if (!white) {
            throw CFailure("a calibration illuminant is missing, or has no temperature");
        }
        matrices.emplace_back(*lightSourceTemperature(colors.illuminant), balancedToSrgb(profile.colors, *white));
    }
    if (matrices.empty()) {
        throw CFailure("there is neither \"ColorMatrix1\" nor \"ForwardMatrix1\"");
    }
    std::sort(matrices.begin(), matrices.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string text = "%YAML 1.1\n---\nversion: 1\nalgorithms:\n  - Ccm:\n      "
                       "ccms:\n";
    for (const auto& [temperature, matrix] : matrices) {
        text += fmt::format("        - ct: {:.0f}\n          ccm: [", temperature);
        for (std::size_t i = 0; i < matrix.size(); ++i) {
            const Vector3 row = rounded(matrix[i], i);
            text += fmt::format("{}{:8.5f}, {:8.5f}, {:8.5f}", i == 0 ? " " : ",\n                 ", row[0], row[1],
                                row[2]);
        }
        text += " ]\n";
    }
    return text + "...\n";
}

} // namespace vek::client
