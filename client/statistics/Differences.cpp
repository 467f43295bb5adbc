// SPDX-License-Identifier: Apache-2.0
#include "client/statistics/Differences.h"

#include "client/statistics/ColorCells.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace vek::client {

namespace {

/// Sums over samples; the square of a distance is below 2^32, a frame has fewer than 2^34 samples.
struct SSums {
    std::uint64_t absolute = 0;
    std::int64_t difference = 0;
    double squares = 0;
};

void finish(SColorDifferences& color, const SSums& sums, unsigned short depth) {
    const auto count = static_cast<double>(std::max<std::uint64_t>(color.count, 1));
    const double peak = maxSample(depth);
    color.meanAbsolute = static_cast<double>(sums.absolute) / count;
    color.meanSigned = static_cast<double>(sums.difference) / count;
    color.psnr = sums.squares > 0 ? 10 * std::log10(peak * peak * count / sums.squares)
                                  : std::numeric_limits<double>::infinity();
}

} // namespace

SDifferences differencesOf(const SImage& a, const SImage& b, unsigned short colorArray, unsigned short depth,
                           unsigned tolerance) {
    const CColorCells cells(a.channels, colorArray);
    SDifferences result;
    result.all.name = "all";
    result.colors.resize(cells.Count());
    std::vector<SSums> sums(cells.Count());
    for (std::uint32_t y = 0; y < a.height; ++y) {
        const std::vector<std::size_t> colors = cells.OfRow(y);
        const std::size_t row = y * a.RowSamples();
        for (std::size_t i = 0; i < a.RowSamples(); ++i) {
            const std::size_t color = colors[i % colors.size()];
            SColorDifferences& found = result.colors[color];
            ++found.count;
            const int difference = int{b.samples[row + i]} - int{a.samples[row + i]};
            if (difference == 0) {
                continue;
            }
            const auto distance = static_cast<unsigned>(std::abs(difference));
            ++found.differing;
            found.beyond += distance > tolerance ? 1 : 0;
            if (distance > found.largest) {
                found.largest = distance;
                found.x = static_cast<std::uint32_t>(i / a.channels);
                found.y = y;
            }
            sums[color].absolute += distance;
            sums[color].difference += difference;
            sums[color].squares += static_cast<double>(distance) * distance;
        }
    }
    SSums total;
    for (std::size_t i = 0; i < sums.size(); ++i) {
        SColorDifferences& color = result.colors[i];
        color.name = cells.Name(i);
        finish(color, sums[i], depth);
        SColorDifferences& all = result.all;
        all.count += color.count;
        all.differing += color.differing;
        all.beyond += color.beyond;
        const bool earlier = color.y < all.y || (color.y == all.y && color.x < all.x);
        if (color.largest > all.largest || (color.largest == all.largest && earlier)) {
            all.largest = color.largest;
            all.x = color.x;
            all.y = color.y;
        }
        total.absolute += sums[i].absolute;
        total.difference += sums[i].difference;
        total.squares += sums[i].squares;
    }
    finish(result.all, total, depth);
    return result;
}

SImage differenceMap(const SImage& a, const SImage& b, unsigned largest) {
    SImage map{a.width, a.height, a.channels, 8, std::vector<std::uint16_t>(a.samples.size())};
    constexpr unsigned kBrightest = 255;
    for (std::size_t i = 0; i < map.samples.size(); ++i) {
        const auto distance = static_cast<unsigned>(std::abs(int{b.samples[i]} - int{a.samples[i]}));
        const unsigned long scaled =
            (2UL * distance * (kBrightest - kFaintest) + largest) / (2UL * std::max(largest, 1U));
        map.samples[i] = static_cast<std::uint16_t>(distance == 0 ? 0 : kFaintest + scaled);
    }
    return map;
}

} // namespace vek::client
