// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

namespace vek {

/// Thrown where a description cannot work.
struct SRefusal {
    std::string reason; ///< the member and why, one line
};

[[noreturn]] inline void refuse(std::string reason) {
    throw SRefusal{std::move(reason)};
}

/// Refuses unless right.
inline void require(bool right, const char* reason) {
    if (!right) {
        refuse(reason);
    }
}

} // namespace vek
