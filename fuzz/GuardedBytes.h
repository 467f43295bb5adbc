// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace vek::fuzz {

/// Zeroed bytes that end at a protected page and begin behind one, or at most a page behind it: who touches what lies
/// beyond is stopped, in builds without a sanitizer, too.
class CGuardedBytes {
public:
    explicit CGuardedBytes(std::size_t size)
        : mPage(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))), mInner((size + mPage - 1) / mPage * mPage),
          mSize(size) {
        void* const all = mmap(nullptr, mInner + 2 * mPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        mAll = static_cast<std::uint8_t*>(all);
        if (all == MAP_FAILED || (mInner != 0 && mprotect(mAll + mPage, mInner, PROT_READ | PROT_WRITE) != 0)) {
            std::abort();
        }
    }
    ~CGuardedBytes() { munmap(mAll, mInner + 2 * mPage); }
    CGuardedBytes(const CGuardedBytes&) = delete;
    CGuardedBytes& operator=(const CGuardedBytes&) = delete;

    std::uint8_t* Data() { return mAll + mPage + mInner - mSize; }
    std::size_t Size() const { return mSize; }
    /// From now on they are read alone.
    void Protect() { mprotect(mAll + mPage, mInner, PROT_READ); }

private:
    std::size_t mPage;
    std::size_t mInner; ///< whole pages
    std::size_t mSize;
    std::uint8_t* mAll = nullptr;
};

} // namespace vek::fuzz
