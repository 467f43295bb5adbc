// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace vek::test {

/// Which protected page a guarded buffer touches.
enum class Flush {
    Left, ///< the buffer starts right behind a protected page
    Right ///< the buffer ends right before a protected page
};

/// count samples between two protected pages: any access beyond the flush side faults at once. The other side is
/// filled with a canary that CanaryIntact looks at.
template <class T>
class CGuardedBuffer {
public:
    CGuardedBuffer(std::size_t count, Flush flush) : mCount(count) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t bytes = count * sizeof(T);
        mInner = (bytes + page - 1) / page * page + page;
        mTotal = mInner + 2 * page;
        void* const map = mmap(nullptr, mTotal, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (map == MAP_FAILED) {
            throw std::bad_alloc();
        }
        mBase = static_cast<std::uint8_t*>(map);
        mStart = mBase + page;
        mprotect(mStart, mInner, PROT_READ | PROT_WRITE);
        std::memset(mStart, kCanary, mInner);
        std::uint8_t* const first = flush == Flush::Left ? mStart : mStart + mInner - bytes;
        mData = reinterpret_cast<T*>(first);
    }
    ~CGuardedBuffer() { munmap(mBase, mTotal); }
    CGuardedBuffer(const CGuardedBuffer&) = delete;
    CGuardedBuffer& operator=(const CGuardedBuffer&) = delete;

    T* data() { return mData; }
    const T* data() const { return mData; }
    std::size_t size() const { return mCount; }
    T& operator[](std::size_t i) { return mData[i]; }
    const T& operator[](std::size_t i) const { return mData[i]; }

    /// Whether the bytes between the buffer and the far page still hold the canary.
    bool CanaryIntact() const {
        const auto* const first = reinterpret_cast<const std::uint8_t*>(mData);
        for (const std::uint8_t* p = mStart; p < mStart + mInner; ++p) {
            const bool inside = p >= first && p < first + mCount * sizeof(T);
            if (!inside && *p != kCanary) {
                return false;
            }
        }
        return true;
    }

    static constexpr std::uint8_t kCanary = 0xC5;

private:
    std::size_t mCount;
    std::size_t mInner = 0;
    std::size_t mTotal = 0;
    std::uint8_t* mBase = nullptr;
    std::uint8_t* mStart = nullptr;
    T* mData = nullptr;
};

} // namespace vek::test
