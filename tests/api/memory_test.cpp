// SPDX-License-Identifier: Apache-2.0
// Memory that runs out while a handle is opened, allocation by allocation.
#include "VekTrgApi.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace {

// The test is single-threaded.
bool gCounting = false;
long gLive = 0;          ///< allocations that were not freed, while counting
long gMade = 0;          ///< allocations so far, while counting
long gFailFrom = -1;     ///< this allocation fails, counted from 0; negative: none
bool gFailAfter = false; ///< and every later one too

void* allocate(std::size_t size, std::size_t alignment) noexcept {
    if (gCounting) {
        const long n = gMade++;
        if (gFailFrom >= 0 && (n == gFailFrom || (gFailAfter && n > gFailFrom))) {
            return nullptr;
        }
    }
    void* memory = nullptr;
    if (posix_memalign(&memory, alignment < sizeof(void*) ? sizeof(void*) : alignment, size == 0 ? 1 : size) != 0) {
        return nullptr;
    }
    gLive += gCounting ? 1 : 0;
    return memory;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
    void* const memory = allocate(size, alignment);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void release(void* memory) noexcept {
    gLive -= gCounting && memory != nullptr ? 1 : 0;
    std::free(memory);
}

constexpr std::size_t kPlain = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

} // namespace

// The shared library's allocations come here as well.
void* operator new(std::size_t size) {
    return allocateOrThrow(size, kPlain);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size, kPlain);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, kPlain);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, kPlain);
}
void* operator new(std::size_t size, std::align_val_t to) {
    return allocateOrThrow(size, static_cast<std::size_t>(to));
}
void* operator new[](std::size_t size, std::align_val_t to) {
    return allocateOrThrow(size, static_cast<std::size_t>(to));
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}

namespace vek::test {

namespace {

struct SOutcome {
    bool opened = false;
    long made = 0;
    long liveAfterOpen = 0;
    long liveAtEnd = 0;
};

/// Opens and closes a handle while allocation failFrom (and, on request, each later one) fails.
SOutcome openWithFailure(long failFrom, bool failAfter) {
    SOutcome outcome;
    gLive = 0;
    gMade = 0;
    gFailFrom = failFrom;
    gFailAfter = failAfter;
    gCounting = true;
    const VekCam_Handle handle = VekCam_Open(-1);
    gFailFrom = -1;
    outcome.made = gMade;
    outcome.liveAfterOpen = gLive;
    VekCam_Close(handle);
    gCounting = false;
    outcome.liveAtEnd = gLive;
    outcome.opened = handle != nullptr;
    return outcome;
}

} // namespace

TEST(CMemory, CloseFreesEverything) {
    const SOutcome outcome = openWithFailure(-1, false);
    EXPECT_TRUE(outcome.opened);
    EXPECT_GE(outcome.made, 3); // camera, driver access, luminance control
    EXPECT_GT(outcome.liveAfterOpen, 0);
    EXPECT_EQ(outcome.liveAtEnd, 0);
}

TEST(CMemory, EveryFailedAllocationGivesNullAndNoLeak) {
    const long count = openWithFailure(-1, false).made;
    for (const bool after : {false, true}) {
        for (long n = 0; n < count; ++n) {
            const SOutcome outcome = openWithFailure(n, after);
            EXPECT_FALSE(outcome.opened) << "allocation " << n;
            EXPECT_EQ(outcome.liveAfterOpen, 0) << "allocation " << n;
            EXPECT_EQ(outcome.liveAtEnd, 0) << "allocation " << n;
        }
    }
    EXPECT_TRUE(openWithFailure(-1, false).opened);
}

// Demosaicing needs no memory of its own.
TEST(CMemory, ColorInterpolationAllocatesNothing) {
    const VekCam_Handle handle = VekCam_Open(-1);
    const unsigned char src[26] = {};
    unsigned char dst[100] = {};
    gLive = 0;
    gMade = 0;
    gFailFrom = 0;
    gFailAfter = true;
    gCounting = true;
    int results = 0;
    for (unsigned char method = 0; method <= 3; ++method) {
        for (unsigned short array = 1; array <= 5; ++array) {
            results |= VekCam_ColorInterpolation(handle, 5, 5, array, src, dst, method, 8, 8);
        }
    }
    gCounting = false;
    gFailFrom = -1;
    EXPECT_EQ(results, 0);
    EXPECT_EQ(gMade, 0);
    VekCam_Close(handle);
}

} // namespace vek::test
