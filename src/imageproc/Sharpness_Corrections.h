// SPDX-License-Identifier: Apache-2.0
// Arithmetic that gives the same corrections as a table of the unsharp mask, proved entry by entry.
#pragma once

#include "imageproc/rows/RowTable.h"

#include <array>

namespace vek {

/// Corrections by absolute difference: 0 up to coring, then sums of step in single precision, rounded, 4095 at most.
struct SCorrectionTable {
    const std::array<unsigned short, 4096>& entries;
    const std::array<float, 4096>& sums; ///< by difference - coring
    unsigned short coring;
    float step;
};

/// Whether there are segments, which *segments then are.
bool findSegments(const SCorrectionTable& table, rows::SCorrectionSegments* segments);

/// Whether there is a line, which *line then is.
bool findLine(const SCorrectionTable& table, rows::SCorrectionLine* line);

/// Whether there are digits for the first 256 entries, which *digits then are.
bool findDigits(const SCorrectionTable& table, rows::SCorrectionDigits* digits);

} // namespace vek
