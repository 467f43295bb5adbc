// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation_YCbCr.h"

namespace vek {

static_assert(yCrCbPacking(VEK_COLOR_ARRAY_YCRCB422) == rows::YCrCb::P422 &&
              yCrCbPacking(VEK_COLOR_ARRAY_YCRCB444) == rows::YCrCb::P444 &&
              yCrCbPacking(VEK_COLOR_ARRAY_YCRCB411) == rows::YCrCb::P411 &&
              yCrCbPacking(VEK_COLOR_ARRAY_YCRCB422_BT709) == rows::YCrCb::P422 &&
              yCrCbPacking(VEK_COLOR_ARRAY_YCRCB444_BT709) == rows::YCrCb::P444 &&
              yCrCbPacking(VEK_COLOR_ARRAY_YCRCB411_BT709) == rows::YCrCb::P411);
static_assert(yCrCbSpace(VEK_COLOR_ARRAY_YCRCB411) == rows::YCrCbSpace::Full601 &&
              yCrCbSpace(VEK_COLOR_ARRAY_YCRCB422_BT709) == rows::YCrCbSpace::Video709);

void decodeYCrCb(const rows::SYCrCbRows& kernels, const SFrame& frame, unsigned channels,
                 const SBand<unsigned char>& band) {
    const rows::YCrCbSpace colors = yCrCbSpace(frame.colorArray);
    const auto space = static_cast<std::size_t>(colors);
    const auto packing = static_cast<std::size_t>(yCrCbPacking(frame.colorArray));
    const auto decode =
        channels == 1 ? kernels.toGray[space][packing] : kernels.toBgr[space][packing][rows::pixelLayout(channels)];
    const auto& table = colors == rows::YCrCbSpace::Full601 ? pnYCrCbConvTable : pnYCrCbConvTable709;
    for (unsigned long y = band.first; y < band.end; ++y) {
        decode(band.src.Row(y), band.dst.Row(y), frame.width, table);
    }
}

} // namespace vek
