// SPDX-License-Identifier: Apache-2.0
#include "client/calibration/ChartPicture.h"

#include "client/drawing/Plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace vek::client {

namespace {

constexpr std::uint32_t kPictureWidth = 1200;
constexpr std::uint32_t kPanelHeight = 440;
constexpr double kSwatchesWidth = 560;

/// The curve of IEC 61966-2-1, to 8 bits.
std::uint8_t displayed(double linear) {
    const double part = std::clamp(linear, 0.0, 1.0);
    const double curved = part <= 0.0031308 ? 12.92 * part : 1.055 * std::pow(part, 1 / 2.4) - 0.055;
    return static_cast<std::uint8_t>(std::lround(255 * curved));
}

SColor colorOf(const Matrix3& toSrgb, const Vector3& color) {
    const Vector3 linear = toSrgb * color;
    return {displayed(linear[0]), displayed(linear[1]), displayed(linear[2])};
}

SColor colorOf(const Lab& lab) {
    return colorOf(xyzToSrgb(), xyzOfLab(lab));
}

/// The frame in the picture's width. Each pixel is the mean of the cells that it covers, or the cell in which it lies.
SImage developed(const SCells& cells, const SColorFit& fit) {
    SImage image;
    image.width = kPictureWidth;
    image.height = std::max(
        1U, static_cast<std::uint32_t>(std::lround(static_cast<double>(kPictureWidth) * cells.height / cells.width)));
    image.channels = 3;
    image.depth = 8;
    image.samples.reserve(image.RowSamples() * image.height);
    const Matrix3 toSrgb = xyzToSrgb() * fit.forward;
    const auto first = [](std::uint32_t pixel, std::uint32_t of, std::uint32_t size) {
        return static_cast<std::size_t>(std::uint64_t{pixel} * size / of);
    };
    for (std::uint32_t y = 0; y < image.height; ++y) {
        const std::size_t top = first(y, image.height, cells.height);
        const std::size_t bottom = std::max(top + 1, first(y + 1, image.height, cells.height));
        for (std::uint32_t x = 0; x < image.width; ++x) {
            const std::size_t left = first(x, image.width, cells.width);
            const std::size_t right = std::max(left + 1, first(x + 1, image.width, cells.width));
            Vector3 balanced{};
            for (std::size_t row = top; row < bottom; ++row) {
                for (std::size_t column = left; column < right; ++column) {
                    const std::array<float, 3>& cell = cells.colors[row * cells.width + column];
                    for (std::size_t c = 0; c < 3; ++c) {
                        // Beyond the neutral's largest colour the others are clipped: white stays white.
                        balanced[c] += std::min(static_cast<double>(cell[c]) / fit.neutral[c], 1.0);
                    }
                }
            }
            const double scale = fit.exposure / static_cast<double>((bottom - top) * (right - left));
            const SColor color = colorOf(toSrgb, {scale * balanced[0], scale * balanced[1], scale * balanced[2]});
            image.samples.insert(image.samples.end(), {color.red, color.green, color.blue});
        }
    }
    return image;
}

/// What is to be told of each patch.
struct SPatchReport {
    SColor target;
    SColor measured;
    double difference = 0;
    bool used = true;
};

void drawOutlines(CCanvas& canvas, const SCells& cells, const SChartPlace& place,
                  std::span<const SPatchReport> reports) {
    const double scale = kPictureWidth / (2.0 * cells.width);
    const auto scaled = [&](Quad quad) {
        for (SPoint& corner : quad) {
            corner = {scale * corner.x, scale * corner.y};
        }
        return quad;
    };
    constexpr double kTargetSide = 0.25; // of the square of the patch's colour within it
    for (std::size_t patch = 0; patch < reports.size(); ++patch) {
        const SPatchReport& report = reports[patch];
        canvas.FillPolygon(scaled(place.Patch(patch, kTargetSide)), report.target);
        canvas.OutlinePolygon(scaled(place.Patch(patch, kMeasuredSide)), {kWhite, 1, true});
        const Quad outline = scaled(place.Patch(patch, kPatchSide));
        canvas.OutlinePolygon(outline, {report.used ? SColor{0, 200, 90} : kChannelRed, 2});
    }
}

void drawSwatches(CCanvas& canvas, const SRectangle& area, std::span<const SPatchReport> reports) {
    constexpr double kGap = 6;
    constexpr double kHead = 30;
    constexpr double kTextSize = 14;
    canvas.Text({area.x + kGap, area.y + kHead - 10}, "left: as it should be, right: measured; CIEDE2000",
                {.size = kTextSize, .bold = true});
    const double width = (area.width - kGap) / kChartColumns;
    const double height = (area.height - kHead - kGap) / kChartRows;
    for (std::size_t patch = 0; patch < reports.size(); ++patch) {
        const SPatchReport& report = reports[patch];
        const std::size_t row = patch / kChartColumns;
        const SRectangle whole = {area.x + kGap + static_cast<double>(patch % kChartColumns) * width,
                                  area.y + kHead + static_cast<double>(row) * height, width - kGap, height - kGap};
        // Whole pixels leave no seam between the two.
        const double left = std::round(whole.x);
        const double middle = std::round(whole.x + whole.width / 2);
        canvas.Fill({left, whole.y, middle - left, whole.height}, report.target);
        canvas.Fill({middle, whole.y, std::round(whole.Right()) - middle, whole.height}, report.measured);
        canvas.Text({whole.x + whole.width / 2, whole.Bottom() - 8},
                    report.used ? fmt::format("{:.1f}", report.difference) : std::string("clipped"),
                    {.size = kTextSize, .color = kWhite, .across = EAcross::Center, .halo = true});
    }
}

void drawDifferences(CCanvas& canvas, const SRectangle& area, std::span<const SPatchReport> reports) {
    SSeries series;
    series.kind = ESeries::Bars;
    SAxis patches;
    patches.label = "patch, row by row";
    double sum = 0;
    double count = 0;
    for (const SPatchReport& report : reports) {
        series.points.push_back({static_cast<double>(patches.names.size()), report.used ? report.difference : 0});
        series.barColors.push_back(report.target);
        patches.names.push_back(fmt::format("{}", patches.names.size() + 1));
        sum += report.used ? report.difference : 0;
        count += report.used ? 1 : 0;
    }
    const double mean = sum / std::max(count, 1.0);
    const SSeries line = {.name = {},
                          .kind = ESeries::Line,
                          .points = {{-0.5, mean}, {static_cast<double>(reports.size()) - 0.5, mean}},
                          .color = kBlack,
                          .dashed = true};
    const SPlot plot = {.title = fmt::format("differences, mean {:.2f}", mean),
                        .x = patches,
                        .y = {.label = "CIEDE2000", .low = 0.0},
                        .series = {series, line},
                        .textScale = 0.85};
    drawPlot(canvas, area, plot);
}

} // namespace

SImage chartPicture(const SCells& cells, const SChartPlace& place, const ChartPatches& patches,
                    std::span<const SPatchValue> values, const SColorFit& fit) {
    std::vector<SPatchReport> reports;
    for (std::size_t patch = 0; patch < values.size(); ++patch) {
        const Lab measured = fit.Measured(values[patch].sample);
        reports.push_back({colorOf(patches[patch].lab), colorOf(measured),
                           colorDifference(patches[patch].lab, measured), !values[patch].clipped});
    }
    SImage background = developed(cells, fit);
    const double height = background.height;
    background.height += kPanelHeight;
    background.samples.resize(background.RowSamples() * background.height, maxSample(background.depth));
    CCanvas canvas(background);
    drawOutlines(canvas, cells, place, reports);
    drawSwatches(canvas, {0, height, kSwatchesWidth, kPanelHeight}, reports);
    drawDifferences(canvas, {kSwatchesWidth, height, kPictureWidth - kSwatchesWidth, kPanelHeight}, reports);
    return canvas.Image();
}

} // namespace vek::client
