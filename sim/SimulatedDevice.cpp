// SPDX-License-Identifier: Apache-2.0
#include "sim/SimulatedDevice.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

namespace vek::sim {

namespace {

// Each camera has an empty memory file of its own. Its device and inode identify the camera: duplicates are found,
// and a number that was closed and given to another file is not mistaken for the camera.
using FileIdentity = std::pair<dev_t, ino_t>;

struct STable {
    std::mutex mutex;
    std::map<FileIdentity, std::shared_ptr<CSimulatedDriver>> cameras;
};

// Zero before anything was opened, also when ioctl is called before this file's constructors ran.
std::atomic<unsigned> cameraCount{0};

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
    table.cameras[identity] = std::move(driver);
    cameraCount.store(static_cast<unsigned>(table.cameras.size()), std::memory_order_release);
    return fd;
}

int closeSimulatedCamera(int fd) {
    FileIdentity identity;
    std::shared_ptr<CSimulatedDriver> driver; // destroyed after the lock is released
    if (identify(fd, identity)) {
        STable& table = cameraTable();
        const std::lock_guard<std::mutex> lock(table.mutex);
        const auto camera = table.cameras.find(identity);
        if (camera != table.cameras.end()) {
            driver = std::move(camera->second);
            table.cameras.erase(camera);
            cameraCount.store(static_cast<unsigned>(table.cameras.size()), std::memory_order_release);
        }
    }
    if (!driver) {
        errno = EBADF;
        return -1;
    }
    return close(fd);
}

std::shared_ptr<CSimulatedDriver> findSimulatedCamera(int fd) {
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

} // namespace vek::sim
