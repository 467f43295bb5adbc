// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"
#include "common/Image.h"

#include <array>

struct CVekChainPlan;

namespace vek {

/// What bands have counted since they were asked last.
struct SChainCounts {
    std::array<VekChainCount, 4> raw{}; ///< R, Gr, Gb, B; mono: the first one
    VekChainCount luma{};

    void AddTo(VekChainStatistics& statistics) const;
};

/// Counts rows first .. end-1 of the frame as it came.
template <class T>
void countRaw(const CVekChainPlan& plan, const SImage<const T>& rows, unsigned long first, unsigned long end,
              SChainCounts& counts);
/// The same of the picture's luma: finished rows, blue-green-red or grey.
template <class T>
void countPicture(const CVekChainPlan& plan, const SImage<const T>& rows, unsigned long first, unsigned long end,
                  SChainCounts& counts);

} // namespace vek
