// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

namespace vek {

struct SFree {
    void operator()(void* memory) const { std::free(memory); }
};
/// Owner of memory from malloc.
template <class T>
using Malloced = std::unique_ptr<T, SFree>;

/// rows x rowBytes bytes, one at least. Null when memory runs out, or for sizes that no allocation can have.
inline void* allocateRows(unsigned long rows, unsigned long rowBytes) {
    unsigned long size = 0;
    const bool tooLarge = __builtin_mul_overflow(rows, rowBytes, &size) || size > PTRDIFF_MAX;
    return tooLarge ? nullptr : std::malloc(std::max(size, 1UL));
}

/// Whether owner's object has no other owner. What former ones did with it has happened then.
template <class T>
bool isOwnedAlone(const std::shared_ptr<T>& owner) {
    if (owner.use_count() != 1) {
        return false;
    }
    // The count alone orders nothing; taking a share and dropping it follows every drop in other threads.
    const std::shared_ptr<T> share = owner; // NOLINT(performance-unnecessary-copy-initialization)
    return true;
}

/// owner's object where it has no other owner, else a new one, which becomes owner's. Null, and no object, when memory
/// runs out.
template <class T>
T* ownAlone(std::shared_ptr<T>& owner) {
    if (!isOwnedAlone(owner)) {
        owner.reset();
        try {
            owner = std::make_shared<T>();
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    return owner.get();
}

} // namespace vek
