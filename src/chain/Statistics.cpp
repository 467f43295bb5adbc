// SPDX-License-Identifier: Apache-2.0
#include "chain/Statistics.h"

#include "chain/Plan.h"
#include "formats/ColorArrays.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace vek {

namespace {

static_assert(std::size(VekChainCount{}.bins) == rows::SRowCount::kBins);
constexpr unsigned kBinBits = 6;

template <class Count>
void add(VekChainCount& to, std::uint64_t pixels, const Count& counted) {
    to.pixels += pixels;
    to.sum += counted.sum;
    to.clipped += counted.clipped;
    for (std::size_t bin = 0; bin < rows::SRowCount::kBins; ++bin) {
        to.bins[bin] += counted.bins[bin];
    }
}

constexpr std::size_t kPictureTable = 2;

template <class T>
constexpr T largest(unsigned depth) {
    return static_cast<T>((1U << depth) - 1);
}

} // namespace

void SChainCounts::AddTo(VekChainStatistics& statistics) const {
    for (std::size_t color = 0; color < raw.size(); ++color) {
        add(statistics.raw[color], raw[color].pixels, raw[color]);
    }
    add(statistics.luma, luma.pixels, luma);
}

CBandCounter::~CBandCounter() {
    for (std::size_t table = 0; table < kTables; ++table) {
        Take(table);
    }
}

/// A row's columns, as many at a time as a table has room for.
template <class T, class Count>
void CBandCounter::Row(std::size_t table, const T* row, unsigned samplesPerPixel, unsigned depth, Count count) {
    const std::size_t width = mPlan.frame.width;
    for (std::size_t x = 0; x < width;) {
        const std::size_t columns = std::min(width - x, rows::SPairCounts::kMaxColumns);
        if (mColumns[table] + columns > rows::SPairCounts::kMaxColumns) {
            Take(table);
        }
        count(row + x * samplesPerPixel, columns, depth - kBinBits, largest<T>(depth), mTables[table]);
        mColumns[table] += (columns + 1) / 2 * 2;
        mPixels[table][0] += (columns + 1) / 2;
        mPixels[table][1] += columns / 2;
        x += columns;
    }
}

/// What a table has counted goes to its colours.
void CBandCounter::Take(std::size_t table) {
    if (mColumns[table] == 0) {
        return;
    }
    rows::SRowCount even = {};
    rows::SRowCount odd = {};
    mPlan.kernels->takeCounts(mTables[table], even, odd);
    if (table == kPictureTable) {
        add(mCounts.luma, mPixels[table][0], even);
        add(mCounts.luma, mPixels[table][1], odd);
    } else {
        const bool bayer = isBayer(mPlan.frame.colorArray);
        const PhaseSlots slots = phaseSlots(mPlan.frame.colorArray);
        add(mCounts.raw[bayer ? slots[2 * table] : 0], mPixels[table][0], even);
        add(mCounts.raw[bayer ? slots[2 * table + 1] : 0], mPixels[table][1], odd);
    }
    mColumns[table] = 0;
    mPixels[table] = {};
}

template <class T>
void CBandCounter::Raw(const SImage<const T>& rows, unsigned long first, unsigned long end) {
    const auto samples = rows::countRows<T>(*mPlan.kernels).samples;
    // Rows of a parity together: they share a table.
    for (unsigned long parity = 0; parity < 2; ++parity) {
        for (unsigned long y = first + (first + parity) % 2; y < end; y += 2) {
            Row(parity, rows.Row(y), 1, mPlan.frame.depth, samples);
        }
    }
}
template void CBandCounter::Raw(const SImage<const unsigned char>&, unsigned long, unsigned long);
template void CBandCounter::Raw(const SImage<const unsigned short>&, unsigned long, unsigned long);

template <class T>
void CBandCounter::Picture(const SImage<const T>& rows, unsigned long first, unsigned long end) {
    const rows::SCountRows<T>& kernels = rows::countRows<T>(*mPlan.kernels);
    const auto count = mPlan.picture.IsGray() ? kernels.samples : kernels.luma;
    for (unsigned long y = first; y < end; ++y) {
        Row(kPictureTable, rows.Row(y), mPlan.Samples(), mPlan.picture.depth, count);
    }
}
template void CBandCounter::Picture(const SImage<const unsigned char>&, unsigned long, unsigned long);
template void CBandCounter::Picture(const SImage<const unsigned short>&, unsigned long, unsigned long);

} // namespace vek
