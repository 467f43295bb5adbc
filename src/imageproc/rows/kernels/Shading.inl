// SPDX-License-Identifier: Apache-2.0
// Shading correction rows.
//
//   row      s0 s1 s2 ...     each sample with its own entry of the map, 32 bits at any address: no neighbours.
//   entries  e0 e1 e2 ...     Gain: ((s - offset) x e >> 7) + offset, modulo 2^32; then limited.
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
inline void shadingOffsetSpan(T* row, const void* entries, std::size_t from, std::size_t width,
                              std::uint32_t maxValue) {
    for (std::size_t x = from; x < width; ++x) {
        const std::uint32_t sum = row[x] + entryAt(entries, x);
        row[x] = static_cast<std::int32_t>(sum) <= 0 ? T{0} : limited<T>(sum, maxValue);
    }
}

#if VEK_VECTOR_BYTES != 0

using Entries = WideV<std::uint32_t>;

/// As many samples as a vector has entries.
template <class T>
using Samples = V<T, kLanes<Entries> * sizeof(T)>;

/// change(samples, entries) gives the new samples, all as wide as entries.
template <class T, class Change>
inline std::size_t shadingBlocks(T* row, const void* entries, std::size_t width, Change change) {
    return changeBlocksOf<Samples<T>>(row, 0, width, [=](Samples<T>, std::size_t x) {
        const auto* const at = static_cast<const std::uint8_t*>(entries) + x * sizeof(std::uint32_t);
        return narrow<T>(change(widen<std::uint32_t>(load<Samples<T>>(row + x)), load<Entries>(at)));
    });
}

#endif

// ---- kernels ----

template <class T>
void shadingGain(T* row, const void* entries, std::size_t width, std::uint32_t offset, std::uint32_t maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = shadingBlocks(row, entries, width, [=](Entries samples, Entries gains) {
        return smaller(((samples - offset) * gains >> 7) + offset, all<Entries>(maxValue));
    });
#endif
    shadingGainSpan(row, entries, done, width, offset, maxValue);
}

template <class T>
void shadingOffset(T* row, const void* entries, std::size_t width, std::uint32_t maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = shadingBlocks(row, entries, width, [=](Entries samples, Entries offsets) {
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
    return {.gain = shadingGain<T>, .offset = shadingOffset<T>, .show = shadingShow<T>, .addToMean = addToMean<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
