// SPDX-License-Identifier: Apache-2.0
#include "client/statistics/Histogram.h"

#include <algorithm>

namespace vek::client {

SHistogramBins binsOf(std::span<const std::uint64_t> histogram, unsigned first, unsigned last, std::size_t most) {
    const std::size_t samples = std::size_t{last} - first + 1;
    SHistogramBins bins;
    bins.first = first;
    bins.width = static_cast<unsigned>((samples + most - 1) / most);
    bins.counts.resize((samples + bins.width - 1) / bins.width);
    for (std::size_t i = 0; i < samples && first + i < histogram.size(); ++i) {
        bins.counts[i / bins.width] += histogram[first + i];
    }
    return bins;
}

std::pair<unsigned, unsigned> sampleRange(std::span<const SColorStatistics> colors) {
    std::pair<unsigned, unsigned> range{0, 0};
    bool any = false;
    for (const SColorStatistics& color : colors) {
        if (color.count > 0) {
            range.first = any ? std::min(range.first, color.smallest) : color.smallest;
            range.second = std::max(range.second, color.largest);
            any = true;
        }
    }
    return range;
}

} // namespace vek::client
