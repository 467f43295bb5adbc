// SPDX-License-Identifier: Apache-2.0
#include "client/capture/VideoDevice.h"

#include "client/capture/CameraFailure.h"
#include "client/capture/DriverCall.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/videodev2.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace vek::client {

namespace {

namespace fs = std::filesystem;

std::string firstLine(const fs::path& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

/// The serial number of the USB device that a node belongs to; empty where there is none.
std::string serialOf(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0 || !S_ISCHR(status.st_mode)) {
        return {};
    }
    std::error_code error;
    fs::path folder =
        fs::canonical(fmt::format("/sys/dev/char/{}:{}/device", major(status.st_rdev), minor(status.st_rdev)), error);
    // The node's parent is an interface of the device, which has the number.
    for (int level = 0; !error && level < 3 && folder.has_relative_path(); ++level, folder = folder.parent_path()) {
        if (std::string serial = firstLine(folder / "serial"); !serial.empty()) {
            return serial;
        }
    }
    return {};
}

/// The paths that a camera may have come back as, the one that it had first.
std::vector<std::string> candidates(const std::string& path) {
    std::vector<std::string> paths = {path};
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator("/dev", error)) {
        const std::string name = entry.path().filename();
        if (name.starts_with("video") && entry.path() != path) {
            paths.push_back(entry.path());
        }
    }
    return paths;
}

} // namespace

bool SCameraIdentity::IsSame(const SCameraIdentity& other) const {
    if (!serial.empty() && !other.serial.empty()) {
        return serial == other.serial && card == other.card;
    }
    return card == other.card && busInfo == other.busInfo;
}

CVideoDevice::CVideoDevice(const std::string& path)
    : mName(path), mDevice(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {
    if (!mDevice.IsOpen()) {
        if (errno == ENOENT || errno == EACCES) {
            throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
        }
        throwCameraFailure(path, "open it", errno);
    }
    v4l2_capability capability{};
    if (const int error = askDriver(mDevice.Get(), VIDIOC_QUERYCAP, &capability); error != 0) {
        if (error == ENODEV) {
            throwCameraFailure(path, "open it", error);
        }
        throw CFailure(path + ": no Video4Linux2 device");
    }
    mIdentity = {fieldText(capability.card), fieldText(capability.bus_info), serialOf(mDevice.Get())};
}

std::shared_ptr<const ICamera> reopened(const std::string& path, const SCameraIdentity& identity) {
    for (const std::string& candidate : candidates(path)) {
        try {
            auto device = std::make_shared<CVideoDevice>(candidate);
            if (identity.IsSame(device->Identity())) {
                return device;
            }
        } catch (const CFailure&) {
            // Not there, not yet ours to open, or another kind of device: the next one may be the camera.
            continue;
        }
    }
    return nullptr;
}

std::vector<std::string> usersOf(int fd) {
    struct stat node {};
    std::vector<std::string> users;
    if (fstat(fd, &node) != 0 || !S_ISCHR(node.st_mode)) {
        return users;
    }
    std::error_code error;
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", error)) {
        const std::string id = process.path().filename();
        if (id.find_first_not_of("0123456789") != std::string::npos || id == std::to_string(getpid())) {
            continue;
        }
        std::error_code hidden; // another user's: the system does not let us look
        for (const fs::directory_entry& open : fs::directory_iterator(process.path() / "fd", hidden)) {
            struct stat status {};
            if (stat(open.path().c_str(), &status) == 0 && S_ISCHR(status.st_mode) && status.st_rdev == node.st_rdev) {
                users.push_back(fmt::format("{} ({})", firstLine(process.path() / "comm"), id));
                break;
            }
        }
    }
    std::sort(users.begin(), users.end());
    return users;
}

} // namespace vek::client
