// SPDX-License-Identifier: Apache-2.0
// Luma of blue-green-red pixels, and its change along a curve.
//
// The tiers with vectors compute luma instead of looking it up, and take a row in chunks: luma of a chunk to a buffer,
// there through the curve, and from there to the pixels.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Curves.inl"
#include "imageproc/rows/kernels/DensePixels.inl"
#include "imageproc/rows/simd/ByteTable.inl"

namespace vek::rows::VEK_ISA {
namespace {

/// Sample as an index into a table of Entries.
template <unsigned Entries, class T>
inline unsigned entryOf(T sample) {
    if constexpr (sizeof(T) == 1) {
        static_assert(Entries >= 256);
        return sample;
    } else {
        return sample < Entries ? sample : Entries - 1;
    }
}

/// Luma of a pixel; the sum of three largest shares fits 16 bits.
template <class T>
inline unsigned lumaOf(const T* pixel, const SLumaTables& tables) {
    constexpr unsigned entries = SLumaTables::kEntries;
    return static_cast<unsigned>(tables.blue[entryOf<entries>(pixel[0])] + tables.green[entryOf<entries>(pixel[1])] +
                                 tables.red[entryOf<entries>(pixel[2])]);
}

template <class T>
inline T clampTo(std::int32_t value, std::int32_t maxValue) {
    return static_cast<T>(value < 0 ? 0 : value > maxValue ? maxValue : value);
}

// ---- plain loops: columns from .. to-1 ----

template <class T>
inline void lumaSpan(const T* row, T* lumaRow, std::size_t from, std::size_t to, std::size_t step,
                     const SLumaTables& tables) {
    for (std::size_t x = from; x < to; ++x) {
        lumaRow[x] = static_cast<T>(lumaOf(row + x * step, tables));
    }
}

template <class T>
inline void lumaCurveSpan(T* row, std::size_t from, std::size_t to, std::size_t step, const SLumaTables& luma,
                          const SLumaCurve& curve, unsigned maxValue) {
    const auto max = static_cast<std::int32_t>(maxValue);
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = row + x * step;
        const unsigned y = lumaOf(pixel, luma);
        const auto change = static_cast<std::int16_t>(curve.levels[entryOf<4096>(static_cast<std::uint16_t>(y))] - y);
        for (unsigned i = 0; i < 3; ++i) {
            pixel[i] = clampTo<T>(pixel[i] + change, max);
        }
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- bodies, in registers ----

/// The share of words within the tables, modulo 65536: the mantissa of its sum with 2^23, where floats are whole
/// numbers. Products have three decimals. A weight that is a little too large takes a half up, and 0.499 not as far;
/// what single precision adds to it is less.
template <int Thousandths, class A>
VEK_INLINE A lumaShare(A samples) {
    using Floats = Like<float, A>;
    constexpr float one = 8388608.0F;
#if defined(__AVX512F__)
    if constexpr (sizeof(A) == 64) {
        // Of weights of 24 bits behind the point the sum is exact, and rounded once: samples may stand in the mantissa
        // of 2^23, too, instead of being converted.
        constexpr std::uint32_t bitsOfOne = 0x4B000000;
        constexpr auto units = static_cast<float>((std::int64_t{Thousandths} * (1 << 24) + 999) / 1000);
        constexpr float weight = units / 16777216.0F;
        const auto floats = as<float>(samples | bitsOfOne);
        return (A)multiplyAdd(floats, all<Floats>(weight), all<Floats>(one - one * weight));
    }
#endif
    constexpr auto weight = static_cast<float>(Thousandths / 1000.0 * (1 + 2e-7));
    return (A)(__builtin_convertvector(as<std::int32_t>(samples), Floats) * weight + one);
}

/// Luma of a block. The weights of ITU-R BT.601 in 15 bits round every byte as the tables do.
template <class A>
VEK_INLINE A lumaBlock(const SColors<A>& colors) {
    if constexpr (sizeof(Lane<A>) == 1) {
        using Words = Like<std::uint16_t, A>;
        return inPairs(
            [](Words blue, Words green, Words red) {
                return mulRound15(blue, all<Words>(3736)) + mulRound15(green, all<Words>(19235)) +
                       mulRound15(red, all<Words>(9798));
            },
            colors.blue, colors.green, colors.red);
    } else {
        using Longs = Like<std::uint32_t, A>;
        const A last = all<A>(SLumaTables::kEntries - 1);
        return inPairs(
            [](Longs blue, Longs green, Longs red) {
                return (lumaShare<114>(blue) + lumaShare<587>(green) + lumaShare<299>(red)) & 0xFFFF;
            },
            smaller(colors.blue, last), smaller(colors.green, last), smaller(colors.red, last));
    }
}

/// From one luma to another.
template <class A>
VEK_INLINE SChange<A> lumaChange(A before, A after) {
    if constexpr (sizeof(Lane<A>) == 1) {
        return {subSat(after, before), subSat(before, after)};
    } else {
        // The difference counts in 16 bits with a sign.
        const A falls = (A)(as<std::int16_t>(after - before) < 0);
        return {(after - before) & ~falls, (before - after) & falls};
    }
}

#if VEK_BYTE_TABLES
/// Bytes with their luma moved along a curve.
template <class A>
VEK_INLINE SColors<A> lumaCurveBlock(const SColors<A>& colors, const SByteTable& curve, A maxValue) {
    const A before = lumaBlock(colors);
    return changeBlock(colors, lumaChange(before, curve.LookUp(before)), maxValue);
}
#endif

// ---- drivers: each works on whole blocks of a row and returns the column behind them ----

/// The curve as the lookup takes it; null where its levels are no bytes.
inline const std::uint16_t* levelsOf(const SLumaCurve& curve, std::uint16_t) {
    return curve.levels;
}
inline const std::uint8_t* levelsOf(const SLumaCurve& curve, std::uint8_t) {
    return curve.bytes;
}

/// body(x, luma) for count pixels, whole blocks.
template <class T, class Body>
VEK_INLINE void forLumaBlocks(const T* pixels, std::size_t count, Body body) {
    for (std::size_t x = 0; x < count; x += kLanes<WideV<T>>) {
        prefetchPixels(pixels + 3 * x);
        body(x, lumaBlock(load3<WideV<T>>(pixels + 3 * x)));
    }
}

/// Luma of count pixels, whole blocks.
template <class T>
inline void lumaBlocks(const T* pixels, T* lumaRow, std::size_t count) {
    forLumaBlocks(pixels, count, [=](std::size_t x, WideV<T> luma) { store(lumaRow + x, luma); });
}

/// The same, and what the curve makes of it.
template <class T>
inline void levelBlocks(const T* pixels, T* lumaRow, T* levelRow, std::size_t count,
                        [[maybe_unused]] const SLumaCurve& curve) {
#if VEK_TONE_SEGMENTS
    if constexpr (sizeof(T) == 2) {
        if (curve.words != nullptr && curve.words->segments != nullptr) {
            const SToneLanes lanes(*curve.words);
            forLumaBlocks(pixels, count, [=, &lanes](std::size_t x, WideV<T> luma) {
                store(lumaRow + x, luma);
                store(levelRow + x, toneBlock<true>(luma, lanes));
            });
            return;
        }
    }
#endif
    lumaBlocks(pixels, lumaRow, count);
    __builtin_memcpy(levelRow, lumaRow, count * sizeof(T));
    const T* const levels = levelsOf(curve, T{});
    lookUp(levelRow, count, levels, levels);
}

/// Pixels are read once where a curve of bytes stands in registers and colours come apart by one permutation each.
/// Elsewhere a chunk's luma goes to a buffer, there through the curve, and the pixels change in memory order:
///
///   pixels   b0 g0 r0 b1 g1 r1 ...   ->   luma   y0 y1 ...   ->   level   curve[y0] curve[y1] ...
///   pixels   b0 g0 r0 b1 g1 r1 ...   +-   d0 d0 d0 d1 d1 d1 ...           d = level - luma
///
/// No neighbours. Luma is rounded as the tables are; the samples stop at 0 and maxValue.
template <class T>
inline std::size_t lumaCurveBlocks(T* row, std::size_t width, std::size_t step, const SLumaCurve& curve,
                                   unsigned maxValue) {
    using A = WideV<T>;
    const T* const levels = levelsOf(curve, T{});
    if (levels == nullptr || !isUsualMaximum<T>(maxValue)) {
        return 0;
    }
    const A max = all<A>(static_cast<T>(maxValue));
    CDensePixels<T> dense(step);
    std::size_t x = 0;
#if VEK_BYTE_TABLES
    if constexpr (sizeof(T) == 1 && kOneShuffleColors) {
        const SByteTable table(levels);
        while (const std::size_t columns = anyColumns<T>(x, width)) {
            T* const pixels = dense.Take(row + x * step, columns);
            for (std::size_t i = 0; i < columns; i += kLanes<A>) {
                prefetchPixels(pixels + 3 * i);
                storePixels<3>(pixels + 3 * i, lumaCurveBlock(load3<A>(pixels + 3 * i), table, max));
            }
            dense.PutBack(row + x * step, columns);
            x += columns;
        }
        return x;
    }
#endif
    SChunk<T> luma;
    SChunk<T> level;
    while (const std::size_t columns = anyColumns<T>(x, width)) {
        const std::size_t count = columns < kLanes<A> ? kLanes<A> : columns;
        T* const pixels = dense.Take(row + x * step, columns);
        levelBlocks(pixels, luma.at, level.at, count, curve);
        for (std::size_t i = 0; i < count; i += kLanes<A>) {
            changePixels(pixels + 3 * i, lumaChange(load<A>(luma.at + i), load<A>(level.at + i)), max);
        }
        dense.PutBack(row + x * step, columns);
        x += columns;
    }
    return x;
}

#endif

// ---- kernels ----

template <class T>
void luma(const T* row, T* lumaRow, std::size_t width, std::size_t step, const SLumaTables& tables) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    CDensePixels<T> dense(step);
    while (const std::size_t count = chunkColumns<T>(done, width)) {
        lumaBlocks<T>(dense.Take(row + done * step, count), lumaRow + done, count);
        done += count;
    }
#endif
    lumaSpan(row, lumaRow, done, width, step, tables);
}

template <class T>
void lumaCurve(T* row, std::size_t width, std::size_t step, const SLumaTables& luma, const SLumaCurve& curve,
               unsigned maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = lumaCurveBlocks(row, width, step, curve, maxValue);
#endif
    lumaCurveSpan(row, done, width, step, luma, curve, maxValue);
}

} // namespace
} // namespace vek::rows::VEK_ISA
