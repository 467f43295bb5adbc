// SPDX-License-Identifier: Apache-2.0
// The colour chart of 24 patches, 6 by 4, that is sold as ColorChecker Classic: its colours, where it lies in a raw
// frame, and what the camera sees of its patches.
#pragma once

#include "client/calibration/ColorFit.h"
#include "client/drawing/Canvas.h"
#include "client/frames/Measurement.h"
#include "client/profiles/Profile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vek::client {

inline constexpr std::size_t kChartColumns = 6;
inline constexpr std::size_t kChartRows = 4;
inline constexpr std::size_t kChartPatches = kChartColumns * kChartRows;

struct SChartPatch {
    std::string name;
    Lab lab{}; ///< under D50, 2 degrees
};
/// Row by row from dark skin on, which lies at the top left where white lies at the bottom left.
using ChartPatches = std::array<SChartPatch, kChartPatches>;

/// The patches as their maker published them (GretagMacbeth, later X-Rite: ColorChecker, CIE L*a*b* under D50 for the
/// observer of 2 degrees, 2005): those of charts made before November 2014.
const ChartPatches& publishedPatches();

/// The patches of a chart that was measured, or of another one of as many: a file with a JSON list of 24 objects with
/// "name" and "lab", three numbers. Throws CFailure.
ChartPatches readPatches(const std::string& path);

/// Places in a frame, pixels; 0, 0 is the top left corner of the first pixel.
using Quad = std::array<SPoint, 4>;

/// A frame of a Bayer array in cells of 2 x 2 samples, each with one colour: the mean of its two greens. An odd last
/// row or column is left out.
struct SCells {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::array<float, 3>> colors; ///< row by row: red, green, blue; 0 at black, 1 at white
    std::vector<bool> clipped;                ///< a sample of the cell is at white, or all but
};

/// frame: Bayer, of a format of bytes or words; black: below white, in samples, as white.
SCells cellsOf(const STransferredFrame& frame, const SBlackLevels& black, unsigned white);

/// Where a chart lies.
struct SChartPlace {
    /// From the chart (6 wide, 4 high, a patch and its border being 1) to the frame, by homogeneous coordinates.
    Matrix3 toFrame{};

    SPoint At(double x, double y) const;
    /// The corners of a patch, or of a part of it around its middle. side: of that part, a patch and its border
    /// being 1.
    Quad Patch(std::size_t patch, double side) const;
};

/// The side of a patch without its border.
inline constexpr double kPatchSide = 0.86;
/// The side of the part of a patch that is measured.
inline constexpr double kMeasuredSide = 0.5;

/// What the camera sees of a patch.
struct SPatchValue {
    SColorSample sample;
    bool clipped = false; ///< more than a few of its cells are
};

/// The means of the middles of the patches; of each colour, what is far from the median does not count.
std::vector<SPatchValue> patchValues(const SCells& cells, const SChartPlace& place, const ChartPatches& patches);

/// The samples of patches that are not clipped.
std::vector<SColorSample> usableSamples(std::span<const SPatchValue> values);

/// The chart whose outermost patches have their outer corners here, one after the other around it, beginning at any of
/// them. Which of them is which the colours tell. Throws CBadArguments where they make no such area
/// inside the frame, CFailure where nothing can be measured there.
SChartPlace placedChart(const SCells& cells, const Quad& corners, const ChartPatches& patches);

/// Finds a chart, turned in any way, not mirrored: even areas of four sides that lie in rows and columns and have the
/// chart's colours. Nothing where there is none.
std::optional<SChartPlace> foundChart(const SCells& cells, const ChartPatches& patches);

} // namespace vek::client
