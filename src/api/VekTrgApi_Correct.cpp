// SPDX-License-Identifier: Apache-2.0
// Exports that correct raw frames: noise reduction, shading.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "common/Status.h"
#include "imageproc/INoiseReduction.h"
#include "imageproc/IShadingCorrection.h"

using vek::bytes;
using vek::runExport;
using vek::statusCode;
using vek::words;

int VekCam_NoiseReduction(VekCam_Handle handle, unsigned long mode, unsigned long width, unsigned long height,
                          unsigned long linePitch, int colorArray, void* image, int bitsPerPixel) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        vek::INoiseReduction& module = camera.NoiseReduction();
        const auto color = static_cast<unsigned short>(colorArray);
        const auto bits = static_cast<unsigned short>(bitsPerPixel);
        return statusCode(bits > 8 ? module.NRProcW(width, height, linePitch, color, words(image), bits, mode)
                                   : module.NRProcB(width, height, linePitch, color, bytes(image), bits, mode));
    });
}

int VekCam_SetShadingCorrectionMode(VekCam_Handle handle, unsigned long mode) {
    return runExport(handle, [&](CVekTrgCamera& camera) {
        vek::IShadingCorrection& module = camera.ShadingCorrection();
        const unsigned long status = module.SetColorArray(camera.GetCurrentColorArray());
        return statusCode(status == vek::kOk ? module.SetMode(mode) : status);
    });
}

int VekCam_GetShadingCorrectionMode(VekCam_Handle handle, unsigned long* mode) {
    return runExport(handle,
                     [&](const CVekTrgCamera& camera) { return statusCode(camera.ShadingCorrection().GetMode(mode)); });
}

int VekCam_SetShadingCorrectionTarget(VekCam_Handle handle, int target) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.ShadingCorrection().SetTargetAll(static_cast<unsigned short>(target)));
    });
}

int VekCam_GetShadingCorrectionTarget(VekCam_Handle handle, unsigned short* target) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.ShadingCorrection().GetTargetAll(target));
    });
}

int VekCam_ShadingCorrection(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long linePitch,
                             void* image, int bitsPerPixel) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        vek::IShadingCorrection& module = camera.ShadingCorrection();
        const auto bits = static_cast<unsigned short>(bitsPerPixel);
        return statusCode(bits > 8 ? module.ProcessW(width, height, linePitch, words(image), bits)
                                   : module.ProcessB(width, height, linePitch, bytes(image), bits));
    });
}
