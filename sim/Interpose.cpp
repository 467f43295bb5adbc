// SPDX-License-Identifier: Apache-2.0
// Stands between a program and the C library: ioctl and read on a simulated camera's descriptor go to its driver, all
// others to the definition that comes next, the C library's. These definitions take the place of that one for every
// call of the process that is bound by the dynamic linker, shared libraries included. A program with a simulated camera
// of its own may have a second one preloaded: the next definition of the program's is then that of the preloaded one.
#include "sim/SimulatedDevice.h"

#include <dlfcn.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
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

/// The definition of a function behind the one in this program or library.
template <typename Function>
class CNextDefinition {
public:
    explicit constexpr CNextDefinition(const char* name) : mName(name) {}

    /// Looked up at the first call, which may be earlier than any constructor; threads that meet here find the same.
    Function* Get() noexcept {
        Function* found = mFound.load(std::memory_order_relaxed);
        if (found == nullptr) {
            found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, mName));
            mFound.store(found, std::memory_order_relaxed);
        }
        return found;
    }

private:
    const char* mName;
    std::atomic<Function*> mFound = nullptr;
};

constinit CNextDefinition<int(int, unsigned long, ...)> nextIoctl("ioctl");
constinit CNextDefinition<ssize_t(int, void*, size_t)> nextRead("read");

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
    return nextIoctl.Get()(fd, request, argument);
}

__attribute__((visibility("default"))) ssize_t read(int fd, void* buffer, size_t size) {
    if (const auto driver = vek::sim::FindSimulatedCamera(fd)) {
        return Answer([&] { return driver->Read(buffer, size); });
    }
    return nextRead.Get()(fd, buffer, size);
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
