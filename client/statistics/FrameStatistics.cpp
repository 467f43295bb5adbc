// SPDX-License-Identifier: Apache-2.0
#include "client/statistics/FrameStatistics.h"

#include "formats/ColorArrays.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

namespace vek::client {

namespace {

/// Pixels from a sample to the ends of its slopes: the next ones of its colour in a Bayer frame.
constexpr std::uint32_t kSlopeReach = 2;

/// The smallest sample that rank thousandths of the samples do not exceed.
unsigned percentileOf(const std::vector<std::uint64_t>& histogram, std::uint64_t count, unsigned rank) {
    const std::uint64_t wanted = std::max<std::uint64_t>((count * rank + 999) / 1000, 1);
    std::uint64_t seen = 0;
    unsigned sample = 0;
    for (; sample + 1 < histogram.size(); ++sample) {
        seen += histogram[sample];
        if (seen >= wanted) {
            break;
        }
    }
    return sample;
}

/// Of a colour, from its histogram.
SColorStatistics statisticsOf(std::vector<std::uint64_t> histogram, double black, unsigned white) {
    SColorStatistics color;
    std::uint64_t clipped = 0;
    std::uint64_t dark = 0;
    double sum = 0;
    color.histogram = std::move(histogram);
    for (unsigned sample = 0; sample < color.histogram.size(); ++sample) {
        const std::uint64_t count = color.histogram[sample];
        if (count == 0) {
            continue;
        }
        color.smallest = color.count == 0 ? sample : color.smallest;
        color.largest = sample;
        color.count += count;
        sum += static_cast<double>(count) * sample;
        clipped += sample >= white ? count : 0;
        dark += sample == 0 || sample < black ? count : 0;
    }
    if (color.count == 0) {
        return color;
    }
    const auto number = static_cast<double>(color.count);
    color.mean = sum / number;
    color.clipped = static_cast<double>(clipped) / number;
    color.dark = static_cast<double>(dark) / number;
    double squares = 0;
    for (unsigned sample = color.smallest; sample <= color.largest; ++sample) {
        const double distance = sample - color.mean;
        squares += static_cast<double>(color.histogram[sample]) * distance * distance;
    }
    color.deviation = std::sqrt(squares / number);
    std::transform(kPercentileRanks.begin(), kPercentileRanks.end(), color.percentiles.begin(),
                   [&](unsigned rank) { return percentileOf(color.histogram, color.count, rank); });
    return color;
}

} // namespace

std::size_t STileSharpness::Best() const {
    return static_cast<std::size_t>(
        std::distance(percents.begin(), std::max_element(percents.begin(), percents.end())));
}

CFrameStatistics::CFrameStatistics(const SStatisticsForm& form)
    : mForm(form), mCells(form.channels, form.colorArray),
      mHistograms(mCells.Count(), std::vector<std::uint64_t>(std::size_t{1} << form.depth)), mSquares(mCells.Count()),
      mTiles(std::size_t{form.tileColumns} * form.tileRows) {}

void CFrameStatistics::Add(const SImage& frame) {
    Count(frame);
    AddSlopes(frame);
    AddNoise(frame);
    ++mFrames;
}

void CFrameStatistics::Count(const SImage& frame) {
    const SRegion& region = mForm.region;
    for (std::uint32_t y = region.y; y < region.y + region.height; ++y) {
        const std::vector<std::size_t> colors = mCells.OfRow(y);
        const std::uint16_t* const row = frame.samples.data() + y * frame.RowSamples();
        const std::size_t first = std::size_t{region.x} * frame.channels;
        const std::size_t end = first + std::size_t{region.width} * frame.channels;
        for (std::size_t k = first; k < std::min(first + colors.size(), end); ++k) {
            std::vector<std::uint64_t>& histogram = mHistograms[colors[k % colors.size()]];
            for (std::size_t i = k; i < end; i += colors.size()) {
                ++histogram[row[i]];
            }
        }
    }
}

void CFrameStatistics::AddSlopes(const SImage& frame) {
    const SRegion& region = mForm.region;
    const std::size_t channels = frame.channels;
    const std::size_t pitch = frame.RowSamples();
    const PhaseSlots slots = phaseSlots(mForm.colorArray);
    const std::size_t down = kSlopeReach * pitch;
    const std::size_t right = kSlopeReach * channels;
    for (std::uint32_t y = 0; !mTiles.empty() && y + kSlopeReach < region.height; ++y) {
        const std::size_t tileRow = std::size_t{y} * mForm.tileRows / region.height;
        for (std::uint32_t tile = 0; tile < mForm.tileColumns; ++tile) {
            const auto begin = [&](std::uint64_t number) {
                return static_cast<std::uint32_t>((number * region.width + mForm.tileColumns - 1) / mForm.tileColumns);
            };
            const std::uint32_t end = std::min(begin(tile + 1U), region.width - kSlopeReach);
            // The first green sample, and the distance of the next one.
            std::uint32_t x = begin(tile);
            const std::uint32_t step = mCells.IsBayer() ? 2 : 1;
            if (mCells.IsBayer()) {
                const EColorSlot slot = rowSlots(slots, region.y + y)[(region.x + x) % 2];
                x += slot == kSlotR || slot == kSlotB ? 1 : 0;
            }
            STile sums;
            std::int64_t products = 0; // of a row: below 2^50
            std::uint64_t signal = 0;
            const std::uint16_t* at = frame.samples.data() + (std::size_t{region.y} + y) * pitch +
                                      (std::size_t{region.x} + x) * channels + (channels == 3 ? 1 : 0);
            for (; x < end; x += step, at += step * channels) {
                const std::int64_t opposite = at[down + right];
                products += (std::int64_t{at[right]} - *at) * (opposite - at[down]);
                products += (std::int64_t{at[down]} - *at) * (opposite - at[right]);
                signal += *at;
                ++sums.count;
            }
            STile& sum = mTiles[tileRow * mForm.tileColumns + tile];
            sum.count += sums.count;
            sum.products += static_cast<double>(products);
            sum.signal += static_cast<double>(signal);
        }
    }
}

void CFrameStatistics::AddNoise(const SImage& frame) {
    const SRegion& region = mForm.region;
    const std::size_t rowSamples = std::size_t{region.width} * frame.channels;
    const auto rowOf = [&](std::uint32_t y) {
        return frame.samples.data() + (std::size_t{region.y} + y) * frame.RowSamples() +
               std::size_t{region.x} * frame.channels;
    };
    if (mFrames == 0) {
        mFirst.reserve(rowSamples * region.height);
        for (std::uint32_t y = 0; y < region.height; ++y) {
            mFirst.insert(mFirst.end(), rowOf(y), rowOf(y) + rowSamples);
        }
        return;
    }
    mDistances.resize(mFirst.size());
    for (std::uint32_t y = 0; y < region.height; ++y) {
        const std::vector<std::size_t> colors = mCells.OfRow(region.y + y);
        const std::size_t phase = std::size_t{region.x} * frame.channels;
        const std::uint16_t* const row = rowOf(y);
        const std::uint16_t* const first = mFirst.data() + y * rowSamples;
        std::int64_t* const distances = mDistances.data() + y * rowSamples;
        for (std::size_t k = 0; k < std::min(colors.size(), rowSamples); ++k) {
            std::uint64_t squares = 0; // of a row: below 2^50
            for (std::size_t i = k; i < rowSamples; i += colors.size()) {
                const std::int64_t distance = std::int64_t{row[i]} - first[i];
                distances[i] += distance;
                squares += static_cast<std::uint64_t>(distance * distance);
            }
            mSquares[colors[(phase + k) % colors.size()]] += static_cast<double>(squares);
        }
    }
}

SFrameStatistics CFrameStatistics::Result() const {
    SFrameStatistics result;
    result.frames = mFrames;
    for (std::size_t i = 0; i < mHistograms.size(); ++i) {
        result.colors.push_back(statisticsOf(mHistograms[i], mForm.black[i], mForm.white));
        result.colors.back().name = mCells.Name(i);
    }
    if (mFrames > 1) {
        // The squares' sum of a pixel's distances from its mean is that of those from the first frame, less the square
        // of their sum by their number.
        const auto frames = static_cast<double>(mFrames);
        std::vector<double> means(mSquares.size());
        const std::size_t rowSamples = std::size_t{mForm.region.width} * mForm.channels;
        for (std::uint32_t y = 0; y < mForm.region.height; ++y) {
            const std::vector<std::size_t> colors = mCells.OfRow(mForm.region.y + y);
            const std::size_t phase = std::size_t{mForm.region.x} * mForm.channels;
            for (std::size_t i = 0; i < rowSamples; ++i) {
                const auto sum = static_cast<double>(mDistances[y * rowSamples + i]);
                means[colors[(phase + i) % colors.size()]] += sum * sum / frames;
            }
        }
        for (std::size_t i = 0; i < mSquares.size(); ++i) {
            SColorStatistics& color = result.colors[i];
            const double pixels = static_cast<double>(color.count) / frames;
            const double variance = color.count == 0 ? 0 : (mSquares[i] - means[i]) / (frames - 1) / pixels;
            color.temporalNoise = std::sqrt(std::max(variance, 0.0));
        }
    }
    result.sharpness = {mForm.tileColumns, mForm.tileRows, {}};
    const double black = mCells.IsBayer() ? (mForm.black[kSlotGr] + mForm.black[kSlotGb]) / 2 : mForm.black[0];
    for (const STile& tile : mTiles) {
        const auto count = static_cast<double>(tile.count);
        const double signal = tile.signal / std::max(count, 1.0) - black;
        const bool measured = tile.count > 0 && signal > 0 && tile.products > 0;
        result.sharpness.percents.push_back(measured ? 100 * std::sqrt(tile.products / count) / signal : 0);
    }
    return result;
}

} // namespace vek::client
