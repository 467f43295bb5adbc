// SPDX-License-Identifier: Apache-2.0
// For tests that ask for more memory than there is: under a sanitizer, too, the allocator then returns null instead of
// ending the program. AddressSanitizer marks each byte of what it gives: requests of gigabytes that are never touched
// take long.

extern "C" {
const char* __asan_default_options(); // NOLINT(bugprone-reserved-identifier)
const char* __tsan_default_options(); // NOLINT(bugprone-reserved-identifier)

const char* __asan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "allocator_may_return_null=1:max_allocation_size_mb=1024";
}
const char* __tsan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "allocator_may_return_null=1";
}
}
