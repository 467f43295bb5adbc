// SPDX-License-Identifier: Apache-2.0
// What this process knows of the emulated camera, and how it asks the server. Nothing here takes memory, starts a
// thread or keeps a descriptor open, and all of it may run in signal handlers and between vfork and exec.
#pragma once

#include "emulator/Protocol.h"

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>

namespace vek::emulator {

struct SSession {
    bool on = false;
    unsigned node = 0;     ///< N of /dev/videoN
    char address[64] = {}; ///< of the server, without the zero in front
    std::size_t addressBytes = 0;
    char folder[256] = {};     ///< holds what stands in for folders of the system
    char nodePath[32] = {};    ///< /dev/videoN
    const char* nodeName = ""; ///< videoN
    char numberPath[48] = {};  ///< /sys/dev/char/81:N
    char nodeMark[320] = {};   ///< a file that is there while the camera is plugged in
};

const SSession& session();

/// Whether this process may have a descriptor of the camera: none, and calls on descriptors cost nothing more.
bool mayHaveCameras();
void expectCameras();

/// A number of the open file of the camera that a descriptor stands for; 0: it is something else.
std::uint64_t cameraBehind(int fd);

/// Whether the camera is plugged in.
bool isPlugged();

/// A descriptor of a new open file of the camera, or a negative errno value.
int openCamera(int flags);

/// Sends a request over a camera's descriptor. The socket that the answer comes over, or a negative errno value, EFAULT
/// where a part cannot be read.
int askCamera(int fd, const SRequest& request, const iovec* parts = nullptr, int partCount = 0);
/// Waits for an answer, of which what follows goes to the parts. memory: receives a descriptor that comes with it, or
/// -1. 0, or a negative errno value: EFAULT, ENODEV where there is no server any more, EINTR.
int takeAnswer(int channel, SAnswer& answer, const iovec* parts = nullptr, int partCount = 0, int* memory = nullptr,
               bool closeOnExec = true);
/// Both, for requests that do not wait, less the channel; result: the answer's, or why there is none.
std::int64_t callCamera(int fd, const SRequest& request, SAnswer* answer = nullptr, int* memory = nullptr);
/// A request that needs no open file. The answer's result.
std::int64_t callServer(const SRequest& request);

/// A system call's result in the C library's form.
inline long failOr(long result);

} // namespace vek::emulator

#include <cerrno>

namespace vek::emulator {

inline long failOr(long result) {
    if (result < 0) {
        errno = static_cast<int>(-result);
        return -1;
    }
    return result;
}

} // namespace vek::emulator
