// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

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

} // namespace vek
