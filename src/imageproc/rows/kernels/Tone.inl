// SPDX-License-Identifier: Apache-2.0
// Samples through tone curves, one for each colour of dense blue-green-red pixels, or one for single samples.
//
//   b0 g0 r0 b1 ...  ->  blue[b0] green[g0] red[r0] blue[b1] ...
//
// No neighbours. Tables of 256 bytes fit registers. Those of 4096 words do as 64 parabolas
// (Segments.inl), where the registers hold them. Elsewhere samples are looked up one by one.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/DensePixels.inl"
#include "imageproc/rows/kernels/Segments.inl"
#include "imageproc/rows/simd/ByteTable.inl"

namespace vek::rows::VEK_ISA {
namespace {

template <class In>
inline In heldTone(In sample) {
    if constexpr (sizeof(In) == 1) {
        return sample;
    } else {
        return smaller(sample, kLastTone);
    }
}

template <class Out>
inline const Out* toneEntries(const SToneCurve& curve) {
    if constexpr (sizeof(Out) == 1) {
        return curve.low;
    } else {
        return curve.entries;
    }
}

// ---- plain loops: columns from .. width-1 ----

template <unsigned Channels, class In, class Out>
inline void toneSpan(const In* src, Out* dst, std::size_t from, std::size_t width, const SToneTables& tables) {
    for (std::size_t x = from; x < width; ++x) {
        for (std::size_t i = 0; i < Channels; ++i) {
            const std::size_t at = Channels * x + i;
            dst[at] = toneEntries<Out>(tables.curve[i])[heldTone(src[at])];
        }
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- bodies ----

#if VEK_BYTE_TABLES
/// Bytes to bytes.
template <class A>
VEK_INLINE A toneBlock(A samples, const SByteTable& table) {
    return table.LookUp(samples);
}
template <class A>
VEK_INLINE SColors<A> toneBlock(const SColors<A>& colors, const SByteTable (&table)[3]) {
    return {table[0].LookUp(colors.blue), table[1].LookUp(colors.green), table[2].LookUp(colors.red)};
}
#endif

#if VEK_TONE_SEGMENTS

/// Words of 12 bits and a fraction to bytes, which are the high ones of words; below them stands anything.
template <int Fraction>
VEK_INLINE SColors<SToneLanes::A> toneHighBytes(const SColors<SToneLanes::A>& colors, const SToneLanes& blue,
                                                const SToneLanes& green, const SToneLanes& red) {
    using A = SToneLanes::A;
    const SToneSteps steps[3] = {toneSteps<Fraction>(colors.blue, blue), toneSteps<Fraction>(colors.green, green),
                                 toneSteps<Fraction>(colors.red, red)};
    if (any((A)((steps[0].bend | steps[1].bend | steps[2].bend) & 1))) {
        return {withExceptions<Fraction, 8>(steps[0].level, colors.blue, *blue.curve),
                withExceptions<Fraction, 8>(steps[1].level, colors.green, *green.curve),
                withExceptions<Fraction, 8>(steps[2].level, colors.red, *red.curve)};
    }
    return {steps[0].level, steps[1].level, steps[2].level};
}
/// Where byte i of dense pixels stands: colours 0 and 1 in the first of two vectors, colour 2 in the second one.
constexpr std::size_t highBytePlace(std::size_t i) {
    return i % 3 == 2 ? 64 + i / 3 * 2 + 1 : i / 3 * 2 + i % 3;
}
/// The high bytes of a block's words as dense pixels.
VEK_INLINE void storeHighBytes(std::uint8_t* dst, const SColors<SToneLanes::A>& colors) {
    using Bytes = V<std::uint8_t, 64>;
    //   blueGreen   b0 g0 b1 g1 ...        permuted to   b0 g0 r0 b1 g1 r1 ...
    //   red         -- r0 -- r1 ...
    const auto blueGreen = (Bytes)select(all<SToneLanes::A>(0x00FF), colors.blue >> 8, colors.green);
    const auto red = (Bytes)colors.red;
    store(dst, permute2(blueGreen, red, constant<Bytes>([](std::size_t i) { return highBytePlace(i); })));
    const Bytes last =
        permute2(blueGreen, red, constant<Bytes>([](std::size_t i) { return highBytePlace((64 + i) % 96); }));
    __builtin_memcpy(dst + 64, &last, 32);
}
VEK_INLINE SColors<SToneLanes::A> toneBlock(const SColors<SToneLanes::A>& colors, const SToneLanes (&lanes)[3]) {
    return {toneBlock(colors.blue, lanes[0]), toneBlock(colors.green, lanes[1]), toneBlock(colors.red, lanes[2])};
}

/// Bytes to words, by the low and the high bytes of the entries.
struct SToneBytePlanes {
    SByteTable low;
    SByteTable high;
    VEK_INLINE explicit SToneBytePlanes(const SToneCurve& curve) : low(curve.low), high(curve.high) {}
};
/// Half 0 or 1 of a vector of bytes, joined with their high bytes to words.
template <std::size_t Half, class A>
VEK_INLINE Like<std::uint16_t, A> joinBytes(A low, A high) {
    return (Like<std::uint16_t, A>)permute2(
        low, high, constant<A>([](std::size_t i) { return Half * (kLanes<A> / 2) + i / 2 + i % 2 * kLanes<A>; }));
}

#endif

// ---- drivers: each returns the column behind what it did ----

template <unsigned Channels, class A>
VEK_INLINE void storeSamples(Lane<A>* dst, const SColors<A>& colors) {
    static_assert(Channels == 3);
    storePixels<3>(dst, colors);
}
template <unsigned Channels, class A>
VEK_INLINE void storeSamples(Lane<A>* dst, A samples) {
    static_assert(Channels == 1);
    store(dst, samples);
}

template <class A>
VEK_INLINE auto narrowSamples(A samples) {
    return narrow<std::uint8_t>(samples);
}
template <class A>
VEK_INLINE auto narrowSamples(const SColors<A>& colors) {
    return SColors<V<std::uint8_t, kLanes<A>>>{narrow<std::uint8_t>(colors.blue), narrow<std::uint8_t>(colors.green),
                                               narrow<std::uint8_t>(colors.red)};
}

/// Samples that are looked up together.
constexpr std::size_t kTones = 4;

/// kTones columns one by one, within their tables.
template <unsigned Channels, class In, class Out>
VEK_INLINE void loadTones(const In* src, Out* dst, const Out* const (&entries)[3]) {
    constexpr std::size_t together = 4 / sizeof(Out);
    for (std::size_t i = 0; i < kTones * Channels; i += together) {
        std::uint32_t stored = 0;
        for (std::size_t j = 0; j < together; ++j) {
            stored |= std::uint32_t{entries[(i + j) % Channels][src[i + j]]} << (8 * sizeof(Out) * j);
        }
        __builtin_memcpy(dst + i, &stored, sizeof stored);
    }
}

/// What a vector can do is to see that no sample of a block has to be held within the table.
template <unsigned Channels, class In, class Out>
inline std::size_t toneByLoads(const In* src, Out* dst, std::size_t width, const SToneTables& tables) {
    const Out* const entries[3] = {toneEntries<Out>(tables.curve[0]), toneEntries<Out>(tables.curve[1]),
                                   toneEntries<Out>(tables.curve[2])};
    constexpr std::size_t lanes = kLanes<RowV<In>>;
    std::size_t x = 0;
    for (; x + lanes <= width; x += lanes) {
        if constexpr (sizeof(In) == 2) {
            auto above = load<RowV<In>>(src + Channels * x);
            for (std::size_t i = 1; i < Channels; ++i) {
                above = larger(above, load<RowV<In>>(src + Channels * x + i * lanes));
            }
            if (any((RowV<In>)(above > kLastTone))) {
                toneSpan<Channels>(src, dst, x, x + lanes, tables);
                continue;
            }
        }
        for (std::size_t i = 0; i < lanes; i += kTones) {
            loadTones<Channels>(src + Channels * (x + i), dst + Channels * (x + i), entries);
        }
    }
    return x;
}

template <unsigned Channels>
inline std::size_t toneBlocks(const std::uint8_t* src, std::uint8_t* dst, std::size_t width,
                              const SToneTables& tables) {
#if VEK_BYTE_TABLES
    using A = SByteTable::Bytes;
    const auto all = [=](const auto& table) {
        return forSampleBlocks<Channels, A>(src, width, [=, &table](std::size_t x, const auto& samples) {
            storeSamples<Channels>(dst + Channels * x, toneBlock(samples, table));
        });
    };
    if constexpr (Channels == 3) {
        const SByteTable table[3] = {SByteTable(tables.curve[0].low), SByteTable(tables.curve[1].low),
                                     SByteTable(tables.curve[2].low)};
        return all(table);
    } else {
        const SByteTable table(tables.curve[0].low);
        return all(table);
    }
#else
    return toneByLoads<Channels>(src, dst, width, tables);
#endif
}

template <unsigned Channels>
inline std::size_t toneBlocks(const std::uint8_t* src, std::uint16_t* dst, std::size_t width,
                              const SToneTables& tables) {
#if VEK_TONE_SEGMENTS
    using A = SByteTable::Bytes;
    constexpr std::size_t half = kLanes<A> / 2;
    if constexpr (Channels == 3) {
        const SToneBytePlanes planes[3] = {SToneBytePlanes(tables.curve[0]), SToneBytePlanes(tables.curve[1]),
                                           SToneBytePlanes(tables.curve[2])};
        return forSampleBlocks<3, A>(src, width, [=, &planes](std::size_t x, const SColors<A>& colors) {
            using Words = Like<std::uint16_t, A>;
            const SColors<A> low = {planes[0].low.LookUp(colors.blue), planes[1].low.LookUp(colors.green),
                                    planes[2].low.LookUp(colors.red)};
            const SColors<A> high = {planes[0].high.LookUp(colors.blue), planes[1].high.LookUp(colors.green),
                                     planes[2].high.LookUp(colors.red)};
            storePixels<3>(dst + 3 * x,
                           SColors<Words>{joinBytes<0>(low.blue, high.blue), joinBytes<0>(low.green, high.green),
                                          joinBytes<0>(low.red, high.red)});
            storePixels<3>(dst + 3 * (x + half),
                           SColors<Words>{joinBytes<1>(low.blue, high.blue), joinBytes<1>(low.green, high.green),
                                          joinBytes<1>(low.red, high.red)});
        });
    } else {
        const SToneBytePlanes planes(tables.curve[0]);
        return forSampleBlocks<1, A>(src, width, [=, &planes](std::size_t x, A samples) {
            const A low = planes.low.LookUp(samples);
            const A high = planes.high.LookUp(samples);
            store(dst + x, joinBytes<0>(low, high));
            store(dst + x + half, joinBytes<1>(low, high));
        });
    }
#else
    return toneByLoads<Channels>(src, dst, width, tables);
#endif
}

template <unsigned Channels, class Out>
inline std::size_t toneBlocks(const std::uint16_t* src, Out* dst, std::size_t width, const SToneTables& tables) {
#if VEK_TONE_SEGMENTS
    bool segments = true;
    for (std::size_t i = 0; i < Channels; ++i) {
        segments = segments && tables.curve[i].segments != nullptr;
    }
    if (segments) {
        const auto all = [=](const auto& lanes) {
            return forSampleBlocks<Channels, SToneLanes::A>(
                src, width, [=, &lanes](std::size_t x, const auto& samples) {
                    if constexpr (sizeof(Out) == 1) {
                        storeSamples<Channels>(dst + Channels * x, narrowSamples(toneBlock(samples, lanes)));
                    } else {
                        storeSamples<Channels>(dst + Channels * x, toneBlock(samples, lanes));
                    }
                });
        };
        if constexpr (Channels == 3) {
            const SToneLanes lanes[3] = {SToneLanes(tables.curve[0]), SToneLanes(tables.curve[1]),
                                         SToneLanes(tables.curve[2])};
            return all(lanes);
        } else {
            const SToneLanes lanes(tables.curve[0]);
            return all(lanes);
        }
    }
#endif
    return toneByLoads<Channels>(src, dst, width, tables);
}

#endif

// ---- kernels ----

template <class In, class Out>
void toneSamples(const In* src, Out* dst, std::size_t width, const SToneTables& tables) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = toneBlocks<1>(src, dst, width, tables);
#endif
    toneSpan<1>(src, dst, done, width, tables);
}

template <class In, class Out>
void tonePixels(const In* src, Out* dst, std::size_t width, const SToneTables& tables) {
    if (tables.alike) {
        toneSamples(src, dst, 3 * width, tables);
        return;
    }
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = toneBlocks<3>(src, dst, width, tables);
#endif
    toneSpan<3>(src, dst, done, width, tables);
}

template <class In, class Out>
constexpr SToneRows<In, Out> toneTable() {
    return {.pixels = tonePixels<In, Out>, .samples = toneSamples<In, Out>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
