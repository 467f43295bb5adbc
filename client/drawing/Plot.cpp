// SPDX-License-Identifier: Apache-2.0
#include "client/drawing/Plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

namespace vek::client {

namespace {

constexpr SColor kGridColor = {224, 224, 228};
constexpr SColor kFineGridColor = {241, 241, 244};
constexpr SColor kAxisColor = {70, 70, 76};
constexpr SColor kTextColor = {28, 28, 32};

// At a text scale of 1, pixels.
constexpr double kTitleSize = 18;
constexpr double kLabelSize = 14;
constexpr double kTickSize = 12.5;
constexpr double kLegendSize = 13;
constexpr double kPadding = 14;
constexpr double kTickGap = 6;     // between axis and number
constexpr double kXTickSpace = 85; // between numbers, at least
constexpr double kYTickSpace = 45;
constexpr double kSwatch = 22;   // of the legend
constexpr double kBarPart = 0.8; // of the space from bar to bar

// Sums and differences of these stay numbers.
constexpr double kMostValue = 1e150;
constexpr double kLeastValue = 1e-150;

/// The smallest and largest of some numbers; low > high where there are none.
struct SRange {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();

    void Add(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
    }
    bool IsEmpty() const { return !(low <= high); }
};

bool canBeDrawn(double value, bool logarithmic) {
    return std::abs(value) <= kMostValue && (!logarithmic || value >= kLeastValue);
}

/// 1, 2 or 5 times a power of 10: the smallest one from value on.
double roundStep(double value) {
    const double power = std::pow(10, std::floor(std::log10(value)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= value * (1 - 1e-9)) {
            return factor * power;
        }
    }
    return 10 * power;
}

/// The digits that numbers step apart need.
std::string numberText(double value, double step, double largest) {
    const double stepDigits = std::floor(std::log10(step) + 1e-9);
    if (largest < 1e6 && stepDigits >= -6) {
        return fmt::format("{:.{}f}", value, static_cast<int>(std::max(0.0, -stepDigits)));
    }
    const double digits = std::floor(std::log10(largest)) - stepDigits + 1;
    return fmt::format("{:.{}g}", value, static_cast<int>(std::clamp(digits, 1.0, 15.0)));
}

/// 10 to the power of an exponent: 0.001 to 10000 as such.
std::string powerText(int exponent) {
    if (exponent >= -3 && exponent <= 4) {
        return fmt::format("{:g}", std::pow(10, exponent));
    }
    static constexpr std::array<std::string_view, 10> kRaised = {
        "\xE2\x81\xB0", "\xC2\xB9",     "\xC2\xB2",     "\xC2\xB3",     "\xE2\x81\xB4",
        "\xE2\x81\xB5", "\xE2\x81\xB6", "\xE2\x81\xB7", "\xE2\x81\xB8", "\xE2\x81\xB9"};
    std::string text = exponent < 0 ? "10\xE2\x81\xBB" : "10";
    for (const char digit : std::to_string(std::abs(exponent))) {
        text += kRaised[static_cast<std::size_t>(digit - '0')];
    }
    return text;
}

SScale namedScale(const SAxis& axis) {
    SScale scale;
    scale.low = axis.low.value_or(-0.5);
    scale.high = axis.high.value_or(static_cast<double>(axis.names.size()) - 0.5);
    for (std::size_t i = 0; i < axis.names.size(); ++i) {
        const auto place = static_cast<double>(i);
        if (place >= scale.low && place <= scale.high) {
            scale.ticks.push_back({place, axis.names[i]});
        }
    }
    return scale;
}

SScale linearScale(const SAxis& axis, double low, double high, double count) {
    SScale scale;
    const double largest = std::max(std::abs(low), std::abs(high));
    const double step = roundStep((high - low) / count);
    // Rounding errors of the ends do not make them one step more.
    constexpr double kSlack = 1e-6;
    scale.low = axis.low == low ? low : std::floor(low / step + kSlack) * step;
    scale.high = axis.high == high ? high : std::ceil(high / step - kSlack) * step;
    const double first = std::ceil(scale.low / step - kSlack);
    const auto steps = static_cast<int>(std::floor(scale.high / step + kSlack) - first);
    for (int i = 0; i <= steps; ++i) {
        const double place = first + i;
        const double value = place == 0 ? 0 : place * step; // no -0
        scale.ticks.push_back({value, numberText(value, step, largest)});
    }
    return scale;
}

SScale logarithmicScale(const SAxis& axis, double low, double high, double count) {
    SScale scale;
    scale.logarithmic = true;
    constexpr double kSlack = 1e-9;
    const auto floorOf = [](double value) {
        const double power = std::pow(10, std::floor(std::log10(value) + kSlack));
        const double digit = value / power * (1 + kSlack);
        return power * (digit >= 5 ? 5 : digit >= 2 ? 2 : 1);
    };
    scale.low = axis.low == low ? low : floorOf(low);
    scale.high = axis.high == high ? high : roundStep(high);
    const double decades = std::log10(scale.high / scale.low);
    const int every = std::max(1, static_cast<int>(std::ceil(decades / count)));
    const bool fine = decades <= count;
    const bool numbersBetween = decades * 3 <= count || decades < 1;
    const int first = static_cast<int>(std::floor(std::log10(scale.low) + kSlack));
    const int last = static_cast<int>(std::ceil(std::log10(scale.high) - kSlack));
    for (int exponent = first; exponent <= last; ++exponent) {
        for (int digit = 1; digit <= (fine ? 9 : 1); ++digit) {
            const double value = digit * std::pow(10, exponent);
            if (value < scale.low * (1 - kSlack) || value > scale.high * (1 + kSlack)) {
                continue;
            }
            if (!fine && exponent % every != 0) {
                continue;
            }
            const bool between = numbersBetween && (digit == 2 || digit == 5);
            scale.ticks.push_back({value, digit == 1 && exponent % every == 0 ? powerText(exponent)
                                          : between                           ? fmt::format("{:g}", value)
                                                                              : std::string()});
        }
    }
    return scale;
}

/// From bar to bar; 1 where there is one alone.
double barSpace(const SPlot& plot) {
    std::vector<double> places;
    for (const SSeries& series : plot.series) {
        for (const SPoint& point : series.points) {
            if (series.kind == ESeries::Bars && canBeDrawn(point.x, plot.x.logarithmic)) {
                places.push_back(point.x);
            }
        }
    }
    std::sort(places.begin(), places.end());
    double space = std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < places.size(); ++i) {
        if (places[i] > places[i - 1]) {
            space = std::min(space, places[i] - places[i - 1]);
        }
    }
    return std::isfinite(space) ? space : 1;
}

/// Where the last step of a histogram ends: it is as wide as the one before it.
double stepsEnd(const std::vector<SPoint>& points) {
    const std::size_t count = points.size();
    return points.back().x + (count > 1 ? points[count - 1].x - points[count - 2].x : 1);
}

/// The points that are drawn.
std::vector<SPoint> drawnPoints(const SPlot& plot, const SSeries& series) {
    std::vector<SPoint> points;
    // Steps go down to the axis where the logarithm does.
    const bool logarithmicY = plot.y.logarithmic && series.kind != ESeries::Steps;
    std::copy_if(series.points.begin(), series.points.end(), std::back_inserter(points), [&](const SPoint& point) {
        return canBeDrawn(point.x, plot.x.logarithmic) && canBeDrawn(point.y, logarithmicY);
    });
    return points;
}

std::pair<SRange, SRange> rangesOf(const SPlot& plot) {
    SRange x;
    SRange y;
    const double space = barSpace(plot);
    for (const SSeries& series : plot.series) {
        const std::vector<SPoint> points = drawnPoints(plot, series);
        const bool bars = series.kind == ESeries::Bars;
        const bool area = bars || series.kind == ESeries::Steps;
        for (const SPoint& point : points) {
            const double half = bars && !plot.x.logarithmic ? space / 2 : 0;
            x.Add(point.x - half);
            x.Add(point.x + half);
            if (canBeDrawn(point.y, plot.y.logarithmic)) {
                y.Add(point.y);
            }
        }
        if (area && !points.empty() && !plot.y.logarithmic) {
            y.Add(0);
        }
        if (series.kind == ESeries::Steps && !points.empty()) {
            x.Add(stepsEnd(points));
        }
    }
    return {x, y};
}

/// A plot while it is drawn.
class CPlotting {
public:
    CPlotting(CCanvas& canvas, const SRectangle& place, const SPlot& plot)
        : mCanvas(canvas), mPlace(place), mPlot(plot), mScale(plot.textScale) {}

    SPlotArea Draw() {
        LayOut();
        DrawGrid();
        DrawAxes();
        DrawSeries();
        DrawLegend();
        return mArea;
    }

private:
    /// One line of the legend.
    struct SEntry {
        std::size_t series;
        double x; ///< from the left end of the area
        double row;
    };

    STextStyle Style(double size) const {
        STextStyle style;
        style.size = size * mScale;
        style.color = kTextColor;
        return style;
    }

    double WidestTick(const SScale& scale) const {
        double widest = 0;
        for (const STick& tick : scale.ticks) {
            widest = std::max(widest, mCanvas.TextWidth(tick.text, Style(kTickSize)));
        }
        return widest;
    }

    SColor ColorOf(std::size_t series) const { return mPlot.series[series].color.value_or(seriesColor(series)); }

    /// The legend stands between title and area, in as many rows as it needs.
    double LegendRows(double width) {
        double x = 0;
        double row = 0;
        for (std::size_t i = 0; i < mPlot.series.size(); ++i) {
            if (mPlot.series[i].name.empty()) {
                continue;
            }
            const double needed = (kSwatch + 26) * mScale + mCanvas.TextWidth(mPlot.series[i].name, Style(kLegendSize));
            if (x > 0 && x + needed > width) {
                x = 0;
                ++row;
            }
            mLegend.push_back({i, x, row});
            x += needed;
        }
        return mLegend.empty() ? 0 : row + 1;
    }

    void LayOut() {
        const auto [rangeX, rangeY] = rangesOf(mPlot);
        const double padding = kPadding * mScale;
        const double labelSpace = (kLabelSize + 10) * mScale;
        double left = padding + (mPlot.y.label.empty() ? 0 : labelSpace);
        const double right = padding + 8 * mScale;
        const double legend = LegendRows(mPlace.width - left - right - 60 * mScale) * (kLegendSize + 8) * mScale;
        const double top = padding + (mPlot.title.empty() ? 0 : (kTitleSize + 12) * mScale) + legend;
        double bottom = padding + (mPlot.x.label.empty() ? 0 : labelSpace) + (kTickSize + 8) * mScale;

        // Names stand upright where they would run into each other.
        SScale x = mPlot.x.names.empty() ? SScale{} : namedScale(mPlot.x);
        const double namesSpace =
            (mPlace.width - left - right - 40 * mScale) / std::max<double>(1, static_cast<double>(x.ticks.size()));
        const double widestName = WidestTick(x);
        mUpright = widestName + 6 * mScale > namesSpace;
        if (mUpright) {
            bottom += std::max(0.0, widestName - kTickSize * mScale);
        }

        const double height = mPlace.height - top - bottom;
        mArea.y = scaleFor(mPlot.y, rangeY.low, rangeY.high, std::max(2.0, height / (kYTickSpace * mScale)));
        left += WidestTick(mArea.y) + (kTickGap + 2) * mScale;
        const double width = mPlace.width - left - right;
        mArea.x = mPlot.x.names.empty()
                      ? scaleFor(mPlot.x, rangeX.low, rangeX.high, std::max(2.0, width / (kXTickSpace * mScale)))
                      : std::move(x);
        mArea.area.x = std::round(mPlace.x + left);
        mArea.area.y = std::round(mPlace.y + top);
        mArea.area.width = std::max(1.0, std::round(width));
        mArea.area.height = std::max(1.0, std::round(height));
    }

    double PlaceX(double value) const { return mArea.PlaceOf({value, mArea.y.low}).x; }
    double PlaceY(double value) const { return mArea.PlaceOf({mArea.x.low, value}).y; }

    void DrawGrid() {
        const SRectangle& area = mArea.area;
        for (const bool fine : {true, false}) { // the strong lines lie over the others
            const SLineStyle style = {fine ? kFineGridColor : kGridColor};
            for (const STick& tick : mArea.x.ticks) {
                const double x = std::floor(PlaceX(tick.value)) + 0.5;
                if (tick.text.empty() == fine && mPlot.x.names.empty()) {
                    mCanvas.Line({x, area.y}, {x, area.Bottom()}, style);
                }
            }
            for (const STick& tick : mArea.y.ticks) {
                const double y = std::floor(PlaceY(tick.value)) + 0.5;
                if (tick.text.empty() == fine) {
                    mCanvas.Line({area.x, y}, {area.Right(), y}, style);
                }
            }
        }
    }

    void DrawAxes() {
        const SRectangle& area = mArea.area;
        const SLineStyle line = {kAxisColor};
        mCanvas.Line({area.x - 0.5, area.y}, {area.x - 0.5, area.Bottom() + 1}, line);
        mCanvas.Line({area.x - 1, area.Bottom() + 0.5}, {area.Right(), area.Bottom() + 0.5}, line);

        STextStyle style = Style(kTickSize);
        style.across = EAcross::Right;
        style.down = EDown::Middle;
        for (const STick& tick : mArea.y.ticks) {
            mCanvas.Text({area.x - kTickGap * mScale, PlaceY(tick.value)}, tick.text, style);
        }
        style.upward = mUpright;
        style.across = mUpright ? EAcross::Right : EAcross::Center;
        style.down = mUpright ? EDown::Middle : EDown::Top;
        // Names that stand too near to each other are told in part.
        const double space = area.width / std::max<double>(1, static_cast<double>(mArea.x.ticks.size()));
        const auto every = static_cast<std::size_t>(mUpright ? std::max(1.0, std::ceil(style.size / space)) : 1);
        for (std::size_t i = 0; i < mArea.x.ticks.size(); i += every) {
            const STick& tick = mArea.x.ticks[i];
            mCanvas.Text({PlaceX(tick.value), area.Bottom() + kTickGap * mScale}, tick.text, style);
        }

        const double padding = kPadding * mScale;
        STextStyle label = Style(kLabelSize);
        label.across = EAcross::Center;
        label.down = EDown::Bottom;
        mCanvas.Text({area.x + area.width / 2, mPlace.Bottom() - padding * 0.7}, mPlot.x.label, label);
        label.down = EDown::Top;
        label.upward = true;
        mCanvas.Text({mPlace.x + padding * 0.7, area.y + area.height / 2}, mPlot.y.label, label);

        STextStyle title = Style(kTitleSize);
        title.bold = true;
        title.down = EDown::Top;
        const double room = mPlace.Right() - area.x - padding;
        title.size *= std::min(1.0, room / std::max(1.0, mCanvas.TextWidth(mPlot.title, title)));
        mCanvas.Text({area.x, mPlace.y + padding * 0.8}, mPlot.title, title);
    }

    void DrawSeries() {
        mCanvas.Clip(mArea.area);
        std::size_t bars = 0;
        for (const SSeries& series : mPlot.series) {
            bars += series.kind == ESeries::Bars ? 1 : 0;
        }
        std::size_t bar = 0;
        for (std::size_t i = 0; i < mPlot.series.size(); ++i) {
            const SSeries& series = mPlot.series[i];
            switch (series.kind) {
            case ESeries::Points:
                DrawPoints(series, ColorOf(i));
                break;
            case ESeries::Line:
                DrawLine(series, ColorOf(i));
                break;
            case ESeries::Bars:
                DrawBars(series, ColorOf(i), bar++, bars);
                break;
            case ESeries::Steps:
                DrawSteps(series, ColorOf(i));
                break;
            }
        }
        mCanvas.Unclip();
    }

    /// Discs at the ends of the axes are whole.
    void DrawPoints(const SSeries& series, const SColor& color) {
        const auto isInside = [](double part) { return part >= 0 && part <= 1; };
        mCanvas.Unclip();
        for (const SPoint& point : drawnPoints(mPlot, series)) {
            if (isInside(mArea.x.PartOf(point.x)) && isInside(mArea.y.PartOf(point.y))) {
                mCanvas.Disc(mArea.PlaceOf(point), 3.5 * mScale, color);
            }
        }
        mCanvas.Clip(mArea.area);
    }

    void DrawLine(const SSeries& series, const SColor& color) {
        const SLineStyle style = {color, 2 * mScale, series.dashed};
        std::vector<SPoint> piece;
        const auto end = [&] {
            mCanvas.Line(piece, style);
            piece.clear();
        };
        for (const SPoint& point : series.points) {
            if (canBeDrawn(point.x, mPlot.x.logarithmic) && canBeDrawn(point.y, mPlot.y.logarithmic)) {
                piece.push_back(mArea.PlaceOf(point));
            } else {
                end();
            }
        }
        end();
    }

    /// Where areas begin: at 0 or the nearest end of the axis.
    double Base() const {
        return mArea.y.logarithmic ? mArea.area.Bottom() : PlaceY(std::clamp(0.0, mArea.y.low, mArea.y.high));
    }

    void DrawBars(const SSeries& series, const SColor& color, std::size_t index, std::size_t count) {
        const double space = barSpace(mPlot);
        for (std::size_t i = 0; i < series.points.size(); ++i) {
            const SPoint& point = series.points[i];
            if (!canBeDrawn(point.x, mPlot.x.logarithmic) || !canBeDrawn(point.y, mPlot.y.logarithmic)) {
                continue;
            }
            const SPoint top = mArea.PlaceOf(point);
            // On a logarithmic axis all bars are as wide as the narrowest space asks for.
            const double reach = mPlot.x.logarithmic ? 20 * mScale : std::abs(PlaceX(point.x + space) - top.x);
            const double whole = std::max(1.0, kBarPart * reach);
            const double width = whole / static_cast<double>(count);
            const double left = top.x - whole / 2 + static_cast<double>(index) * width;
            const double base = Base();
            mCanvas.Fill({left, std::min(base, top.y), width, std::abs(base - top.y)},
                         i < series.barColors.size() ? series.barColors[i] : color);
        }
    }

    void DrawSteps(const SSeries& series, const SColor& color) {
        const std::vector<SPoint> points = drawnPoints(mPlot, series);
        if (points.empty()) {
            return;
        }
        std::vector<SPoint> outline;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double y = std::min(PlaceY(points[i].y), 2 * mArea.area.Bottom());
            const bool below = mArea.y.logarithmic && !canBeDrawn(points[i].y, true);
            const double drawn = below ? Base() : y;
            outline.push_back({PlaceX(points[i].x), drawn});
            outline.push_back({PlaceX(i + 1 < points.size() ? points[i + 1].x : stepsEnd(points)), drawn});
        }
        outline.insert(outline.begin(), SPoint{outline.front().x, Base()});
        outline.push_back({outline.back().x, Base()});
        SColor pale = color;
        pale.opacity *= 0.22;
        mCanvas.FillPolygon(outline, pale);
        mCanvas.Line(outline, {color, 1.5 * mScale, series.dashed});
    }

    void DrawLegend() {
        STextStyle style = Style(kLegendSize);
        style.down = EDown::Middle;
        const double top = mPlace.y + kPadding * mScale + (mPlot.title.empty() ? 0 : (kTitleSize + 10) * mScale);
        const double swatch = kSwatch * mScale;
        for (const SEntry& entry : mLegend) {
            const SSeries& series = mPlot.series[entry.series];
            const SColor color = ColorOf(entry.series);
            const double x = mArea.area.x + entry.x;
            const double y = top + (entry.row + 0.5) * (kLegendSize + 8) * mScale - 2 * mScale;
            switch (series.kind) {
            case ESeries::Points:
                mCanvas.Disc({x + swatch / 2, y}, 4 * mScale, color);
                break;
            case ESeries::Line:
                mCanvas.Line({x, y}, {x + swatch, y}, {color, 2.5 * mScale, series.dashed});
                break;
            case ESeries::Bars:
            case ESeries::Steps:
                mCanvas.Fill({x + swatch / 4, y - 5 * mScale, swatch * 0.6, 10 * mScale}, color);
                break;
            }
            mCanvas.Text({x + swatch + 6 * mScale, y}, series.name, style);
        }
    }

    CCanvas& mCanvas;
    SRectangle mPlace;
    const SPlot& mPlot;
    double mScale;
    SPlotArea mArea;
    std::vector<SEntry> mLegend;
    bool mUpright = false; // the names of the places
};

} // namespace

double SScale::PartOf(double value) const {
    return logarithmic ? (std::log(value) - std::log(low)) / (std::log(high) - std::log(low))
                       : (value - low) / (high - low);
}

SScale scaleFor(const SAxis& axis, double low, double high, double count) {
    if (!axis.names.empty()) {
        return namedScale(axis);
    }
    const auto usable = [&](double value) { return canBeDrawn(value, axis.logarithmic); };
    if (!usable(low) || !usable(high) || low > high) {
        low = axis.logarithmic ? 1 : 0;
        high = axis.logarithmic ? 10 : 1;
    }
    SAxis fixed = axis;
    fixed.low = axis.low && usable(*axis.low) ? axis.low : std::nullopt;
    fixed.high = axis.high && usable(*axis.high) ? axis.high : std::nullopt;
    low = fixed.low.value_or(low);
    high = fixed.high.value_or(high);
    // Numbers that are equal, but for rounding, stand in the middle; so they do where the ends that are asked for say
    // nothing.
    const double largest = std::max(std::abs(low), std::abs(high));
    if (high - low <= 1e-9 * largest || high - low < kLeastValue) {
        const double middle = fixed.low ? low : high;
        const double reach = std::abs(middle) < kLeastValue ? 1 : std::abs(middle) / 10;
        fixed.low = fixed.high = std::nullopt;
        low = axis.logarithmic ? middle / 2 : middle - reach;
        high = axis.logarithmic ? middle * 2 : middle + reach;
    }
    count = std::clamp(count, 1.0, 100.0);
    return axis.logarithmic ? logarithmicScale(fixed, low, high, count) : linearScale(fixed, low, high, count);
}

SPoint SPlotArea::PlaceOf(const SPoint& values) const {
    return {area.x + x.PartOf(values.x) * area.width, area.Bottom() - y.PartOf(values.y) * area.height};
}

SColor seriesColor(std::size_t i) {
    static constexpr std::array<SColor, 7> kColors = {
        {{0, 114, 178}, {213, 94, 0}, {0, 158, 115}, {204, 121, 167}, {230, 159, 0}, {86, 180, 233}, {60, 60, 66}}};
    return kColors[i % kColors.size()];
}

SPlotArea drawPlot(CCanvas& canvas, const SRectangle& place, const SPlot& plot) {
    return CPlotting(canvas, place, plot).Draw();
}

SImage plotImage(const SPlot& plot, std::uint32_t width, std::uint32_t height) {
    CCanvas canvas(width, height);
    drawPlot(canvas, {0, 0, static_cast<double>(width), static_cast<double>(height)}, plot);
    return canvas.Image();
}

} // namespace vek::client
