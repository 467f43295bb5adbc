// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"
#include "common/Image.h"
#include "imageproc/rows/RowTable.h"

#include <array>
#include <cstddef>
#include <cstdint>

struct CVekChainPlan;

namespace vek {

/// What bands have counted since they were asked last.
struct SChainCounts {
    std::array<VekChainCount, 4> raw{}; ///< R, Gr, Gb, B; mono: the first one
    VekChainCount luma{};

    void AddTo(VekChainStatistics& statistics) const;
};

/// Counts what a band makes.
class CBandCounter {
public:
    /// Pairs of the frame's even rows, of its odd rows, and of the picture.
    static constexpr std::size_t kTables = 3;

    /// tables: kTables of zeros, which they are again when it is gone.
    CBandCounter(const CVekChainPlan& plan, rows::SPairCounts* tables, SChainCounts& counts)
        : mPlan(plan), mTables(tables), mCounts(counts) {}
    CBandCounter(const CBandCounter&) = delete;
    CBandCounter& operator=(const CBandCounter&) = delete;
    ~CBandCounter();

    /// Counts rows first .. end-1 of the frame as it came.
    template <class T>
    void Raw(const SImage<const T>& rows, unsigned long first, unsigned long end);
    /// The same of the picture's luma: finished rows, blue-green-red or grey.
    template <class T>
    void Picture(const SImage<const T>& rows, unsigned long first, unsigned long end);

private:
    template <class T, class Count>
    void Row(std::size_t table, const T* row, unsigned samplesPerPixel, unsigned depth, Count count);
    void Take(std::size_t table);

    const CVekChainPlan& mPlan;
    rows::SPairCounts* mTables;
    SChainCounts& mCounts;
    std::array<std::size_t, kTables> mColumns{};                 ///< that a table has no more room for
    std::array<std::array<std::uint64_t, 2>, kTables> mPixels{}; ///< in even and in odd columns
};

} // namespace vek
