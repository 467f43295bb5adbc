// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/node/VideoNode.h"

#include <csignal>
#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <utility>

namespace vek::sim {

/// Puts a camera behind a new file descriptor of this process. In a program that links the interposer, ioctl, read,
/// mmap, munmap, poll and ppoll on the descriptor, or on a duplicate of it, reach the camera. The table keeps it alive
/// until closeSimulatedCamera. Returns the descriptor, or -1 with errno. A driver gets a node of its own, which sends a
/// frame when one is asked for; each call for one node opens another file of it.
int openSimulatedCamera(std::shared_ptr<CSimulatedDriver> driver);
int openSimulatedCamera(std::shared_ptr<CVideoNode> node);

/// Takes the camera off its descriptor and all duplicates and closes fd. Returns 0, or -1 with errno EBADF when fd
/// stands for no simulated camera.
int closeSimulatedCamera(int fd);

/// A simulated camera as one descriptor and its duplicates have it open. Results are those of system calls, with
/// negative errno values. Calls wait, where a driver's would, unless O_NONBLOCK is set on fd.
class CSimulatedFile {
public:
    CSimulatedFile(std::shared_ptr<CVideoNode> node, NodeFile id) : mNode(std::move(node)), mId(id) {}

    CVideoNode& Node() const { return *mNode; }
    const std::shared_ptr<CVideoNode>& SharedNode() const { return mNode; }
    int Ioctl(int fd, unsigned long request, void* argument) const;
    long Read(int fd, void* buffer, std::size_t size) const;
    short Poll(short events) const { return mNode->Poll(mId, events); }
    void Close() const { mNode->Close(mId); }

private:
    std::shared_ptr<CVideoNode> mNode;
    NodeFile mId;
};

/// What is behind a descriptor; null when it is no simulated camera. Any number may be asked for; errno is kept.
std::shared_ptr<const CSimulatedFile> findSimulatedCamera(int fd);

/// Maps a buffer, as mmap does; a failure's error is errno's negative value, else 0.
void* mapSimulatedBuffer(const CSimulatedFile& file, void* address, std::size_t length, int protection, int flags,
                         off_t offset, int& error);
/// Tells the camera what is no longer mapped.
void forgetSimulatedMapping(const void* address);

/// Holds the thread's signals back while it lives, so that none arrives unseen between two looks of a call that waits:
/// they come through while it sleeps with Before().
class CSignalsHeld {
public:
    CSignalsHeld();
    ~CSignalsHeld();
    CSignalsHeld(const CSignalsHeld&) = delete;
    CSignalsHeld& operator=(const CSignalsHeld&) = delete;

    const sigset_t* Before() const { return &mBefore; }

private:
    sigset_t mBefore{};
};

/// How long a call that waits for something of a node may sleep before it looks again.
NodeTime waitingStep(const CVideoNode& node);

} // namespace vek::sim
