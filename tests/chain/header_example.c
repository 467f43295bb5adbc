/* SPDX-License-Identifier: Apache-2.0 */
/* The example in the header, word for word, on two frames: it compiles as C, and makes pictures. */
#include "VekTrgChain.h"

#include <stdio.h>
#include <stdlib.h>

int vekRunHeaderExample(void);

static unsigned char* frameMemory;
static unsigned framesLeft = 2;
static const void* raw;
static void* bgr;

static int next(const void** frame, void* picture) {
    *frame = frameMemory;
    return picture != NULL && framesLeft-- != 0;
}

static int example(void) {
    /* clang-format off */
    /* begin */
    VekChainFrame frame = {.size = sizeof frame, .width = 2448, .height = 2048,
                           .format = VEK_TRANSFER_RAW8, .colorArray = VEK_COLOR_ARRAY_RGGB};
    VekChainPicture picture = {.size = sizeof picture, .layout = VEK_CHAIN_BGR};
    VekChainDescription description = {.size = sizeof description, .frame = &frame, .picture = &picture,
                                       .demosaic = VEK_DEMOSAIC_BILINEAR_SIMPLE,
                                       .stages = VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_SHARPNESS};
    VekCam_Handle handle = VekCam_Open(-1); // without a camera: the settings are all that is wanted
    char reason[200];
    VekChain_Plan plan;
    VekChain_Work work;
    VekCam_SetWhiteBalanceMode(handle, VEK_WB_MANUAL);
    VekCam_SetSharpnessMode(handle, 1, 60, 4);
    if (VekChain_Create(handle, &description, &plan, reason, sizeof reason) != VEK_OK) {
        fprintf(stderr, "%s\n", reason);
        return 1;
    }
    if (VekChain_CreateWork(plan, &work) == VEK_OK) {
        while (next(&raw, bgr)) { // a mapped buffer of the driver, and room for a picture
            VekChain_Run(plan, NULL, work, raw, bgr, 0, 2048);
        }
        VekChain_DestroyWork(work);
    }
    VekChain_Destroy(plan);
    VekCam_Close(handle);
    /* end */
    /* clang-format on */
    return 0;
}

/* 0 where the example has made a white picture of a white frame. */
int vekRunHeaderExample(void) {
    const size_t pixels = (size_t)2448 * 2048;
    int result = 1;
    frameMemory = malloc(pixels);
    bgr = calloc(3, pixels);
    if (frameMemory != NULL && bgr != NULL) {
        size_t i;
        for (i = 0; i < pixels; ++i) {
            frameMemory[i] = 255;
        }
        result = example();
        for (i = 0; i < 3 * pixels && result == 0; ++i) {
            result = ((unsigned char*)bgr)[i] != 255;
        }
    }
    free(frameMemory);
    free(bgr);
    return result;
}
