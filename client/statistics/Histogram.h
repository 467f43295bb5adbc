// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/statistics/FrameStatistics.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace vek::client {

/// A histogram with several samples in each bin.
struct SHistogramBins {
    unsigned first = 0;                ///< sample of the first bin
    unsigned width = 1;                ///< samples of a bin
    std::vector<std::uint64_t> counts; ///< the last bin may reach beyond the range
};

/// Puts the samples from first to last (inclusive) into bins of one width, as small as most of them allow.
SHistogramBins binsOf(std::span<const std::uint64_t> histogram, unsigned first, unsigned last, std::size_t most);

/// The smallest and the largest sample of all colours.
std::pair<unsigned, unsigned> sampleRange(std::span<const SColorStatistics> colors);

} // namespace vek::client
