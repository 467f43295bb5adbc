// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace vek::rows {

/// The row or column at offset steps from i, of count (2 and more): beyond the first and the last one they go on
/// mirrored, without repeating it, so that they keep the colours of a Bayer pattern. offset: -2 .. 2.
/// Inlined, so that no object of a tier has a copy that others could call.
[[gnu::always_inline]] constexpr std::size_t mirrored(std::size_t i, int offset, std::size_t count) {
    const auto last = static_cast<std::ptrdiff_t>(count) - 1;
    std::ptrdiff_t at = static_cast<std::ptrdiff_t>(i) + offset;
    at = at < 0 ? -at : at;
    at = at > last ? 2 * last - at : at;
    return static_cast<std::size_t>(at < 0 ? -at : at); // of two, what lies two further is beyond both ends
}

} // namespace vek::rows
