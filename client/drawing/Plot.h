// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/drawing/Canvas.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace vek::client {

enum class ESeries {
    Points, ///< discs
    Line,   ///< from point to point; a point that cannot be drawn leaves a gap
    Bars,   ///< from 0, or the end of the axis, to each point's y; those of several series side by side
    Steps   ///< y from each point's x to the next one's, as histograms have it, and the area below
};

/// Numbers of one kind. Those that are not finite, and those of 0 and less on a logarithmic axis, are left out.
struct SSeries {
    std::string name; ///< in the legend; empty: not there
    ESeries kind = ESeries::Line;
    std::vector<SPoint> points;
    std::optional<SColor> color = {};   ///< one of seriesColor by default
    std::vector<SColor> barColors = {}; ///< of each bar; those that are missing have the series' colour
    bool dashed = false;                ///< of lines
};

struct SAxis {
    std::string label;
    bool logarithmic = false;
    std::optional<double> low = {}; ///< ends of the axis; by default round numbers around all series
    std::optional<double> high = {};
    std::vector<std::string> names = {}; ///< of the places 0, 1, 2 ... instead of numbers
};

struct SPlot {
    std::string title;
    SAxis x;
    SAxis y;
    std::vector<SSeries> series;
    double textScale = 1; ///< 1: for some 900 x 600 pixels
};

/// A number at a mark of an axis.
struct STick {
    double value = 0;
    std::string text; ///< empty: a mark without one
};

/// An axis as it is drawn.
struct SScale {
    double low = 0; ///< low < high
    double high = 1;
    bool logarithmic = false;
    std::vector<STick> ticks; ///< rising

    /// 0 at low, 1 at high; no number for what a logarithmic axis does not have.
    double PartOf(double value) const;
};

/// A scale for values from low to high, round numbers at both ends where these are not fixed; about count ticks. Any
/// numbers give a scale.
SScale scaleFor(const SAxis& axis, double low, double high, double count);

/// Where a plot lies on its canvas.
struct SPlotArea {
    SRectangle area; ///< between the axes
    SScale x;
    SScale y;

    SPoint PlaceOf(const SPoint& values) const;
};

/// Colour i of series, distinct ones for 7 series, also for those who see fewer colours (M. Okabe and K. Ito, Color
/// Universal Design, 2008).
SColor seriesColor(std::size_t i);

// Colours of a sensor's channels.
inline constexpr SColor kChannelRed = {213, 40, 40};
inline constexpr SColor kChannelGreen = {20, 145, 60};
inline constexpr SColor kChannelBlue = {35, 85, 205};

/// Draws a plot into a rectangle of a canvas, and tells where, for what is drawn over it. Throws CFailure.
SPlotArea drawPlot(CCanvas& canvas, const SRectangle& place, const SPlot& plot);

/// A plot as an image of its own. Throws CFailure.
SImage plotImage(const SPlot& plot, std::uint32_t width = 900, std::uint32_t height = 600);

} // namespace vek::client
