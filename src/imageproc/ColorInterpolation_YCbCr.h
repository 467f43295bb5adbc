// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

constexpr bool isYCrCb(unsigned short colorArray) {
    return colorArray >= VEK_COLOR_ARRAY_YCRCB422 && colorArray <= VEK_COLOR_ARRAY_YCRCB411_BT709;
}

/// Bytes of a row without padding. sampleBytes: 1, or 2 for the buffers of an image of words, which are twice as long.
unsigned long yCrCbRowBytes(unsigned short colorArray, unsigned long width, unsigned long sampleBytes);

/// A YCrCb image and where it goes. Pitches in bytes; there are pixels, and both buffers.
struct SYCrCbImage {
    unsigned long width;
    unsigned long height;
    const unsigned char* src;
    unsigned char* dst;
    unsigned short channels; ///< bytes of a blue-green-red pixel, 3 or 4; not looked at for grey
    unsigned long srcPitch;
    unsigned long dstPitch;
};

// Bytes of blue, green and red; bytes of luma, one a pixel. Colour arrays that are not YCrCb do nothing.
void mvTransform_YCrCb2BGR(const rows::SYCrCbRows& kernels, const SYCrCbImage& image, unsigned short colorArray);
void mvTransform_YCrCb2Mono(const rows::SYCrCbRows& kernels, const SYCrCbImage& image, unsigned short colorArray);

} // namespace vek
