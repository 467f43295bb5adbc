// SPDX-License-Identifier: Apache-2.0
#include "client/statistics/FrameGlance.h"

#include "client/frames/RawFrame.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace vek::client {

namespace {

// About so many samples of each tile's side are looked at; in pairs of rows and columns, which hold every colour.
constexpr std::uint32_t kPairs = 16;

/// Sample x of a row, at the format's depth.
unsigned rowSample(std::span<const std::uint8_t> row, const STransferFormat& format, std::uint32_t x) {
    switch (format.layout) {
    case ELayout::Words:
        return sampleAt(row, format, x);
    case ELayout::Packed: {
        const std::size_t bit = std::size_t{x} * format.depth;
        const std::size_t byte = bit / 8;
        const unsigned low = row[byte];
        const unsigned high = byte + 1 < row.size() ? row[byte + 1] : 0U;
        return ((high << 8 | low) >> bit % 8) & ((1U << format.depth) - 1);
    }
    case ELayout::Csi2: {
        // A group's high bytes stand first; its low bits, a little-endian stream, behind them.
        const std::size_t group = std::size_t{x} / format.groupPixels * format.groupBytes;
        const std::size_t place = x % format.groupPixels;
        const unsigned lowBits = format.depth - 8U;
        const std::size_t bit = place * lowBits;
        const std::size_t byte = group + format.groupPixels + bit / 8;
        const unsigned next = byte + 1 < row.size() ? row[byte + 1] : 0U;
        const unsigned low = ((next << 8 | row[byte]) >> bit % 8) & ((1U << lowBits) - 1);
        return unsigned{row[group + place]} << lowBits | low;
    }
    default:
        return row[x];
    }
}

/// Samples that were looked at.
struct SGlanced {
    double sum = 0;
    std::uint64_t count = 0;
    std::uint64_t clipped = 0;
};

} // namespace

SFrameGlance glanceOf(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                      std::uint32_t height, unsigned white) {
    const std::size_t rowBytes = format.RowBytes(width);
    const bool raw = format.IsRaw();
    const auto columns = raw ? width : static_cast<std::uint32_t>(rowBytes);
    const unsigned largest = raw ? (1U << format.depth) - 1 : 255U;
    const unsigned limit = raw && white != 0 ? std::min(white, largest) : largest;
    SFrameGlance glance{};
    SGlanced all;
    for (std::uint32_t tile = 0; tile < glance.tiles.size(); ++tile) {
        const std::uint64_t row = tile / SFrameGlance::kColumns;
        const std::uint64_t column = tile % SFrameGlance::kColumns;
        const auto top = static_cast<std::uint32_t>(row * height / SFrameGlance::kRows);
        const auto bottom = static_cast<std::uint32_t>((row + 1) * height / SFrameGlance::kRows);
        const auto left = static_cast<std::uint32_t>(column * columns / SFrameGlance::kColumns);
        const auto right = static_cast<std::uint32_t>((column + 1) * columns / SFrameGlance::kColumns);
        const std::uint32_t stepY = std::max((bottom - top) / (2 * kPairs), 1U) * 2;
        const std::uint32_t stepX = std::max((right - left) / (2 * kPairs), 1U) * 2;
        SGlanced sums;
        for (std::uint32_t y = top; y < bottom; y += (y - top) % stepY == 0 ? 1 : stepY - 1) {
            const auto samples = bytes.subspan(y * rowBytes, rowBytes);
            for (std::uint32_t x = left; x < right; x += (x - left) % stepX == 0 ? 1 : stepX - 1) {
                const unsigned sample = raw ? rowSample(samples, format, x) : samples[x];
                sums.sum += sample;
                sums.clipped += sample >= limit ? 1 : 0;
                ++sums.count;
            }
        }
        glance.tiles[tile] = sums.count > 0 ? sums.sum / static_cast<double>(sums.count) / largest : 0;
        all.sum += sums.sum;
        all.count += sums.count;
        all.clipped += sums.clipped;
    }
    if (all.count > 0) {
        glance.level = all.sum / static_cast<double>(all.count) / largest;
        glance.clipped = static_cast<double>(all.clipped) / static_cast<double>(all.count);
    }
    return glance;
}

double largestChange(const SFrameGlance& a, const SFrameGlance& b) {
    double largest = 0;
    for (std::size_t i = 0; i < a.tiles.size(); ++i) {
        largest = std::max(largest, std::abs(a.tiles[i] - b.tiles[i]));
    }
    return largest;
}

} // namespace vek::client
