// SPDX-License-Identifier: Apache-2.0
#include "emulator/preload/Session.h"

#include "emulator/preload/Kernel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vek::emulator {

namespace {

enum EState : int { kUnknown, kBusy, kKnown };

std::atomic<int> state{kUnknown};
SSession theSession;
std::atomic<bool> camerasExpected{false};

// Sockets that were looked at, by their inodes, which stay theirs: the camera's, and others.
constexpr std::size_t kRemembered = 256;
std::atomic<std::uint64_t> known[kRemembered];
constexpr std::uint64_t kIsCamera = std::uint64_t{1} << 63;

/// Reads TOKEN:N:FOLDER.
bool readSession(const char* text, SSession& out) {
    const char* const number = text != nullptr ? std::strchr(text, ':') : nullptr;
    const char* const folder = number != nullptr ? std::strchr(number + 1, ':') : nullptr;
    if (folder == nullptr) {
        return false;
    }
    const auto tokenBytes = static_cast<std::size_t>(number - text);
    const std::size_t startBytes = sizeof(kAddressStart) - 1;
    const unsigned long node = std::strtoul(number + 1, nullptr, 10);
    const std::size_t folderBytes = std::strlen(folder + 1);
    if (startBytes + tokenBytes >= sizeof(out.address) || folderBytes >= sizeof(out.folder) || node >= kMostNodes) {
        return false;
    }
    std::memcpy(out.address, kAddressStart, startBytes);
    std::memcpy(out.address + startBytes, text, tokenBytes);
    out.addressBytes = startBytes + tokenBytes;
    std::memcpy(out.folder, folder + 1, folderBytes + 1);
    out.node = static_cast<unsigned>(node);
    std::snprintf(out.nodePath, sizeof(out.nodePath), "/dev/video%u", out.node);
    out.nodeName = out.nodePath + sizeof("/dev/") - 1;
    std::snprintf(out.numberPath, sizeof(out.numberPath), "%s%u", kShadowedNumber, out.node);
    std::snprintf(out.nodeMark, sizeof(out.nodeMark), "%s%s", out.folder, out.nodePath);
    return true;
}

socklen_t addressOf(sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, session().address, session().addressBytes);
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + session().addressBytes);
}

bool isServersSocket(int fd) {
    sockaddr_un own{};
    const socklen_t ownBytes = addressOf(own);
    sockaddr_un peer{};
    socklen_t bytes = sizeof(peer);
    return kernel(SYS_getpeername, fd, &peer, &bytes) == 0 && bytes == ownBytes &&
           std::memcmp(&peer, &own, ownBytes) == 0;
}

/// A connection to the server, or a negative errno value.
int connected() {
    const int fd = static_cast<int>(kernel(SYS_socket, AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (fd < 0) {
        return fd;
    }
    sockaddr_un address{};
    const socklen_t bytes = addressOf(address);
    long result = 0;
    do {
        result = kernel(SYS_connect, fd, &address, bytes);
    } while (result == -EINTR || result == -EAGAIN);
    if (result < 0) {
        kernel(SYS_close, fd);
        return -ENODEV;
    }
    return fd;
}

/// Sends records; control: what goes with them, or null.
long sendParts(int fd, const iovec* parts, int count, void* control, std::size_t controlBytes) {
    msghdr message{};
    message.msg_iov = const_cast<iovec*>(parts);
    message.msg_iovlen = static_cast<std::size_t>(count);
    message.msg_control = control;
    message.msg_controllen = controlBytes;
    while (true) {
        const long sent = kernel(SYS_sendmsg, fd, &message, MSG_NOSIGNAL);
        if (sent == -EAGAIN) {
            // The program has made its descriptor O_NONBLOCK, and the server is behind.
            pollfd room{fd, POLLOUT, 0};
            timespec never{1, 0};
            kernel(SYS_ppoll, &room, 1, &never, nullptr, 8);
        } else if (sent != -EINTR) {
            return sent == -EPIPE || sent == -ECONNRESET || sent == -ENOTCONN ? -ENODEV : sent;
        }
    }
}

/// What a process that was just made inherited.
void lookAtDescriptors() {
    const int folder =
        static_cast<int>(kernel(SYS_openat, AT_FDCWD, "/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (folder < 0) {
        camerasExpected.store(true);
        return;
    }
    alignas(8) char entries[2048];
    long bytes = 0;
    while ((bytes = kernel(SYS_getdents64, folder, entries, sizeof(entries))) > 0) {
        for (long at = 0; at < bytes;) {
            std::uint16_t length = 0;
            std::memcpy(&length, entries + at + 16, sizeof(length)); // inode, offset, length, type, name
            const char* const name = entries + at + 19;
            if (*name >= '0' && *name <= '9') {
                cameraBehind(std::atoi(name));
            }
            at += length;
        }
    }
    kernel(SYS_close, folder);
}

__attribute__((constructor)) void begin() {
    const int savedErrno = errno;
    if (session().on) {
        lookAtDescriptors();
        SRequest started;
        started.ask = EAsk::Started;
        callServer(started);
    }
    errno = savedErrno;
}

} // namespace

const SSession& session() {
    if (state.load(std::memory_order_acquire) != kKnown) {
        int expected = kUnknown;
        if (state.compare_exchange_strong(expected, kBusy)) {
            theSession.on = readSession(std::getenv(kVariable), theSession);
            state.store(kKnown, std::memory_order_release);
        }
        static const SSession none{};
        if (state.load(std::memory_order_acquire) != kKnown) {
            return none; // another thread is about to find out
        }
    }
    return theSession;
}

bool mayHaveCameras() {
    return camerasExpected.load(std::memory_order_relaxed);
}

void expectCameras() {
    camerasExpected.store(true);
}

std::uint64_t cameraBehind(int fd) {
    if (fd < 0 || !session().on) {
        return 0;
    }
    struct stat status {};
    if (kernel(SYS_fstat, fd, &status) != 0 || !S_ISSOCK(status.st_mode)) {
        return 0;
    }
    const std::uint64_t inode = status.st_ino;
    std::atomic<std::uint64_t>& place = known[inode % kRemembered];
    const std::uint64_t seen = place.load(std::memory_order_relaxed);
    if ((seen & ~kIsCamera) == inode) {
        return (seen & kIsCamera) != 0 ? inode : 0;
    }
    const bool camera = isServersSocket(fd);
    place.store(inode | (camera ? kIsCamera : 0), std::memory_order_relaxed);
    if (camera) {
        expectCameras();
    }
    return camera ? inode : 0;
}

bool isPlugged() {
    return kernel(SYS_faccessat, AT_FDCWD, session().nodeMark, 0) == 0;
}

int openCamera(int flags) {
    const int fd = connected();
    if (fd < 0) {
        return fd;
    }
    SRequest request;
    request.ask = EAsk::Open;
    request.number = static_cast<std::uint64_t>(flags);
    struct stat status {};
    request.value = kernel(SYS_fstat, fd, &status) == 0 ? status.st_ino : 0;
    iovec part{&request, sizeof(request)};
    long result = sendParts(fd, &part, 1, nullptr, 0);
    SAnswer answer;
    while (result >= 0 && (result = takeAnswer(fd, answer)) == -EINTR) {
        result = 0;
    }
    result = result < 0 ? result : answer.result;
    if (result < 0) {
        kernel(SYS_close, fd);
        return static_cast<int>(result);
    }
    if ((flags & O_CLOEXEC) == 0) {
        kernel(SYS_fcntl, fd, F_SETFD, 0);
    }
    if ((flags & O_NONBLOCK) != 0) {
        kernel(SYS_fcntl, fd, F_SETFL, O_NONBLOCK);
    }
    known[status.st_ino % kRemembered].store(status.st_ino | kIsCamera, std::memory_order_relaxed);
    expectCameras();
    return fd;
}

int askCamera(int fd, const SRequest& request, const iovec* parts, int partCount) {
    constexpr int kMostParts = 2;
    int ends[2] = {-1, -1};
    const long made = kernel(SYS_socketpair, AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends);
    if (made < 0) {
        return static_cast<int>(made);
    }
    iovec all[kMostParts + 1] = {{const_cast<SRequest*>(&request), sizeof(request)}};
    for (int i = 0; i < partCount; ++i) {
        all[i + 1] = parts[i];
    }
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    auto* const header = reinterpret_cast<cmsghdr*>(control);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(header), &ends[1], sizeof(int));
    const long sent = sendParts(fd, all, partCount + 1, control, sizeof(control));
    kernel(SYS_close, ends[1]);
    if (sent < 0) {
        kernel(SYS_close, ends[0]);
        return static_cast<int>(sent);
    }
    return ends[0];
}

int takeAnswer(int channel, SAnswer& answer, const iovec* parts, int partCount, int* memory, bool closeOnExec) {
    constexpr int kMostParts = 2;
    iovec all[kMostParts + 1] = {{&answer, sizeof(answer)}};
    for (int i = 0; i < partCount; ++i) {
        all[i + 1] = parts[i];
    }
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = all;
    message.msg_iovlen = static_cast<std::size_t>(partCount) + 1;
    message.msg_control = memory != nullptr ? control : nullptr;
    message.msg_controllen = memory != nullptr ? sizeof(control) : 0;
    const msghdr asked = message;
    long bytes = kernel(SYS_recvmsg, channel, &message, closeOnExec ? MSG_CMSG_CLOEXEC : 0);
    if (bytes == -ECONNRESET) {
        // The server closed its end with a cancellation in it that came too late. The answer is behind the error.
        message = asked;
        bytes = kernel(SYS_recvmsg, channel, &message, closeOnExec ? MSG_CMSG_CLOEXEC : 0);
    }
    if (memory != nullptr) {
        *memory = -1;
        const auto* const header = reinterpret_cast<const cmsghdr*>(control);
        if (bytes > 0 && message.msg_controllen >= CMSG_LEN(sizeof(int)) && header->cmsg_type == SCM_RIGHTS) {
            std::memcpy(memory, CMSG_DATA(header), sizeof(int));
        }
    }
    if (bytes < 0) {
        return bytes == -ECONNRESET ? -ENODEV : static_cast<int>(bytes);
    }
    return bytes < static_cast<long>(sizeof(answer)) ? -ENODEV : 0;
}

std::int64_t callCamera(int fd, const SRequest& request, SAnswer* answer, int* memory) {
    const int channel = askCamera(fd, request);
    if (channel < 0) {
        return channel;
    }
    SAnswer own;
    SAnswer& got = answer != nullptr ? *answer : own;
    int error = 0;
    do {
        error = takeAnswer(channel, got, nullptr, 0, memory);
    } while (error == -EINTR);
    kernel(SYS_close, channel);
    return error < 0 ? error : got.result;
}

std::int64_t callServer(const SRequest& request) {
    const int fd = connected();
    if (fd < 0) {
        return fd;
    }
    SRequest sent = request;
    sent.process = static_cast<std::int32_t>(kernel(SYS_getpid));
    iovec part{&sent, sizeof(sent)};
    long result = sendParts(fd, &part, 1, nullptr, 0);
    SAnswer answer;
    while (result >= 0 && (result = takeAnswer(fd, answer)) == -EINTR) {
        result = 0;
    }
    kernel(SYS_close, fd);
    return result < 0 ? result : answer.result;
}

} // namespace vek::emulator
