// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>
#include <type_traits>

namespace vek {

/// value with its fraction cut off, kept within an unsigned type: not-a-number and negative values give 0, too
/// large ones the type's maximum.
template <class Unsigned>
Unsigned saturateTo(double value) {
    static_assert(std::is_unsigned_v<Unsigned>);
    // The maximum rounds up to a power of two as a double when the type is wider than 53 bits: not below it means
    // too large either way.
    constexpr double limit = static_cast<double>(std::numeric_limits<Unsigned>::max());
    if (!(value > 0.0)) {
        return 0;
    }
    if (value >= limit) {
        return std::numeric_limits<Unsigned>::max();
    }
    return static_cast<Unsigned>(value);
}

} // namespace vek
