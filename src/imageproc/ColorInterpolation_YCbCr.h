// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "imageproc/Band.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// How a YCrCb colour array packs its bytes, and what decodes it.
constexpr rows::YCrCb yCrCbPacking(unsigned short colorArray) {
    return static_cast<rows::YCrCb>((colorArray - VEK_COLOR_ARRAY_YCRCB422) % rows::kPackings);
}
constexpr rows::YCrCbSpace yCrCbSpace(unsigned short colorArray) {
    return static_cast<rows::YCrCbSpace>((colorArray - VEK_COLOR_ARRAY_YCRCB422) / rows::kPackings);
}

/// Rows of a YCrCb colour array to bytes of blue, green and red (channels 3 or 4) or of luma (1). Pixels behind the
/// last whole group, and the last four of 4:1:1, stay open in colour.
void decodeYCrCb(const rows::SYCrCbRows& kernels, const SFrame& frame, unsigned channels,
                 const SBand<unsigned char>& band);

} // namespace vek
