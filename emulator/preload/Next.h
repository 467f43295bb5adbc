// SPDX-License-Identifier: Apache-2.0
// The definitions that this library stands in front of: the C library's, or those of another object in between.
#pragma once

#include <dlfcn.h>

#include <atomic>

// Exported names; everything else is hidden.
#define VEK_INTERPOSE __attribute__((visibility("default")))

namespace vek::emulator {

/// The next definition of a function, looked up at the first call.
template <class F>
F* nextDefinition(std::atomic<F*>& place, const char* name) {
    F* found = place.load(std::memory_order_acquire);
    if (found == nullptr) {
        found = reinterpret_cast<F*>(dlsym(RTLD_NEXT, name));
        place.store(found, std::memory_order_release);
    }
    return found;
}

} // namespace vek::emulator

/// VEK_NEXT(type)(name): the function behind the one of this library.
// NOLINTBEGIN(bugprone-macro-parentheses): a type
#define VEK_NEXT(type, name)                                                                                           \
    ([]() -> type* {                                                                                                   \
        static std::atomic<type*> definition{nullptr};                                                                 \
        return vek::emulator::nextDefinition(definition, name);                                                        \
    }())
// NOLINTEND(bugprone-macro-parentheses)
