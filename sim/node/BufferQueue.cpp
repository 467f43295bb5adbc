// SPDX-License-Identifier: Apache-2.0
#include "sim/node/BufferQueue.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <new>

namespace vek::sim {

CStreamBuffer::CStreamBuffer(std::size_t length) : mLength(length) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    mSize = (length + page - 1) / page * page;
    mFd = memfd_create("vekcam-buffer", MFD_CLOEXEC);
    void* const bytes = mFd >= 0 && ftruncate(mFd, static_cast<off_t>(mSize)) == 0
                            ? mmap(nullptr, mSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, mFd, 0)
                            : MAP_FAILED;
    if (bytes == MAP_FAILED) {
        if (mFd >= 0) {
            close(mFd);
        }
        throw std::bad_alloc();
    }
    mBytes = static_cast<std::uint8_t*>(bytes);
}

CStreamBuffer::~CStreamBuffer() {
    munmap(mBytes, mSize);
    close(mFd);
}

CStreamBuffer* CBufferQueue::At(std::uint32_t index) const {
    return index < mBuffers.size() ? mBuffers[index].get() : nullptr;
}

unsigned CBufferQueue::Add(unsigned count, std::size_t length) {
    const unsigned wanted = std::min(count, kMostBuffers - Count());
    unsigned added = 0;
    try {
        for (; added < wanted; ++added) {
            mBuffers.push_back(std::make_unique<CStreamBuffer>(length));
        }
    } catch (const std::bad_alloc&) {
        return added;
    }
    return added;
}

void CBufferQueue::Free() {
    mQueued.clear();
    mDone.clear();
    mBuffers.clear();
}

void CBufferQueue::Queue(std::uint32_t index) {
    CStreamBuffer& buffer = *mBuffers[index];
    buffer.state = EBufferState::Queued;
    buffer.bytesUsed = 0;
    buffer.sequence = 0;
    buffer.time = {};
    buffer.error = false;
    mQueued.push_back(index);
}

CStreamBuffer& CBufferQueue::NextQueued() {
    return *mBuffers[mQueued.front()];
}

void CBufferQueue::Finish() {
    mBuffers[mQueued.front()]->state = EBufferState::Done;
    mDone.push_back(mQueued.front());
    mQueued.pop_front();
}

std::uint32_t CBufferQueue::TakeDone() {
    const std::uint32_t index = mDone.front();
    mDone.pop_front();
    mBuffers[index]->state = EBufferState::Dequeued;
    return index;
}

void CBufferQueue::Cancel() {
    mQueued.clear();
    mDone.clear();
    for (const std::unique_ptr<CStreamBuffer>& buffer : mBuffers) {
        buffer->state = EBufferState::Dequeued;
    }
}

} // namespace vek::sim
