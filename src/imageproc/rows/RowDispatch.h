// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/rows/RowTable.h"

namespace vek::rows {

struct STier {
    const SRowTable* table;
    bool usable; ///< the CPU and the operating system have every instruction that the tier's kernels use
};

/// Number of tables in this build.
std::size_t tierCount();
/// The table at i < tierCount(): the scalar one first, then each faster tier.
STier tier(std::size_t i);
/// The fastest table that this machine can run.
const SRowTable& bestTable();

} // namespace vek::rows
