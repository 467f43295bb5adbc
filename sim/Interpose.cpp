// SPDX-License-Identifier: Apache-2.0
// Stands between a program and the kernel: ioctl, read, mmap and poll on a simulated camera's descriptor go to its
// node, all others to the next definition, which is the C library's, or that of another object in front of it: the
// emulated camera under a program that has cameras of its own. These definitions take the place of the C library's for
// every call of the process that is bound by the dynamic linker, shared libraries included.
#include "sim/SimulatedDevice.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <vector>

// These names carry attributes in the C library's headers that differ between its versions: hide them here.
#undef mmap
#undef mmap64
#undef poll
#undef ppoll

namespace {

using IoctlFunction = int (*)(int, unsigned long, ...);
using ReadFunction = ssize_t (*)(int, void*, size_t);
using MapFunction = void* (*)(void*, size_t, int, int, int, off_t);
using UnmapFunction = int (*)(void*, size_t);
using PollFunction = int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*);

// Null, for which the kernel is called, until the dynamic linker has been asked: what it does to find an answer, and
// the constructors of the libraries before this object's, may come through here.
std::atomic<IoctlFunction> nextIoctl{nullptr};
std::atomic<ReadFunction> nextRead{nullptr};
std::atomic<MapFunction> nextMap{nullptr};
std::atomic<UnmapFunction> nextUnmap{nullptr};
std::atomic<PollFunction> nextPoll{nullptr};

// A constructor runs while there is one thread, and none of the calls has to look for the answer.
__attribute__((constructor)) void findNext() {
    const int savedErrno = errno;
    nextIoctl.store(reinterpret_cast<IoctlFunction>(dlsym(RTLD_NEXT, "ioctl")));
    nextRead.store(reinterpret_cast<ReadFunction>(dlsym(RTLD_NEXT, "read")));
    nextMap.store(reinterpret_cast<MapFunction>(dlsym(RTLD_NEXT, "mmap64")));
    nextUnmap.store(reinterpret_cast<UnmapFunction>(dlsym(RTLD_NEXT, "munmap")));
    nextPoll.store(reinterpret_cast<PollFunction>(dlsym(RTLD_NEXT, "ppoll")));
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

using vek::sim::findSimulatedCamera;
using vek::sim::NodeTime;

void* plainMap(void* address, size_t length, int protection, int flags, int fd, off_t offset) {
    if (const MapFunction next = nextMap.load(std::memory_order_acquire)) {
        return next(address, length, protection, flags, fd, offset);
    }
#ifdef SYS_mmap2
    constexpr off_t kUnit = 4096;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what the kernel answers is an address
    return reinterpret_cast<void*>(syscall(SYS_mmap2, address, length, protection, flags, fd, offset / kUnit));
#else
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what the kernel answers is an address
    return reinterpret_cast<void*>(syscall(SYS_mmap, address, length, protection, flags, fd, offset));
#endif
}

int plainPoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    const PollFunction next = nextPoll.load(std::memory_order_acquire);
    if (next != nullptr) {
        return next(fds, count, timeout, signals);
    }
    timespec left = timeout != nullptr ? *timeout : timespec{};
    return static_cast<int>(syscall(SYS_ppoll, fds, count, timeout != nullptr ? &left : nullptr, signals, _NSIG / 8));
}

void* map(void* address, size_t length, int protection, int flags, int fd, off_t offset) {
    const auto camera = (flags & MAP_ANONYMOUS) == 0 ? findSimulatedCamera(fd) : nullptr;
    if (!camera) {
        return plainMap(address, length, protection, flags, fd, offset);
    }
    void* mapped = MAP_FAILED;
    answer([&] {
        int error = 0;
        mapped = vek::sim::mapSimulatedBuffer(*camera, address, length, protection, flags, offset, error);
        return long{error};
    });
    return mapped;
}

timespec timeOf(NodeTime time) {
    constexpr NodeTime kSecond = std::chrono::seconds(1);
    return {static_cast<time_t>(time / kSecond), static_cast<long>((time % kSecond).count())};
}

/// poll where cameras are among the descriptors: looks at them, sleeps as long as nothing of them can change, and looks
/// again. timeout: null, to wait without end.
int pollWithCameras(pollfd* fds, nfds_t count, std::span<const std::shared_ptr<const vek::sim::CSimulatedFile>> cameras,
                    const timespec* timeout, const sigset_t* signals) {
    std::optional<NodeTime> end;
    if (timeout != nullptr) {
        end = vek::sim::monotonicNow() + std::chrono::seconds(timeout->tv_sec) +
              std::chrono::nanoseconds(timeout->tv_nsec);
    }
    const vek::sim::CSignalsHeld held;
    const sigset_t* const asleep = signals != nullptr ? signals : held.Before();
    std::vector<pollfd> others(fds, fds + count);
    for (nfds_t i = 0; i < count; ++i) {
        others[i].fd = cameras[i] ? -1 : others[i].fd;
    }
    while (true) {
        int ready = 0;
        NodeTime step = std::chrono::milliseconds(2);
        for (nfds_t i = 0; i < count; ++i) {
            if (cameras[i]) {
                fds[i].revents = cameras[i]->Poll(fds[i].events);
                ready += fds[i].revents != 0 ? 1 : 0;
                step = std::min(step, vek::sim::waitingStep(cameras[i]->Node()));
            }
        }
        if (ready > 0) {
            step = NodeTime(0);
        } else if (end) {
            step = std::clamp(*end - vek::sim::monotonicNow(), NodeTime(0), step);
        }
        const timespec sleep = timeOf(step);
        const int othersReady = plainPoll(others.data(), count, &sleep, asleep);
        if (othersReady < 0) {
            return -errno;
        }
        for (nfds_t i = 0; i < count; ++i) {
            if (!cameras[i]) {
                fds[i].revents = others[i].revents;
            }
        }
        if (ready + othersReady > 0 || (end && vek::sim::monotonicNow() >= *end)) {
            return ready + othersReady;
        }
    }
}

int pollAll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    if (fds == nullptr) {
        return plainPoll(fds, count, timeout, signals); // the kernel has an error for it
    }
    std::vector<std::shared_ptr<const vek::sim::CSimulatedFile>> cameras;
    for (nfds_t i = 0; i < count; ++i) {
        if (auto camera = findSimulatedCamera(fds[i].fd)) {
            cameras.resize(count);
            cameras[i] = std::move(camera);
        }
    }
    if (cameras.empty()) {
        return plainPoll(fds, count, timeout, signals);
    }
    return static_cast<int>(answer([&] { return long{pollWithCameras(fds, count, cameras, timeout, signals)}; }));
}

} // namespace

#define VEK_INTERPOSE __attribute__((visibility("default")))

extern "C" {

VEK_INTERPOSE int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (const auto camera = findSimulatedCamera(fd)) {
        return static_cast<int>(answer([&] { return long{camera->Ioctl(fd, request, argument)}; }));
    }
    const IoctlFunction next = nextIoctl.load(std::memory_order_acquire);
    return next != nullptr ? next(fd, request, argument) : static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

VEK_INTERPOSE ssize_t read(int fd, void* buffer, size_t size) {
    if (const auto camera = findSimulatedCamera(fd)) {
        return answer([&] { return camera->Read(fd, buffer, size); });
    }
    const ReadFunction next = nextRead.load(std::memory_order_acquire);
    return next != nullptr ? next(fd, buffer, size) : syscall(SYS_read, fd, buffer, size);
}

VEK_INTERPOSE void* mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
    return map(address, length, protection, flags, fd, offset);
}

VEK_INTERPOSE void* mmap64(void* address, size_t length, int protection, int flags, int fd, off64_t offset) noexcept {
    return map(address, length, protection, flags, fd, offset);
}

VEK_INTERPOSE int munmap(void* address, size_t length) noexcept {
    vek::sim::forgetSimulatedMapping(address);
    const UnmapFunction next = nextUnmap.load(std::memory_order_acquire);
    return next != nullptr ? next(address, length) : static_cast<int>(syscall(SYS_munmap, address, length));
}

VEK_INTERPOSE int poll(pollfd* fds, nfds_t count, int timeout) {
    const timespec time = timeOf(std::chrono::milliseconds(std::max(timeout, 0)));
    return pollAll(fds, count, timeout < 0 ? nullptr : &time, nullptr);
}

VEK_INTERPOSE int ppoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    return pollAll(fds, count, timeout, signals);
}

// What fortified programs call where the compiler knows the buffer's size.
// NOLINTBEGIN(bugprone-reserved-identifier): the C library's names
VEK_INTERPOSE ssize_t __read_chk(int fd, void* buffer, size_t size, size_t bufferSize) {
    if (size > bufferSize) {
        std::abort();
    }
    return read(fd, buffer, size);
}

VEK_INTERPOSE int __poll_chk(pollfd* fds, nfds_t count, int timeout, size_t bufferSize) {
    if (count > bufferSize / sizeof(pollfd)) {
        std::abort();
    }
    return poll(fds, count, timeout);
}

VEK_INTERPOSE int __ppoll_chk(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals,
                              size_t bufferSize) {
    if (count > bufferSize / sizeof(pollfd)) {
        std::abort();
    }
    return ppoll(fds, count, timeout, signals);
}
// NOLINTEND(bugprone-reserved-identifier)

} // extern "C"
