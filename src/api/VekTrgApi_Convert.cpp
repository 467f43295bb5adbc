// SPDX-License-Identifier: Apache-2.0
// Exports that turn frames of any transfer format into bytes.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "common/PixelFormat.h"
#include "imageproc/FormatConversion.h"
#include "imageproc/rows/RowDispatch.h"

namespace {

/// Whether a conversion would touch a buffer that is not there.
bool mbLacksBuffer(unsigned long width, unsigned long height, const void* src, const void* dst) {
    return width != 0 && height != 0 && (src == nullptr || dst == nullptr);
}

/// Whether VekCam_ConvTo8BitsImage takes a transfer format.
bool mbIsGrey(unsigned long transferFormat) {
    return transferFormat <= VEK_TRANSFER_MONO12_PACKED ||
           (transferFormat >= VEK_TRANSFER_RAW14 && transferFormat <= VEK_TRANSFER_MONO16);
}

bool mbIsPacked(unsigned long transferFormat) {
    return transferFormat == VEK_TRANSFER_RAW10_PACKED || transferFormat == VEK_TRANSFER_RAW12_PACKED ||
           transferFormat == VEK_TRANSFER_MONO10_PACKED || transferFormat == VEK_TRANSFER_MONO12_PACKED;
}

} // namespace

int VekCam_ConvTo8BitsImage(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long srcPitch,
                            unsigned long transferFormat, const void* src, unsigned long* dstPitch,
                            unsigned char* dst) {
    return vek::miExport(handle, [&](const CVekTrgCamera&) -> int {
        if (mbIsGrey(transferFormat) && mbLacksBuffer(width, height, src, dst)) {
            return VEK_EINVAL;
        }
        return vek::ConvGrayToBGRImage(vek::rows::bestTable(), width, height, srcPitch, transferFormat, src, dstPitch,
                                       VEK_DESTINATION_MONO8, dst)
                   ? VEK_OK
                   : VEK_EINVAL;
    });
}

int VekCam_ConvYUVOrBGRToBGRImage(VekCam_Handle handle, unsigned long width, unsigned long height,
                                  unsigned long transferFormat, const void* src, unsigned long destinationPixelFormat,
                                  unsigned char* dst) {
    return vek::miExport(handle, [&](const CVekTrgCamera&) -> int {
        if (vek::byteSamples(destinationPixelFormat) == 0) {
            return VEK_EINVAL;
        }
        if (mbIsPacked(transferFormat) || transferFormat > VEK_TRANSFER_MONO16) {
            return VEK_OK; // nothing is done
        }
        if (transferFormat >= VEK_TRANSFER_YCRCB411 && transferFormat <= VEK_TRANSFER_YCRCB444_BT709) {
            const unsigned char method =
                destinationPixelFormat == VEK_DESTINATION_MONO8 ? VEK_DEMOSAIC_MONO : VEK_DEMOSAIC_NEAREST_NEIGHBOR;
            return VekCam_ColorInterpolation(handle, width, height, VekTransferColorArray(transferFormat, 0), src, dst,
                                             method, destinationPixelFormat, 8);
        }
        if (mbLacksBuffer(width, height, src, dst)) {
            return VEK_EINVAL;
        }
        if (transferFormat == VEK_TRANSFER_BGR8 || transferFormat == VEK_TRANSFER_BGR10) {
            vek::ConvBGRToBGR(width, height, transferFormat, src, destinationPixelFormat, dst);
        } else {
            vek::ConvGrayToBGRImage(vek::rows::bestTable(), width, height, 0, transferFormat, src, nullptr,
                                    destinationPixelFormat, dst);
        }
        return VEK_OK;
    });
}
