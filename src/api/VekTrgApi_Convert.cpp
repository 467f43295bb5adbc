// SPDX-License-Identifier: Apache-2.0
// Exports that turn frames of any transfer format into bytes.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "common/PixelFormat.h"
#include "formats/TransferFormats.h"
#include "imageproc/FormatConversion.h"
#include "imageproc/rows/RowDispatch.h"

namespace {

/// Whether a conversion would touch a buffer that is not there.
bool lacksBuffer(unsigned long width, unsigned long height, const void* src, const void* dst) {
    return width != 0 && height != 0 && (src == nullptr || dst == nullptr);
}

} // namespace

int VekCam_ConvTo8BitsImage(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long srcPitch,
                            unsigned long transferFormat, const void* src, unsigned long* dstPitch,
                            unsigned char* dst) {
    return vek::runExport(handle, [&](const CVekTrgCamera&) -> int {
        const vek::STransferFormat* const format = vek::transferFormat(transferFormat);
        if (format != nullptr && format->IsRaw() && lacksBuffer(width, height, src, dst)) {
            return VEK_EINVAL;
        }
        return vek::convGrayToBGRImage(vek::rows::bestTable(), width, height, srcPitch, transferFormat, src, dstPitch,
                                       VEK_DESTINATION_MONO8, dst)
                   ? VEK_OK
                   : VEK_EINVAL;
    });
}

int VekCam_ConvYUVOrBGRToBGRImage(VekCam_Handle handle, unsigned long width, unsigned long height,
                                  unsigned long transferFormat, const void* src, unsigned long destinationPixelFormat,
                                  unsigned char* dst) {
    return vek::runExport(handle, [&](const CVekTrgCamera&) -> int {
        if (vek::byteSamples(destinationPixelFormat) == 0) {
            return VEK_EINVAL;
        }
        const vek::STransferFormat* const format = vek::transferFormat(transferFormat);
        if (format == nullptr || format->IsPacked()) {
            return VEK_OK; // nothing is done
        }
        if (format->content == vek::EContent::YCrCb) {
            const unsigned char method =
                destinationPixelFormat == VEK_DESTINATION_MONO8 ? VEK_DEMOSAIC_MONO : VEK_DEMOSAIC_NEAREST_NEIGHBOR;
            return VekCam_ColorInterpolation(handle, width, height, format->colorArray, src, dst, method,
                                             destinationPixelFormat, 8);
        }
        if (lacksBuffer(width, height, src, dst)) {
            return VEK_EINVAL;
        }
        if (format->content == vek::EContent::Bgr) {
            vek::convBGRToBGR(vek::rows::bestTable(), width, height, transferFormat, src, destinationPixelFormat, dst);
        } else {
            vek::convGrayToBGRImage(vek::rows::bestTable(), width, height, 0, transferFormat, src, nullptr,
                                    destinationPixelFormat, dst);
        }
        return VEK_OK;
    });
}
