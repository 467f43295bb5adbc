// SPDX-License-Identifier: Apache-2.0
#include "tools/text/TimeText.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ctime>

namespace vek::tools {

namespace {

/// format: for a time in seconds and its microseconds.
std::string written(fmt::string_view format, std::chrono::nanoseconds wall) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(wall);
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(wall - seconds);
    return fmt::format(fmt::runtime(format), fmt::gmtime(static_cast<std::time_t>(seconds.count())), micros.count());
}

} // namespace

std::string timeName(std::chrono::nanoseconds wall) {
    return written("{:%Y%m%d-%H%M%S}.{:06}", wall);
}

std::string momentText(std::chrono::nanoseconds wall) {
    return written("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", wall);
}

} // namespace vek::tools
