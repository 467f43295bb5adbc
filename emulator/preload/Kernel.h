// SPDX-License-Identifier: Apache-2.0
// System calls without the C library, whose functions are the ones that are stood in for.
#pragma once

#include <sys/syscall.h>

#ifdef __cplusplus
extern "C" {
#endif

long vekKernel(long number, long a, long b, long c, long d, long e, long f);

#ifdef __cplusplus
}

#include <type_traits>

namespace vek::emulator {

template <class T>
long kernelWord(T value) {
    if constexpr (std::is_null_pointer_v<T>) {
        return 0;
    } else if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<long>(value);
    } else {
        return static_cast<long>(value);
    }
}

/// The kernel's own answer: negative errno values for failures; errno is left alone.
template <class... T>
long kernel(long number, T... arguments) {
    constexpr int kMost = 6;
    static_assert(sizeof...(T) <= kMost);
    const long words[kMost + 1] = {kernelWord(arguments)...};
    return vekKernel(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

} // namespace vek::emulator
#endif
