// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

// Status of a module operation: an unsigned 64-bit number that holds the signed code of enum VekStatus.
constexpr unsigned long kOk = 0;
constexpr unsigned long kInvalid = static_cast<unsigned long>(-22L);
constexpr unsigned long kNoMemory = static_cast<unsigned long>(-12L);

/// The signed code.
constexpr int statusCode(unsigned long status) {
    return static_cast<int>(static_cast<long>(status));
}

/// 0, or 1 for a failure of any kind.
constexpr int oneIfFailed(unsigned long status) {
    return status == kOk ? 0 : 1;
}

} // namespace vek
