// SPDX-License-Identifier: Apache-2.0
#include "client/stages/PhotonTransfer.h"

#include "client/Errors.h"
#include "client/frames/RawFrame.h"

#include "formats/ColorArrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vek::client {

namespace {

/// Variance of rounding to whole samples.
constexpr double kRounding = 1.0 / 12;

/// Signals between these parts of the saturation's count as half of it.
constexpr double kHalfFrom = 0.4;
constexpr double kHalfTo = 0.6;

/// Sums over the pixels of a colour in two frames; whole numbers, for nothing is lost so.
struct SPairSums {
    std::uint64_t count = 0;
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    std::uint64_t products = 0;
    std::uint64_t squaredDifferences = 0;

    SPairLevels Levels(double exposure) const {
        const auto n = static_cast<double>(count);
        const double meanA = static_cast<double>(a) / n;
        const double meanB = static_cast<double>(b) / n;
        const double drift = meanA - meanB;
        return {exposure, (meanA + meanB) / 2, (static_cast<double>(squaredDifferences) / n - drift * drift) / 2,
                static_cast<double>(products) / n - meanA * meanB};
    }
};

SPairLevels meanOf(std::span<const PairByColor> pairs, std::size_t color) {
    SPairLevels mean;
    const auto count = static_cast<double>(pairs.size());
    for (const PairByColor& pair : pairs) {
        mean.mean += pair[color].mean / count;
        mean.variance += pair[color].variance / count;
        mean.spatial += pair[color].spatial / count;
    }
    return mean;
}

/// The line through the dark point that fits the variances best.
void workOutGain(SPhotonTransfer& transfer, double most) {
    double products = 0;
    double squares = 0;
    std::size_t used = 0;
    for (const SPairLevels& point : transfer.points) {
        const double signal = transfer.Signal(point);
        if (signal > 0 && signal <= most) {
            products += signal * (point.variance - transfer.dark.variance);
            squares += signal * signal;
            ++used;
        }
    }
    constexpr std::size_t kFewest = 3;
    if (used < kFewest) {
        throw CFailure(fmt::format("{} of {} lit pairs are between dark and {:.0f} % of saturation: {} and more are "
                                   "needed",
                                   used, transfer.points.size(), 100 * kGainRange, kFewest));
    }
    transfer.gain = products / squares;
    if (transfer.gain <= 0) {
        throw CFailure("the noise does not grow with the light: the pairs may be copies of one frame, or processed");
    }
}

void workOutPattern(SPhotonTransfer& transfer) {
    transfer.dsnu = std::sqrt(std::max(0.0, transfer.dark.spatial)) / transfer.gain;
    if (!transfer.saturation) {
        return;
    }
    const double full = transfer.Signal(transfer.points[*transfer.saturation]);
    double sum = 0;
    double count = 0;
    for (const SPairLevels& point : transfer.points) {
        const double signal = transfer.Signal(point);
        if (signal >= kHalfFrom * full && signal <= kHalfTo * full) {
            sum += (point.spatial - transfer.dark.spatial) / (signal * signal);
            ++count;
        }
    }
    if (count > 0) {
        transfer.prnu = std::sqrt(std::max(0.0, sum / count));
    }
}

/// The line whose relative deviations have the least sum of squares.
void workOutLinearity(SPhotonTransfer& transfer) {
    if (!transfer.saturation) {
        return;
    }
    const double full = transfer.Signal(transfer.points[*transfer.saturation]);
    // Sums with the weights 1 / signal^2.
    double weights = 0;
    double x = 0;
    double y = 0;
    double xx = 0;
    double xy = 0;
    std::vector<SPoint> used;
    for (const SPairLevels& point : transfer.points) {
        const double signal = transfer.Signal(point);
        if (point.exposure <= 0 || signal < kLinearityFrom * full || signal > kLinearityTo * full) {
            continue;
        }
        const double weight = 1 / (signal * signal);
        weights += weight;
        x += weight * point.exposure;
        y += weight * signal;
        xx += weight * point.exposure * point.exposure;
        xy += weight * point.exposure * signal;
        used.push_back({point.exposure, signal});
    }
    const double determinant = weights * xx - x * x;
    if (used.size() < 3 || determinant <= 1e-12 * weights * xx) {
        return;
    }
    SLinearity linearity;
    linearity.slope = (weights * xy - x * y) / determinant;
    linearity.offset = (y - linearity.slope * x) / weights;
    for (const SPoint& point : used) {
        const double fitted = linearity.offset + linearity.slope * point.x;
        const double deviation = (point.y - fitted) / fitted;
        linearity.deviations.push_back({point.x, deviation});
        linearity.error += std::abs(deviation) / static_cast<double>(used.size());
    }
    transfer.linearity = std::move(linearity);
}

SPhotonTransfer transferOf(std::vector<SPairLevels> points, const SPairLevels& dark) {
    SPhotonTransfer transfer;
    transfer.dark = dark;
    transfer.points = std::move(points);
    std::stable_sort(transfer.points.begin(), transfer.points.end(),
                     [](const SPairLevels& a, const SPairLevels& b) { return a.mean < b.mean; });
    const auto largest =
        std::max_element(transfer.points.begin(), transfer.points.end(),
                         [](const SPairLevels& a, const SPairLevels& b) { return a.variance < b.variance; });
    // Where the variance still rises at the end, saturation was not reached.
    if (largest != transfer.points.end() && largest + 1 != transfer.points.end()) {
        transfer.saturation = static_cast<std::size_t>(largest - transfer.points.begin());
    }
    const double full =
        transfer.points.empty() ? 0 : transfer.Signal(transfer.saturation ? *largest : transfer.points.back());
    workOutGain(transfer, transfer.saturation ? kGainRange * full : full);
    if (dark.variance >= kLeastReadNoiseDn * kLeastReadNoiseDn) {
        transfer.readNoise = transfer.ReadNoiseDn() / transfer.gain;
    }
    workOutPattern(transfer);
    workOutLinearity(transfer);
    return transfer;
}

} // namespace

PairByColor measuredPair(const STransferredFrame& a, const STransferredFrame& b, const SRegion& region,
                         double exposure) {
    const bool colors = isBayer(a.colorArray);
    std::array<SPairSums, 4> sums{};
    for (std::size_t y = region.y; y < std::size_t{region.y} + region.height; ++y) {
        for (std::size_t x = region.x; x < std::size_t{region.x} + region.width; ++x) {
            const std::size_t i = y * a.width + x;
            const std::uint64_t one = sampleAt(a.bytes, *a.format, i);
            const std::uint64_t other = sampleAt(b.bytes, *b.format, i);
            const std::uint64_t difference = one > other ? one - other : other - one;
            SPairSums& place = sums[colors ? y % 2 * 2 + x % 2 : 0];
            ++place.count;
            place.a += one;
            place.b += other;
            place.products += one * other;
            place.squaredDifferences += difference * difference;
        }
    }
    PairByColor levels;
    for (std::size_t place = 0; place < (colors ? 4 : 1); ++place) {
        if (sums[place].count == 0) {
            throw CFailure("a region of 2 x 2 pixels and more is needed");
        }
        levels.push_back(sums[place].Levels(exposure));
    }
    return levels;
}

double SPhotonTransfer::ReadNoiseDn() const {
    return std::sqrt(std::max(0.0, dark.variance - kRounding));
}

std::optional<double> SPhotonTransfer::SaturationElectrons() const {
    return saturation ? std::optional(Signal(points[*saturation]) / gain) : std::nullopt;
}

std::vector<SPhotonTransfer> photonTransfer(std::span<const PairByColor> pairs, std::span<const PairByColor> dark,
                                            unsigned short colorArray) {
    if (dark.empty()) {
        throw CFailure("a pair of dark frames is needed");
    }
    std::vector<SPhotonTransfer> colors;
    for (std::size_t color = 0; color < dark.front().size(); ++color) {
        std::vector<SPairLevels> points;
        for (const PairByColor& pair : pairs) {
            points.push_back(pair[color]);
        }
        colors.push_back(transferOf(std::move(points), meanOf(dark, color)));
        colors.back().name = dark.front().size() == 1 ? std::string_view() : placeNames(colorArray)[color];
    }
    return colors;
}

std::vector<SNoise> profileNoise(std::span<const SPhotonTransfer> colors, double white) {
    const auto noiseOf = [&](std::initializer_list<std::string_view> names) {
        SNoise noise;
        double count = 0;
        for (const SPhotonTransfer& color : colors) {
            if (std::find(names.begin(), names.end(), color.name) != names.end()) {
                const double range = white - color.dark.mean;
                noise.scale += color.gain / range;
                noise.offset += color.dark.variance / (range * range);
                ++count;
            }
        }
        return SNoise{noise.scale / count, noise.offset / count};
    };
    if (colors.size() == 1) {
        return {noiseOf({""})};
    }
    return {noiseOf({"R"}), noiseOf({"Gr", "Gb"}), noiseOf({"B"})};
}

} // namespace vek::client
