/* SPDX-License-Identifier: Apache-2.0 */
/* Takes one frame of several regions from a camera, and tells where the library finds each of them and the image of
 * all of them together. Usage: multi_roi DEVICE */
#define _POSIX_C_SOURCE 200809L
#include <VekTrgApi.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

/* Prints an image of the frame; 0 when there is none under this number. */
static int show(VekCam_Handle camera, unsigned long selector, unsigned char* frame) {
    unsigned char* image = NULL;
    unsigned long width = 0, height = 0, pitch = 0; /* of a region only the low 32 bits are written */
    if (VekCam_DecodingCombinedMultiROI(camera, selector, frame, &image, &width, &height, &pitch) != VEK_OK ||
        image == NULL) {
        return 0;
    }
    if (selector == VEK_COMBINING_IMAGE) {
        printf("all regions: %lu x %lu pixels, %lu bytes a row, %s\n", width, height, pitch,
               image == frame ? "the frame itself" : "put together");
    } else {
        printf("region %lu: %lu x %lu pixels, %lu bytes a row, from byte %ld of the frame\n", selector, width, height,
               pitch, (long)(image - frame));
    }
    return 1;
}

int main(int argc, char** argv) {
    const int device = open(argc > 1 ? argv[1] : "/dev/video0", O_RDWR);
    struct v4l2_control size = {VEK_CID_RAW_IMAGE_SIZE, 0};
    if (device < 0 || ioctl(device, VIDIOC_G_CTRL, &size) != 0 || size.value <= 0) {
        perror("no camera");
        return 1;
    }
    unsigned char* frame = malloc((size_t)size.value);
    VekCam_Handle camera = VekCam_Open(device);
    int found = 0;
    if (frame != NULL && camera != NULL && read(device, frame, (size_t)size.value) == size.value) {
        printf("frame: %d bytes\n", (int)size.value);
        found = show(camera, VEK_COMBINING_IMAGE, frame);
        for (unsigned long region = 0; show(camera, region, frame); ++region) {
        }
    }
    VekCam_Close(camera);
    free(frame);
    close(device);
    return found ? 0 : 1;
}
