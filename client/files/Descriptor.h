// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

namespace vek::client {

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

/// Closes a stream, standard input apart.
struct SCloseFile {
    void operator()(std::FILE* file) const {
        if (file != stdin) {
            std::fclose(file);
        }
    }
};

/// Owns a stream, or standard input, which stays open.
using FilePointer = std::unique_ptr<std::FILE, SCloseFile>;

} // namespace vek::client
