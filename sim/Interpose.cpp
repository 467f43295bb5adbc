// SPDX-License-Identifier: Apache-2.0
// Stands between a program and the kernel: ioctl and read on a simulated camera's descriptor go to its driver, all
// others to the kernel. These definitions take the place of the C library's for every call of the process that is
// bound by the dynamic linker, shared libraries included.
#include "sim/SimulatedDevice.h"

#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <exception>
#include <new>

namespace {

/// Runs a driver operation: negative results become -1 and errno, no exception gets through the C interface.
template <typename Operation>
long Answer(Operation operation) noexcept {
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
    if (const auto driver = vek::sim::FindSimulatedCamera(fd)) {
        return static_cast<int>(Answer([&] { return long{driver->Ioctl(request, argument)}; }));
    }
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

__attribute__((visibility("default"))) ssize_t read(int fd, void* buffer, size_t size) {
    if (const auto driver = vek::sim::FindSimulatedCamera(fd)) {
        return Answer([&] { return driver->Read(buffer, size); });
    }
    return syscall(SYS_read, fd, buffer, size);
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
