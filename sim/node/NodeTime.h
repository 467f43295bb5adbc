// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <ctime>

namespace vek::sim {

/// A point in time on CLOCK_MONOTONIC, which drivers stamp frames with.
using NodeTime = std::chrono::nanoseconds;

inline NodeTime monotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

} // namespace vek::sim
