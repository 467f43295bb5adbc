// SPDX-License-Identifier: Apache-2.0
// Export that takes multi-ROI frames apart.
#include "VekTrgApi.h"

#include "api/Export.h"

int VekCam_DecodingCombinedMultiROI(VekCam_Handle handle, unsigned long roiSelector, unsigned char* frame,
                                    unsigned char** outImage, unsigned long* outWidth, unsigned long* outHeight,
                                    unsigned long* outLinePitch) {
    return vek::miExport(handle, [&](CVekTrgCamera& camera) {
        camera.UpdateROIInfo();
        return vek::miStatus(
            camera.DecodingCombinedMultiROI(roiSelector, frame, outImage, outWidth, outHeight, outLinePitch));
    });
}
