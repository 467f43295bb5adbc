// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation_YCbCr.h"

namespace vek {

namespace {

using rows::YCrCb;
using rows::YCrCbSpace;

template <YCrCbSpace Space>
constexpr auto& kTable = Space == YCrCbSpace::Full601 ? pnYCrCbConvTable : pnYCrCbConvTable709;

template <YCrCbSpace Space, YCrCb Packing>
void mYCrCb2BGR(const rows::SYCrCbRows& kernels, const SYCrCbImage& image) {
    const auto toBgr = kernels.toBgr[static_cast<std::size_t>(Space)][static_cast<std::size_t>(Packing)]
                                    [rows::pixelLayout(image.channels)];
    for (unsigned long y = 0; y < image.height; ++y) {
        toBgr(image.src + y * image.srcPitch, image.dst + y * image.dstPitch, image.width, kTable<Space>);
    }
}
constexpr auto mYCrCb4222BGR = mYCrCb2BGR<YCrCbSpace::Full601, YCrCb::P422>;
constexpr auto mYCrCb4442BGR = mYCrCb2BGR<YCrCbSpace::Full601, YCrCb::P444>;
constexpr auto mYCrCb4112BGR = mYCrCb2BGR<YCrCbSpace::Full601, YCrCb::P411>;
constexpr auto mYCrCb422_7092BGR = mYCrCb2BGR<YCrCbSpace::Video709, YCrCb::P422>;
constexpr auto mYCrCb444_7092BGR = mYCrCb2BGR<YCrCbSpace::Video709, YCrCb::P444>;
constexpr auto mYCrCb411_7092BGR = mYCrCb2BGR<YCrCbSpace::Video709, YCrCb::P411>;

template <YCrCbSpace Space, YCrCb Packing>
void mYCrCb2Mono(const rows::SYCrCbRows& kernels, const SYCrCbImage& image) {
    const auto toGrey = kernels.toGrey[static_cast<std::size_t>(Space)][static_cast<std::size_t>(Packing)];
    for (unsigned long y = 0; y < image.height; ++y) {
        toGrey(image.src + y * image.srcPitch, image.dst + y * image.dstPitch, image.width, kTable<Space>);
    }
}
constexpr auto mYCrCb4222Mono = mYCrCb2Mono<YCrCbSpace::Full601, YCrCb::P422>;
constexpr auto mYCrCb4442Mono = mYCrCb2Mono<YCrCbSpace::Full601, YCrCb::P444>;
constexpr auto mYCrCb4112Mono = mYCrCb2Mono<YCrCbSpace::Full601, YCrCb::P411>;
constexpr auto mYCrCb422_7092Mono = mYCrCb2Mono<YCrCbSpace::Video709, YCrCb::P422>;
constexpr auto mYCrCb444_7092Mono = mYCrCb2Mono<YCrCbSpace::Video709, YCrCb::P444>;
constexpr auto mYCrCb411_7092Mono = mYCrCb2Mono<YCrCbSpace::Video709, YCrCb::P411>;

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
        return mYCrCb4222BGR(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB444:
        return mYCrCb4442BGR(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB411:
        return mYCrCb4112BGR(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB422_BT709:
        return mYCrCb422_7092BGR(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB444_BT709:
        return mYCrCb444_7092BGR(kernels, image);
    case VEK_COLOR_ARRAY_YCRCB411_BT709:
        return mYCrCb411_7092BGR(kernels, image);
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
