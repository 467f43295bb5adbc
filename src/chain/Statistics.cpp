// SPDX-License-Identifier: Apache-2.0
#include "chain/Statistics.h"

#include "chain/Plan.h"
#include "formats/ColorArrays.h"

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

/// Even and odd columns of a frame's even and odd rows.
class CPhaseCounts {
public:
    /// count(even, odd) adds what a row has there.
    template <class CountRow>
    void Row(unsigned long y, unsigned long width, CountRow count) {
        const std::size_t even = 2 * (y % 2);
        count(mCounts[even], mCounts[even + 1]);
        mPixels[even] += (width + 1) / 2;
        mPixels[even + 1] += width / 2;
    }
    void AddTo(VekChainCount& to, std::size_t phase) const { add(to, mPixels[phase], mCounts[phase]); }

private:
    std::array<rows::SRowCount, 4> mCounts{};
    std::array<std::uint64_t, 4> mPixels{};
};

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

template <class T>
void countRaw(const CVekChainPlan& plan, const SImage<const T>& rows, unsigned long first, unsigned long end,
              SChainCounts& counts) {
    CPhaseCounts phases;
    const unsigned depth = plan.frame.depth;
    const auto samples = rows::countRows<T>(*plan.kernels).samples;
    for (unsigned long y = first; y < end; ++y) {
        phases.Row(y, rows.width, [&](rows::SRowCount& even, rows::SRowCount& odd) {
            samples(rows.Row(y), rows.width, depth - kBinBits, largest<T>(depth), even, odd);
        });
    }
    const PhaseSlots slots = phaseSlots(plan.frame.colorArray);
    for (std::size_t phase = 0; phase < slots.size(); ++phase) {
        phases.AddTo(counts.raw[isBayer(plan.frame.colorArray) ? slots[phase] : 0], phase);
    }
}
template void countRaw(const CVekChainPlan&, const SImage<const unsigned char>&, unsigned long, unsigned long,
                       SChainCounts&);
template void countRaw(const CVekChainPlan&, const SImage<const unsigned short>&, unsigned long, unsigned long,
                       SChainCounts&);

template <class T>
void countPicture(const CVekChainPlan& plan, const SImage<const T>& rows, unsigned long first, unsigned long end,
                  SChainCounts& counts) {
    CPhaseCounts phases;
    const unsigned depth = plan.picture.depth;
    const rows::SCountRows<T>& kernels = rows::countRows<T>(*plan.kernels);
    const auto count = plan.picture.IsGray() ? kernels.samples : kernels.luma;
    for (unsigned long y = first; y < end; ++y) {
        phases.Row(0, rows.width, [&](rows::SRowCount& even, rows::SRowCount& odd) {
            count(rows.Row(y), rows.width, depth - kBinBits, largest<T>(depth), even, odd);
        });
    }
    phases.AddTo(counts.luma, 0);
    phases.AddTo(counts.luma, 1);
}
template void countPicture(const CVekChainPlan&, const SImage<const unsigned char>&, unsigned long, unsigned long,
                           SChainCounts&);
template void countPicture(const CVekChainPlan&, const SImage<const unsigned short>&, unsigned long, unsigned long,
                           SChainCounts&);

} // namespace vek
