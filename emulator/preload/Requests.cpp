// SPDX-License-Identifier: Apache-2.0
// ioctl, read, write and the mapping of buffers.
#include "emulator/preload/Direct.h"
#include "emulator/preload/Kernel.h"
#include "emulator/preload/Next.h"
#include "emulator/preload/Session.h"

#include <linux/dma-buf.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace vek::emulator {

namespace {

bool mayWait(int fd) {
    return (kernel(SYS_fcntl, fd, F_GETFL) & O_NONBLOCK) == 0;
}

/// Waits for the answer of a call that may wait, as long as no signal comes in between. A handler that was installed
/// with SA_RESTART goes unseen, as it does in a driver that waits.
int takeInterruptibly(int channel, SAnswer& answer, const iovec* parts, int count, int* memory, bool closeOnExec) {
    int error = takeAnswer(channel, answer, parts, count, memory, closeOnExec);
    if (error != -EINTR) {
        return error;
    }
    // The call may have come to its end just now: the server says which of the two was first.
    SRequest cancel;
    cancel.ask = EAsk::Cancel;
    kernel(SYS_sendto, channel, &cancel, sizeof(cancel), MSG_NOSIGNAL, nullptr, 0);
    do {
        error = takeAnswer(channel, answer, parts, count, memory, closeOnExec);
    } while (error == -EINTR);
    return error;
}

/// An array that an argument points to.
struct SArray {
    void* start = nullptr;
    std::size_t bytes = 0;
};

bool hasArray(unsigned long request) {
    switch (request) {
    case VIDIOC_G_EXT_CTRLS:
    case VIDIOC_S_EXT_CTRLS:
    case VIDIOC_TRY_EXT_CTRLS:
    case VIDIOC_QUERYBUF:
    case VIDIOC_QBUF:
    case VIDIOC_DQBUF:
    case VIDIOC_PREPARE_BUF:
        return true;
    default:
        return false;
    }
}

/// The array of an argument, EINVAL where the kernel takes none that is so long.
int arrayOf(unsigned long request, const void* argument, SArray& array) {
    if (request == VIDIOC_G_EXT_CTRLS || request == VIDIOC_S_EXT_CTRLS || request == VIDIOC_TRY_EXT_CTRLS) {
        v4l2_ext_controls controls{};
        std::memcpy(&controls, argument, sizeof(controls));
        if (controls.count > V4L2_CID_MAX_CTRLS) {
            return -EINVAL;
        }
        array = {controls.controls, controls.count * sizeof(v4l2_ext_control)};
        return 0;
    }
    v4l2_buffer buffer{};
    std::memcpy(&buffer, argument, sizeof(buffer));
    if (V4L2_TYPE_IS_MULTIPLANAR(buffer.type) && buffer.length > 0) {
        if (buffer.length > VIDEO_MAX_PLANES) {
            return -EINVAL;
        }
        array = {buffer.m.planes, buffer.length * sizeof(v4l2_plane)};
    }
    return 0;
}

/// Copies what may be no memory at all. 0 or -EFAULT.
int copyIn(const void* from, void* to, std::size_t bytes) {
    int ends[2] = {-1, -1};
    long result = kernel(SYS_socketpair, AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends);
    if (result < 0) {
        return static_cast<int>(result);
    }
    result = kernel(SYS_sendto, ends[0], from, bytes, MSG_NOSIGNAL, nullptr, 0);
    if (result >= 0) {
        result = kernel(SYS_recvfrom, ends[1], to, bytes, 0, nullptr, nullptr);
    }
    kernel(SYS_close, ends[0]);
    kernel(SYS_close, ends[1]);
    return result < 0 ? static_cast<int>(result) : 0;
}

/// Memory of a buffer that VIDIOC_EXPBUF gave out.
bool isExported(int fd) {
    char link[48] = "/proc/self/fd/";
    char digits[16];
    int count = 0;
    for (unsigned rest = static_cast<unsigned>(fd); count == 0 || rest > 0; rest /= 10) {
        digits[count++] = static_cast<char>('0' + rest % 10);
    }
    char* at = link + std::strlen(link);
    while (count > 0) {
        *at++ = digits[--count];
    }
    *at = '\0';
    char target[sizeof(kBufferLink)];
    const long bytes = kernel(SYS_readlinkat, AT_FDCWD, link, target, sizeof(target) - 1);
    return bytes == static_cast<long>(sizeof(kBufferLink)) - 1 &&
           std::memcmp(target, kBufferLink, sizeof(kBufferLink) - 1) == 0;
}

/// DMA_BUF_IOCTL_SYNC on memory that is always coherent.
long syncExported(const void* argument) {
    dma_buf_sync sync{};
    if (copyIn(argument, &sync, sizeof(sync)) != 0) {
        return -EFAULT;
    }
    const bool known = (sync.flags & ~static_cast<std::uint64_t>(DMA_BUF_SYNC_VALID_FLAGS_MASK)) == 0;
    return known && (sync.flags & DMA_BUF_SYNC_RW) != 0 ? 0 : -EINVAL;
}

// --- Mappings --------------------------------------------------------------------------------------------------------

struct SMapping {
    std::atomic<std::uintptr_t> start{0}; ///< 1: being filled
    std::size_t length = 0;
    std::uint64_t name = 0; ///< the server's
};

constexpr int kMostMappings = 1024;
SMapping mappings[kMostMappings];
std::atomic<int> mapped{0};

void forget(std::uint64_t name) {
    SRequest request;
    request.ask = EAsk::Unmap;
    request.number = name;
    callServer(request);
}

void remember(std::uintptr_t start, std::size_t length, std::uint64_t name) {
    for (SMapping& mapping : mappings) {
        std::uintptr_t none = 0;
        if (mapping.start.compare_exchange_strong(none, 1)) {
            mapping.length = length;
            mapping.name = name;
            mapped.fetch_add(1);
            mapping.start.store(start);
            return;
        }
    }
}

/// What lies in a range is mapped no longer.
void forgetRange(std::uintptr_t start, std::size_t length) {
    for (SMapping& mapping : mappings) {
        std::uintptr_t at = mapping.start.load();
        if (at > 1 && at >= start && at + mapping.length <= start + length) {
            const std::uint64_t name = mapping.name;
            if (mapping.start.compare_exchange_strong(at, 0)) {
                mapped.fetch_sub(1);
                forget(name);
            }
        }
    }
}

std::size_t wholePages(std::size_t length) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return (length + page - 1) / page * page;
}

} // namespace

long cameraIoctl(int fd, unsigned long request, void* argument) {
    request &= 0xFFFFFFFFUL; // the kernel takes as many bits
    switch (request) {
    case FIONBIO:
    case FIOASYNC:
    case FIOCLEX:
    case FIONCLEX:
        return kernel(SYS_ioctl, fd, request, argument);
    default:
        break;
    }
    SRequest asked;
    asked.ask = EAsk::Ioctl;
    asked.number = request;
    const bool waits = request == VIDIOC_DQBUF || request == VIDIOC_DQEVENT;
    asked.flags = waits && mayWait(fd) ? kMayWait : 0U;
    asked.process = static_cast<std::int32_t>(kernel(SYS_getpid));
    const std::size_t size = _IOC_SIZE(request);
    const bool in = (_IOC_DIR(request) & _IOC_WRITE) != 0;
    const bool out = (_IOC_DIR(request) & _IOC_READ) != 0;
    SArray array;
    iovec parts[2] = {};
    int channel = -1;
    int error = 0;
    if (hasArray(request)) {
        alignas(v4l2_buffer) char copy[sizeof(v4l2_buffer) + sizeof(v4l2_ext_controls)];
        error = copyIn(argument, copy, size);
        error = error == 0 ? arrayOf(request, copy, array) : error;
    }
    parts[0] = {argument, in ? size : 0};
    parts[1] = {array.start, array.bytes};
    if (error == 0) {
        asked.argumentBytes = static_cast<std::uint32_t>(parts[0].iov_len);
        asked.arrayBytes = static_cast<std::uint32_t>(array.bytes);
        channel = askCamera(fd, asked, parts, 2);
        error = channel;
    }
    if (error == -EFAULT || error == -EINVAL) {
        // Whether the request is known at all comes first.
        asked.flags |= kBadArgument;
        asked.value = static_cast<std::uint64_t>(-error);
        asked.argumentBytes = 0;
        asked.arrayBytes = 0;
        channel = askCamera(fd, asked);
    }
    if (channel < 0) {
        return channel;
    }
    parts[0] = {argument, out ? size : 0};
    SAnswer answer;
    int memory = -1;
    const bool closeOnExec = request != VIDIOC_EXPBUF || argument == nullptr || (asked.flags & kBadArgument) != 0 ||
                             (static_cast<const v4l2_exportbuffer*>(argument)->flags & O_CLOEXEC) != 0;
    if ((asked.flags & kMayWait) != 0) {
        error = takeInterruptibly(channel, answer, parts, 2, nullptr, true);
    } else {
        do {
            error = takeAnswer(channel, answer, parts, 2, request == VIDIOC_EXPBUF ? &memory : nullptr, closeOnExec);
        } while (error == -EINTR);
    }
    kernel(SYS_close, channel);
    if (error < 0) {
        return error;
    }
    if (request == VIDIOC_EXPBUF && answer.result == 0) {
        if (memory < 0) {
            return -EMFILE;
        }
        static_cast<v4l2_exportbuffer*>(argument)->fd = memory;
    }
    return static_cast<long>(answer.result);
}

long cameraRead(int fd, void* buffer, std::size_t size) {
    SRequest asked;
    asked.ask = EAsk::Read;
    asked.value = size;
    asked.flags = mayWait(fd) ? kMayWait : 0U;
    const int channel = askCamera(fd, asked);
    if (channel < 0) {
        return channel;
    }
    SAnswer answer;
    int memory = -1;
    const int error = takeInterruptibly(channel, answer, nullptr, 0, &memory, true);
    kernel(SYS_close, channel);
    if (error < 0) {
        return error;
    }
    long result = static_cast<long>(answer.result);
    if (memory >= 0) {
        if (result > 0) {
            result = kernel(SYS_pread64, memory, buffer, result, 0);
        }
        kernel(SYS_close, memory);
    }
    return result;
}

long cameraMap(int fd, void* address, std::size_t length, int protection, int flags, off_t offset) {
    if ((flags & MAP_TYPE) != MAP_SHARED || (protection & PROT_READ) == 0) {
        return -EINVAL;
    }
    SRequest asked;
    asked.ask = EAsk::Map;
    asked.number = static_cast<std::uint64_t>(offset);
    asked.value = wholePages(length);
    asked.process = static_cast<std::int32_t>(kernel(SYS_getpid));
    SAnswer answer;
    int memory = -1;
    const std::int64_t result = callCamera(fd, asked, &answer, &memory);
    if (result < 0) {
        return static_cast<long>(result);
    }
    if (memory < 0) {
        return -EMFILE;
    }
    const long start = kernel(SYS_mmap, address, length, protection, flags, memory, 0);
    kernel(SYS_close, memory);
    if (start < 0 && start > -4096) {
        forget(answer.value);
    } else {
        remember(static_cast<std::uintptr_t>(start), length, answer.value);
    }
    return start;
}

long ioctlDirect(int fd, unsigned long request, void* argument) {
    const unsigned type = _IOC_TYPE(request);
    // Programs that were handed a descriptor ask V4L2 requests of it before anything else.
    if ((type == 'V' || mayHaveCameras()) && cameraBehind(fd) != 0) {
        return cameraIoctl(fd, request, argument);
    }
    const long result = kernel(SYS_ioctl, fd, request, argument);
    if (result == -ENOTTY && request == DMA_BUF_IOCTL_SYNC && session().on && isExported(fd)) {
        return syncExported(argument);
    }
    return result;
}

long readDirect(int fd, void* buffer, std::size_t size) {
    return mayHaveCameras() && cameraBehind(fd) != 0 ? cameraRead(fd, buffer, size)
                                                     : kernel(SYS_read, fd, buffer, size);
}

long mapDirect(void* address, std::size_t length, int protection, int flags, int fd, off_t offset) {
    if ((flags & MAP_ANONYMOUS) == 0 && mayHaveCameras() && cameraBehind(fd) != 0) {
        return cameraMap(fd, address, length, protection, flags, offset);
    }
    return kernel(SYS_mmap, address, length, protection, flags, fd, offset);
}

long unmapDirect(void* address, std::size_t length) {
    const long result = kernel(SYS_munmap, address, length);
    if (result == 0 && mapped.load(std::memory_order_relaxed) > 0) {
        forgetRange(reinterpret_cast<std::uintptr_t>(address), wholePages(length));
    }
    return result;
}

} // namespace vek::emulator

using namespace vek::emulator;

namespace {

void* mapAny(void* address, size_t length, int protection, int flags, int fd, off_t offset) {
    using Mmap = void*(void*, size_t, int, int, int, off_t);
    if ((flags & MAP_ANONYMOUS) == 0 && mayHaveCameras() && cameraBehind(fd) != 0) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): what the kernel answers is an address
        return reinterpret_cast<void*>(failOr(cameraMap(fd, address, length, protection, flags, offset)));
    }
    return VEK_NEXT(Mmap, "mmap64")(address, length, protection, flags, fd, offset);
}

} // namespace

extern "C" {

VEK_INTERPOSE int ioctl(int fd, unsigned long request, ...) noexcept {
    using Ioctl = int(int, unsigned long, ...);
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if ((_IOC_TYPE(request) == 'V' || mayHaveCameras()) && cameraBehind(fd) != 0) {
        return static_cast<int>(failOr(cameraIoctl(fd, request, argument)));
    }
    if (request == DMA_BUF_IOCTL_SYNC && session().on) {
        return static_cast<int>(failOr(ioctlDirect(fd, request, argument)));
    }
    return VEK_NEXT(Ioctl, "ioctl")(fd, request, argument);
}

VEK_INTERPOSE ssize_t read(int fd, void* buffer, size_t size) {
    using Read = ssize_t(int, void*, size_t);
    if (mayHaveCameras() && cameraBehind(fd) != 0) {
        return failOr(cameraRead(fd, buffer, size));
    }
    return VEK_NEXT(Read, "read")(fd, buffer, size);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the C library's name
VEK_INTERPOSE ssize_t __read_chk(int fd, void* buffer, size_t size, size_t room) {
    if (size > room) {
        std::abort();
    }
    return read(fd, buffer, size);
}

VEK_INTERPOSE ssize_t write(int fd, const void* buffer, size_t size) {
    using Write = ssize_t(int, const void*, size_t);
    if (mayHaveCameras() && cameraBehind(fd) != 0) {
        return failOr(-EINVAL); // a camera takes no frames
    }
    return VEK_NEXT(Write, "write")(fd, buffer, size);
}

VEK_INTERPOSE void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
    return mapAny(address, length, protection, flags, fd, offset);
}

VEK_INTERPOSE void* mmap64(void* address, size_t length, int protection, int flags, int fd, off64_t offset) noexcept {
    return mapAny(address, length, protection, flags, fd, offset);
}

VEK_INTERPOSE int munmap(void* address, size_t length) noexcept {
    return static_cast<int>(failOr(unmapDirect(address, length)));
}

} // extern "C"
