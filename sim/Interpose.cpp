// SPDX-License-Identifier: Apache-2.0
// Stands between a program and the kernel: ioctl and read on a simulated camera's descriptor go to its driver, all
// others to the next definition, which is the C library's, or that of another object in front of it: the preloaded
// camera under a program that has cameras of its own. These definitions take the place of the C library's for every
// call of the process that is bound by the dynamic linker, shared libraries included.
#include "sim/SimulatedDevice.h"

#include <dlfcn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <exception>
#include <new>

namespace {

using IoctlFunction = int (*)(int, unsigned long, ...);
using ReadFunction = ssize_t (*)(int, void*, size_t);

// Null, for which the kernel is called, until the dynamic linker has been asked: what it does to find an answer, and
// the constructors of the libraries before this object's, may come through here.
std::atomic<IoctlFunction> nextIoctl{nullptr};
std::atomic<ReadFunction> nextRead{nullptr};

// A constructor runs while there is one thread, and none of the calls has to look for the answer.
__attribute__((constructor)) void findNext() {
    const int savedErrno = errno;
    nextIoctl.store(reinterpret_cast<IoctlFunction>(dlsym(RTLD_NEXT, "ioctl")));
    nextRead.store(reinterpret_cast<ReadFunction>(dlsym(RTLD_NEXT, "read")));
    errno = savedErrno;
}

/// Runs a driver operation: negative results become -1 and errno, no exception gets through the C interface.
template <typename Operation>
long answer(Operation operation) noexcept {
    long result = 0;
    const int savedErrno = errno;
    try {
        result = operation();
    } catch (const std::bad_alloc&) {
        result = -ENOMEM;
    } catch (const std::exception&) {
        result = -EIO;
    }
    errno = result < 0 ? static_cast<int>(-result) : savedErrno;
    return result < 0 ? -1 : result;
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (const auto driver = vek::sim::findSimulatedCamera(fd)) {
        return static_cast<int>(answer([&] { return long{driver->Ioctl(request, argument)}; }));
    }
    const IoctlFunction next = nextIoctl.load(std::memory_order_acquire);
    return next != nullptr ? next(fd, request, argument) : static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

__attribute__((visibility("default"))) ssize_t read(int fd, void* buffer, size_t size) {
    if (const auto driver = vek::sim::findSimulatedCamera(fd)) {
        return answer([&] { return driver->Read(buffer, size); });
    }
    const ReadFunction next = nextRead.load(std::memory_order_acquire);
    return next != nullptr ? next(fd, buffer, size) : syscall(SYS_read, fd, buffer, size);
}

// What fortified programs call where the compiler knows the buffer's size.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the C library's name
__attribute__((visibility("default"))) ssize_t __read_chk(int fd, void* buffer, size_t size, size_t bufferSize) {
    if (size > bufferSize) {
        std::abort();
    }
    return read(fd, buffer, size);
}

} // extern "C"
