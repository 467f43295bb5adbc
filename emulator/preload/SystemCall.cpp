// SPDX-License-Identifier: Apache-2.0
// syscall: programs that call by number reach the camera, too.
#include "emulator/preload/Direct.h"
#include "emulator/preload/Kernel.h"
#include "emulator/preload/Next.h"
#include "emulator/preload/Session.h"

#include <unistd.h>

#include <cstdarg>

namespace vek::emulator {

namespace {

template <class T>
T* pointer(long word) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): system calls take addresses as numbers
    return reinterpret_cast<T*>(word);
}

long call(long number, const long (&a)[6]) {
    const auto fd = [&](int i) { return static_cast<int>(a[i]); };
    switch (number) {
#ifdef SYS_open
    case SYS_open:
        return openDirect(AT_FDCWD, pointer<const char>(a[0]), fd(1), static_cast<mode_t>(a[2]));
    case SYS_stat:
        return statDirect(AT_FDCWD, pointer<const char>(a[0]), pointer<struct stat>(a[1]), 0);
    case SYS_lstat:
        return statDirect(AT_FDCWD, pointer<const char>(a[0]), pointer<struct stat>(a[1]), AT_SYMLINK_NOFOLLOW);
    case SYS_access:
        return accessDirect(AT_FDCWD, pointer<const char>(a[0]), fd(1), 0);
    case SYS_readlink:
        return linkDirect(AT_FDCWD, pointer<const char>(a[0]), pointer<char>(a[1]), static_cast<std::size_t>(a[2]));
    case SYS_poll: {
        const timespec time{fd(2) / 1000, fd(2) % 1000 * 1000000L};
        return pollDirect(pointer<pollfd>(a[0]), static_cast<nfds_t>(a[1]), fd(2) < 0 ? nullptr : &time, nullptr);
    }
    case SYS_epoll_wait: {
        const timespec time{fd(3) / 1000, fd(3) % 1000 * 1000000L};
        return epollWait(fd(0), pointer<epoll_event>(a[1]), fd(2), fd(3) < 0 ? nullptr : &time, nullptr);
    }
#endif
    case SYS_openat:
        return openDirect(fd(0), pointer<const char>(a[1]), fd(2), static_cast<mode_t>(a[3]));
    case SYS_newfstatat:
        return statDirect(fd(0), pointer<const char>(a[1]), pointer<struct stat>(a[2]), fd(3));
    case SYS_fstat:
        return statDirect(fd(0), pointer<struct stat>(a[1]));
    case SYS_statx:
        return statxDirect(fd(0), pointer<const char>(a[1]), fd(2), static_cast<unsigned>(a[3]),
                           pointer<struct statx>(a[4]));
    case SYS_faccessat:
        return accessDirect(fd(0), pointer<const char>(a[1]), fd(2), 0);
    case SYS_readlinkat:
        return linkDirect(fd(0), pointer<const char>(a[1]), pointer<char>(a[2]), static_cast<std::size_t>(a[3]));
    case SYS_ioctl:
        return ioctlDirect(fd(0), static_cast<unsigned long>(a[1]), pointer<void>(a[2]));
    case SYS_read:
        return readDirect(fd(0), pointer<void>(a[1]), static_cast<std::size_t>(a[2]));
    case SYS_write:
        return mayHaveCameras() && cameraBehind(fd(0)) != 0 ? -EINVAL : kernel(SYS_write, a[0], a[1], a[2]);
    case SYS_mmap:
        return mapDirect(pointer<void>(a[0]), static_cast<std::size_t>(a[1]), fd(2), fd(3), fd(4), a[5]);
    case SYS_munmap:
        return unmapDirect(pointer<void>(a[0]), static_cast<std::size_t>(a[1]));
    case SYS_ppoll:
        return pollDirect(pointer<pollfd>(a[0]), static_cast<nfds_t>(a[1]), pointer<const timespec>(a[2]),
                          pointer<const sigset_t>(a[3]));
    case SYS_epoll_ctl:
        return epollControl(fd(0), fd(1), fd(2), pointer<epoll_event>(a[3]));
    case SYS_epoll_pwait: {
        const timespec time{fd(3) / 1000, fd(3) % 1000 * 1000000L};
        return epollWait(fd(0), pointer<epoll_event>(a[1]), fd(2), fd(3) < 0 ? nullptr : &time,
                         pointer<const sigset_t>(a[4]));
    }
    default:
        return vekKernel(number, a[0], a[1], a[2], a[3], a[4], a[5]);
    }
}

} // namespace

} // namespace vek::emulator

extern "C" {

VEK_INTERPOSE long syscall(long number, ...) noexcept {
    using namespace vek::emulator;
    long words[6];
    va_list arguments;
    va_start(arguments, number);
    for (long& word : words) {
        word = va_arg(arguments, long);
    }
    va_end(arguments);
    return failOr(session().on ? call(number, words)
                               : vekKernel(number, words[0], words[1], words[2], words[3], words[4], words[5]));
}

} // extern "C"
