// SPDX-License-Identifier: Apache-2.0
#include "client/develop/DngProfile.h"

#include "client/stages/Calibration.h"
#include "formats/ColorArrays.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace vek::client {

namespace {

DngMatrix flat(const Matrix3& matrix) {
    DngMatrix values{};
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = matrix[i / 3][i % 3];
    }
    return values;
}

std::vector<SDngColors> colorsOf(const SProfile& profile) {
    std::vector<SDngColors> colors;
    for (const SCalibratedColors& known : profile.colors) {
        if (known.color) {
            SDngColors light{static_cast<unsigned short>(known.illuminant), flat(*known.color)};
            if (known.forward) {
                light.forwardMatrix = flat(*known.forward);
            }
            colors.push_back(light);
        }
    }
    std::stable_partition(colors.begin(), colors.end(),
                          [](const SDngColors& light) { return light.light == kLightD65; });
    return colors;
}

std::vector<double> blackOf(const SBlackLevels& levels, bool bayer) {
    const std::array<double, 4> black = levels.ByPhase();
    if (!bayer) {
        return {(black[0] + black[1] + black[2] + black[3]) / 4};
    }
    const bool alike = std::ranges::all_of(black, [&](double level) { return level == black[0]; });
    return alike ? std::vector<double>{black[0]} : std::vector<double>(black.begin(), black.end());
}

/// Gains of the places of a cell over a grid of points, from the means of a flat frame around each of them; at the
/// centre they are 1.
std::vector<SGainMap> gainMapsOf(const SCalibration& flatFrame, bool bayer) {
    constexpr std::uint32_t kMostPoints = 33;
    const SImage& mean = flatFrame.mean;
    const std::uint32_t step = bayer ? 2 : 1;
    const auto points = [&](std::uint32_t side) { return std::clamp<std::uint32_t>(side / step / 8, 2, kMostPoints); };
    const std::uint32_t rows = points(mean.height);
    const std::uint32_t columns = points(mean.width);
    // Mean of the samples of a phase in a cell of the grid around a point.
    const auto level = [&](unsigned phase, double y, double x) {
        const auto range = [&](double at, std::uint32_t side, std::uint32_t count) {
            const double half = 0.5 / (count - 1);
            const auto low = static_cast<std::size_t>(std::clamp((at - half) * side, 0.0, side - 2.0));
            const auto high =
                static_cast<std::size_t>(std::clamp((at + half) * side, static_cast<double>(low) + 2, 1.0 * side));
            return std::pair(low, high);
        };
        const auto [top, bottom] = range(y, mean.height, rows);
        const auto [left, right] = range(x, mean.width, columns);
        double sum = 0;
        double count = 0;
        for (std::size_t row = top; row < bottom; ++row) {
            for (std::size_t column = left; column < right; ++column) {
                if (!bayer || 2 * (row % 2) + column % 2 == phase) {
                    sum += mean.samples[row * mean.width + column];
                    ++count;
                }
            }
        }
        return count > 0 ? std::max(sum / count, 1.0) : 1.0;
    };
    std::vector<SGainMap> maps;
    for (unsigned phase = 0; phase < (bayer ? 4U : 1U); ++phase) {
        const double centre = level(phase, 0.5, 0.5);
        std::vector<float> gains;
        gains.reserve(std::size_t{rows} * columns);
        for (std::uint32_t row = 0; row < rows; ++row) {
            for (std::uint32_t column = 0; column < columns; ++column) {
                gains.push_back(
                    static_cast<float>(centre / level(phase, 1.0 * row / (rows - 1), 1.0 * column / (columns - 1))));
            }
        }
        maps.push_back(gainMapOf(bayer ? std::optional(phase) : std::nullopt, mean.width, mean.height, rows, columns,
                                 std::move(gains)));
    }
    return maps;
}

} // namespace

void takeProfile(SDngFrame& frame, const SProfile& profile) {
    SDngTags& tags = frame.tags;
    const bool bayer = isBayer(frame.colorArray);
    tags.cameraModel = profile.cameraModel.value_or(tags.cameraModel);
    tags.linearization = profile.linearization;
    if (profile.blackLevel && !profile.blackLevel->levels.empty()) {
        tags.black = blackOf(*profile.blackLevel, bayer);
    }
    tags.white = profile.WhiteLevel().value_or(tags.white);
    std::vector<SDngColors> colors = colorsOf(profile);
    if (bayer && !colors.empty()) {
        tags.colors = std::move(colors);
    }
    if (bayer) {
        tags.neutral = profile.asShotNeutral;
    }
    tags.noise.clear();
    for (const SNoise& noise : profile.noise) {
        tags.noise.insert(tags.noise.end(), {noise.scale, noise.offset});
    }
    if (!profile.shadingMap.empty()) {
        const SCalibration flatFrame = readCalibration(profile.shadingMap, "flat");
        requireMatch(flatFrame, profile.shadingMap, *flatFrame.format, frame.width, frame.height, frame.colorArray);
        tags.gainMaps = gainMapsOf(flatFrame, bayer);
    }
}

} // namespace vek::client
