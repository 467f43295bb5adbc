// SPDX-License-Identifier: Apache-2.0
// Pixels in memory and their colours in vectors of their own.
//
//   memory      b0 g0 r0 b1 g1 r1 b2 ...        (or a fourth sample behind each red one)
//   registers   b0 b1 b2 ...   g0 g1 g2 ...   r0 r1 r2 ...
#pragma once

#include "imageproc/rows/simd/Vector.inl"

#if VEK_VECTOR_BYTES != 0

namespace vek::rows::VEK_ISA {
namespace {

// ---- pixels within 16 bytes ----

/// Bytes that a pixel takes while it is moved: 3 and 6 grow to a power of two.
template <std::size_t Bytes>
constexpr std::size_t kUnit = Bytes == 3   ? 4
                              : Bytes == 6 ? 8
                                           : Bytes;

/// The first pixels of 16 bytes, as many as fit at kUnit bytes each, at those; and back, with zeros behind them.
template <std::size_t Bytes>
VEK_INLINE V<std::uint8_t, 16> widenPixels(V<std::uint8_t, 16> v) {
    constexpr std::size_t unit = kUnit<Bytes>;
    if constexpr (unit == Bytes) {
        return v;
    }
    return shuffle(v, constant<V<std::uint8_t, 16>>(
                          [](std::size_t i) { return i % unit < Bytes ? i / unit * Bytes + i % unit : 0x80; }));
}
template <std::size_t Bytes>
VEK_INLINE V<std::uint8_t, 16> narrowPixels(V<std::uint8_t, 16> v) {
    constexpr std::size_t unit = kUnit<Bytes>;
    if constexpr (unit == Bytes) {
        return v;
    }
    return shuffle(v, constant<V<std::uint8_t, 16>>(
                          [](std::size_t i) { return i < 16 / unit * Bytes ? i / Bytes * unit + i % Bytes : 0x80; }));
}

// storePixels writes as many pixels as the vectors have lanes, Channels samples apart. A fourth sample of a pixel is
// neither read nor written: it may belong to another thread, or lie on a page that is not there. storeFilled writes it,
// for those whose own it is. load3 takes as many
// dense pixels of three samples apart. repeatLanes<K> gives sample i of the K-th of their three vectors in memory order
// the lane of its pixel in v.

#if defined(__ARM_NEON)

/// Whether load3 and storePixels cost about what as many loads, shuffles and stores do.
constexpr bool kOneShuffleColors = true;

template <class A>
VEK_INLINE SColors<A> load3(const Lane<A>* p) {
    if constexpr (sizeof(Lane<A>) == 1) {
        const uint8x16x3_t v = vld3q_u8(p);
        return {(A)v.val[0], (A)v.val[1], (A)v.val[2]};
    } else {
        const uint16x8x3_t v = vld3q_u16(p);
        return {(A)v.val[0], (A)v.val[1], (A)v.val[2]};
    }
}

template <std::size_t I, class T, class Three>
VEK_INLINE void storeLanesFrom(T* dst, Three v) {
    if constexpr (I < 16 / sizeof(T)) {
        if constexpr (sizeof(T) == 1) {
            vst3q_lane_u8(dst + 4 * I, v, I);
        } else {
            vst3q_lane_u16(dst + 4 * I, v, I);
        }
        storeLanesFrom<I + 1>(dst, v);
    }
}

template <unsigned Channels, class A>
VEK_INLINE void storePixels(Lane<A>* dst, const SColors<A>& colors) {
    if constexpr (sizeof(Lane<A>) == 1) {
        const uint8x16x3_t v = {{(uint8x16_t)colors.blue, (uint8x16_t)colors.green, (uint8x16_t)colors.red}};
        if constexpr (Channels == 3) {
            vst3q_u8(dst, v);
        } else {
            storeLanesFrom<0>(dst, v);
        }
    } else {
        const uint16x8x3_t v = {{(uint16x8_t)colors.blue, (uint16x8_t)colors.green, (uint16x8_t)colors.red}};
        if constexpr (Channels == 3) {
            vst3q_u16(dst, v);
        } else {
            storeLanesFrom<0>(dst, v);
        }
    }
}

template <class A>
VEK_INLINE void storeFilled(Lane<A>* dst, const SColors<A>& colors, A fourth) {
    if constexpr (sizeof(Lane<A>) == 1) {
        vst4q_u8(dst,
                 {{(uint8x16_t)colors.blue, (uint8x16_t)colors.green, (uint8x16_t)colors.red, (uint8x16_t)fourth}});
    } else {
        vst4q_u16(dst,
                  {{(uint16x8_t)colors.blue, (uint16x8_t)colors.green, (uint16x8_t)colors.red, (uint16x8_t)fourth}});
    }
}

template <std::size_t K, class A>
VEK_INLINE A repeatLanes(A v) {
    using Bytes = Like<std::uint8_t, A>;
    return (A)shuffle((Bytes)v, constant<Bytes>([](std::size_t byte) {
                          return (K * kLanes<A> + byte / sizeof(Lane<A>)) / 3 * sizeof(Lane<A>) +
                                 byte % sizeof(Lane<A>);
                      }));
}

#else // x86-64

constexpr bool kOneShuffleColors = kPermutes;

// Three vectors of dense pixels are three parts of as many bytes as one shuffle reaches (16, or all of a vector), or
// twice three. No such size is a multiple of 3, so that each place of a part belongs to a given colour in exactly one
// of the three:
//
//   part 0   b g r b g r ... b       one shuffle puts all samples of a colour where they go, or takes them from there,
//   part 1   g r b g r b ... g       and selections do the rest
//   part 2   r b g r b g ... r
//
template <class A>
constexpr std::size_t kReach = kPermutes ? sizeof(A) : 16;

template <class A>
VEK_INLINE A shuffleReach(A v, A index) {
    if constexpr (kPermutes) {
        return permute(v, index);
    } else {
        return shuffle(v, index);
    }
}

/// The part whose sample i belongs to the colour.
template <class A>
constexpr std::size_t partOf(std::size_t color, std::size_t i) {
    for (std::size_t part = 0; part < 2; ++part) {
        if ((part * (kReach<A> / sizeof(Lane<A>)) + i) % 3 == color) {
            return part;
        }
    }
    return 2;
}

/// Sample of its part, colour and pixel: byte is that of a vector.
template <class A>
constexpr std::size_t sampleAt(std::size_t byte) {
    return byte % kReach<A> / sizeof(Lane<A>);
}

/// A colour's samples where they stand in memory, each in its part.
template <std::size_t Color, class A>
VEK_INLINE Like<std::uint8_t, A> spread(A v) {
    using Bytes = Like<std::uint8_t, A>;
    return shuffleReach((Bytes)v, constant<Bytes>([](std::size_t byte) {
                            const std::size_t i = sampleAt<A>(byte);
                            constexpr std::size_t samples = kReach<A> / sizeof(Lane<A>);
                            return (partOf<A>(Color, i) * samples + i) / 3 * sizeof(Lane<A>) + byte % sizeof(Lane<A>);
                        }));
}
template <std::size_t Part, class A>
VEK_INLINE Like<std::uint8_t, A> partOfSpread(const SColors<Like<std::uint8_t, A>>& spread) {
    const auto blueGreen =
        blend(spread.green, spread.blue, [](std::size_t byte) { return partOf<A>(1, sampleAt<A>(byte)) == Part; });
    return blend(spread.red, blueGreen, [](std::size_t byte) { return partOf<A>(2, sampleAt<A>(byte)) == Part; });
}
template <std::size_t Color, class A>
VEK_INLINE A colorOfParts(Like<std::uint8_t, A> part0, Like<std::uint8_t, A> part1, Like<std::uint8_t, A> part2) {
    using Bytes = Like<std::uint8_t, A>;
    const Bytes firstTwo =
        blend(part1, part0, [](std::size_t byte) { return partOf<A>(Color, sampleAt<A>(byte)) == 1; });
    const Bytes both =
        blend(part2, firstTwo, [](std::size_t byte) { return partOf<A>(Color, sampleAt<A>(byte)) == 2; });
    return (A)shuffleReach(both, constant<Bytes>([](std::size_t byte) {
                               return (3 * sampleAt<A>(byte) + Color) * sizeof(Lane<A>) % kReach<A> +
                                      byte % sizeof(Lane<A>);
                           }));
}

template <class A>
VEK_INLINE SColors<A> load3(const Lane<A>* p) {
    using Bytes = Like<std::uint8_t, A>;
    const auto v0 = load<Bytes>(p);
    const auto v1 = load<Bytes>(p + kLanes<A>);
    const auto v2 = load<Bytes>(p + 2 * kLanes<A>);
    Bytes part0 = v0;
    Bytes part1 = v1;
    Bytes part2 = v2;
    if constexpr (kReach<A> != sizeof(A)) {
        // The first 16 bytes' worth of pixels to the low halves, the second to the high ones.
        part0 = lowAndHigh(v0, v1);
        part1 = joinHalves<0x21>(v0, v2);
        part2 = lowAndHigh(v1, v2);
    }
    return {colorOfParts<0, A>(part0, part1, part2), colorOfParts<1, A>(part0, part1, part2),
            colorOfParts<2, A>(part0, part1, part2)};
}

/// Stores the first three samples of each four in a vector.
template <class A>
VEK_INLINE void storeThreeOfFour(Lane<A>* dst, A pixels) {
    constexpr bool bytes = sizeof(Lane<A>) == 1;
    constexpr std::uint64_t mask = 0x7777777777777777;
    if constexpr (kPermutes && sizeof(A) == 64) {
        bytes ? _mm512_mask_storeu_epi8(dst, mask, (__m512i)pixels)
              : _mm512_mask_storeu_epi16(dst, static_cast<__mmask32>(mask), (__m512i)pixels);
    } else if constexpr (kPermutes && sizeof(A) == 32) {
        bytes ? _mm256_mask_storeu_epi8(dst, static_cast<__mmask32>(mask), (__m256i)pixels)
              : _mm256_mask_storeu_epi16(dst, static_cast<__mmask16>(mask), (__m256i)pixels);
    } else {
        // No store of these instruction sets leaves single bytes out: pixels go out one by one.
        const auto words = as<std::uint64_t>(pixels);
        for (std::size_t i = 0; i < sizeof(A) / 8; ++i) {
            const std::uint64_t word = words[i];
            Lane<A>* const at = dst + i * (8 / sizeof(Lane<A>));
            if constexpr (bytes) {
                const auto blueGreen = static_cast<std::uint16_t>(word);
                const auto nextBlueGreen = static_cast<std::uint16_t>(word >> 32);
                __builtin_memcpy(at, &blueGreen, 2);
                at[2] = static_cast<std::uint8_t>(word >> 16);
                __builtin_memcpy(at + 4, &nextBlueGreen, 2);
                at[6] = static_cast<std::uint8_t>(word >> 48);
            } else {
                const auto blueGreen = static_cast<std::uint32_t>(word);
                __builtin_memcpy(at, &blueGreen, 4);
                at[2] = static_cast<std::uint16_t>(word >> 32);
            }
        }
    }
}

/// Vector K of pixels of four samples, from two registers at a time.
template <std::size_t K, class A>
VEK_INLINE A fourOf(const SColors<A>& colors) {
    using Bytes = Like<std::uint8_t, A>;
    constexpr std::size_t size = sizeof(Lane<A>);
    const Bytes blueGreen = permute2((Bytes)colors.blue, (Bytes)colors.green, constant<Bytes>([](std::size_t byte) {
                                         const std::size_t sample = K * kLanes<A> + byte / size;
                                         return sample / 4 * size + byte % size + (sample % 4 == 1 ? sizeof(A) : 0);
                                     }));
    return (A)permute2(blueGreen, (Bytes)colors.red, constant<Bytes>([](std::size_t byte) {
                           const std::size_t sample = K * kLanes<A> + byte / size;
                           return sample % 4 == 2 ? sizeof(A) + sample / 4 * size + byte % size : byte;
                       }));
}

/// Pixels of four samples: a vector of them with the fourth ones, or without.
template <bool Filled, class A>
VEK_INLINE void storeFour(Lane<A>* dst, A pixels) {
    if constexpr (Filled) {
        store(dst, pixels);
    } else {
        storeThreeOfFour(dst, pixels);
    }
}
template <bool Filled, class A>
VEK_INLINE void storeFours(Lane<A>* dst, const SColors<A>& colors, A fourth) {
    constexpr std::size_t lanes = kLanes<A>;
    if constexpr (sizeof(A) == 64) {
        const auto withFourth = [=](A pixels) {
            using Bytes = Like<std::uint8_t, A>;
            return (A)blend((Bytes)fourth, (Bytes)pixels, [](std::size_t i) { return i / sizeof(Lane<A>) % 4 == 3; });
        };
        storeFour<Filled>(dst, withFourth(fourOf<0>(colors)));
        storeFour<Filled>(dst + lanes, withFourth(fourOf<1>(colors)));
        storeFour<Filled>(dst + 2 * lanes, withFourth(fourOf<2>(colors)));
        storeFour<Filled>(dst + 3 * lanes, withFourth(fourOf<3>(colors)));
    } else {
        constexpr std::size_t size = sizeof(Lane<A>);
        const A blueGreenLow = zipLow<size>(colors.blue, colors.green);
        const A blueGreenHigh = zipHigh<size>(colors.blue, colors.green);
        const A redLow = zipLow<size>(colors.red, fourth);
        const A redHigh = zipHigh<size>(colors.red, fourth);
        const A run0 = zipLow<2 * size>(blueGreenLow, redLow);
        const A run1 = zipHigh<2 * size>(blueGreenLow, redLow);
        const A run2 = zipLow<2 * size>(blueGreenHigh, redHigh);
        const A run3 = zipHigh<2 * size>(blueGreenHigh, redHigh);
        if constexpr (sizeof(A) == 16) {
            storeFour<Filled>(dst, run0);
            storeFour<Filled>(dst + lanes, run1);
            storeFour<Filled>(dst + 2 * lanes, run2);
            storeFour<Filled>(dst + 3 * lanes, run3);
        } else {
            storeFour<Filled>(dst, joinHalves<0x20>(run0, run1));
            storeFour<Filled>(dst + lanes, joinHalves<0x20>(run2, run3));
            storeFour<Filled>(dst + 2 * lanes, joinHalves<0x31>(run0, run1));
            storeFour<Filled>(dst + 3 * lanes, joinHalves<0x31>(run2, run3));
        }
    }
}

template <class A>
VEK_INLINE void storeFilled(Lane<A>* dst, const SColors<A>& colors, A fourth) {
    storeFours<true>(dst, colors, fourth);
}

template <unsigned Channels, class A>
VEK_INLINE void storePixels(Lane<A>* dst, const SColors<A>& colors) {
    constexpr std::size_t lanes = kLanes<A>;
    if constexpr (Channels == 3) {
        using Bytes = Like<std::uint8_t, A>;
        const SColors<Bytes> all = {spread<0>(colors.blue), spread<1>(colors.green), spread<2>(colors.red)};
        const Bytes part0 = partOfSpread<0, A>(all);
        const Bytes part1 = partOfSpread<1, A>(all);
        const Bytes part2 = partOfSpread<2, A>(all);
        if constexpr (kReach<A> == sizeof(A)) {
            store(dst, part0);
            store(dst + lanes, part1);
            store(dst + 2 * lanes, part2);
        } else {
            // The low halves hold the first 16 bytes' worth of pixels, the high halves the second.
            store(dst, joinHalves<0x20>(part0, part1));
            store(dst + lanes, lowAndHigh(part2, part0));
            store(dst + 2 * lanes, joinHalves<0x31>(part1, part2));
        }
    } else {
        storeFours<false>(dst, colors, A{});
    }
}

template <std::size_t K, class A>
VEK_INLINE A repeatLanes(A v) {
    using Bytes = Like<std::uint8_t, A>;
    auto source = (Bytes)v;
    if constexpr (kReach<A> != sizeof(A)) {
        // Of the six halves that the pixels fill, three have their pixels in the low half of v, three in the high one.
        constexpr int halves = K == 0 ? 0x00 : K == 1 ? 0x10 : 0x11;
        source = joinHalves<halves>(source, source);
    }
    return (A)shuffleReach(source, constant<Bytes>([](std::size_t byte) {
                               const std::size_t sample = K * kLanes<A> + byte / sizeof(Lane<A>);
                               return sample / 3 * sizeof(Lane<A>) % kReach<A> + byte % sizeof(Lane<A>);
                           }));
}

#endif // x86-64

/// Pixels whose three samples are alike.
template <unsigned Channels, class A>
VEK_INLINE void storeGray(Lane<A>* dst, A v) {
    if constexpr (Channels == 3) {
        store(dst, repeatLanes<0>(v));
        store(dst + kLanes<A>, repeatLanes<1>(v));
        store(dst + 2 * kLanes<A>, repeatLanes<2>(v));
    } else {
        storePixels<Channels>(dst, SColors<A>{v, v, v});
    }
}

} // namespace
} // namespace vek::rows::VEK_ISA

#endif // VEK_VECTOR_BYTES != 0
