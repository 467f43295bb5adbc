// SPDX-License-Identifier: Apache-2.0
// Exports that measure a frame: average levels, defect pixels.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "common/Image.h"
#include "formats/ColorArrays.h"
#include "formats/TransferFormats.h"
#include "imageproc/AveragePixel.h"
#include "imageproc/PixelList.h"
#include "imageproc/rows/RowDispatch.h"

int VekCam_GetAveragePixelValue(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long pitch,
                                unsigned short colorMode, unsigned long transferFormat, const void* src,
                                unsigned long x, unsigned long y, unsigned long w, unsigned long h, float* average) {
    return vek::runExport(handle, [&](const CVekTrgCamera&) -> int {
        const vek::STransferFormat* const format = vek::transferFormat(transferFormat);
        if (!vek::isRaw(colorMode) || format == nullptr || !format->measurable) {
            return VEK_EINVAL;
        }
        const vek::SRegion region = vek::SRegion::Cut(x, y, w, h, width, height);
        if (average == nullptr || (src == nullptr && !region.IsEmpty())) {
            return VEK_EINVAL;
        }
        const vek::SRows<const unsigned char> rows = {format->PitchBytes(pitch, width),
                                                      static_cast<const unsigned char*>(src)};
        const vek::SAveragePixelStage stage = {format->layout, format->depth, region};
        stage.Measure(vek::rows::bestTable(), {width, height}, {rows, 0, height})
            .Average(colorMode == VEK_COLOR_ARRAY_MONO, average);
        return 0;
    });
}

int VekCam_DetectDefectPixel(VekCam_Handle handle, unsigned long width, unsigned long height,
                             const unsigned char* image, int threshold) {
    return vek::runExport(handle, [&](CVekTrgCamera& camera) -> int {
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
            const vek::SDefectPosition position = list.PositionForSlot(slot);
            if (!camera.SetEnableDefectPixelCorrectionPosition(position.x, position.y, slot)) {
                break;
            }
        }
        return 0;
    });
}
