// SPDX-License-Identifier: Apache-2.0
#include "tools/text/HistogramText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

namespace vek::tools {

std::string histogramText(std::span<const client::SColorStatistics> colors, bool logarithmic) {
    constexpr std::size_t kMostBins = 16;
    constexpr std::size_t kColumns = 80;
    constexpr std::size_t kLevelColumns = 14;
    const auto [first, last] = client::sampleRange(colors);
    std::vector<client::SHistogramBins> bins;
    std::uint64_t fullest = 1;
    for (const client::SColorStatistics& color : colors) {
        bins.push_back(client::binsOf(color.histogram, first, last, kMostBins));
        fullest = std::max(fullest, *std::max_element(bins.back().counts.begin(), bins.back().counts.end()));
    }
    const auto lengthOf = [&](std::uint64_t count) {
        return logarithmic ? std::log1p(static_cast<double>(count)) : static_cast<double>(count);
    };
    const std::size_t space = (kColumns - kLevelColumns) / colors.size();
    const std::size_t longest = space - 2;
    std::string text = fmt::format("{:<{}}", logarithmic ? "samples (log)" : "samples", kLevelColumns);
    const auto endLine = [&] {
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    };
    for (const client::SColorStatistics& color : colors) {
        text += fmt::format("{:<{}}", color.name, space);
    }
    endLine();
    for (std::size_t bin = 0; bin < bins.front().counts.size(); ++bin) {
        const std::size_t low = first + bin * bins.front().width;
        const std::size_t high = std::min<std::size_t>(low + bins.front().width - 1, last);
        text += fmt::format("{:<{}}", low == high ? fmt::format("{:>5}", low) : fmt::format("{:>5} - {}", low, high),
                            kLevelColumns);
        for (const client::SHistogramBins& of : bins) {
            const std::uint64_t count = of.counts[bin];
            const double part = lengthOf(count) / lengthOf(fullest);
            const auto length = static_cast<std::size_t>(std::lround(part * static_cast<double>(longest)));
            text += fmt::format("{:<{}}", count == 0 ? "" : length == 0 ? "." : std::string(length, '#'), space);
        }
        endLine();
    }
    return text;
}

std::string histogramLine(std::span<const client::SColorStatistics> colors, unsigned depth) {
    constexpr std::string_view kRamp = " .:-=+*#%@";
    constexpr std::size_t kCells = 40;
    std::vector<std::uint64_t> counts(kCells);
    for (const client::SColorStatistics& color : colors) {
        for (std::size_t sample = 0; sample < color.histogram.size(); ++sample) {
            counts[std::min(sample * kCells >> depth, kCells - 1)] += color.histogram[sample];
        }
    }
    const double fullest = std::log1p(static_cast<double>(*std::max_element(counts.begin(), counts.end())));
    std::string line;
    for (const std::uint64_t count : counts) {
        const double part = fullest > 0 ? std::log1p(static_cast<double>(count)) / fullest : 0;
        // Whatever is there is seen.
        const auto step = static_cast<std::size_t>(std::lround(part * static_cast<double>(kRamp.size() - 1)));
        line += kRamp[count > 0 ? std::max<std::size_t>(step, 1) : 0];
    }
    return line;
}

} // namespace vek::tools
