// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace vek::emulator {

/// A descriptor of this process, closed at the end.
class CHandle {
public:
    CHandle() = default;
    explicit CHandle(int fd) : mFd(fd) {}
    ~CHandle() { Reset(); }
    CHandle(CHandle&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
    CHandle& operator=(CHandle&& other) noexcept {
        if (this != &other) {
            Reset();
            mFd = std::exchange(other.mFd, -1);
        }
        return *this;
    }

    int Get() const { return mFd; }
    explicit operator bool() const { return mFd >= 0; }
    void Reset() {
        if (mFd >= 0) {
            close(std::exchange(mFd, -1));
        }
    }

private:
    int mFd = -1;
};

/// Throws std::runtime_error with what errno says.
[[noreturn]] inline void failedTo(const std::string& what) {
    throw std::runtime_error(what + ": " + std::system_category().message(errno));
}

/// A descriptor, or failedTo.
inline CHandle checked(int fd, const std::string& what) {
    if (fd < 0) {
        failedTo(what);
    }
    return CHandle(fd);
}

} // namespace vek::emulator
