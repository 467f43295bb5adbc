// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// The exported luma tables, as the row kernels take them.
inline constexpr rows::SLumaTables kLumaTables = {gpwB2Y, gpwG2Y, gpwR2Y};
static_assert(rows::SLumaTables::kEntries == VEK_LUMA_TABLE_SIZE);

} // namespace vek
