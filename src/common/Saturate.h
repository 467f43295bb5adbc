// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>
#include <type_traits>

namespace vek {

/// value with its fraction cut off, kept within an integer type: not-a-number gives 0, what lies outside the type's
/// range its nearest end.
template <class Integer>
Integer saturateTo(double value) {
    static_assert(std::is_integral_v<Integer>);
    using Limits = std::numeric_limits<Integer>;
    // The ends of a 64-bit type round away from 0 as doubles: not inside of them means outside either way.
    if (value >= static_cast<double>(Limits::max())) {
        return Limits::max();
    }
    if (value <= static_cast<double>(Limits::min())) {
        return Limits::min();
    }
    return value == value ? static_cast<Integer>(value) : Integer{0};
}

} // namespace vek
