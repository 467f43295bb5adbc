// SPDX-License-Identifier: Apache-2.0
// How the blocks of a row, as many columns as a vector has lanes, cover it:
//
//   forBlocks         |--first--|        |-- in line with dst --|  ...  |--last--|     elsewhere, pixels
//                          |-- overlap --|
//   storePixelBlocks  the same, of a Bayer row (Bayer.inl)                             elsewhere, pixels
//   forPlaneBlocks    |----------|----------|  ...  |--last--|                         elsewhere, planes
//   storeBlocks       the same; the last one is made first                             perhaps in place
//   changeBlocks      as forBlocks; the first and the last one are made first          in place
//
// None reads or writes a column outside; the plain loops do what does not fill a block.
#pragma once

#include "imageproc/rows/simd/Vector.inl"

#if VEK_VECTOR_BYTES != 0

namespace vek::rows::VEK_ISA {
namespace {

/// A column at which a row of samples or pixels reaches a multiple of A's size in memory: even, 2 .. kLanes<A> behind
/// first (which is even). Where there is none (an odd one, an address that no column brings into line), first +
/// kLanes<A>. Stores that straddle cache lines cost up to half of a store-bound row's speed.
template <class A, unsigned Channels>
inline std::size_t alignedColumn(const Lane<A>* dst, std::size_t first) {
    constexpr std::size_t lanes = kLanes<A>;
    const std::size_t sample = reinterpret_cast<std::uintptr_t>(dst) / sizeof(Lane<A>) + first * Channels;
    std::size_t columns = 0;
    if constexpr (Channels == 3) {
        columns = (0 - sample) * 43 % lanes; // 3 x 43 = 1 modulo 64 and every smaller power of two
    } else if constexpr (Channels == 4) {
        columns = (0 - sample / 4) % (lanes / 4);
    } else {
        static_assert(Channels == 1);
        columns = (0 - sample) % lanes;
    }
    return first + (columns % 2 == 0 && columns != 0 ? columns : lanes);
}

/// Calls body(x) for blocks that cover the columns first .. first + count - 1; first and count are even, and there is
/// at least one block. Every x is even. Blocks overlap behind the first one, to bring the pixels of a row at dst into
/// line, and before the last one: a body that reads what it wrote is no use here.
template <class A, unsigned Channels, class Body>
inline void forBlocks(const Lane<A>* dst, std::size_t first, std::size_t count, Body body) {
    const std::size_t last = first + count - kLanes<A>;
    std::size_t next = alignedColumn<A, Channels>(dst, first);
    // One place that calls body, so that it is inlined and its constants stay in registers.
    for (std::size_t x = first;; next = x + kLanes<A>) {
        body(x);
        if (x == last) {
            return;
        }
        x = next < last ? next : last;
    }
}

/// Even columns from .. from + count - 1 that blocks can take, all with reach columns beyond them within the row; 0
/// where they do not fill a block.
template <class A>
inline std::size_t blockColumns(std::size_t from, std::size_t reach, std::size_t width) {
    const std::size_t count = width < from + reach ? 0 : (width - from - reach) & ~std::size_t{1};
    return count < kLanes<A> ? 0 : count;
}

/// Calls body(x) for blocks from first (even) on that lie before last; the last one overlaps its predecessor, and every
/// x is even. Returns the column behind them, first where the columns do not fill a block.
template <class A, class Body>
inline std::size_t forPlaneBlocks(std::size_t first, std::size_t last, Body body) {
    const std::size_t count = blockColumns<A>(first, 0, last);
    if (count == 0) {
        return first;
    }
    const std::size_t end = first + count - kLanes<A>;
    for (std::size_t x = first; x < end; x += kLanes<A>) {
        body(x);
    }
    body(end);
    return first + count;
}

/// Stores block(x), a vector of samples, at dst + x for the columns 0 .. count-1, from left to right. The last block
/// overlaps the one before it by a multiple of Step columns. It is made first: the source may start where dst does.
/// Returns how many columns are done, all but Step - 1 at most.
template <std::size_t Step, class T, class Block>
inline std::size_t storeBlocks(T* dst, std::size_t count, Block block) {
    using A = RowV<T>;
    constexpr std::size_t lanes = kLanes<A>;
    if (count < lanes) {
        return 0;
    }
    const std::size_t last = (count - lanes) / Step * Step;
    const A lastBlock = block(last);
    for (std::size_t x = 0; x < last; x += lanes) {
        store(dst + x, block(x));
    }
    store(dst + last, lastBlock);
    return last + lanes;
}

template <class A, class Body>
inline std::size_t changeBlocksOf(Lane<A>* row, std::size_t from, std::size_t to, Body body) {
    constexpr std::size_t lanes = kLanes<A>;
    if (to < from + lanes) {
        return from;
    }
    const A first = body(A{}, from);
    const A last = body(A{}, to - lanes);
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(row + from) / sizeof(Lane<A>) % lanes;
    for (std::size_t x = from + lanes - misaligned; x + lanes <= to; x += lanes) {
        store(row + x, body(A{}, x));
    }
    store(row + from, first);
    store(row + to - lanes, last);
    return to;
}

/// Changes columns from .. to-1 of a row in place, block by block: body(A{}, x) gives the vector A that goes to x, from
/// samples of the row at the same columns alone. The first and the last block overlap others, to bring those between
/// into line, and so are made before anything is stored. Returns to, or from where the columns do not fill a vector.
template <class T, class Body>
inline std::size_t changeBlocks(T* row, std::size_t from, std::size_t to, Body body) {
    const std::size_t done = changeBlocksOf<WideV<T>>(row, from, to, body);
    if constexpr (kWideBytes != kRowBytes) {
        return done == from ? changeBlocksOf<RowV<T>>(row, from, to, body) : done;
    }
    return done;
}

} // namespace
} // namespace vek::rows::VEK_ISA

#endif // VEK_VECTOR_BYTES != 0
