// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace vek::tools {

/// Owns a file descriptor.
class CDescriptor {
public:
    explicit CDescriptor(int fd = -1) : mFd(fd) {}
    CDescriptor(CDescriptor&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
    CDescriptor& operator=(CDescriptor&& other) noexcept {
        std::swap(mFd, other.mFd);
        return *this;
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    ~CDescriptor() {
        if (IsOpen()) {
            close(mFd);
        }
    }

    bool IsOpen() const { return mFd >= 0; }
    int Get() const { return mFd; }

private:
    int mFd;
};

} // namespace vek::tools
