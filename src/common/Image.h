// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <type_traits>

namespace vek {

/// Row y of an image that starts at base and whose rows stand pitch bytes apart.
template <class T>
T* rowAt(T* base, std::size_t y, std::size_t pitch) {
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + y * pitch);
}

/// The next multiple of 4, the row length that derived destination pitches are rounded up to.
constexpr unsigned long roundUpTo4(unsigned long bytes) {
    return (bytes + 3) & ~3UL;
}

} // namespace vek
