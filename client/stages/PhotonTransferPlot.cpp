// SPDX-License-Identifier: Apache-2.0
#include "client/stages/PhotonTransferPlot.h"

#include "client/drawing/Plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vek::client {

namespace {

constexpr double kWidth = 900;
constexpr double kTransferHeight = 600;
constexpr double kLinearityHeight = 360;

SColor colorOf(std::string_view name) {
    constexpr SColor kOtherGreen = {120, 170, 20};
    return name == "R"    ? kChannelRed
           : name == "Gr" ? kChannelGreen
           : name == "Gb" ? kOtherGreen
           : name == "B"  ? kChannelBlue
                          : seriesColor(0);
}

std::string nameOf(const SPhotonTransfer& color) {
    return color.name.empty() ? "measured" : std::string(color.name);
}

SPlot transferPlot(std::span<const SPhotonTransfer> colors, const std::string& title) {
    SPlot plot;
    plot.title = title;
    plot.x.label = "mean above dark (DN)";
    plot.y.label = "temporal variance above dark (DN\xC2\xB2)";
    SSeries saturation{"saturation", ESeries::Points, {}, SColor{28, 28, 32}};
    for (const SPhotonTransfer& color : colors) {
        SSeries points{nameOf(color), ESeries::Points, {}, colorOf(color.name)};
        SSeries line{fmt::format("{:.3f} e\xE2\x81\xBB/DN", 1 / color.gain), ESeries::Line, {}, colorOf(color.name)};
        line.dashed = true;
        for (std::size_t i = 0; i < color.points.size(); ++i) {
            const SPairLevels& point = color.points[i];
            const double signal = color.Signal(point);
            (color.saturation == i ? saturation : points)
                .points.push_back({signal, std::max(0.0, point.variance - color.dark.variance)});
            line.points.push_back({signal, color.gain * signal});
        }
        plot.series.push_back(std::move(line));
        plot.series.push_back(std::move(points));
    }
    if (!saturation.points.empty()) {
        plot.series.push_back(std::move(saturation));
    }
    return plot;
}

SPlot linearityPlot(std::span<const SPhotonTransfer> colors) {
    SPlot plot;
    plot.title = "Deviation from linearity";
    plot.x.label = "exposure";
    plot.y.label = "deviation (%)";
    for (const SPhotonTransfer& color : colors) {
        if (!color.linearity) {
            continue;
        }
        SSeries series{fmt::format("{}: {:.2g} % on average", nameOf(color), 100 * color.linearity->error),
                       ESeries::Line,
                       {},
                       colorOf(color.name)};
        for (const SPoint& point : color.linearity->deviations) {
            series.points.push_back({point.x, 100 * point.y});
        }
        plot.series.push_back(std::move(series));
    }
    return plot;
}

} // namespace

SImage photonTransferPicture(std::span<const SPhotonTransfer> colors, const std::string& title) {
    const SPlot linearity = linearityPlot(colors);
    const double below = linearity.series.empty() ? 0 : kLinearityHeight;
    CCanvas canvas(static_cast<std::uint32_t>(kWidth), static_cast<std::uint32_t>(kTransferHeight + below));
    drawPlot(canvas, {0, 0, kWidth, kTransferHeight}, transferPlot(colors, title));
    if (below > 0) {
        drawPlot(canvas, {0, kTransferHeight, kWidth, below}, linearity);
    }
    return canvas.Image();
}

} // namespace vek::client
