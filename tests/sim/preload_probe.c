/* SPDX-License-Identifier: Apache-2.0 */
/* Knows nothing of the simulation: opens a video device by path and reads a frame.
 * Arguments: path, then expected width, height and frame size in bytes; or path and "enodev". */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "line %d: %s, errno %d\n", __LINE__, #condition, errno);                                   \
            return 1;                                                                                                  \
        }                                                                                                              \
    } while (0)

int main(int argc, char** argv) {
    CHECK(argc == 3 || argc == 5);
    if (argc == 3) {
        CHECK(open(argv[1], O_RDWR) == -1 && errno == ENODEV);
        return 0;
    }
    const unsigned width = (unsigned)atoi(argv[2]);
    const unsigned height = (unsigned)atoi(argv[3]);
    const size_t bytes = (size_t)atol(argv[4]);

    const int fd = open(argv[1], O_RDWR | O_CLOEXEC);
    CHECK(fd >= 0);
    struct v4l2_capability capability;
    CHECK(ioctl(fd, VIDIOC_QUERYCAP, &capability) == 0);
    CHECK((capability.device_caps & V4L2_CAP_READWRITE) != 0);
    struct v4l2_format format;
    memset(&format, 0, sizeof format);
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    CHECK(ioctl(fd, VIDIOC_G_FMT, &format) == 0);
    CHECK(format.fmt.pix.width == width && format.fmt.pix.height == height);
    CHECK(format.fmt.pix.sizeimage == bytes);

    unsigned char* frame = malloc(bytes + 16);
    CHECK(frame != NULL);
    CHECK(read(fd, frame, bytes + 16) == (ssize_t)bytes);
    CHECK(read(fd, frame, 100) == 100);
    size_t lit = 0;
    for (size_t i = 0; i < bytes; ++i) {
        lit += frame[i] != 0;
    }
    CHECK(lit > bytes / 4);
    free(frame);

    /* Settings stay from open to open; each open has a descriptor of its own. */
    struct v4l2_control control = {V4L2_CID_GAIN, 7};
    CHECK(ioctl(fd, VIDIOC_S_CTRL, &control) == 0);
    const int second = open64(argv[1], O_RDONLY);
    CHECK(second >= 0 && second != fd);
    CHECK(close(fd) == 0);
    control.value = 0;
    CHECK(ioctl(second, VIDIOC_G_CTRL, &control) == 0 && control.value == 7);
    CHECK(close(second) == 0);
    CHECK(ioctl(second, VIDIOC_G_CTRL, &control) == -1 && errno == EBADF);

    /* Everything else still goes to the kernel. */
    const int zero = open("/dev/zero", O_RDONLY);
    char byte = 1;
    CHECK(zero >= 0 && read(zero, &byte, 1) == 1 && byte == 0);
    CHECK(ioctl(zero, VIDIOC_QUERYCAP, &capability) == -1 && errno == ENOTTY);
    CHECK(close(zero) == 0);
    CHECK(open("/nonexistent/file", O_RDONLY) == -1 && errno == ENOENT);
    char name[] = "/tmp/vekcam-probe-XXXXXX";
    const int temporary = mkstemp(name);
    CHECK(temporary >= 0 && close(temporary) == 0 && unlink(name) == 0);
    const int created = openat(AT_FDCWD, name, O_CREAT | O_EXCL | O_WRONLY, 0600);
    CHECK(created >= 0 && close(created) == 0 && access(name, R_OK | W_OK) == 0 && unlink(name) == 0);
    return 0;
}
