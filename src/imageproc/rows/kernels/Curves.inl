// SPDX-License-Identifier: Apache-2.0
// Samples through tables or times gains, one for even and one for odd columns.
//
//   s0 s1 s2 s3 ...  ->  even[s0] odd[s1] even[s2] odd[s3] ...
//
// No neighbours. Byte x gain / 128: the fraction is cut off, and the byte stops at 255. Words times gains are in
// tables, which are looked up where arithmetic does not give their entries.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"
#include "imageproc/rows/kernels/Segments.inl"
#include "imageproc/rows/simd/ByteTable.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. width-1, from even ----

template <class T>
inline T lookUpOne(const T* table, T sample) {
    if constexpr (sizeof(T) == 1) {
        return table[sample];
    } else {
        constexpr T last = kCurveEntries<T> - 1;
        return table[sample < last ? sample : last];
    }
}

template <class T>
inline void lookUpSpan(T* row, std::size_t from, std::size_t width, const T* even, const T* odd) {
    std::size_t x = from;
    for (; x + 1 < width; x += 2) {
        row[x] = lookUpOne(even, row[x]);
        row[x + 1] = lookUpOne(odd, row[x + 1]);
    }
    if (x < width) {
        row[x] = lookUpOne(even, row[x]);
    }
}

// lookUpBlocks works on the whole blocks of a row and returns how many columns those have. Blocks do not overlap: the
// row is changed in place.

#if VEK_VECTOR_BYTES != 0

inline std::size_t lookUpBlocks([[maybe_unused]] std::uint8_t* row, [[maybe_unused]] std::size_t width,
                                [[maybe_unused]] const std::uint8_t* even, [[maybe_unused]] const std::uint8_t* odd) {
    std::size_t x = 0;
#if VEK_BYTE_TABLES
    const SBytePair tables(even, odd);
    for (; x + SBytePair::columns <= width; x += SBytePair::columns) {
        tables.Change(row + x);
    }
#endif
    return x;
}

/// Tables of words are too large for registers, and gathers are slower than loads. What a vector can do is to see that
/// no sample of a block has to be limited; two samples at a time then take the fewest instructions.
inline std::size_t lookUpBlocks(std::uint16_t* row, std::size_t width, const std::uint16_t* even,
                                const std::uint16_t* odd) {
    constexpr std::uint16_t last = kCurveEntries<std::uint16_t> - 1;
    using A = RowV<std::uint16_t>;
    constexpr std::size_t lanes = kLanes<A>;
    std::size_t x = 0;
    for (; x + lanes <= width; x += lanes) {
        if (any(load<A>(row + x) > last)) {
            lookUpSpan(row, x, x + lanes, even, odd);
            continue;
        }
        for (std::size_t i = 0; i < lanes; i += 2) {
            std::uint32_t samples;
            __builtin_memcpy(&samples, row + x + i, sizeof samples);
            const std::uint32_t results = even[samples & 0xFFFF] | static_cast<std::uint32_t>(odd[samples >> 16]) << 16;
            __builtin_memcpy(row + x + i, &results, sizeof results);
        }
    }
    return x;
}

#endif

// ---- kernels ----

template <class T>
void lookUp(T* row, std::size_t width, const T* even, const T* odd) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = lookUpBlocks(row, width, even, odd);
#endif
    lookUpSpan(row, done, width, even, odd);
}

template <class T>
constexpr SCurveRows<T> curveTable() {
    return {.lookUp = lookUp<T>};
}

#if VEK_TONE_SEGMENTS

/// Pairs of blocks from the first column on; the first and the last pair overlap others, as with changeBlocks, and
/// begin at even columns. Returns the column behind them.
inline std::size_t curvePairs(std::uint16_t* row, std::size_t width, const SToneLanes& even, const SToneLanes& odd) {
    using A = SToneLanes::A;
    constexpr std::size_t lanes = kLanes<A>;
    const std::size_t count = width & ~std::size_t{1};
    if (count < 2 * lanes) {
        return 0;
    }
    const auto pair = [&](std::size_t x) { return tonePair({load<A>(row + x), load<A>(row + x + lanes)}, even, odd); };
    const auto put = [=](std::size_t x, const STonePair& words) {
        store(row + x, words.first);
        store(row + x + lanes, words.second);
    };
    const std::size_t last = count - 2 * lanes;
    const STonePair lastPair = pair(last);
    const STonePair firstPair = pair(0);
    for (std::size_t x = alignedColumn<A, 1>(row, 0); x < last; x += 2 * lanes) {
        put(x, pair(x));
    }
    put(0, firstPair);
    put(last, lastPair);
    return count;
}

#endif

inline void lookUpWords(std::uint16_t* row, std::size_t width, const SToneCurve& even, const SToneCurve& odd) {
#if VEK_TONE_SEGMENTS
    if (even.segments != nullptr && odd.segments != nullptr) {
        std::size_t done = 0;
        const SToneLanes evenLanes(even);
        if (even.segments == odd.segments) {
            using A = SToneLanes::A;
            done = changeBlocksOf<A>(row, 0, width, [=, &evenLanes](A, std::size_t x) {
                return toneBlock<true>(load<A>(row + x), evenLanes);
            });
        } else {
            done = curvePairs(row, width, evenLanes, SToneLanes(odd));
        }
        lookUpSpan(row, done, width, even.entries, odd.entries);
        return;
    }
#endif
    lookUp(row, width, even.entries, odd.entries);
}

constexpr SWordCurveRows wordCurveTable() {
    return {.lookUp = lookUpWords};
}

#if VEK_VECTOR_BYTES != 0

/// Gains as factors of mulHigh: byte x 256 x factor / 65536. One is all it takes to reach 255 with the largest
/// that fits, so that greater gains change nothing.
inline std::uint16_t gainFactor(unsigned gain) {
    constexpr unsigned largest = 32767;
    return static_cast<std::uint16_t>(2 * (gain < largest ? gain : largest));
}

#endif

inline std::uint8_t gained(std::uint8_t sample, unsigned gain) {
    const unsigned value = sample * gain >> 7;
    return static_cast<std::uint8_t>(value < 255 ? value : 255);
}

/// Columns from .. width-1.
inline void gainSpan(std::uint8_t* row, std::size_t from, std::size_t width, unsigned evenGain, unsigned oddGain) {
    std::size_t x = from;
    for (; x + 1 < width; x += 2) {
        row[x] = gained(row[x], evenGain);
        row[x + 1] = gained(row[x + 1], oddGain);
    }
    if (x < width) {
        row[x] = gained(row[x], evenGain);
    }
}

inline void gainBytes(std::uint8_t* row, std::size_t width, unsigned evenGain, unsigned oddGain) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    const std::uint16_t factors[] = {gainFactor(evenGain), gainFactor(oddGain), gainFactor(evenGain)};
    done = changeBlocks(row, 0, width, [=]<class A>(A, std::size_t x) {
        using Words = Like<std::uint16_t, A>;
        const std::uint16_t* const factor = factors + x % 2;
        const auto words = load<Words>(row + x);
        const Words largest = all<Words>(255);
        const Words low = mulHigh(words << 8, all<Words>(factor[0]));
        const Words high = mulHigh(words & 0xFF00, all<Words>(factor[1]));
        return (A)(smaller(low, largest) | smaller(high, largest) << 8);
    });
#endif
    gainSpan(row, done, width, evenGain, oddGain);
}

#if VEK_VECTOR_BYTES != 0

/// A member of both gains, for blocks that start at even and at odd columns.
struct SGainLanes {
    using Shortest = V<std::uint16_t, 16>;
    std::uint16_t at[kLanes<Shortest> + 2];
    VEK_INLINE SGainLanes(std::uint16_t even, std::uint16_t odd) {
        const std::uint16_t pair[] = {even, odd};
        store(at, repeatPair<Shortest>(pair));
        __builtin_memcpy(at + kLanes<Shortest>, pair, sizeof pair);
    }
    /// Longer vectors repeat a pair as they load it.
    template <class A>
    VEK_INLINE A From(std::size_t x) const {
        if constexpr (sizeof(A) == sizeof(Shortest)) {
            return load<A>(at + x % 2);
        } else {
            return repeatPair<A>(at + x % 2);
        }
    }
};

/// Entries of Count words, an even number.
template <std::size_t Count>
[[gnu::noinline]] void lookUpApart(const std::uint16_t* words, std::uint16_t* changed, const std::uint16_t* even,
                                   const std::uint16_t* odd) {
    __builtin_memcpy(changed, words, Count * sizeof *words);
    lookUpSpan(changed, 0, Count, even, odd);
}

#endif

inline void gainWords(std::uint16_t* row, std::size_t width, const SWordGain& even, const SWordGain& odd) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    const SGainLanes first(even.first, odd.first);
    const SGainLanes span(even.span, odd.span);
    const SGainLanes offset(even.offset, odd.offset);
    const SGainLanes limit(even.limit, odd.limit);
    const SGainLanes scale(even.scale, odd.scale);
    const SGainLanes factor(even.factor, odd.factor);
    const SGainLanes largest(even.largest, odd.largest);
    const std::uint16_t* const entries[] = {even.entries, odd.entries, even.entries};
    done = changeBlocks(row, 0, width, [&]<class A>(A, std::size_t x) {
        const A words = load<A>(row + x);
        if (any(subSat(words - first.From<A>(x), span.From<A>(x)))) {
            std::uint16_t changed[kLanes<A>];
            lookUpApart<kLanes<A>>(row + x, changed, entries[x % 2], entries[x % 2 + 1]);
            return load<A>(changed);
        }
        const A counted = smaller(subSat(words, offset.From<A>(x)), limit.From<A>(x));
        return smaller(mulHigh((A)(counted * scale.From<A>(x)), factor.From<A>(x)), largest.From<A>(x));
    });
#endif
    lookUpSpan(row, done, width, even.entries, odd.entries);
}

constexpr SGainRows gainTable() {
    return {.bytes = gainBytes, .words = gainWords};
}

} // namespace
} // namespace vek::rows::VEK_ISA
