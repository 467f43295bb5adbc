// SPDX-License-Identifier: Apache-2.0
// Export that takes multi-ROI frames apart.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "imageproc/MultiROIImage_Decoding.h"

int VekCam_DecodingCombinedMultiROI(VekCam_Handle handle, unsigned long roiSelector, unsigned char* frame,
                                    unsigned char** outImage, unsigned long* outWidth, unsigned long* outHeight,
                                    unsigned long* outLinePitch) {
    return vek::runExport(handle, [&](CVekTrgCamera& camera) {
        return vek::statusCode(vek::decodeMultiROI(camera.MultiROIImage(), camera, camera, roiSelector, frame,
                                                   {outImage, outWidth, outHeight, outLinePitch}));
    });
}
