// SPDX-License-Identifier: Apache-2.0
#include "client/stages/BlackMeter.h"

#include "client/Errors.h"
#include "client/frames/Measurement.h"
#include "client/frames/RawFrame.h"
#include "client/stages/Calibration.h"

#include "formats/ColorArrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vek::client {

namespace {

/// Standard deviation of a normal distribution over its median absolute deviation.
constexpr double kMadScale = 1.4826;

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double robustDeviation(const std::vector<double>& values, double median) {
    std::vector<double> distances;
    distances.reserve(values.size());
    for (const double value : values) {
        distances.push_back(std::abs(value - median));
    }
    return kMadScale * medianOf(std::move(distances));
}

/// Lines that no chance explains, the worst in front.
std::vector<SOddLine> oddLines(const std::vector<double>& means, double median, double deviation) {
    constexpr double kBeyondChance = 5;
    std::vector<SOddLine> lines;
    for (std::size_t i = 0; i < means.size(); ++i) {
        if (std::abs(means[i] - median) > kBeyondChance * deviation) {
            lines.push_back({i, means[i] - median});
        }
    }
    std::stable_sort(lines.begin(), lines.end(), [](const SOddLine& a, const SOddLine& b) {
        return std::abs(a.deviation) > std::abs(b.deviation);
    });
    return lines;
}

} // namespace

SBlackLevels SBlackMeasurement::Levels() const {
    SBlackLevels black;
    black.rows = black.columns = places.size() == 1 ? 1 : 2;
    for (const SBlackPlace& place : places) {
        constexpr double kDigits = 1000; // more of them are noise
        black.levels.push_back(std::round(place.level * kDigits) / kDigits);
    }
    return black;
}

CBlackMeter::CBlackMeter(const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                         unsigned short colorArray)
    : mFormat(format), mWidth(width), mHeight(height), mColorArray(colorArray),
      mPlaces(isBayer(colorArray) && width > 1 && height > 1 ? 4 : 1), mSums(mWidth * mHeight),
      mLast(mWidth * mHeight) {}

void CBlackMeter::Add(std::span<const std::uint8_t> bytes) {
    if (mFrames == CFrameMean::kMostFrames) {
        throw CFailure(fmt::format("more than {} frames cannot be measured", CFrameMean::kMostFrames));
    }
    std::array<double, 4> sums{};
    std::array<double, 4> differences{};
    std::array<double, 4> squares{};
    std::array<double, 4> counts{};
    for (std::size_t y = 0; y < mHeight; ++y) {
        for (std::size_t x = 0; x < mWidth; ++x) {
            const std::size_t i = y * mWidth + x;
            const std::size_t place = PlaceOf(x, y);
            const unsigned sample = sampleAt(bytes, mFormat, i);
            const double difference = static_cast<double>(sample) - mLast[i];
            mSums[i] += sample;
            mLast[i] = static_cast<std::uint16_t>(sample);
            mZeros += sample == 0 ? 1 : 0;
            sums[place] += sample;
            differences[place] += difference;
            squares[place] += difference * difference;
            ++counts[place];
        }
    }
    for (std::size_t place = 0; place < mPlaces; ++place) {
        const double drift = differences[place] / counts[place];
        sums[place] /= counts[place];
        mSquaredDifferences[place] += mFrames > 0 ? squares[place] / counts[place] - drift * drift : 0;
    }
    mMeans.push_back(sums);
    ++mFrames;
}

std::vector<float> CBlackMeter::Residuals(const SBlackMeasurement& measurement, double& deviation) const {
    std::vector<float> residuals(mSums.size());
    std::vector<double> sizes;
    // Every so many pixels tell the spread of all.
    const std::size_t step = std::max<std::size_t>(1, mSums.size() / 100'000) | 1;
    for (std::size_t y = 0; y < mHeight; ++y) {
        for (std::size_t x = 0; x < mWidth; ++x) {
            const std::size_t i = y * mWidth + x;
            const double mean = static_cast<double>(mSums[i]) / mFrames;
            residuals[i] = static_cast<float>(mean - measurement.places[PlaceOf(x, y)].level);
            if (i % step == 0) {
                sizes.push_back(std::abs(residuals[i]));
            }
        }
    }
    // Samples are whole: of a frame without noise the spread is still that of rounding.
    constexpr double kRounding = 0.289; // the root of 1/12
    deviation = std::max(kMadScale * medianOf(std::move(sizes)), kRounding / std::sqrt(mFrames));
    const auto limit = static_cast<float>(6 * deviation);
    for (float& residual : residuals) {
        residual = std::clamp(residual, -limit, limit);
    }
    return residuals;
}

void CBlackMeter::FindLines(SBlackMeasurement& measurement, std::span<const float> residuals, double deviation) const {
    std::vector<double> rows(mHeight);
    std::vector<double> columns(mWidth);
    for (std::size_t y = 0; y < mHeight; ++y) {
        for (std::size_t x = 0; x < mWidth; ++x) {
            const double residual = residuals[y * mWidth + x];
            rows[y] += residual / static_cast<double>(mWidth);
            columns[x] += residual / static_cast<double>(mHeight);
        }
    }
    measurement.rowNoise = deviation / std::sqrt(mWidth);
    measurement.columnNoise = deviation / std::sqrt(mHeight);
    const double rowMedian = medianOf(rows);
    const double columnMedian = medianOf(columns);
    measurement.rowDeviation = robustDeviation(rows, rowMedian);
    measurement.columnDeviation = robustDeviation(columns, columnMedian);
    measurement.rows = oddLines(rows, rowMedian, std::max(measurement.rowDeviation, measurement.rowNoise));
    measurement.columns =
        oddLines(columns, columnMedian, std::max(measurement.columnDeviation, measurement.columnNoise));
}

void CBlackMeter::FindDoubts(SBlackMeasurement& measurement, std::span<const float> residuals, double deviation) const {
    const double range = (1U << mFormat.depth) - 1.0;
    std::vector<std::string>& doubts = measurement.doubts;
    const auto [low, high] =
        std::minmax_element(measurement.places.begin(), measurement.places.end(),
                            [](const SBlackPlace& a, const SBlackPlace& b) { return a.level < b.level; });
    if (high->level > range / 4) {
        doubts.push_back(fmt::format("the level is {:.0f} of {:.0f}: the lens may not be capped", high->level, range));
    }
    if (high->level - low->level > std::max(1.0, range / 500)) {
        doubts.push_back(fmt::format("the levels of the colours are {:.2f} DN apart: light may have come in",
                                     high->level - low->level));
    }
    // Light that leaks in is brighter somewhere.
    constexpr std::size_t kTiles = 4;
    if (mWidth >= 2 * kTiles && mHeight >= 2 * kTiles) {
        std::array<double, kTiles * kTiles> sums{};
        std::array<double, kTiles * kTiles> counts{};
        for (std::size_t y = 0; y < mHeight; ++y) {
            for (std::size_t x = 0; x < mWidth; ++x) {
                const std::size_t tile = y * kTiles / mHeight * kTiles + x * kTiles / mWidth;
                sums[tile] += residuals[y * mWidth + x];
                ++counts[tile];
            }
        }
        for (std::size_t tile = 0; tile < sums.size(); ++tile) {
            sums[tile] /= counts[tile];
        }
        const auto [least, most] = std::minmax_element(sums.begin(), sums.end());
        const double chance = deviation / std::sqrt(counts[0]);
        if (*most - *least > std::max({8 * chance, range / 2000, 0.25})) {
            const auto tile = static_cast<std::size_t>(most - sums.begin());
            doubts.push_back(fmt::format("parts of the frame differ by {:.2f} DN, brightest around pixel {}, {}: light "
                                         "may have come in, or the sensor glows there",
                                         *most - *least, (2 * (tile % kTiles) + 1) * mWidth / (2 * kTiles),
                                         (2 * (tile / kTiles) + 1) * mHeight / (2 * kTiles)));
        }
    }
    const double zeros = static_cast<double>(mZeros) / static_cast<double>(mSums.size()) / mFrames;
    if (zeros > 0.01) {
        doubts.push_back(
            fmt::format("{:.0f} % of the samples are 0: noise is cut off there, and the level is lower than "
                        "their mean",
                        100 * zeros));
    }
}

SBlackMeasurement CBlackMeter::Result() const {
    SBlackMeasurement measurement;
    measurement.frames = mFrames;
    const auto names = placeNames(mColorArray);
    std::array<double, 4> squares{};
    std::array<double, 4> counts{};
    for (std::size_t place = 0; place < mPlaces; ++place) {
        SBlackPlace black;
        black.name = mPlaces == 1 ? std::string_view() : names[place];
        for (const std::array<double, 4>& means : mMeans) {
            black.level += means[place] / mFrames;
        }
        if (mFrames > 1) {
            double scatter = 0;
            for (const std::array<double, 4>& means : mMeans) {
                scatter += (means[place] - black.level) * (means[place] - black.level);
            }
            black.error = std::sqrt(scatter / (mFrames - 1) / mFrames);
            black.noise = std::sqrt(mSquaredDifferences[place] / (mFrames - 1) / 2);
        }
        measurement.places.push_back(black);
    }
    for (std::size_t y = 0; y < mHeight; ++y) {
        for (std::size_t x = 0; x < mWidth; ++x) {
            const std::size_t place = PlaceOf(x, y);
            const double off = static_cast<double>(mSums[y * mWidth + x]) / mFrames - measurement.places[place].level;
            squares[place] += off * off;
            ++counts[place];
        }
    }
    for (std::size_t place = 0; place < mPlaces; ++place) {
        SBlackPlace& black = measurement.places[place];
        black.pattern = std::sqrt(squares[place] / counts[place]);
        black.error = mFrames > 1 ? black.error : black.pattern / std::sqrt(counts[place]);
    }
    double deviation = 0;
    const std::vector<float> residuals = Residuals(measurement, deviation);
    FindLines(measurement, residuals, deviation);
    FindDoubts(measurement, residuals, deviation);
    return measurement;
}

} // namespace vek::client
