// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <new>
#include <vector>

namespace vek::test {

/// Which protected page a guarded buffer touches.
enum class Flush {
    Left, ///< the buffer starts right behind a protected page
    Right ///< the buffer ends right before a protected page
};

/// Pages between two protected ones. Given back they are kept for the next buffer of the size: tests make millions.
class CGuardedPages {
public:
    /// inner: bytes between the protected pages, a multiple of the page size.
    explicit CGuardedPages(std::size_t inner) : mInner(inner) {
        std::vector<std::uint8_t*>& kept = Kept()[inner];
        if (!kept.empty()) {
            mStart = kept.back();
            kept.pop_back();
            return;
        }
        const std::size_t page = PageSize();
        void* const map = mmap(nullptr, inner + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (map == MAP_FAILED) {
            throw std::bad_alloc();
        }
        mStart = static_cast<std::uint8_t*>(map) + page;
        mprotect(mStart, inner, PROT_READ | PROT_WRITE);
    }
    ~CGuardedPages() { Kept()[mInner].push_back(mStart); }
    CGuardedPages(const CGuardedPages&) = delete;
    CGuardedPages& operator=(const CGuardedPages&) = delete;

    std::uint8_t* Start() const { return mStart; }
    std::size_t Size() const { return mInner; }
    static std::size_t PageSize() {
        static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        return page;
    }

private:
    /// Never freed, so that buffers with static storage may go last. One list for each thread.
    static std::map<std::size_t, std::vector<std::uint8_t*>>& Kept() {
        static thread_local auto* const kept = new std::map<std::size_t, std::vector<std::uint8_t*>>;
        return *kept;
    }

    std::size_t mInner;
    std::uint8_t* mStart = nullptr;
};

/// count samples between two protected pages: any access beyond the flush side faults at once. The other side is
/// filled with a canary that CanaryIntact looks at.
template <class T>
class CGuardedBuffer {
public:
    CGuardedBuffer(std::size_t count, Flush flush)
        : mCount(count), mPages((count * sizeof(T) / CGuardedPages::PageSize() + 1) * CGuardedPages::PageSize()) {
        std::memset(mPages.Start(), kCanary, mPages.Size());
        std::uint8_t* const end = mPages.Start() + mPages.Size();
        mData = reinterpret_cast<T*>(flush == Flush::Left ? mPages.Start() : end - count * sizeof(T));
    }

    T* data() { return mData; }
    const T* data() const { return mData; }
    std::size_t size() const { return mCount; }
    T& operator[](std::size_t i) { return mData[i]; }
    const T& operator[](std::size_t i) const { return mData[i]; }

    /// Whether the bytes between the buffer and the far page still hold the canary.
    bool CanaryIntact() const {
        const auto* const first = reinterpret_cast<const std::uint8_t*>(mData);
        for (const std::uint8_t* p = mPages.Start(); p < mPages.Start() + mPages.Size(); ++p) {
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
    CGuardedPages mPages;
    T* mData = nullptr;
};

} // namespace vek::test
