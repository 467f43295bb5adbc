// SPDX-License-Identifier: Apache-2.0
// An unchanged C program under vekcam emulate: every call that reaches the camera, and what is odd about them. The
// camera sends a frame for each line that is written to the FIFO that is named on the command line.
#define _GNU_SOURCE
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <glob.h>
#include <linux/dma-buf.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#define NODE "/dev/video0"
#define BUFFERS 4

static void* volatile bad = (void*)16; // no memory at all
static int failures = 0;
static const char* section = "";
static int fifo = -1;

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            printf("%s:%d: %s: %s (errno %d, %s)\n", __FILE__, __LINE__, section, #condition, errno, strerror(errno)); \
            fflush(stdout);                                                                                            \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)
#define FAILS(call, error)                                                                                             \
    do {                                                                                                               \
        errno = 0;                                                                                                     \
        CHECK((call) == -1);                                                                                           \
        CHECK(errno == (error));                                                                                       \
    } while (0)

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + 1e-9 * (double)time.tv_nsec;
}

static void trigger(void) {
    CHECK(write(fifo, "\n", 1) == 1);
}

static void pause_ms(int milliseconds) {
    const struct timespec time = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    nanosleep(&time, NULL);
}

static int is_node(const struct stat* status) {
    return S_ISCHR(status->st_mode) && status->st_rdev == makedev(81, 0);
}

static int descriptors(void) {
    DIR* const folder = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(folder) != NULL) {
        ++count;
    }
    closedir(folder);
    return count;
}

// --- Paths -----------------------------------------------------------------------------------------------------------

static void check_camera(int fd) {
    struct v4l2_capability capability;
    memset(&capability, 0, sizeof(capability));
    CHECK(fd >= 0);
    CHECK(ioctl(fd, VIDIOC_QUERYCAP, &capability) == 0);
    CHECK(strcmp((const char*)capability.driver, "vekcam-sim") == 0);
    CHECK(close(fd) == 0);
}

static int listed(const char* folder, const char* name) {
    DIR* const listing = opendir(folder);
    int count = 0;
    if (listing != NULL) {
        const struct dirent* entry = NULL;
        while ((entry = readdir(listing)) != NULL) {
            count += strcmp(entry->d_name, name) == 0;
        }
        closedir(listing);
    }
    return count;
}

static int is_video(const struct dirent* entry) {
    return strncmp(entry->d_name, "video", 5) == 0;
}

static void test_paths(void) {
    section = "paths";
    check_camera(open(NODE, O_RDWR));
    check_camera(open("//dev/./video0", O_RDONLY | O_CLOEXEC));
    check_camera(open("/dev/../dev/video0", O_RDWR | O_NONBLOCK));
    check_camera(openat(AT_FDCWD, NODE, O_RDWR));
    check_camera((int)syscall(SYS_openat, AT_FDCWD, NODE, O_RDWR, 0));
    check_camera(creat(NODE, 0600));
    const int folder = open("/dev", O_RDONLY | O_DIRECTORY);
    check_camera(openat(folder, "video0", O_RDWR));
    struct stat status;
    CHECK(fstatat(folder, "video0", &status, 0) == 0 && is_node(&status));
    close(folder);
    char before[4096];
    CHECK(getcwd(before, sizeof(before)) != NULL);
    CHECK(chdir("/dev") == 0);
    check_camera(open("video0", O_RDWR));
    check_camera(open("./video0", O_RDWR));
    CHECK(chdir(before) == 0);
    FILE* const stream = fopen(NODE, "r+e");
    CHECK(stream != NULL);
    if (stream != NULL) {
        struct v4l2_capability capability;
        CHECK(ioctl(fileno(stream), VIDIOC_QUERYCAP, &capability) == 0);
        CHECK((fcntl(fileno(stream), F_GETFD) & FD_CLOEXEC) != 0);
        fclose(stream);
    }
    FAILS(open(NODE, O_RDWR | O_CREAT | O_EXCL, 0600), EEXIST);
    FAILS(open(NODE, O_RDONLY | O_DIRECTORY), ENOTDIR);
    FAILS(open("/dev/video1", O_RDWR), ENOENT);
    FAILS(open("/dev/video00", O_RDWR), ENOENT);
    int fd = open(NODE, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    CHECK((fcntl(fd, F_GETFL) & O_NONBLOCK) != 0);
    CHECK((fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0);
    memset(&status, 0, sizeof(status));
    CHECK(fstat(fd, &status) == 0 && is_node(&status));
    memset(&status, 0, sizeof(status));
    CHECK(fstatat(fd, "", &status, AT_EMPTY_PATH) == 0 && is_node(&status));
    char link[64];
    char target[64] = "";
    snprintf(link, sizeof(link), "/proc/self/fd/%d", fd);
    CHECK(readlink(link, target, sizeof(target) - 1) == (ssize_t)strlen(NODE) && strcmp(target, NODE) == 0);
    close(fd);
    memset(&status, 0, sizeof(status));
    CHECK(stat(NODE, &status) == 0 && is_node(&status));
    memset(&status, 0, sizeof(status));
    CHECK(lstat(NODE, &status) == 0 && is_node(&status));
    memset(&status, 0, sizeof(status));
    CHECK(syscall(SYS_newfstatat, AT_FDCWD, NODE, &status, 0) == 0 && is_node(&status));
    struct statx extended;
    memset(&extended, 0, sizeof(extended));
    CHECK(statx(AT_FDCWD, NODE, 0, STATX_BASIC_STATS, &extended) == 0);
    CHECK(S_ISCHR(extended.stx_mode) && extended.stx_rdev_major == 81 && extended.stx_rdev_minor == 0);
    CHECK(access(NODE, R_OK | W_OK) == 0);
    FAILS(access(NODE, X_OK), EACCES);
    CHECK(faccessat(AT_FDCWD, NODE, F_OK, 0) == 0);
    CHECK(listed("/dev", "video0") == 1 && listed("/dev", "null") == 1);
    CHECK(listed("/sys/class/video4linux", "video0") == 1);
    struct dirent** names = NULL;
    const int count = scandir("/dev", &names, is_video, alphasort);
    CHECK(count >= 1 && strcmp(names[0]->d_name, "video0") == 0);
    for (int i = 0; i < count; ++i) {
        free(names[i]);
    }
    free(names);
    glob_t found;
    CHECK(glob("/dev/video*", 0, NULL, &found) == 0 && found.gl_pathc >= 1 && strcmp(found.gl_pathv[0], NODE) == 0);
    globfree(&found);
    char whole[4096];
    CHECK(realpath("/dev/./video0", whole) == whole && strcmp(whole, NODE) == 0);
    CHECK(realpath("/sys/dev/char/81:0", whole) == whole &&
          strcmp(whole, "/sys/devices/platform/vekcam-sim/video4linux/video0") == 0);
    FAILS((int)readlink(NODE, target, sizeof(target)), EINVAL);
    char own[] = "/tmp/emulator-probe-XXXXXX";
    CHECK(mkdtemp(own) != NULL);
    char name[64];
    snprintf(name, sizeof(name), "%s/camera", own);
    CHECK(symlink(NODE, name) == 0);
    check_camera(open(name, O_RDWR));
    CHECK(stat(name, &status) == 0 && is_node(&status));
    CHECK(lstat(name, &status) == 0 && S_ISLNK(status.st_mode));
    unlink(name);
    rmdir(own);
    FILE* const file = fopen("/sys/dev/char/81:0/uevent", "r");
    char line[64] = "";
    CHECK(file != NULL && fgets(line, sizeof(line), file) != NULL && strcmp(line, "MAJOR=81\n") == 0);
    if (file != NULL) {
        fclose(file);
    }
}

// --- Requests --------------------------------------------------------------------------------------------------------

static void test_requests(void) {
    section = "requests";
    const int fd = open(NODE, O_RDWR);
    FAILS(ioctl(fd, _IOWR('V', 250, int), bad), ENOTTY);
    FAILS(ioctl(fd, _IOWR('X', 1, int), bad), ENOTTY);
    FAILS(ioctl(fd, VIDIOC_G_FBUF, bad), ENOTTY);
    FAILS(ioctl(fd, VIDIOC_QUERYCAP, bad), EFAULT);
    FAILS(ioctl(fd, VIDIOC_QUERYCAP, NULL), EFAULT);
    FAILS(ioctl(fd, VIDIOC_G_CTRL, bad), EFAULT);
    FAILS(ioctl(fd, VIDIOC_S_FMT, bad), EFAULT);
    FAILS(ioctl(fd, VIDIOC_QBUF, bad), EFAULT);
    FAILS(ioctl(fd, VIDIOC_S_EXT_CTRLS, bad), EFAULT);
    FAILS((int)syscall(SYS_ioctl, fd, VIDIOC_G_FMT, bad), EFAULT);
    const long page = sysconf(_SC_PAGESIZE);
    struct v4l2_control* const control =
        mmap(NULL, (size_t)page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    control->id = V4L2_CID_GAIN;
    CHECK(ioctl(fd, VIDIOC_G_CTRL, control) == 0);
    CHECK(mprotect(control, (size_t)page, PROT_READ) == 0);
    FAILS(ioctl(fd, VIDIOC_G_CTRL, control), EFAULT); // it may be read and not written to
    munmap(control, (size_t)page);
    struct v4l2_ext_control values[2] = {{.id = V4L2_CID_EXPOSURE, .value = 123}, {.id = V4L2_CID_GAIN, .value = 7}};
    struct v4l2_ext_controls controls = {.which = V4L2_CTRL_WHICH_CUR_VAL, .count = 2, .controls = values};
    CHECK(ioctl(fd, VIDIOC_S_EXT_CTRLS, &controls) == 0 && controls.controls == values);
    values[0].value = values[1].value = 0;
    CHECK(ioctl(fd, VIDIOC_G_EXT_CTRLS, &controls) == 0 && controls.controls == values);
    CHECK(values[0].value == 123 && values[1].value == 7);
    values[1].value = 1000000;
    FAILS(ioctl(fd, VIDIOC_TRY_EXT_CTRLS, &controls), ERANGE);
    CHECK(controls.error_idx == 1);
    controls.controls = bad;
    FAILS(ioctl(fd, VIDIOC_G_EXT_CTRLS, &controls), EFAULT);
    controls.controls = values;
    controls.count = V4L2_CID_MAX_CTRLS + 1;
    FAILS(ioctl(fd, VIDIOC_G_EXT_CTRLS, &controls), EINVAL);
    // A request in an int has its sign in front.
    struct v4l2_format format = {.type = V4L2_BUF_TYPE_VIDEO_CAPTURE};
    const int number = (int)VIDIOC_G_FMT;
    CHECK(ioctl(fd, (unsigned long)(long)number, &format) == 0 && format.fmt.pix.width == 64);
    int flag = 1;
    CHECK(ioctl(fd, FIONBIO, &flag) == 0 && (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0);
    CHECK(isatty(fd) == 0);
    FAILS((int)lseek(fd, 0, SEEK_SET), ESPIPE);
    FAILS((int)write(fd, "x", 1), EINVAL);
    // Priorities are those of open files.
    const int other = open(NODE, O_RDWR);
    uint32_t priority = V4L2_PRIORITY_RECORD;
    CHECK(ioctl(other, VIDIOC_S_PRIORITY, &priority) == 0);
    struct v4l2_control gain = {V4L2_CID_GAIN, 3};
    FAILS(ioctl(fd, VIDIOC_S_CTRL, &gain), EBUSY);
    close(other);
    CHECK(ioctl(fd, VIDIOC_S_CTRL, &gain) == 0);
    close(fd);
    FAILS(ioctl(fd, VIDIOC_S_CTRL, &gain), EBADF);
}

// --- Streaming -------------------------------------------------------------------------------------------------------

struct buffers {
    int count;
    size_t length;
    unsigned char* start[BUFFERS];
};

static struct v4l2_buffer buffer_of(int index) {
    struct v4l2_buffer buffer;
    memset(&buffer, 0, sizeof(buffer));
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    buffer.index = (uint32_t)index;
    return buffer;
}

static void queue(int fd, int index) {
    struct v4l2_buffer buffer = buffer_of(index);
    CHECK(ioctl(fd, VIDIOC_QBUF, &buffer) == 0);
}

static int dequeue(int fd) {
    struct v4l2_buffer buffer = buffer_of(0);
    return ioctl(fd, VIDIOC_DQBUF, &buffer) == 0 ? (int)buffer.index : -1;
}

static struct buffers request(int fd, int count) {
    struct buffers out = {0, 0, {NULL}};
    struct v4l2_requestbuffers asked = {
        .count = (uint32_t)count, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    CHECK(ioctl(fd, VIDIOC_REQBUFS, &asked) == 0);
    out.count = (int)asked.count;
    for (int i = 0; i < out.count && i < BUFFERS; ++i) {
        struct v4l2_buffer buffer = buffer_of(i);
        CHECK(ioctl(fd, VIDIOC_QUERYBUF, &buffer) == 0);
        out.length = buffer.length;
        out.start[i] = mmap(NULL, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, (off_t)buffer.m.offset);
        CHECK(out.start[i] != MAP_FAILED);
    }
    return out;
}

static void stream(int fd, int on) {
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    CHECK(ioctl(fd, on ? VIDIOC_STREAMON : VIDIOC_STREAMOFF, &type) == 0);
}

static struct buffers begin(int fd) {
    const struct buffers buffers = request(fd, BUFFERS);
    for (int i = 0; i < buffers.count; ++i) {
        queue(fd, i);
    }
    stream(fd, 1);
    return buffers;
}

static void end(int fd, const struct buffers* buffers) {
    stream(fd, 0);
    for (int i = 0; i < buffers->count; ++i) {
        CHECK(munmap(buffers->start[i], buffers->length) == 0);
    }
    struct v4l2_requestbuffers none = {.type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    CHECK(ioctl(fd, VIDIOC_REQBUFS, &none) == 0);
}

static int is_mapped(int fd, int index) {
    struct v4l2_buffer buffer = buffer_of(index);
    CHECK(ioctl(fd, VIDIOC_QUERYBUF, &buffer) == 0);
    return (buffer.flags & V4L2_BUF_FLAG_MAPPED) != 0;
}

static void test_mappings(void) {
    section = "mappings";
    const int fd = open(NODE, O_RDWR);
    const struct buffers buffers = request(fd, 2);
    CHECK(is_mapped(fd, 0) && is_mapped(fd, 1));
    CHECK(munmap(buffers.start[0], buffers.length) == 0);
    CHECK(!is_mapped(fd, 0) && is_mapped(fd, 1));
    void* start = mmap(NULL, buffers.length, PROT_READ, MAP_PRIVATE, fd, 0);
    CHECK(start == MAP_FAILED && errno == EINVAL);
    start = mmap(NULL, buffers.length, PROT_READ, MAP_SHARED, fd, 4096);
    CHECK(start == MAP_FAILED && errno == EINVAL);
    start = mmap(NULL, buffers.length + 65536, PROT_READ, MAP_SHARED, fd, 0);
    CHECK(start == MAP_FAILED && errno == EINVAL);
    // The memory of a process that is gone is mapped no longer.
    const pid_t child = fork();
    if (child == 0) {
        const void* const mapped = mmap(NULL, buffers.length, PROT_READ, MAP_SHARED, fd, 0);
        _exit(mapped == MAP_FAILED || !is_mapped(fd, 0) ? 1 : 0);
    }
    int status = 0;
    CHECK(waitpid(child, &status, 0) == child && status == 0);
    pause_ms(50);
    CHECK(!is_mapped(fd, 0));
    // CREATE_BUFS makes larger ones.
    struct v4l2_create_buffers more;
    memset(&more, 0, sizeof(more));
    more.count = 1;
    more.memory = V4L2_MEMORY_MMAP;
    more.format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    CHECK(ioctl(fd, VIDIOC_G_FMT, &more.format) == 0);
    more.format.fmt.pix.sizeimage += 10000;
    CHECK(ioctl(fd, VIDIOC_CREATE_BUFS, &more) == 0 && more.count == 1 && more.index == 2);
    struct v4l2_buffer large = buffer_of(2);
    CHECK(ioctl(fd, VIDIOC_QUERYBUF, &large) == 0 && large.length == more.format.fmt.pix.sizeimage);
    // An open file lives as long as something of it is mapped.
    const int other = open(NODE, O_RDWR);
    struct v4l2_requestbuffers asked = {.count = 2, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    FAILS(ioctl(other, VIDIOC_REQBUFS, &asked), EBUSY);
    close(fd);
    pause_ms(50);
    FAILS(ioctl(other, VIDIOC_REQBUFS, &asked), EBUSY);
    CHECK(munmap(buffers.start[1], buffers.length) == 0);
    pause_ms(50);
    CHECK(ioctl(other, VIDIOC_REQBUFS, &asked) == 0);
    close(other);
}

static void test_export(void) {
    section = "export";
    const int fd = open(NODE, O_RDWR);
    const struct buffers buffers = begin(fd);
    struct v4l2_exportbuffer exported = {.type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .index = 0, .flags = O_RDWR | O_CLOEXEC};
    CHECK(ioctl(fd, VIDIOC_EXPBUF, &exported) == 0 && exported.fd >= 0);
    CHECK((fcntl(exported.fd, F_GETFD) & FD_CLOEXEC) != 0);
    CHECK(lseek(exported.fd, 0, SEEK_END) >= (off_t)buffers.length);
    const unsigned char* const view = mmap(NULL, buffers.length, PROT_READ, MAP_SHARED, exported.fd, 0);
    CHECK(view != MAP_FAILED);
    struct dma_buf_sync sync = {DMA_BUF_SYNC_START | DMA_BUF_SYNC_READ};
    CHECK(ioctl(exported.fd, DMA_BUF_IOCTL_SYNC, &sync) == 0);
    trigger();
    CHECK(dequeue(fd) == 0);
    CHECK(memcmp(view, buffers.start[0], buffers.length) == 0);
    sync.flags = 1 << 20;
    FAILS(ioctl(exported.fd, DMA_BUF_IOCTL_SYNC, &sync), EINVAL);
    struct v4l2_exportbuffer reading = {.type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .index = 1, .flags = O_RDONLY};
    CHECK(ioctl(fd, VIDIOC_EXPBUF, &reading) == 0);
    CHECK((fcntl(reading.fd, F_GETFD) & FD_CLOEXEC) == 0);
    CHECK(mmap(NULL, buffers.length, PROT_READ | PROT_WRITE, MAP_SHARED, reading.fd, 0) == MAP_FAILED);
    reading.index = 99;
    FAILS(ioctl(fd, VIDIOC_EXPBUF, &reading), EINVAL);
    close(reading.fd);
    munmap((void*)view, buffers.length);
    close(exported.fd);
    end(fd, &buffers);
    close(fd);
}

// --- Waiting ---------------------------------------------------------------------------------------------------------

struct waiter {
    int fd;
    int result;
    int error;
    double seconds;
};

static void* wait_for_frame(void* argument) {
    struct waiter* const waiter = argument;
    const double start = now();
    waiter->result = dequeue(waiter->fd);
    waiter->error = errno;
    waiter->seconds = now() - start;
    return NULL;
}

static volatile sig_atomic_t signals = 0;

static void count_signal(int number) {
    (void)number;
    ++signals;
}

static void handle(int number, int flags) {
    struct sigaction action;
    memset(&action, 0, sizeof(action));
    action.sa_handler = count_signal;
    action.sa_flags = flags;
    sigaction(number, &action, NULL);
}

static void test_waiting(void) {
    section = "waiting";
    const int fd = open(NODE, O_RDWR);
    const struct buffers buffers = begin(fd);
    struct waiter waiter = {fd, 0, 0, 0};
    pthread_t thread;
    // A frame ends it.
    pthread_create(&thread, NULL, wait_for_frame, &waiter);
    pause_ms(50);
    trigger();
    pthread_join(thread, NULL);
    CHECK(waiter.result == 0 && waiter.seconds > 0.03 && waiter.seconds < 5);
    queue(fd, 0);
    // A signal ends it, unless its handler wants calls to go on.
    handle(SIGUSR1, 0);
    pthread_create(&thread, NULL, wait_for_frame, &waiter);
    pause_ms(50);
    pthread_kill(thread, SIGUSR1);
    pthread_join(thread, NULL);
    CHECK(waiter.result == -1 && waiter.error == EINTR && signals == 1);
    handle(SIGUSR1, SA_RESTART);
    pthread_create(&thread, NULL, wait_for_frame, &waiter);
    pause_ms(50);
    pthread_kill(thread, SIGUSR1);
    pause_ms(50);
    trigger();
    pthread_join(thread, NULL);
    CHECK(waiter.result >= 0 && signals == 2 && waiter.seconds > 0.08);
    queue(fd, waiter.result);
    // The end of the stream ends it, from another thread and from another process.
    pthread_create(&thread, NULL, wait_for_frame, &waiter);
    pause_ms(50);
    stream(fd, 0);
    pthread_join(thread, NULL);
    CHECK(waiter.result == -1 && waiter.error == EINVAL);
    for (int i = 0; i < buffers.count; ++i) {
        queue(fd, i);
    }
    stream(fd, 1);
    const pid_t child = fork();
    if (child == 0) {
        pause_ms(50);
        int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        _exit(ioctl(fd, VIDIOC_STREAMOFF, &type) == 0 ? 0 : 1);
    }
    FAILS(dequeue(fd), EINVAL);
    int status = 0;
    CHECK(waitpid(child, &status, 0) == child && status == 0);
    // Without waiting.
    for (int i = 0; i < buffers.count; ++i) {
        queue(fd, i);
    }
    stream(fd, 1);
    CHECK(fcntl(fd, F_SETFL, O_NONBLOCK) == 0);
    FAILS(dequeue(fd), EAGAIN);
    trigger();
    pause_ms(50);
    CHECK(dequeue(fd) == 0);
    end(fd, &buffers);
    close(fd);
    // A process that is killed while it waits leaves nothing behind.
    const pid_t victim = fork();
    if (victim == 0) {
        const int own = open(NODE, O_RDWR);
        begin(own);
        dequeue(own);
        _exit(0);
    }
    pause_ms(100);
    kill(victim, SIGKILL);
    waitpid(victim, &status, 0);
    pause_ms(50);
    const int again = open(NODE, O_RDWR);
    const struct buffers fresh = begin(again);
    end(again, &fresh);
    close(again);
}

static short polled(int fd, short events, int timeout) {
    struct pollfd entry = {fd, events, 0x55};
    const int count = poll(&entry, 1, timeout);
    CHECK(count == (entry.revents != 0));
    return entry.revents;
}

static void test_poll(void) {
    section = "poll";
    const int fd = open(NODE, O_RDWR);
    const struct buffers buffers = request(fd, BUFFERS);
    CHECK(polled(fd, POLLIN, 0) == POLLERR); // nothing is streaming
    CHECK(polled(fd, POLLPRI, 0) == 0);
    for (int i = 0; i < buffers.count; ++i) {
        queue(fd, i);
    }
    stream(fd, 1);
    CHECK(polled(fd, POLLIN, 0) == 0);
    const double start = now();
    CHECK(polled(fd, POLLIN | POLLPRI, 60) == 0);
    CHECK(now() - start >= 0.058 && now() - start < 5);
    trigger();
    CHECK(polled(fd, POLLIN, 5000) == POLLIN);
    CHECK(polled(fd, POLLIN | POLLRDNORM | POLLPRI | POLLOUT, 5000) == (POLLIN | POLLRDNORM));
    CHECK(polled(fd, POLLOUT, 0) == 0);
    CHECK(polled(fd, 0, 0) == 0);
    // Beside another descriptor, each of which may be ready.
    int ends[2];
    CHECK(pipe(ends) == 0);
    struct pollfd both[3] = {{ends[0], POLLIN, 0}, {fd, POLLIN, 0}, {-1, POLLIN, 7}};
    CHECK(poll(both, 3, 1000) == 1 && both[0].revents == 0 && both[1].revents == POLLIN && both[2].revents == 0);
    CHECK(write(ends[1], "x", 1) == 1);
    CHECK(poll(both, 2, 1000) == 2 && both[0].revents == POLLIN && both[1].revents == POLLIN);
    const int index = dequeue(fd);
    CHECK(poll(both, 2, 1000) == 1 && both[0].revents == POLLIN && both[1].revents == 0);
    queue(fd, index);
    // select has the same, and the time that is left.
    fd_set in;
    fd_set out;
    fd_set odd;
    struct timeval time = {0, 60000};
    FD_ZERO(&in);
    FD_ZERO(&out);
    FD_ZERO(&odd);
    FD_SET(fd, &in);
    FD_SET(fd, &out);
    FD_SET(fd, &odd);
    CHECK(select(fd + 1, &in, &out, &odd, &time) == 0);
    CHECK(!FD_ISSET(fd, &in) && !FD_ISSET(fd, &out) && !FD_ISSET(fd, &odd) && time.tv_sec == 0 && time.tv_usec < 100);
    trigger();
    FD_SET(fd, &in);
    FD_SET(ends[0], &in);
    FD_SET(fd, &out);
    CHECK(select((fd > ends[0] ? fd : ends[0]) + 1, &in, &out, NULL, NULL) >= 1);
    CHECK(FD_ISSET(ends[0], &in) && !FD_ISSET(fd, &out));
    time.tv_sec = 5;
    FD_ZERO(&in);
    FD_SET(fd, &in);
    CHECK(select(fd + 1, &in, NULL, NULL, &time) == 1 && FD_ISSET(fd, &in));
    queue(fd, dequeue(fd));
    // A signal that is let in while ppoll waits, and only then.
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    handle(SIGUSR2, SA_RESTART);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    signals = 0;
    raise(SIGUSR2);
    struct pollfd one = {fd, POLLIN, 0};
    FAILS(ppoll(&one, 1, NULL, &before), EINTR);
    CHECK(signals == 1);
    sigprocmask(SIG_SETMASK, &before, NULL);
    // Events.
    struct v4l2_event_subscription subscription;
    memset(&subscription, 0, sizeof(subscription));
    subscription.type = V4L2_EVENT_CTRL;
    subscription.id = V4L2_CID_GAIN;
    CHECK(ioctl(fd, VIDIOC_SUBSCRIBE_EVENT, &subscription) == 0);
    const int other = open(NODE, O_RDWR);
    struct v4l2_control gain = {V4L2_CID_GAIN, 42};
    CHECK(ioctl(other, VIDIOC_S_CTRL, &gain) == 0);
    CHECK(polled(fd, POLLIN | POLLPRI, 5000) == POLLPRI);
    FD_ZERO(&odd);
    FD_SET(fd, &odd);
    CHECK(select(fd + 1, NULL, NULL, &odd, NULL) == 1 && FD_ISSET(fd, &odd));
    struct v4l2_event event;
    CHECK(ioctl(fd, VIDIOC_DQEVENT, &event) == 0 && event.u.ctrl.value == 42);
    CHECK(polled(fd, POLLPRI, 0) == 0);
    close(other);
    end(fd, &buffers);
    close(fd);
    close(ends[0]);
    close(ends[1]);
}

static int waited(int instance, struct epoll_event* event, int timeout) {
    memset(event, 0, sizeof(*event));
    return epoll_wait(instance, event, 1, timeout);
}

static void test_epoll(void) {
    section = "epoll";
    const int fd = open(NODE, O_RDWR);
    const struct buffers buffers = begin(fd);
    const int instance = epoll_create1(EPOLL_CLOEXEC);
    struct epoll_event event = {EPOLLIN | EPOLLPRI, {.u64 = 0x123456789ABCULL}};
    FAILS(epoll_ctl(instance, EPOLL_CTL_MOD, fd, &event), ENOENT);
    CHECK(epoll_ctl(instance, EPOLL_CTL_ADD, fd, &event) == 0);
    FAILS(epoll_ctl(instance, EPOLL_CTL_ADD, fd, &event), EEXIST);
    FAILS(epoll_ctl(fd, EPOLL_CTL_ADD, fd, &event), EINVAL);
    CHECK(waited(instance, &event, 0) == 0);
    const double start = now();
    CHECK(waited(instance, &event, 60) == 0 && now() - start >= 0.058);
    trigger();
    CHECK(waited(instance, &event, 5000) == 1 && event.events == EPOLLIN && event.data.u64 == 0x123456789ABCULL);
    CHECK(waited(instance, &event, 0) == 1); // level
    const int copy = dup(instance);
    CHECK(waited(copy, &event, 0) == 1);
    CHECK(polled(instance, POLLIN, 1000) == POLLIN);
    close(copy);
    queue(fd, dequeue(fd));
    CHECK(waited(instance, &event, 0) == 0);
    CHECK(polled(instance, POLLIN, 20) == 0);
    // Edge: each frame is told once.
    event = (struct epoll_event){EPOLLIN | EPOLLET, {.fd = fd}};
    CHECK(epoll_ctl(instance, EPOLL_CTL_MOD, fd, &event) == 0);
    trigger();
    CHECK(waited(instance, &event, 5000) == 1 && event.data.fd == fd);
    CHECK(waited(instance, &event, 30) == 0);
    trigger();
    CHECK(waited(instance, &event, 5000) == 1);
    CHECK(waited(instance, &event, 0) == 0);
    queue(fd, dequeue(fd));
    queue(fd, dequeue(fd));
    // Once.
    event = (struct epoll_event){EPOLLIN | EPOLLONESHOT, {.fd = fd}};
    CHECK(epoll_ctl(instance, EPOLL_CTL_MOD, fd, &event) == 0);
    trigger();
    CHECK(waited(instance, &event, 5000) == 1);
    CHECK(waited(instance, &event, 0) == 0);
    event = (struct epoll_event){EPOLLIN | EPOLLONESHOT, {.fd = fd}};
    CHECK(epoll_ctl(instance, EPOLL_CTL_MOD, fd, &event) == 0);
    CHECK(waited(instance, &event, 1000) == 1);
    // Beside another descriptor.
    int ends[2];
    CHECK(pipe(ends) == 0 && write(ends[1], "x", 1) == 1);
    event = (struct epoll_event){EPOLLIN, {.fd = ends[0]}};
    CHECK(epoll_ctl(instance, EPOLL_CTL_ADD, ends[0], &event) == 0);
    event = (struct epoll_event){EPOLLIN, {.fd = fd}};
    CHECK(epoll_ctl(instance, EPOLL_CTL_MOD, fd, &event) == 0);
    struct epoll_event two[4];
    CHECK(epoll_wait(instance, two, 4, 1000) == 2);
    int seen[2] = {0, 0};
    for (int i = 0; i < 4; ++i) {
        CHECK(waited(instance, &event, 1000) == 1);
        ++seen[event.data.fd == fd];
    }
    CHECK(seen[0] == 2 && seen[1] == 2);
    CHECK(epoll_ctl(instance, EPOLL_CTL_DEL, fd, NULL) == 0);
    FAILS(epoll_ctl(instance, EPOLL_CTL_DEL, fd, NULL), ENOENT);
    // What is closed leaves by itself.
    event = (struct epoll_event){EPOLLIN, {.fd = fd}};
    CHECK(epoll_ctl(instance, EPOLL_CTL_ADD, fd, &event) == 0);
    end(fd, &buffers);
    close(fd);
    CHECK(epoll_wait(instance, two, 4, 0) == 1 && two[0].data.fd == ends[0]);
    close(instance);
    close(ends[0]);
    close(ends[1]);
}

static void* read_frame(void* argument) {
    struct waiter* const waiter = argument;
    unsigned char frame[64 * 64 + 100];
    waiter->result = (int)read(waiter->fd, frame, sizeof(frame));
    waiter->error = errno;
    return NULL;
}

static void test_read(void) {
    section = "read";
    const int fd = open(NODE, O_RDWR | O_NONBLOCK);
    unsigned char frame[64 * 64];
    FAILS((int)read(fd, frame, sizeof(frame)), EAGAIN);
    trigger();
    CHECK(polled(fd, POLLIN, 5000) == POLLIN);
    CHECK(read(fd, frame, sizeof(frame)) == (ssize_t)sizeof(frame));
    trigger();
    CHECK(polled(fd, POLLIN, 5000) == POLLIN);
    CHECK(syscall(SYS_read, fd, frame, 100L) == 100); // the rest is lost
    FAILS((int)read(fd, frame, sizeof(frame)), EAGAIN);
    trigger();
    CHECK(polled(fd, POLLIN, 5000) == POLLIN);
    FAILS((int)read(fd, bad, sizeof(frame)), EFAULT);
    struct v4l2_requestbuffers asked = {.count = 2, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    FAILS(ioctl(fd, VIDIOC_REQBUFS, &asked), EBUSY);
    CHECK(fcntl(fd, F_SETFL, 0) == 0);
    struct waiter waiter = {fd, 0, 0, 0};
    pthread_t thread;
    pthread_create(&thread, NULL, read_frame, &waiter);
    pause_ms(50);
    trigger();
    pthread_join(thread, NULL);
    CHECK(waiter.result == (int)sizeof(frame));
    handle(SIGUSR1, 0);
    pthread_create(&thread, NULL, read_frame, &waiter);
    pause_ms(50);
    pthread_kill(thread, SIGUSR1);
    pthread_join(thread, NULL);
    CHECK(waiter.result == -1 && waiter.error == EINTR);
    close(fd);
}

// --- Processes -------------------------------------------------------------------------------------------------------

/// What a program does that was started with a camera as descriptor 9 whose buffers it may look at.
static int inherited(void) {
    struct stat status;
    CHECK(fstat(9, &status) == 0 && is_node(&status));
    struct v4l2_buffer buffer = buffer_of(1);
    CHECK(ioctl(9, VIDIOC_QUERYBUF, &buffer) == 0);
    const int other = open(NODE, O_RDWR);
    struct v4l2_requestbuffers asked = {.count = 2, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    FAILS(ioctl(other, VIDIOC_REQBUFS, &asked), EBUSY);
    return failures != 0;
}

static void test_processes(const char* self) {
    section = "processes";
    int fd = open(NODE, O_RDWR);
    const struct buffers buffers = request(fd, 2);
    const int copy = dup(fd);
    CHECK(dup2(fd, 9) == 9);
    close(fd);
    CHECK(is_mapped(copy, 1));
    const pid_t child = fork();
    if (child == 0) {
        if (!is_mapped(copy, 1)) {
            _exit(2);
        }
        execl(self, self, "inherited", (char*)NULL);
        _exit(3);
    }
    int status = 0;
    CHECK(waitpid(child, &status, 0) == child && status == 0);
    CHECK(munmap(buffers.start[0], buffers.length) == 0 && munmap(buffers.start[1], buffers.length) == 0);
    close(copy);
    fd = open(NODE, O_RDWR);
    struct v4l2_requestbuffers asked = {.count = 1, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    FAILS(ioctl(fd, VIDIOC_REQBUFS, &asked), EBUSY); // 9 is the last one
    close(9);
    pause_ms(20);
    CHECK(ioctl(fd, VIDIOC_REQBUFS, &asked) == 0);
    close(fd);
    // A program that closes every number it can think of.
    const pid_t closer = fork();
    if (closer == 0) {
        failures = 0;
        closefrom(3);
        check_camera(open(NODE, O_RDWR));
        _exit(failures != 0);
    }
    CHECK(waitpid(closer, &status, 0) == closer && status == 0);
}

// --- Unplugged -------------------------------------------------------------------------------------------------------

/// Reads until the camera is pulled, as a script of faults has it, and waits for it to come back.
static int unplugged(int times) {
    section = "unplugged";
    const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    CHECK(inotify_add_watch(watch, "/dev", IN_CREATE | IN_DELETE | IN_ATTRIB) >= 0);
    const int before = descriptors();
    for (int i = 0; i < times && failures == 0; ++i) {
        const int fd = open(NODE, O_RDWR);
        CHECK(fd >= 0);
        const struct buffers buffers = begin(fd);
        int index = 0;
        while ((index = dequeue(fd)) >= 0) {
            struct v4l2_buffer buffer = buffer_of(index);
            ioctl(fd, VIDIOC_QBUF, &buffer);
        }
        CHECK(errno == ENODEV);
        CHECK((polled(fd, POLLIN, 1000) & (POLLERR | POLLHUP)) == (POLLERR | POLLHUP));
        struct v4l2_capability capability;
        FAILS(ioctl(fd, VIDIOC_QUERYCAP, &capability), ENODEV);
        for (int k = 0; k < buffers.count; ++k) {
            munmap(buffers.start[k], buffers.length);
        }
        close(fd);
        int created = 0;
        for (int waits = 0; waits < 5000 && !created; ++waits) {
            struct pollfd entry = {watch, POLLIN, 0};
            CHECK(poll(&entry, 1, 5000) == 1);
            char events[4096] __attribute__((aligned(8)));
            const ssize_t bytes = read(watch, events, sizeof(events));
            for (ssize_t at = 0; at < bytes;) {
                const struct inotify_event* const event = (const struct inotify_event*)(events + at);
                if (strcmp(event->name, "video0") == 0) {
                    created = (event->mask & IN_CREATE) != 0 ? 1 : (event->mask & IN_DELETE) != 0 ? 0 : created;
                }
                at += (ssize_t)(sizeof(*event) + event->len);
            }
        }
        CHECK(created);
    }
    CHECK(descriptors() == before);
    close(watch);
    return failures != 0;
}

// --- Many frames -----------------------------------------------------------------------------------------------------

/// Takes frames with poll, reads all their bytes where it is wished for, and tells what was lost by the sequence.
static int take(int count, int wanted, int reading) {
    section = "taken";
    enum { most = 32 };
    unsigned char* start[most];
    const int fd = open(NODE, O_RDWR);
    struct v4l2_requestbuffers asked = {
        .count = (uint32_t)wanted, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    CHECK(ioctl(fd, VIDIOC_REQBUFS, &asked) == 0);
    for (unsigned i = 0; i < asked.count && i < most; ++i) {
        struct v4l2_buffer buffer = buffer_of((int)i);
        CHECK(ioctl(fd, VIDIOC_QUERYBUF, &buffer) == 0);
        start[i] = mmap(NULL, buffer.length, PROT_READ, MAP_SHARED, fd, (off_t)buffer.m.offset);
        CHECK(start[i] != MAP_FAILED);
        queue(fd, (int)i);
    }
    const int before = descriptors();
    stream(fd, 1);
    const double begin_time = now();
    uint32_t next = 0;
    unsigned lost = 0;
    uint64_t sum = 0;
    for (int i = 0; i < count && failures == 0; ++i) {
        struct v4l2_buffer buffer = buffer_of(0);
        CHECK(polled(fd, POLLIN, 30000) == POLLIN);
        CHECK(ioctl(fd, VIDIOC_DQBUF, &buffer) == 0);
        lost += buffer.sequence - next;
        next = buffer.sequence + 1;
        const uint64_t* const words = (const uint64_t*)(const void*)start[buffer.index];
        for (size_t k = 0; reading && k < buffer.bytesused / sizeof(*words); ++k) {
            sum += words[k];
        }
        CHECK(ioctl(fd, VIDIOC_QBUF, &buffer) == 0);
    }
    const double seconds = now() - begin_time;
    CHECK(descriptors() == before);
    printf("{\"frames\": %d, \"lost\": %u, \"seconds\": %.3f, \"sum\": %llu}\n", count, lost, seconds,
           (unsigned long long)sum);
    return failures != 0;
}

int main(int argc, char** argv) {
    if (argc > 4 && strcmp(argv[1], "take") == 0) {
        return take(atoi(argv[2]), atoi(argv[3]), atoi(argv[4]));
    }
    if (argc > 1 && strcmp(argv[1], "inherited") == 0) {
        return inherited();
    }
    if (argc > 2 && strcmp(argv[1], "unplugged") == 0) {
        return unplugged(atoi(argv[2]));
    }
    if (argc < 2 || (fifo = open(argv[1], O_WRONLY | O_CLOEXEC)) < 0) {
        perror(argc < 2 ? "which FIFO?" : argv[1]);
        return 2;
    }
    const int before = descriptors();
    test_paths();
    test_requests();
    test_mappings();
    test_export();
    test_waiting();
    test_poll();
    test_epoll();
    test_read();
    test_processes(argv[0]);
    section = "end";
    CHECK(descriptors() == before);
    printf("%d failures\n", failures);
    return failures != 0;
}
