// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"
#include "chain/HandleStages.h"
#include "chain/Statistics.h"
#include "common/Memory.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace vek {

constexpr std::size_t kCacheLine = 64;

constexpr std::size_t roundUpToLine(std::size_t bytes) {
    return (bytes + kCacheLine - 1) / kCacheLine * kCacheLine;
}

} // namespace vek

/// Working memory of one thread, and what it has counted.
struct CVekChainWork {
    std::size_t bytes = 0;
    vek::Malloced<void> memory; ///< its beginning is that of a cache line
    vek::SChainCounts counts;
    bool hasClearTables = false; ///< the memory begins with zeros for statistics
};

/// What is known of a frame before its first band runs.
struct CVekChainState {
    std::uint64_t preparedBy = 0; ///< id of a plan, 0: nobody
    std::size_t bytes = 0;
    vek::Malloced<unsigned char> frame; ///< filtered, rows without padding
    vek::SWBStage balance;              ///< with the gains of the frame
    vek::SWBStatistics statistics;
    /// Whose settings the balance that was worked out once belongs to.
    std::shared_ptr<const vek::SHandleStages> balancedOnce;
};
