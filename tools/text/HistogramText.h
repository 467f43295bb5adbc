// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/statistics/Histogram.h"

#include <span>
#include <string>

namespace vek::tools {

/// Histograms side by side, a line for each of up to 16 bins between the smallest and the largest sample of all
/// colours, at most 80 columns. The fullest bin of all has the longest bar, a bin that is not empty a mark at least.
/// logarithmic: bars are as long as the logarithm of one more than the count.
std::string histogramText(std::span<const client::SColorStatistics> colors, bool logarithmic);

/// All colours' samples from 0 to the largest of a depth in one line of 40 characters: " .:-=+*#%@", more of them on a
/// logarithmic scale from left to right.
std::string histogramLine(std::span<const client::SColorStatistics> colors, unsigned depth);

} // namespace vek::tools
