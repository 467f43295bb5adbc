// SPDX-License-Identifier: Apache-2.0
// Exports that keep a handle's settings in a text file.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "settings/SettingFile.h"

namespace {

vek::SSettingTargets targetsOf(const CVekTrgCamera& camera) {
    return {camera.LuminanceCtrl(), camera.ShadingCorrection(), camera.WB(),       camera.Gamma(),
            camera.ColorMatrix(),   camera.ChromaSuppress(),    camera.Sharpness()};
}

} // namespace

int VekCam_WriteSettingFile(VekCam_Handle handle, const char* path) {
    return vek::runExport(handle,
                          [&](const CVekTrgCamera& camera) { return vek::writeSettingFile(targetsOf(camera), path); });
}

int VekCam_ReadSettingFile(VekCam_Handle handle, const char* path) {
    return vek::runExport(handle,
                          [&](const CVekTrgCamera& camera) { return vek::readSettingFile(targetsOf(camera), path); });
}
