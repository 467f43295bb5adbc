// SPDX-License-Identifier: Apache-2.0
// Calls of Video4Linux2 drivers.
#pragma once

#include <sys/ioctl.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

namespace vek::client {

/// 0 or errno. EINTR only means that a signal came in between: the driver is asked again.
inline int askDriver(int fd, unsigned long request, void* argument) {
    int result = 0;
    do {
        result = ioctl(fd, request, argument);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

/// The text in a record's field, which may have no end of its own.
template <std::size_t kSize>
std::string fieldText(const unsigned char (&field)[kSize]) {
    const auto* const text = reinterpret_cast<const char*>(field);
    return {text, strnlen(text, kSize)};
}
template <std::size_t kSize>
std::string fieldText(const char (&field)[kSize]) {
    return {field, strnlen(field, kSize)};
}

} // namespace vek::client
