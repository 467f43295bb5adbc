// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/rows/RowTable.h"

namespace vek {

/// Segments of a curve of 4096 entries, which has a shift and no exceptions yet; more exceptions than a curve may have,
/// and it has no segments.
void fitSegments(rows::SToneCurve& curve, rows::SToneCurve::Segments& segments);

} // namespace vek
