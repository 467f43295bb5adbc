// SPDX-License-Identifier: Apache-2.0
// poll, select and epoll where cameras are among the descriptors. The server tells what is the case with each camera at
// once; where that is nothing, its second answer comes when there is something, over a socket that the kernel waits for
// together with the other descriptors.
#include "emulator/preload/Direct.h"
#include "emulator/preload/Kernel.h"
#include "emulator/preload/Next.h"
#include "emulator/preload/Session.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

namespace vek::emulator {

namespace {

constexpr std::size_t kSignalBytes = 8; // of the kernel's signal set

long kernelPoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    timespec left{};
    if (timeout != nullptr) {
        left = *timeout; // which the kernel writes to
    }
    return kernel(SYS_ppoll, fds, count, timeout != nullptr ? &left : nullptr, signals, kSignalBytes);
}

bool isZero(const timespec* timeout) {
    return timeout != nullptr && timeout->tv_sec == 0 && timeout->tv_nsec == 0;
}

/// What a camera says when it is asked.
struct SWatch {
    int channel = -1; ///< over which the second answer comes; -1: none does
    short revents = 0;
    std::uint64_t arrivals = 0;
};

/// edge: only what arrived after arrivals counts.
SWatch watch(int fd, short events, bool wait, bool edge = false, std::uint64_t arrivals = 0) {
    SRequest request;
    request.ask = EAsk::Poll;
    request.number = static_cast<std::uint16_t>(events);
    request.value = arrivals;
    request.flags = (wait ? kMayWait : 0U) | (edge ? kEdge : 0U);
    SWatch out;
    out.channel = askCamera(fd, request);
    if (out.channel < 0) {
        out.revents = POLLERR | POLLHUP;
        out.channel = -1;
        return out;
    }
    SAnswer answer;
    int error = 0;
    do {
        error = takeAnswer(out.channel, answer);
    } while (error == -EINTR);
    out.revents = static_cast<short>(error < 0 ? POLLERR | POLLHUP : answer.result);
    out.arrivals = answer.value;
    if (out.revents != 0 || !wait) {
        kernel(SYS_close, out.channel);
        out.channel = -1;
    }
    return out;
}

/// The second answer, where it is there.
void finish(SWatch& watch, bool ready) {
    if (watch.channel < 0) {
        return;
    }
    if (ready) {
        SAnswer answer;
        const int error = takeAnswer(watch.channel, answer);
        watch.revents = static_cast<short>(error < 0 ? POLLERR | POLLHUP : answer.result);
        watch.arrivals = answer.value;
    }
    kernel(SYS_close, watch.channel);
    watch.channel = -1;
}

/// Room for records: on the stack where they are few, from the system otherwise.
template <class T, int kFew>
class CRoom {
public:
    explicit CRoom(std::size_t count) {
        if (count > kFew) {
            mBytes = count * sizeof(T);
            const long start =
                kernel(SYS_mmap, nullptr, mBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            // NOLINTNEXTLINE(performance-no-int-to-ptr): what the kernel answers is an address
            mRecords = start < 0 && start > -4096 ? nullptr : reinterpret_cast<T*>(start);
        }
    }
    ~CRoom() {
        if (mRecords != nullptr && mRecords != mFew) {
            kernel(SYS_munmap, mRecords, mBytes);
        }
    }
    CRoom(const CRoom&) = delete;
    CRoom& operator=(const CRoom&) = delete;

    T* Get() { return mRecords; }

private:
    T mFew[kFew];
    T* mRecords = mFew;
    std::size_t mBytes = 0;
};

// --- epoll -----------------------------------------------------------------------------------------------------------

/// A camera in an epoll instance. The kernel's instance does not know of it.
struct SEntry {
    int instance = -1; ///< -1: the place is free
    int fd = -1;
    std::uint64_t camera = 0;
    std::uint64_t arrivals = 0; ///< until EPOLLET told of something
    epoll_data_t data{};
    std::uint32_t events = 0;
    bool armed = true; ///< EPOLLONESHOT: not told yet
    bool told = false; ///< EPOLLET: something was
};

constexpr int kMostEntries = 256;
SEntry entries[kMostEntries];
std::atomic<int> entryCount{0};
std::atomic_flag entriesBusy = ATOMIC_FLAG_INIT;

class CEntries {
public:
    CEntries() {
        while (entriesBusy.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~CEntries() { entriesBusy.clear(std::memory_order_release); }
    CEntries(const CEntries&) = delete;
    CEntries& operator=(const CEntries&) = delete;
};

__attribute__((constructor)) void keepEntriesFree() {
    // A child of a thread that was not looking at the table must not find it in another one's hands.
    pthread_atfork(nullptr, nullptr, [] { entriesBusy.clear(); });
}

void drop(SEntry& entry) {
    entry = SEntry();
    entryCount.fetch_sub(1);
}

/// Whether two descriptors mean the same epoll instance.
bool isSame(int a, int b) {
    constexpr int kFile = 0; // KCMP_FILE
    if (a == b) {
        return true;
    }
    const long self = kernel(SYS_getpid);
    return kernel(SYS_kcmp, self, self, kFile, a, b) == 0;
}

/// The cameras of an instance; those whose descriptor was closed leave it. Copies, and how many.
int camerasOf(int instance, SEntry* out, int room) {
    if (entryCount.load() == 0) {
        return 0;
    }
    const CEntries lock;
    int count = 0;
    for (SEntry& entry : entries) {
        if (entry.instance < 0 || !isSame(entry.instance, instance)) {
            continue;
        }
        if (cameraBehind(entry.fd) != entry.camera) {
            drop(entry);
        } else if (count < room) {
            out[count++] = entry;
        }
    }
    return count;
}

void update(const SEntry& changed) {
    const CEntries lock;
    for (SEntry& entry : entries) {
        if (entry.instance == changed.instance && entry.fd == changed.fd && entry.camera == changed.camera) {
            entry.armed = changed.armed;
            entry.told = changed.told;
            entry.arrivals = changed.arrivals;
        }
    }
}

short wanted(const SEntry& entry) {
    return static_cast<short>(entry.events & 0x7FFFU);
}

SWatch watch(const SEntry& entry, bool wait) {
    return entry.armed
               ? watch(entry.fd, wanted(entry), wait, (entry.events & EPOLLET) != 0 && entry.told, entry.arrivals)
               : SWatch();
}

constexpr int kMostCameras = 32; // of an epoll instance

} // namespace

void epollMade(int instance) {
    if (instance >= 0 && entryCount.load() > 0) {
        const CEntries lock;
        for (SEntry& entry : entries) {
            if (entry.instance == instance) {
                drop(entry);
            }
        }
    }
}

long epollControl(int instance, int operation, int fd, epoll_event* event) {
    const std::uint64_t camera = mayHaveCameras() ? cameraBehind(fd) : 0;
    if (camera == 0) {
        return kernel(SYS_epoll_ctl, instance, operation, fd, event);
    }
    // What the kernel says of the instance: a descriptor that is surely in no instance.
    epoll_event probe{};
    const long kind = kernel(SYS_epoll_ctl, instance, EPOLL_CTL_DEL, fd, &probe);
    if (kind != -ENOENT) {
        return kind;
    }
    if (operation != EPOLL_CTL_DEL && event == nullptr) {
        return -EFAULT;
    }
    const CEntries lock;
    SEntry* found = nullptr;
    SEntry* free = nullptr;
    for (SEntry& entry : entries) {
        if (entry.instance < 0) {
            free = free == nullptr ? &entry : free;
        } else if (entry.fd == fd && isSame(entry.instance, instance)) {
            if (entry.camera == camera) {
                found = &entry;
            } else {
                drop(entry);
            }
        }
    }
    switch (operation) {
    case EPOLL_CTL_ADD:
        if (found != nullptr) {
            return -EEXIST;
        }
        if (free == nullptr) {
            return -ENOSPC;
        }
        *free = SEntry();
        free->instance = instance;
        free->fd = fd;
        free->camera = camera;
        entryCount.fetch_add(1);
        found = free;
        break;
    case EPOLL_CTL_MOD:
        if (found == nullptr) {
            return -ENOENT;
        }
        break;
    case EPOLL_CTL_DEL:
        if (found == nullptr) {
            return -ENOENT;
        }
        drop(*found);
        return 0;
    default:
        return -EINVAL;
    }
    found->events = event->events;
    found->data = event->data;
    found->armed = true;
    found->told = false;
    return 0;
}

long epollWait(int instance, epoll_event* events, int count, const timespec* timeout, const sigset_t* signals) {
    SEntry cameras[kMostCameras];
    const int known = mayHaveCameras() ? camerasOf(instance, cameras, kMostCameras) : 0;
    if (known == 0 || count <= 0) {
        // By the time in nanoseconds, and by that in milliseconds where the kernel is older.
        timespec left{};
        if (timeout != nullptr) {
            left = *timeout;
        }
        const long result = kernel(SYS_epoll_pwait2, instance, events, count, timeout != nullptr ? &left : nullptr,
                                   signals, kSignalBytes);
        if (result != -ENOSYS) {
            return result;
        }
        const long time = timeout != nullptr ? timeout->tv_sec * 1000 + (timeout->tv_nsec + 999999) / 1000000 : -1;
        return kernel(SYS_epoll_pwait, instance, events, count, time, signals, kSignalBytes);
    }
    const bool wait = !isZero(timeout);
    SWatch watches[kMostCameras];
    pollfd polled[kMostCameras + 1];
    polled[0] = {instance, POLLIN, 0};
    bool ready = false;
    for (int i = 0; i < known; ++i) {
        watches[i] = watch(cameras[i], wait && !ready);
        ready = ready || watches[i].revents != 0;
    }
    for (int i = 0; i < known; ++i) {
        polled[i + 1] = {watches[i].channel, POLLIN, 0};
    }
    const timespec now{};
    const long result = kernelPoll(polled, static_cast<nfds_t>(known) + 1, ready ? &now : timeout, signals);
    for (int i = 0; i < known; ++i) {
        finish(watches[i], result > 0 && polled[i + 1].revents != 0);
    }
    if (result < 0 && !(ready && result == -EINTR)) {
        return result;
    }
    // Cameras and others take turns at being first, where there is no room for all.
    static std::atomic<unsigned> turn{0};
    const bool othersFirst = (turn.fetch_add(1) & 1U) != 0;
    int filled = 0;
    const auto takeOthers = [&] {
        if (filled < count && polled[0].revents != 0) {
            const long others =
                kernel(SYS_epoll_pwait, instance, events + filled, count - filled, 0, nullptr, kSignalBytes);
            filled += others > 0 ? static_cast<int>(others) : 0;
        }
    };
    if (othersFirst) {
        takeOthers();
    }
    for (int i = 0; i < known && filled < count; ++i) {
        if (watches[i].revents == 0) {
            continue;
        }
        events[filled].events = static_cast<std::uint16_t>(watches[i].revents);
        events[filled].data = cameras[i].data;
        ++filled;
        cameras[i].armed = (cameras[i].events & EPOLLONESHOT) == 0;
        cameras[i].told = true;
        cameras[i].arrivals = watches[i].arrivals;
        update(cameras[i]);
    }
    if (!othersFirst) {
        takeOthers();
    }
    return filled;
}

// --- poll ------------------------------------------------------------------------------------------------------------

long pollDirect(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    constexpr int kFew = 64;
    constexpr nfds_t kMost = 1 << 20;
    if (!mayHaveCameras() || fds == nullptr || count == 0 || count > kMost) {
        return kernelPoll(fds, count, timeout, signals);
    }
    nfds_t found = 0;
    for (nfds_t i = 0; i < count; ++i) {
        // An epoll instance may have cameras, too.
        found += cameraBehind(fds[i].fd) != 0 || entryCount.load(std::memory_order_relaxed) > 0 ? 1 : 0;
    }
    if (found == 0) {
        return kernelPoll(fds, count, timeout, signals);
    }
    struct SPlace {
        nfds_t index = 0; ///< in fds
        SWatch watch;
        bool epoll = false; ///< a camera in the epoll instance that is there
    };
    const nfds_t most = count + kMostEntries;
    CRoom<pollfd, 2 * kFew> polledRoom(most);
    CRoom<SPlace, kFew> placeRoom(most);
    pollfd* const polled = polledRoom.Get();
    SPlace* const places = placeRoom.Get();
    if (most > 0 && (polled == nullptr || places == nullptr)) {
        return -ENOMEM;
    }
    const bool wait = !isZero(timeout);
    nfds_t used = 0;
    bool ready = false;
    for (nfds_t i = 0; i < count; ++i) {
        polled[i] = fds[i];
        polled[i].revents = 0;
        if (cameraBehind(fds[i].fd) != 0) {
            places[used] = {i, watch(fds[i].fd, fds[i].events, wait && !ready), false};
            polled[i].fd = -1;
            ready = ready || places[used].watch.revents != 0;
            ++used;
        } else if (fds[i].fd >= 0 && (fds[i].events & POLLIN) != 0) {
            SEntry cameras[kMostCameras];
            const int known = camerasOf(fds[i].fd, cameras, kMostCameras);
            for (int k = 0; k < known && used < most; ++k) {
                places[used] = {i, watch(cameras[k], wait && !ready), true};
                ready = ready || places[used].watch.revents != 0;
                ++used;
            }
        }
    }
    nfds_t total = count;
    for (nfds_t i = 0; i < used; ++i) {
        polled[total++] = {places[i].watch.channel, POLLIN, 0};
        if (total == most) {
            break;
        }
    }
    const timespec now{};
    const long result = kernelPoll(polled, total, ready ? &now : timeout, signals);
    for (nfds_t i = 0; i < used; ++i) {
        finish(places[i].watch, result > 0 && polled[count + i].revents != 0);
    }
    if (result < 0) {
        return result;
    }
    for (nfds_t i = 0; i < count; ++i) {
        fds[i].revents = polled[i].revents;
    }
    for (nfds_t i = 0; i < used; ++i) {
        const short revents = places[i].watch.revents;
        fds[places[i].index].revents |= static_cast<short>(places[i].epoll ? (revents != 0 ? POLLIN : 0) : revents);
    }
    long many = 0;
    for (nfds_t i = 0; i < count; ++i) {
        many += fds[i].revents != 0 ? 1 : 0;
    }
    return many;
}

long selectDirect(int count, fd_set* in, fd_set* out, fd_set* odd, const timespec* timeout, const sigset_t* signals) {
    constexpr int kFew = 64;
    constexpr int kWordBits = 8 * static_cast<int>(sizeof(long));
    const auto has = [](const fd_set* set, int fd) {
        const long* const words = reinterpret_cast<const long*>(set);
        return set != nullptr && ((words[fd / kWordBits] >> (fd % kWordBits)) & 1) != 0;
    };
    bool cameras = false;
    for (int fd = 0; fd < count && mayHaveCameras() && !cameras; ++fd) {
        cameras = (has(in, fd) || has(out, fd) || has(odd, fd)) && cameraBehind(fd) != 0;
    }
    if (!cameras) {
        timespec left{};
        if (timeout != nullptr) {
            left = *timeout;
        }
        const struct {
            const sigset_t* set;
            std::size_t bytes;
        } blocked = {signals, kSignalBytes};
        return kernel(SYS_pselect6, count, in, out, odd, timeout != nullptr ? &left : nullptr, &blocked);
    }
    CRoom<pollfd, kFew> room(static_cast<std::size_t>(count));
    pollfd* const fds = room.Get();
    if (fds == nullptr) {
        return -ENOMEM;
    }
    nfds_t used = 0;
    for (int fd = 0; fd < count; ++fd) {
        const int events = (has(in, fd) ? POLLIN | POLLRDNORM | POLLRDBAND : 0) |
                           (has(out, fd) ? POLLOUT | POLLWRNORM | POLLWRBAND : 0) | (has(odd, fd) ? POLLPRI : 0);
        if (events != 0) {
            fds[used++] = {fd, static_cast<short>(events), 0};
        }
    }
    const long result = pollDirect(fds, used, timeout, signals);
    if (result < 0) {
        return result;
    }
    for (nfds_t i = 0; i < used; ++i) {
        if ((fds[i].revents & POLLNVAL) != 0) {
            return -EBADF;
        }
    }
    const std::size_t words = (static_cast<std::size_t>(count) + kWordBits - 1) / kWordBits;
    long bits = 0;
    const auto fill = [&](fd_set* set, int events, int revents) {
        if (set == nullptr) {
            return;
        }
        long* const out_words = reinterpret_cast<long*>(set);
        std::memset(out_words, 0, words * sizeof(long));
        for (nfds_t i = 0; i < used; ++i) {
            if ((fds[i].events & events) != 0 && (fds[i].revents & revents) != 0) {
                out_words[fds[i].fd / kWordBits] |= 1L << (fds[i].fd % kWordBits);
                ++bits;
            }
        }
    };
    fill(in, POLLIN, POLLIN | POLLRDNORM | POLLRDBAND | POLLHUP | POLLERR);
    fill(out, POLLOUT, POLLOUT | POLLWRNORM | POLLWRBAND | POLLERR);
    fill(odd, POLLPRI, POLLPRI);
    return bits;
}

namespace {

timespec fromMilliseconds(int timeout) {
    constexpr int kThousand = 1000;
    return {timeout / kThousand, timeout % kThousand * 1000000L};
}

} // namespace

} // namespace vek::emulator

using namespace vek::emulator;

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's names
extern "C" {

VEK_INTERPOSE int poll(pollfd* fds, nfds_t count, int timeout) {
    using Poll = int(pollfd*, nfds_t, int);
    if (!mayHaveCameras()) {
        return VEK_NEXT(Poll, "poll")(fds, count, timeout);
    }
    const timespec time = fromMilliseconds(std::max(timeout, 0));
    return static_cast<int>(failOr(pollDirect(fds, count, timeout < 0 ? nullptr : &time, nullptr)));
}

VEK_INTERPOSE int ppoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals) {
    using Poll = int(pollfd*, nfds_t, const timespec*, const sigset_t*);
    if (!mayHaveCameras()) {
        return VEK_NEXT(Poll, "ppoll")(fds, count, timeout, signals);
    }
    return static_cast<int>(failOr(pollDirect(fds, count, timeout, signals)));
}

VEK_INTERPOSE int __poll_chk(pollfd* fds, nfds_t count, int timeout, size_t room) {
    if (count > room / sizeof(pollfd)) {
        std::abort();
    }
    return poll(fds, count, timeout);
}

VEK_INTERPOSE int __ppoll_chk(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* signals,
                              size_t room) {
    if (count > room / sizeof(pollfd)) {
        std::abort();
    }
    return ppoll(fds, count, timeout, signals);
}

VEK_INTERPOSE int select(int count, fd_set* in, fd_set* out, fd_set* odd, timeval* timeout) {
    using Select = int(int, fd_set*, fd_set*, fd_set*, timeval*);
    if (!mayHaveCameras()) {
        return VEK_NEXT(Select, "select")(count, in, out, odd, timeout);
    }
    timespec time{};
    timespec before{};
    if (timeout != nullptr) {
        time = {timeout->tv_sec + timeout->tv_usec / 1000000, timeout->tv_usec % 1000000 * 1000};
        kernel(SYS_clock_gettime, CLOCK_MONOTONIC, &before);
    }
    const long result = selectDirect(count, in, out, odd, timeout != nullptr ? &time : nullptr, nullptr);
    if (timeout != nullptr) {
        // What is left of it, as Linux has it.
        timespec after{};
        kernel(SYS_clock_gettime, CLOCK_MONOTONIC, &after);
        constexpr long kBillion = 1000000000;
        const long passed = (after.tv_sec - before.tv_sec) * kBillion + after.tv_nsec - before.tv_nsec;
        const long left = std::max(time.tv_sec * kBillion + time.tv_nsec - passed, 0L);
        *timeout = {left / kBillion, left % kBillion / 1000};
    }
    return static_cast<int>(failOr(result));
}

VEK_INTERPOSE int pselect(int count, fd_set* in, fd_set* out, fd_set* odd, const timespec* timeout,
                          const sigset_t* signals) {
    using Select = int(int, fd_set*, fd_set*, fd_set*, const timespec*, const sigset_t*);
    if (!mayHaveCameras()) {
        return VEK_NEXT(Select, "pselect")(count, in, out, odd, timeout, signals);
    }
    return static_cast<int>(failOr(selectDirect(count, in, out, odd, timeout, signals)));
}

VEK_INTERPOSE int epoll_create(int size) noexcept {
    using Create = int(int);
    const int instance = VEK_NEXT(Create, "epoll_create")(size);
    epollMade(instance);
    return instance;
}

VEK_INTERPOSE int epoll_create1(int flags) noexcept {
    using Create = int(int);
    const int instance = VEK_NEXT(Create, "epoll_create1")(flags);
    epollMade(instance);
    return instance;
}

VEK_INTERPOSE int epoll_ctl(int instance, int operation, int fd, epoll_event* event) noexcept {
    return static_cast<int>(failOr(epollControl(instance, operation, fd, event)));
}

VEK_INTERPOSE int epoll_pwait(int instance, epoll_event* events, int count, int timeout, const sigset_t* signals) {
    using Wait = int(int, epoll_event*, int, int, const sigset_t*);
    if (!mayHaveCameras()) {
        return VEK_NEXT(Wait, "epoll_pwait")(instance, events, count, timeout, signals);
    }
    const timespec time = fromMilliseconds(std::max(timeout, 0));
    return static_cast<int>(failOr(epollWait(instance, events, count, timeout < 0 ? nullptr : &time, signals)));
}

VEK_INTERPOSE int epoll_wait(int instance, epoll_event* events, int count, int timeout) {
    using Wait = int(int, epoll_event*, int, int);
    if (!mayHaveCameras()) {
        return VEK_NEXT(Wait, "epoll_wait")(instance, events, count, timeout);
    }
    return epoll_pwait(instance, events, count, timeout, nullptr);
}

VEK_INTERPOSE int epoll_pwait2(int instance, epoll_event* events, int count, const timespec* timeout,
                               const sigset_t* signals) {
    return static_cast<int>(failOr(epollWait(instance, events, count, timeout, signals)));
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
