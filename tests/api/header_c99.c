/* SPDX-License-Identifier: Apache-2.0 */
/* The public header compiles on its own as C and its inline functions work there. */
#include "VekTrgApi.h"

int vekHeaderWorksInC(void);

int vekHeaderWorksInC(void) {
    unsigned long version = 0;
    if (VekCam_GetlibVersion(0, &version) != 1 || version != VEK_LIBRARY_VERSION) {
        return 0;
    }
    return VekTransferFormatBits(VEK_TRANSFER_BGR10) == 32 && VekTransferColorArray(VEK_TRANSFER_YCRCB422, 2) == 6 &&
           VekTransferPixelFormat(VEK_TRANSFER_RAW8, VEK_COLOR_ARRAY_RGGB) == VEK_PFNC_BAYER_RG8;
}
