// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>

namespace vek::test {

#if defined(__x86_64__)
/// Number of a virtual function's slot in its table, from 1. A pointer to a virtual member holds the slot's byte
/// offset plus 1 (Itanium C++ ABI).
template <class Member>
std::size_t slotOf(Member member) {
    std::size_t word = 0;
    std::memcpy(&word, &member, sizeof word);
    return (word - 1) / sizeof(void*) + 1;
}
#endif

} // namespace vek::test
