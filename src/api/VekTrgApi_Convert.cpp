// SPDX-License-Identifier: Apache-2.0
// Exports that turn frames of any transfer format into bytes.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "common/Image.h"
#include "common/PixelFormat.h"
#include "common/Status.h"
#include "formats/TransferFormats.h"
#include "imageproc/FormatConversion.h"
#include "imageproc/IColorInterpolation.h"
#include "imageproc/rows/RowDispatch.h"

namespace {

/// Whether a conversion would touch a buffer that is not there.
bool lacksBuffer(const vek::SImage<const unsigned char>& image, const unsigned char* dst) {
    return image.IsMissing() || (dst == nullptr && image.HasPixels());
}

} // namespace

int VekCam_ConvTo8BitsImage(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long srcPitch,
                            unsigned long transferFormat, const void* src, unsigned long* dstPitch,
                            unsigned char* dst) {
    return vek::runExport(handle, [&](const CVekTrgCamera&) -> int {
        const vek::STransferFormat* const format = vek::transferFormat(transferFormat);
        if (format == nullptr || !format->IsRaw()) {
            return VEK_EINVAL;
        }
        const vek::SImage<const unsigned char> image = {width, height, format->PitchBytes(srcPitch, width),
                                                        static_cast<const unsigned char*>(src)};
        if (lacksBuffer(image, dst)) {
            return VEK_EINVAL;
        }
        vek::convGrayToBGRImage(vek::rows::bestTable(), *format, image, dstPitch, 1, dst);
        return VEK_OK;
    });
}

int VekCam_ConvYUVOrBGRToBGRImage(VekCam_Handle handle, unsigned long width, unsigned long height,
                                  unsigned long transferFormat, const void* src, unsigned long destinationPixelFormat,
                                  unsigned char* dst) {
    return vek::runExport(handle, [&](const CVekTrgCamera& camera) -> int {
        const unsigned pixelBytes = vek::byteSamples(destinationPixelFormat);
        if (pixelBytes == 0) {
            return VEK_EINVAL;
        }
        const vek::STransferFormat* const format = vek::transferFormat(transferFormat);
        if (format == nullptr || format->IsPacked()) {
            return VEK_OK; // nothing is done
        }
        if (format->content == vek::EContent::YCrCb) {
            const unsigned char method = pixelBytes == 1 ? VEK_DEMOSAIC_MONO : VEK_DEMOSAIC_NEAREST_NEIGHBOR;
            // The module only reads the source.
            unsigned char* const source = vek::bytes(const_cast<void*>(src));
            return vek::oneIfFailed(camera.ColorInterpolation().ColorInterporationB(
                width, height, source, dst, method, format->colorArray, static_cast<unsigned short>(pixelBytes)));
        }
        const vek::SImage<const unsigned char> image = {width, height, format->RowBytes(width),
                                                        static_cast<const unsigned char*>(src)};
        if (lacksBuffer(image, dst)) {
            return VEK_EINVAL;
        }
        if (format->content == vek::EContent::Bgr) {
            vek::convBGRToBGR(vek::rows::bestTable(), *format, width * height, image.data, pixelBytes, dst);
        } else {
            vek::convGrayToBGRImage(vek::rows::bestTable(), *format, image, nullptr, pixelBytes, dst);
        }
        return VEK_OK;
    });
}
