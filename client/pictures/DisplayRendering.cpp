// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/DisplayRendering.h"

#include <algorithm>
#include <cmath>

namespace vek::client {

double sRgbCurve(double linear) {
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
}

namespace {

/// A channel's rendering, for every sample that the depth has.
std::vector<std::uint16_t> renderingTable(unsigned sourceDepth, const SDisplayLevels& levels, double gain,
                                          unsigned short depth) {
    std::vector<std::uint16_t> table(std::size_t{1} << sourceDepth);
    const double scale = gain / (levels.white - levels.black);
    const double largest = maxSample(depth);
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double linear = std::clamp((static_cast<double>(i) - levels.black) * scale, 0.0, 1.0);
        table[i] = static_cast<std::uint16_t>(std::lround(sRgbCurve(linear) * largest));
    }
    return table;
}

} // namespace

Gains grayWorldGains(const SImage& image, const SDisplayLevels& levels) {
    if (image.channels != 3) {
        return {1, 1, 1};
    }
    const double range = levels.white - levels.black;
    const double darkest = levels.black + 0.02 * range;
    const double brightest = levels.black + 0.95 * range;
    Gains sums = {0, 0, 0};
    for (std::size_t i = 0; i < image.samples.size(); i += 3) {
        const auto [low, high] = std::minmax({image.samples[i], image.samples[i + 1], image.samples[i + 2]});
        if (low < darkest || high > brightest) {
            continue;
        }
        for (std::size_t c = 0; c < 3; ++c) {
            sums[c] += image.samples[i + c] - levels.black;
        }
    }
    const double strongest = *std::max_element(sums.begin(), sums.end());
    const double weakest = *std::min_element(sums.begin(), sums.end());
    if (weakest <= 0) {
        return {1, 1, 1};
    }
    return {strongest / sums[0], strongest / sums[1], strongest / sums[2]};
}

double brightLevel(const SImage& image, const SDisplayLevels& levels, const Gains& gains) {
    // Counted by the strongest balanced channel, so that no colour clips before the level is reached.
    constexpr std::size_t kSteps = 4096;
    std::vector<std::size_t> counts(kSteps + 1);
    const double toStep = kSteps / (levels.white - levels.black);
    const std::size_t pixels = image.samples.size() / image.channels;
    for (std::size_t i = 0; i < image.samples.size(); i += image.channels) {
        double strongest = 0;
        for (std::size_t c = 0; c < image.channels; ++c) {
            const double gain = image.channels == 3 ? gains[c] : 1.0;
            strongest = std::max(strongest, (image.samples[i + c] - levels.black) * gain);
        }
        ++counts[static_cast<std::size_t>(std::clamp(strongest * toStep, 0.0, static_cast<double>(kSteps)))];
    }
    std::size_t above = 0;
    std::size_t step = kSteps;
    while (step > 1 && above + counts[step] <= pixels / 200) {
        above += counts[step];
        --step;
    }
    return levels.black + static_cast<double>(step) / toStep;
}

SImage renderForDisplay(const SImage& image, const SDisplayLevels& levels, const Gains& gains, unsigned short depth) {
    SImage rendered{image.width, image.height, image.channels, depth, {}};
    rendered.samples.resize(image.samples.size());
    for (std::size_t c = 0; c < image.channels; ++c) {
        const double gain = image.channels == 3 ? gains[c] : 1.0;
        const std::vector<std::uint16_t> table = renderingTable(image.depth, levels, gain, depth);
        for (std::size_t i = c; i < image.samples.size(); i += image.channels) {
            rendered.samples[i] = table[image.samples[i]];
        }
    }
    return rendered;
}

SDisplayLevels SLook::levels(unsigned depth, double sensorBlack, unsigned sensorDepth) const {
    // Bits that were dropped cost half a step on average.
    const double dropped = sensorDepth > depth ? 0.5 : 0.0;
    const double black = std::ldexp(sensorBlack, static_cast<int>(depth) - static_cast<int>(sensorDepth)) - dropped;
    return {black, black + white * (maxSample(depth) - black)};
}

} // namespace vek::client
