// SPDX-License-Identifier: Apache-2.0
// Streaming buffers as drivers of Video4Linux2 have them.
#pragma once

#include "sim/node/NodeTime.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace vek::sim {

/// A buffer's memory: a memory file of its own.
struct SBufferMemory {
    int fd = -1;
    std::size_t size = 0; ///< bytes, whole pages
};

/// Offsets of the buffers, in the order of their indices, are so far apart: whole pages on every machine.
inline constexpr std::uint64_t kOffsetStep = 65536;

enum class EBufferState : unsigned char {
    Dequeued, ///< the application's
    Prepared, ///< the application's, handed in by VIDIOC_PREPARE_BUF
    Queued,   ///< waits for a frame
    Done,     ///< holds one
};

/// One buffer. The memory goes with it; what is mapped stays with who mapped it.
class CStreamBuffer {
public:
    /// Throws std::bad_alloc.
    explicit CStreamBuffer(std::size_t length);
    ~CStreamBuffer();
    CStreamBuffer(const CStreamBuffer&) = delete;
    CStreamBuffer& operator=(const CStreamBuffer&) = delete;

    SBufferMemory Memory() const { return {mFd, mSize}; }
    std::size_t Length() const { return mLength; } ///< bytes that a frame may have
    std::span<std::uint8_t> Bytes() { return {mBytes, mLength}; }

    EBufferState state = EBufferState::Dequeued;
    unsigned mappings = 0;
    std::uint32_t bytesUsed = 0;
    std::uint32_t sequence = 0;
    NodeTime time{};
    bool error = false;

private:
    std::size_t mLength;
    std::size_t mSize;
    int mFd = -1;
    std::uint8_t* mBytes = nullptr;
};

/// Buffers of one node in the order of their indices, and who is in which line.
class CBufferQueue {
public:
    static constexpr unsigned kMostBuffers = 32; // VIDEO_MAX_FRAME

    unsigned Count() const { return static_cast<unsigned>(mBuffers.size()); }
    /// Null: no such index.
    CStreamBuffer* At(std::uint32_t index) const;
    /// How many were added: no more than kMostBuffers in all, fewer where memory runs out.
    unsigned Add(unsigned count, std::size_t length);
    void Free();

    /// Hands a buffer in: its frame's marks are cleared.
    void Queue(std::uint32_t index);
    bool HasQueued() const { return !mQueued.empty(); }
    bool HasDone() const { return !mDone.empty(); }
    unsigned DoneCount() const { return static_cast<unsigned>(mDone.size()); }
    /// The buffer that the next frame goes into. One is queued.
    CStreamBuffer& NextQueued();
    /// That buffer holds its frame.
    void Finish();
    /// The buffer that is done longest, which leaves the line. One is done.
    std::uint32_t TakeDone();
    /// All buffers are the application's again, as VIDIOC_STREAMOFF has it.
    void Cancel();

private:
    std::vector<std::unique_ptr<CStreamBuffer>> mBuffers;
    std::deque<std::uint32_t> mQueued;
    std::deque<std::uint32_t> mDone;
};

} // namespace vek::sim
