// SPDX-License-Identifier: Apache-2.0
#include "VekTrgApi.h"

#include "api/Export.h"
#include "common/PixelFormat.h"
#include "common/Status.h"
#include "imageproc/IColorInterpolation.h"

#include <memory>

namespace {

/// Samples of a destination pixel; 0 for a format that the depth does not allow.
unsigned channelsOf(unsigned long destinationPixelFormat, unsigned short bitsPerPixel) {
    if (bitsPerPixel == 8) {
        return vek::byteSamples(destinationPixelFormat);
    }
    if (bitsPerPixel == 10 || bitsPerPixel == 12) {
        return vek::isMono10Or12(destinationPixelFormat) ? 1 : vek::colorSamplesOf(destinationPixelFormat, true);
    }
    return 0;
}

} // namespace

VekCam_Handle VekCam_Open(int fd) {
    try {
        auto camera = std::make_unique<CVekTrgCamera>();
        return camera->CameraOpen(fd) ? camera.release() : nullptr;
    } catch (...) {
        return nullptr;
    }
}

void VekCam_Close(VekCam_Handle handle) {
    if (handle == nullptr) {
        return;
    }
    handle->CameraClose();
    delete handle;
}

int VekCam_GetlibVersion(VekCam_Handle /*handle*/, unsigned long* version) {
    if (version == nullptr) {
        return VEK_EINVAL;
    }
    *version = VEK_LIBRARY_VERSION;
    return 1;
}

int VekCam_ColorInterpolation(VekCam_Handle handle, unsigned long width, unsigned long height,
                              unsigned short colorArray, const void* src, void* dst, unsigned char method,
                              unsigned long destinationPixelFormat, unsigned short bitsPerPixel) {
    return vek::runExport(handle, [&](const CVekTrgCamera& camera) -> int {
        const auto channels = static_cast<unsigned short>(channelsOf(destinationPixelFormat, bitsPerPixel));
        if (channels == 0) {
            return VEK_EINVAL;
        }
        vek::IColorInterpolation& module = camera.ColorInterpolation();
        // The module only reads the source.
        void* const source = const_cast<void*>(src);
        const unsigned long status = bitsPerPixel == 8
                                         ? module.ColorInterporationB(width, height, vek::bytes(source),
                                                                      vek::bytes(dst), method, colorArray, channels)
                                         : module.ColorInterporationW(width, height, vek::words(source),
                                                                      vek::words(dst), method, colorArray, channels);
        return vek::oneIfFailed(status);
    });
}
