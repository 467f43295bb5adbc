// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/TransferFormats.h"
#include "imageproc/Band.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// Part of an image, cut at the image's edge: columns x .. xEnd-1, rows y .. yEnd-1. Empty when an end is not behind
/// its start.
struct SRegion {
    unsigned long x;
    unsigned long y;
    unsigned long xEnd;
    unsigned long yEnd;

    static SRegion Cut(unsigned long x, unsigned long y, unsigned long w, unsigned long h, unsigned long width,
                       unsigned long height);
    bool IsEmpty() const { return x >= xEnd || y >= yEnd; }
};

/// Sums and numbers of a region's pixels by their place in the 2 x 2 cell, 2 x (row mod 2) + (column mod 2).
struct SCellSums {
    unsigned long sum[4];
    unsigned long count[4];

    /// The sums of both.
    void Add(const SCellSums& other);
    /// average: four floats. Mean of each place, or, mono, of all pixels and three zeros; 0 for a place without pixels.
    void Average(bool mono, float* average) const;
    bool operator==(const SCellSums&) const = default;
};

/// Sums of a region as a stage. Its images are of bytes, words are pairs of them. Packed pixels are read from each
/// row's start, wherever the region starts: its x sets the number of pixels and the column's parity alone.
struct SAveragePixelStage {
    ELayout layout; ///< Bytes, Words or Packed
    unsigned depth; ///< of a packed sample, 10 or 12
    SRegion region;

    STraits Traits(const SFrame& frame) const;
    SCellSums Measure(const rows::SRowTable& kernels, const SFrame& frame, const SSourceBand& rows) const;
};

} // namespace vek
