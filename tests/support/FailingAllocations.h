// SPDX-License-Identifier: Apache-2.0
#pragma once

// For programs that ask for more memory than there is: under a sanitizer, too, such a request gives null rather than
// ends the program. To be included by one source of a program.

extern "C" {
const char* __asan_default_options(); // NOLINT(bugprone-reserved-identifier)
const char* __tsan_default_options(); // NOLINT(bugprone-reserved-identifier)

const char* __asan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "allocator_may_return_null=1";
}
const char* __tsan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "allocator_may_return_null=1";
}
}
