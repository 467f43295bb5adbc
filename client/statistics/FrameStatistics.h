// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/Measurement.h"
#include "client/pictures/Image.h"
#include "client/statistics/ColorCells.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace vek::client {

/// Shares of a colour's samples below which percentiles lie, in thousandths.
inline constexpr std::array<unsigned, 9> kPercentileRanks = {1, 10, 50, 250, 500, 750, 950, 990, 999};

/// Smallest side of a tile, pixels.
inline constexpr std::uint32_t kSmallestTile = 8;

/// The frames that are measured together.
struct SStatisticsForm {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short channels = 0;      ///< 1, or 3 of red, green, blue
    unsigned short depth = 0;         ///< 8..16
    unsigned short colorArray = 0;    ///< enum VekColorArray, of one channel: Bayer, else grey
    SRegion region;                   ///< inside the frames
    std::array<double, 4> black = {}; ///< by colour, in samples: Bayer by EColorSlot, grey the first
    unsigned white = 0;               ///< sample from which on one counts as clipped
    std::uint32_t tileColumns = 0;    ///< tiles of the region whose sharpness is measured, of kSmallestTile or more;
    std::uint32_t tileRows = 0;       ///< 0: none
};

/// The samples of a colour, of all frames.
struct SColorStatistics {
    std::string_view name;   ///< "R", "Gr", "Gb", "B", "G", "grey"
    std::uint64_t count = 0; ///< 0: a small region may miss a colour; all else is 0 then
    unsigned smallest = 0;
    unsigned largest = 0;
    double mean = 0;
    double deviation = 0;                                        ///< root of the mean square distance from the mean
    std::array<unsigned, kPercentileRanks.size()> percentiles{}; ///< the smallest samples that reach these ranks
    double clipped = 0;                   ///< share of samples at the white level and above it, 0..1
    double dark = 0;                      ///< share of samples that are 0 or below the black level
    double temporalNoise = 0;             ///< standard deviation of a pixel from frame to frame, of two or more frames:
                                          ///< root of the mean square of all pixels
    std::vector<std::uint64_t> histogram; ///< samples by value
};

/// Sharpness of the tiles, row by row: slopes between samples two pixels apart, in per cent of the mean above black.
///
/// Of each green sample g(x, y), or grey one, the slope g(x + 2, y) - g(x, y) is multiplied by that of two rows below,
/// and g(x, y + 2) - g(x, y) by that of two columns beside. Neighbours share the scene, not the noise of a sensor: in
/// the mean of all products it cancels out. The sharpness is the root of that mean, 0 where it is negative.
struct STileSharpness {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    std::vector<double> percents;

    /// Number of the sharpest tile, the first one of equals.
    std::size_t Best() const;
};

struct SFrameStatistics {
    std::uint64_t frames = 0;
    std::vector<SColorStatistics> colors;
    STileSharpness sharpness;
};

/// Counts the samples of frames one after the other. Beside the counts it keeps 10 bytes a sample of the region, where
/// there are several frames.
class CFrameStatistics {
public:
    explicit CFrameStatistics(const SStatisticsForm& form);

    /// frame: of the form's size, channels and depth.
    void Add(const SImage& frame);

    const SStatisticsForm& Form() const { return mForm; }
    SFrameStatistics Result() const;

private:
    struct STile {
        std::uint64_t count = 0;
        double products = 0; ///< sum over both directions
        double signal = 0;   ///< sum of samples
    };

    void Count(const SImage& frame);
    void AddSlopes(const SImage& frame);
    void AddNoise(const SImage& frame);

    SStatisticsForm mForm;
    CColorCells mCells;
    std::uint64_t mFrames = 0;
    std::vector<std::vector<std::uint64_t>> mHistograms; ///< by colour
    std::vector<std::uint16_t> mFirst;                   ///< the region in the first frame
    std::vector<std::int64_t> mDistances;                ///< sums of samples' distances from the first frame's
    std::vector<double> mSquares;                        ///< sums of the squares of these, by colour
    std::vector<STile> mTiles;
};

} // namespace vek::client
