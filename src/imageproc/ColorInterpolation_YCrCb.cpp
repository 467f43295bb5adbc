// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation_YCrCb.h"

namespace vek {

namespace {

using rows::YCrCb;
using Table = const int (*)[256];

template <YCrCb Packing>
void mYCrCb2BGR(const rows::SYCrCbRows& kernels, const SYCrCbImage& image, Table table) {
    const auto toBgr = kernels.toBgr[static_cast<std::size_t>(Packing)][rows::pixelLayout(image.channels)];
    for (unsigned long y = 0; y < image.height; ++y) {
        toBgr(image.src + y * image.srcPitch, image.dst + y * image.dstPitch, image.width, table);
    }
}
constexpr auto mYCrCb4222BGR = mYCrCb2BGR<YCrCb::P422>;
constexpr auto mYCrCb4442BGR = mYCrCb2BGR<YCrCb::P444>;
constexpr auto mYCrCb4112BGR = mYCrCb2BGR<YCrCb::P411>;

/// Table: full range leaves luma as it is.
template <YCrCb Packing, const int (&Tables)[5][256]>
void mYCrCb2Mono(const rows::SYCrCbRows& kernels, const SYCrCbImage& image) {
    const auto toGrey = kernels.toGrey[static_cast<std::size_t>(Packing)];
    for (unsigned long y = 0; y < image.height; ++y) {
        toGrey(image.src + y * image.srcPitch, image.dst + y * image.dstPitch, image.width, Tables);
    }
}
constexpr auto mYCrCb4222Mono = mYCrCb2Mono<YCrCb::P422, pnYCrCbConvTable>;
constexpr auto mYCrCb4442Mono = mYCrCb2Mono<YCrCb::P444, pnYCrCbConvTable>;
constexpr auto mYCrCb4112Mono = mYCrCb2Mono<YCrCb::P411, pnYCrCbConvTable>;
constexpr auto mYCrCb422_7092Mono = mYCrCb2Mono<YCrCb::P422, pnYCrCbConvTable709>;
constexpr auto mYCrCb444_7092Mono = mYCrCb2Mono<YCrCb::P444, pnYCrCbConvTable709>;
constexpr auto mYCrCb411_7092Mono = mYCrCb2Mono<YCrCb::P411, pnYCrCbConvTable709>;

} // namespace

unsigned long yCrCbRowBytes(unsigned short colorArray, unsigned long width, unsigned long sampleBytes) {
    switch (colorArray) {
    case VEK_COLOR_ARRAY_YCRCB444:
    case VEK_COLOR_ARRAY_YCRCB444_BT709:
        return 3 * width * sampleBytes;
    case VEK_COLOR_ARRAY_YCRCB411:
    case VEK_COLOR_ARRAY_YCRCB411_BT709:
        return width * sampleBytes + width * sampleBytes / 2;
    default:
        return 2 * width * sampleBytes;
    }
}

void mvTransform_YCrCb2BGR(const rows::SYCrCbRows& kernels, const SYCrCbImage& image, unsigned short colorArray) {
    switch (colorArray) {
    case VEK_COLOR_ARRAY_YCRCB422:
        return mYCrCb4222BGR(kernels, image, pnYCrCbConvTable);
    case VEK_COLOR_ARRAY_YCRCB444:
        return mYCrCb4442BGR(kernels, image, pnYCrCbConvTable);
    case VEK_COLOR_ARRAY_YCRCB411:
        return mYCrCb4112BGR(kernels, image, pnYCrCbConvTable);
    case VEK_COLOR_ARRAY_YCRCB422_BT709:
        return mYCrCb4222BGR(kernels, image, pnYCrCbConvTable709);
    case VEK_COLOR_ARRAY_YCRCB444_BT709:
        return mYCrCb4442BGR(kernels, image, pnYCrCbConvTable709);
    case VEK_COLOR_ARRAY_YCRCB411_BT709:
        return mYCrCb4112BGR(kernels, image, pnYCrCbConvTable709);
    default:
        return;
    }
}

void mvTransform_YCrCb2Mono(const rows::SYCrCbRows& kernels, const SYCrCbImage& image, unsigned short colorArray) {
    switch (colorArray) {
    case VEK_COLOR_ARRAY_YCRCB422:
        return mYCrCb4222Mono(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB444:
        return mYCrCb4442Mono(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB411:
        return mYCrCb4112Mono(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB422_BT709:
        return mYCrCb422_7092Mono(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB444_BT709:
        return mYCrCb444_7092Mono(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB411_BT709:
        return mYCrCb411_7092Mono(kernels, image);
    default:
        return;
    }
}

} // namespace vek
