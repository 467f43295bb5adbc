// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

namespace vek::tools {

/// A moment, UTC; wall: since 1970. For a file's name, "20260503-183015.123456", and for a text,
/// "2026-05-03T18:30:15.123456Z".
std::string timeName(std::chrono::nanoseconds wall);
std::string momentText(std::chrono::nanoseconds wall);

/// The moment now, since 1970.
inline std::chrono::nanoseconds wallNow() {
    return std::chrono::system_clock::now().time_since_epoch();
}

} // namespace vek::tools
