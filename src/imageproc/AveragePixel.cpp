// SPDX-License-Identifier: Apache-2.0
#include "imageproc/AveragePixel.h"

#include <algorithm>
#include <cstdint>

namespace vek {

namespace {

/// min(start + size, limit), also where the sum leaves 64 bits.
unsigned long endOf(unsigned long start, unsigned long size, unsigned long limit) {
    return start < limit && size < limit - start ? start + size : limit;
}

float mean(unsigned long sum, unsigned long count) {
    return count == 0 ? 0.0F : static_cast<float>(sum) / static_cast<float>(count);
}

} // namespace

SRegion SRegion::Cut(unsigned long x, unsigned long y, unsigned long w, unsigned long h, unsigned long width,
                     unsigned long height) {
    return {x, y, endOf(x, w, width), endOf(y, h, height)};
}

void SCellSums::Add(const SCellSums& other) {
    for (unsigned k = 0; k < 4; ++k) {
        sum[k] += other.sum[k];
        count[k] += other.count[k];
    }
}

void SCellSums::Average(bool mono, float* average) const {
    if (mono) {
        average[0] = mean(sum[0] + sum[1] + sum[2] + sum[3], count[0] + count[1] + count[2] + count[3]);
        std::fill(average + 1, average + 4, 0.0F);
        return;
    }
    for (unsigned k = 0; k < 4; ++k) {
        average[k] = mean(sum[k], count[k]);
    }
}

STraits SAveragePixelStage::Traits(const SFrame& /*frame*/) const {
    return {.kind = EStage::Reduction, .resultBytes = sizeof(SCellSums)};
}

SCellSums SAveragePixelStage::Measure(const rows::SRowTable& kernels, const SFrame& /*frame*/,
                                      const SSourceBand& rows) const {
    SCellSums cell{};
    if (region.IsEmpty()) {
        return cell;
    }
    const unsigned long width = region.xEnd - region.x;
    const unsigned long columns[2] = {(width + 1) / 2, width / 2};
    // sumRow adds the samples of even and of odd distance from the region's left edge to two sums.
    const auto sumRows = [&](auto sumRow) {
        const unsigned long end = std::min(rows.end, region.yEnd);
        for (unsigned long y = std::max(rows.first, region.y); y < end; ++y) {
            std::uint64_t sums[2] = {};
            sumRow(rows.src.Row(y), sums);
            for (unsigned i = 0; i < 2; ++i) {
                const std::size_t place = 2 * (y % 2) + (region.x + i) % 2;
                cell.sum[place] += sums[i];
                cell.count[place] += columns[i];
            }
        }
    };
    if (layout == ELayout::Packed) {
        const auto sumPacked = depth == 10 ? kernels.sums.packed10 : kernels.sums.packed12;
        sumRows([&](const unsigned char* row, std::uint64_t* sums) { sumPacked(row, width, sums); });
    } else if (layout == ELayout::Words) {
        sumRows([&](const unsigned char* row, std::uint64_t* sums) {
            kernels.sums.samples16(reinterpret_cast<const std::uint16_t*>(row) + region.x, width, sums);
        });
    } else {
        sumRows(
            [&](const unsigned char* row, std::uint64_t* sums) { kernels.sums.samples8(row + region.x, width, sums); });
    }
    return cell;
}

} // namespace vek
