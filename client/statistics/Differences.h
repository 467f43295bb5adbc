// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/pictures/Image.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace vek::client {

/// How the samples of a colour differ between two images.
struct SColorDifferences {
    std::string_view name;       ///< as of SColorStatistics, or "all"
    std::uint64_t count = 0;     ///< samples
    std::uint64_t differing = 0; ///< of these
    std::uint64_t beyond = 0;    ///< those that differ by more than what is tolerated
    unsigned largest = 0;        ///< distance
    std::uint32_t x = 0;         ///< pixel where that is found first, row by row
    std::uint32_t y = 0;
    double meanAbsolute = 0; ///< distance
    double meanSigned = 0;   ///< second less first
    double psnr = 0;         ///< decibels: the largest sample of the depth by the root mean square distance; infinite
                             ///< where nothing differs
};

struct SDifferences {
    SColorDifferences all;
    std::vector<SColorDifferences> colors;
};

/// Compares images of one size and number of channels. colorArray: enum VekColorArray, of one channel; depth: the one
/// whose largest sample counts for psnr.
SDifferences differencesOf(const SImage& a, const SImage& b, unsigned short colorArray, unsigned short depth,
                           unsigned tolerance);

/// A picture of 8 bits of the distances, by channel: 0 where nothing differs, else kFaintest to 255, which is the
/// largest distance, in proportion.
SImage differenceMap(const SImage& a, const SImage& b, unsigned largest);
inline constexpr unsigned kFaintest = 32;

} // namespace vek::client
