// SPDX-License-Identifier: Apache-2.0
// Exports that measure a frame: average levels, defect pixels.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "formats/TransferFormats.h"
#include "imageproc/AveragePixel.h"
#include "imageproc/PixelList.h"
#include "imageproc/rows/RowDispatch.h"

namespace {

/// Position that marks a correction slot as unused.
constexpr unsigned short kUnusedSlot = 65535;

vek::SCellSums mSumRegion(const vek::STransferFormat& format, const void* src, unsigned long width, unsigned long pitch,
                          const vek::SRegion& region) {
    const vek::rows::SRowTable& kernels = vek::rows::bestTable();
    const auto* const bytes = static_cast<const unsigned char*>(src);
    switch (format.layout) {
    case vek::ELayout::Bytes:
        return vek::mvAveragePixel(kernels, region, pitch != 0 ? pitch : width, bytes);
    case vek::ELayout::Packed:
        return vek::mvAveragePackedPixel(kernels, region, pitch != 0 ? pitch : (width * format.depth + 7) / 8,
                                         format.depth, bytes);
    default:
        return vek::mvAveragePixel(kernels, region, pitch != 0 ? pitch : width,
                                   static_cast<const unsigned short*>(src));
    }
}

} // namespace

int VekCam_GetAveragePixelValue(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long pitch,
                                unsigned short colorMode, unsigned long transferFormat, const void* src,
                                unsigned long x, unsigned long y, unsigned long w, unsigned long h, float* average) {
    return vek::miExport(handle, [&](const CVekTrgCamera&) -> int {
        const vek::STransferFormat* const format = vek::transferFormat(transferFormat);
        if (colorMode < VEK_COLOR_ARRAY_MONO || colorMode > VEK_COLOR_ARRAY_BGGR || format == nullptr ||
            !format->measurable) {
            return VEK_EINVAL;
        }
        const vek::SRegion region = vek::SRegion::Cut(x, y, w, h, width, height);
        if (average == nullptr || (src == nullptr && !region.IsEmpty())) {
            return VEK_EINVAL;
        }
        mSumRegion(*format, src, width, pitch, region).Average(colorMode == VEK_COLOR_ARRAY_MONO, average);
        return 0;
    });
}

int VekCam_DetectDefectPixel(VekCam_Handle handle, unsigned long width, unsigned long height,
                             const unsigned char* image, int threshold) {
    return vek::miExport(handle, [&](CVekTrgCamera& camera) -> int {
        const unsigned short slots = camera.GetEnableDefectPixelCorrectionCount();
        if (slots == 0) {
            return 0;
        }
        if (image == nullptr && width != 0 && height != 0) {
            return VEK_EINVAL;
        }
        vek::CPixelList list(slots);
        list.AddBrightest(width, height, image, threshold);
        for (unsigned short slot = 0; slot < slots; ++slot) {
            unsigned short x = kUnusedSlot;
            unsigned short y = kUnusedSlot;
            if (slot < list.GetCount()) {
                const vek::SPIXEL_CANDIDATE pixel = list.GetPixelValue(slot);
                x = static_cast<unsigned short>(pixel.x);
                y = static_cast<unsigned short>(pixel.y);
            }
            if (!camera.SetEnableDefectPixelCorrectionPosition(x, y, slot)) {
                break;
            }
        }
        return 0;
    });
}
