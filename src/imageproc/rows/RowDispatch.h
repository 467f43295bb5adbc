// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/rows/RowTable.h"

namespace vek::rows {

/// Tables of this build, the scalar one first, then each faster tier.
constexpr std::size_t kMaxTiers = 4;
struct STier {
    const SRowTable* table;
    bool usable; ///< the CPU and the operating system have every instruction that the tier's kernels use
};

/// Number of tiers in this build.
std::size_t tierCount();
/// Tier i < tierCount().
STier tier(std::size_t i);
/// The fastest table that this machine can run.
const SRowTable& bestTable();
/// The table of that name; null when this build has none or this machine cannot run it.
const SRowTable* tableByName(const char* name);

} // namespace vek::rows
