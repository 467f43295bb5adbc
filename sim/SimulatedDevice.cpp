// SPDX-License-Identifier: Apache-2.0
#include "sim/SimulatedDevice.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace vek::sim {

namespace {

// Each camera has an empty memory file of its own. Its device and inode identify the camera: duplicates are found,
// and a number that was closed and given to another file is not mistaken for the camera.
using FileIdentity = std::pair<dev_t, ino_t>;

struct SMapping {
    std::shared_ptr<CVideoNode> node;
    std::uint64_t offset = 0;
};

struct STable {
    std::mutex mutex;
    std::map<FileIdentity, std::shared_ptr<const CSimulatedFile>> cameras;
    std::map<const void*, SMapping> mappings;
    NodeFile nextFile = 1;
};

// Zero before anything was opened, also when ioctl is called before this file's constructors ran.
std::atomic<unsigned> cameraCount{0};
std::atomic<unsigned> mappingCount{0};

/// Never destroyed: descriptors are used until the very end of the process.
STable& cameraTable() {
    static STable* const table = new STable;
    return *table;
}

bool identify(int fd, FileIdentity& identity) {
    const int savedErrno = errno;
    struct stat status {};
    const bool ok = fstat(fd, &status) == 0;
    errno = savedErrno;
    identity = {status.st_dev, status.st_ino};
    return ok;
}

} // namespace

int openSimulatedCamera(std::shared_ptr<CSimulatedDriver> driver) {
    if (!driver) {
        errno = EINVAL;
        return -1;
    }
    return openSimulatedCamera(std::make_shared<CVideoNode>(std::move(driver)));
}

int openSimulatedCamera(std::shared_ptr<CVideoNode> node) {
    if (!node) {
        errno = EINVAL;
        return -1;
    }
    const int fd = memfd_create("vekcam-sim", MFD_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    FileIdentity identity;
    if (!identify(fd, identity)) {
        close(fd);
        errno = EIO;
        return -1;
    }
    STable& table = cameraTable();
    const std::lock_guard<std::mutex> lock(table.mutex);
    const NodeFile id = table.nextFile++;
    if (const int error = node->Open(id)) {
        close(fd);
        errno = -error;
        return -1;
    }
    table.cameras[identity] = std::make_shared<const CSimulatedFile>(std::move(node), id);
    cameraCount.store(static_cast<unsigned>(table.cameras.size()), std::memory_order_release);
    return fd;
}

int closeSimulatedCamera(int fd) {
    FileIdentity identity;
    std::shared_ptr<const CSimulatedFile> file; // ends after the lock is released
    if (identify(fd, identity)) {
        STable& table = cameraTable();
        const std::lock_guard<std::mutex> lock(table.mutex);
        const auto camera = table.cameras.find(identity);
        if (camera != table.cameras.end()) {
            file = std::move(camera->second);
            table.cameras.erase(camera);
            cameraCount.store(static_cast<unsigned>(table.cameras.size()), std::memory_order_release);
        }
    }
    if (!file) {
        errno = EBADF;
        return -1;
    }
    file->Close();
    return close(fd);
}

std::shared_ptr<const CSimulatedFile> findSimulatedCamera(int fd) {
    if (fd < 0 || cameraCount.load(std::memory_order_acquire) == 0) {
        return nullptr;
    }
    FileIdentity identity;
    if (!identify(fd, identity)) {
        return nullptr;
    }
    STable& table = cameraTable();
    const std::lock_guard<std::mutex> lock(table.mutex);
    const auto camera = table.cameras.find(identity);
    return camera == table.cameras.end() ? nullptr : camera->second;
}

// --- Waiting ---------------------------------------------------------------------------------------------------------

CSignalsHeld::CSignalsHeld() {
    sigset_t held;
    sigfillset(&held);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP}) {
        sigdelset(&held, fault); // these are the thread's own doing
    }
    pthread_sigmask(SIG_SETMASK, &held, &mBefore);
}

CSignalsHeld::~CSignalsHeld() {
    const int savedErrno = errno;
    pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
    errno = savedErrno;
}

NodeTime waitingStep(const CVideoNode& node) {
    // What another thread does to a node wakes nobody: who waits looks again soon enough.
    constexpr NodeTime kLongest = std::chrono::milliseconds(2);
    const std::optional<NodeTime> due = node.NextDue();
    return due ? std::clamp(*due - monotonicNow(), NodeTime(0), kLongest) : kLongest;
}

namespace {

/// Repeats a call while the answer is that there is nothing yet, unless the descriptor's owner does not wait.
template <class Call>
auto waited(int fd, const CVideoNode& node, Call call) {
    const CSignalsHeld held;
    while (true) {
        const auto result = call();
        if (result != -EAGAIN || (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0) {
            return result;
        }
        const NodeTime step = waitingStep(node);
        const timespec time{0, static_cast<long>(step.count())};
        if (ppoll(nullptr, 0, &time, held.Before()) != 0 && errno == EINTR) {
            return static_cast<decltype(call())>(-EINTR);
        }
    }
}

} // namespace

int CSimulatedFile::Ioctl(int fd, unsigned long request, void* argument) const {
    const auto call = [&] { return mNode->Ioctl(mId, request, argument); };
    return CVideoNode::Waits(request) ? waited(fd, *mNode, call) : call();
}

long CSimulatedFile::Read(int fd, void* buffer, std::size_t size) const {
    if (mNode->Camera()->ReadFault() != 0) {
        return mNode->Read(mId, buffer, size); // however it is to fail: at once
    }
    return waited(fd, *mNode, [&] { return mNode->Read(mId, buffer, size); });
}

// --- Mappings --------------------------------------------------------------------------------------------------------

void* mapSimulatedBuffer(const CSimulatedFile& file, void* address, std::size_t length, int protection, int flags,
                         off_t offset, int& error) {
    // As other drivers have it: a shared mapping, and one that can be read.
    const bool fits = (flags & MAP_SHARED) != 0 && (protection & PROT_READ) != 0 && offset >= 0;
    const std::optional<SBufferMemory> memory =
        fits ? file.Node().Memory(static_cast<std::uint64_t>(offset), length) : std::nullopt;
    if (!memory) {
        error = -EINVAL;
        return MAP_FAILED;
    }
    void* const mapped = mmap(address, length, protection, flags, memory->fd, 0);
    if (mapped == MAP_FAILED) {
        error = -errno;
        return mapped;
    }
    file.Node().Mapped(static_cast<std::uint64_t>(offset), true);
    STable& table = cameraTable();
    const std::lock_guard<std::mutex> lock(table.mutex);
    table.mappings[mapped] = {file.SharedNode(), static_cast<std::uint64_t>(offset)};
    mappingCount.store(static_cast<unsigned>(table.mappings.size()), std::memory_order_release);
    return mapped;
}

void forgetSimulatedMapping(const void* address) {
    if (mappingCount.load(std::memory_order_acquire) == 0) {
        return;
    }
    SMapping mapping{};
    {
        STable& table = cameraTable();
        const std::lock_guard<std::mutex> lock(table.mutex);
        const auto found = table.mappings.find(address);
        if (found == table.mappings.end()) {
            return;
        }
        mapping = std::move(found->second);
        table.mappings.erase(found);
        mappingCount.store(static_cast<unsigned>(table.mappings.size()), std::memory_order_release);
    }
    mapping.node->Mapped(mapping.offset, false);
}

} // namespace vek::sim
