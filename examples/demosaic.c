/* SPDX-License-Identifier: Apache-2.0 */
#include <VekTrgApi.h>
#include <stdio.h>

int main(void) {
    static unsigned char raw[4 * 4 + 1], bgr[4 * 4 * 3];
    VekCam_Handle camera = VekCam_Open(-1); /* a camera's descriptor, where there is one */
    if (camera == NULL) {
        return 1;
    }
    for (int i = 0; i < 16; ++i) {
        raw[i] = (unsigned char)(10 * i);
    }
    int status = VekCam_ColorInterpolation(camera, 4, 4, VEK_COLOR_ARRAY_RGGB, raw, bgr, VEK_DEMOSAIC_BILINEAR_SIMPLE,
                                           VEK_DESTINATION_BGR24, 8);
    if (status == 0) {
        printf("second pixel: B %d G %d R %d\n", bgr[3], bgr[4], bgr[5]);
    }
    VekCam_Close(camera);
    return status;
}
