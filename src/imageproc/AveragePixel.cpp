// SPDX-License-Identifier: Apache-2.0
#include "imageproc/AveragePixel.h"

#include <algorithm>
#include <cstdint>

namespace vek {

namespace {

/// min(start + size, limit), also where the sum leaves 64 bits.
unsigned long mulEnd(unsigned long start, unsigned long size, unsigned long limit) {
    return start < limit && size < limit - start ? start + size : limit;
}

/// Sums of a region row by row. sumRow adds the samples of row y with even and odd distance from the region's left
/// edge to two sums.
template <class SumRow>
SCellSums mSumRows(const SRegion& region, SumRow sumRow) {
    SCellSums cell{};
    if (region.IsEmpty()) {
        return cell;
    }
    const unsigned long width = region.xEnd - region.x;
    const unsigned long columns[2] = {(width + 1) / 2, width / 2};
    for (unsigned long y = region.y; y < region.yEnd; ++y) {
        std::uint64_t sums[2] = {};
        sumRow(y, width, sums);
        for (unsigned i = 0; i < 2; ++i) {
            const std::size_t place = 2 * (y % 2) + (region.x + i) % 2;
            cell.sum[place] += sums[i];
            cell.count[place] += columns[i];
        }
    }
    return cell;
}

float mfMean(unsigned long sum, unsigned long count) {
    return count == 0 ? 0.0F : static_cast<float>(sum) / static_cast<float>(count);
}

} // namespace

SRegion SRegion::Cut(unsigned long x, unsigned long y, unsigned long w, unsigned long h, unsigned long width,
                     unsigned long height) {
    return {x, y, mulEnd(x, w, width), mulEnd(y, h, height)};
}

void SCellSums::Average(bool mono, float* average) const {
    if (mono) {
        average[0] = mfMean(sum[0] + sum[1] + sum[2] + sum[3], count[0] + count[1] + count[2] + count[3]);
        std::fill(average + 1, average + 4, 0.0F);
        return;
    }
    for (unsigned k = 0; k < 4; ++k) {
        average[k] = mfMean(sum[k], count[k]);
    }
}

template <class T>
SCellSums mvAveragePixel(const rows::SRowTable& kernels, const SRegion& region, unsigned long pitch, const T* src) {
    return mSumRows(region, [&](unsigned long y, unsigned long width, std::uint64_t* sums) {
        rows::sumRow<T>(kernels)(src + y * pitch + region.x, width, sums);
    });
}
template SCellSums mvAveragePixel(const rows::SRowTable&, const SRegion&, unsigned long, const unsigned char*);
template SCellSums mvAveragePixel(const rows::SRowTable&, const SRegion&, unsigned long, const unsigned short*);

SCellSums mvAveragePackedPixel(const rows::SRowTable& kernels, const SRegion& region, unsigned long pitch,
                               unsigned bits, const unsigned char* src) {
    const auto sumPacked = bits == 10 ? kernels.sums.packed10 : kernels.sums.packed12;
    return mSumRows(region, [&](unsigned long y, unsigned long width, std::uint64_t* sums) {
        sumPacked(src + y * pitch, width, sums);
    });
}

} // namespace vek
