// SPDX-License-Identifier: Apache-2.0
// Shading correction rows.
//
//   row      s0 s1 s2 ...     each sample with its own entry of the map, 32 bits at any address: no neighbours.
//   entries  e0 e1 e2 ...     Gain: ((s - offset) x e >> 7) + offset, modulo 2^32; then limited.
//
//   row      s0 s1 s2 ...     Gain of 16 bits: s x g >> 7, limited; g: 0 .. 32767. The product needs no lanes of 32
//   gains    g0 g1 g2 ...     bits: a byte's is the upper half of (s x 256) x (g x 2), a word's joins both halves.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"

namespace vek::rows::VEK_ISA {
namespace {

/// Entry x of a map row that starts at any address.
inline std::uint32_t entryAt(const void* entries, std::size_t x) {
    std::uint32_t entry;
    __builtin_memcpy(&entry, static_cast<const std::uint8_t*>(entries) + x * sizeof entry, sizeof entry);
    return entry;
}

template <class T>
inline T limited(std::uint32_t value, std::uint32_t maxValue) {
    return static_cast<T>(value < maxValue ? value : maxValue);
}

// ---- plain loops: columns from .. width-1 ----

template <class T>
inline void shadingGainSpan(T* row, const void* entries, std::size_t from, std::size_t width, std::uint32_t offset,
                            std::uint32_t maxValue) {
    for (std::size_t x = from; x < width; ++x) {
        row[x] = limited<T>(((row[x] - offset) * entryAt(entries, x) >> 7) + offset, maxValue);
    }
}

template <class T>
inline void shadingGain16Span(T* row, const std::uint16_t* gains, std::size_t from, std::size_t width,
                              std::uint32_t maxValue) {
    for (std::size_t x = from; x < width; ++x) {
        row[x] = limited<T>(std::uint32_t{row[x]} * gains[x] >> 7, maxValue);
    }
}

template <class T>
inline void shadingOffsetSpan(T* row, const void* entries, std::size_t from, std::size_t width,
                              std::uint32_t maxValue) {
    for (std::size_t x = from; x < width; ++x) {
        const std::uint32_t sum = row[x] + entryAt(entries, x);
        row[x] = static_cast<std::int32_t>(sum) <= 0 ? T{0} : limited<T>(sum, maxValue);
    }
}

#if VEK_VECTOR_BYTES != 0

using Entries = WideV<std::uint32_t>;
using Gains = WideV<std::uint16_t>;

/// change(samples, entries) gives the new samples, all as wide as the lanes of A, the vectors of entries.
template <class A, class T, class Change>
inline std::size_t shadingBlocks(T* row, const void* entries, std::size_t width, Change change) {
    using Samples = V<T, kLanes<A> * sizeof(T)>;
    return changeBlocksOf<Samples>(row, 0, width, [=](Samples, std::size_t x) {
        const auto samples = load<Samples>(row + x);
        const auto there = load<A>(static_cast<const std::uint8_t*>(entries) + x * sizeof(Lane<A>));
        if constexpr (sizeof(T) == sizeof(Lane<A>)) {
            return change(samples, there);
        } else {
            return narrow<T>(change(widen<Lane<A>>(samples), there));
        }
    });
}

/// Samples of T in words times gains / 128, at most 65535. Gains: 0 .. 32767.
template <class T, class A>
VEK_INLINE A gain16Block(A samples, A gains) {
    if constexpr (sizeof(T) == 1) {
        return mulHigh(samples << 8, gains << 1);
    } else {
        // Upper halves stay below 2^15; from 2^7 on the result leaves 16 bits.
        const A upper = mulHigh(samples, gains);
        return upper << 9 | samples * gains >> 7 | (A)((Like<std::int16_t, A>)upper > 127);
    }
}

#endif

// ---- kernels ----

template <class T>
void shadingGain(T* row, const void* entries, std::size_t width, std::uint32_t offset, std::uint32_t maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = shadingBlocks<Entries>(row, entries, width, [=](Entries samples, Entries gains) {
        return smaller(((samples - offset) * gains >> 7) + offset, all<Entries>(maxValue));
    });
#endif
    shadingGainSpan(row, entries, done, width, offset, maxValue);
}

template <class T>
void shadingGain16(T* row, const std::uint16_t* gains, std::size_t width, T maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = shadingBlocks<Gains>(row, gains, width, [=](Gains samples, Gains factors) {
        return smaller(gain16Block<T>(samples, factors), all<Gains>(maxValue));
    });
#endif
    shadingGain16Span(row, gains, done, width, maxValue);
}

template <class T>
void shadingOffset(T* row, const void* entries, std::size_t width, std::uint32_t maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = shadingBlocks<Entries>(row, entries, width, [=](Entries samples, Entries offsets) {
        using Signed = Like<std::int32_t, Entries>;
        const auto sums = larger((Signed)(samples + offsets), Signed{});
        return smaller((Entries)sums, all<Entries>(maxValue));
    });
#endif
    shadingOffsetSpan(row, entries, done, width, maxValue);
}

template <class T>
void shadingShow(T* row, const void* entries, std::size_t width, std::uint32_t maxValue) {
    for (std::size_t x = 0; x < width; ++x) {
        row[x] = limited<T>(entryAt(entries, x), maxValue);
    }
}

template <class T>
void addToMean(const T* row, double* mean, std::size_t width, double count) {
    for (std::size_t x = 0; x < width; ++x) {
        mean[x] = (mean[x] * count + row[x]) / (count + 1);
    }
}

template <class T>
constexpr SShadingRows<T> shadingTable() {
    return {.gain = shadingGain<T>,
            .gain16 = shadingGain16<T>,
            .offset = shadingOffset<T>,
            .show = shadingShow<T>,
            .addToMean = addToMean<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
