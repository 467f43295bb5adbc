// SPDX-License-Identifier: Apache-2.0
// What the compiler's vector types cannot say, on x86-64: vectors of 16, 32 and 64 bytes, as far as the instruction set
// has them. Zipping, packing, shuffling and their like work within each 16 bytes.
#pragma once

#include <immintrin.h>

namespace vek::rows::VEK_ISA {
namespace {

// ---- intrinsics by the length of their vectors ----

// mm::op is _mm_op, _mm256_op or _mm512_op.
#define VEK_MM_BINARY(op)                                                                                              \
    template <class A>                                                                                                 \
    VEK_INLINE A op(A a, A b) {                                                                                        \
        if constexpr (sizeof a == 64) {                                                                                \
            return (A)_mm512_##op((__m512i)a, (__m512i)b);                                                             \
        } else if constexpr (sizeof a == 32) {                                                                         \
            return (A)_mm256_##op((__m256i)a, (__m256i)b);                                                             \
        } else {                                                                                                       \
            return (A)_mm_##op((__m128i)a, (__m128i)b);                                                                \
        }                                                                                                              \
    }
namespace mm {
VEK_MM_BINARY(adds_epu8)
VEK_MM_BINARY(adds_epu16)
VEK_MM_BINARY(adds_epi16)
VEK_MM_BINARY(subs_epu8)
VEK_MM_BINARY(subs_epu16)
VEK_MM_BINARY(avg_epu8)
VEK_MM_BINARY(avg_epu16)
VEK_MM_BINARY(mulhi_epi16)
VEK_MM_BINARY(mulhi_epu16)
VEK_MM_BINARY(mulhrs_epi16)
VEK_MM_BINARY(maddubs_epi16)
VEK_MM_BINARY(madd_epi16)
VEK_MM_BINARY(packus_epi16)
VEK_MM_BINARY(packus_epi32)
VEK_MM_BINARY(packs_epi32)
VEK_MM_BINARY(unpacklo_epi8)
VEK_MM_BINARY(unpacklo_epi16)
VEK_MM_BINARY(unpacklo_epi32)
VEK_MM_BINARY(unpacklo_epi64)
VEK_MM_BINARY(unpackhi_epi8)
VEK_MM_BINARY(unpackhi_epi16)
VEK_MM_BINARY(unpackhi_epi32)
VEK_MM_BINARY(unpackhi_epi64)
VEK_MM_BINARY(shuffle_epi8)
} // namespace mm
#undef VEK_MM_BINARY

/// Whether bytes anywhere in a vector can be picked, from one register or from two, and lanes be masked.
#if defined(__AVX512VBMI__)
constexpr bool kPermutes = true;
#else
constexpr bool kPermutes = false;
#endif

/// All lanes. The intrinsics without a mask start from an undefined vector, which g++ 12 warns of.
constexpr std::uint64_t kEveryLane = ~std::uint64_t{0};

/// The lowest bytes of a register, up to 8 of them; the others are 0.
template <class A>
VEK_INLINE __m128i inLow(A v) {
    if constexpr (sizeof v == 4) {
        return _mm_cvtsi32_si128((int)v);
    } else if constexpr (sizeof v == 8) {
        return _mm_cvtsi64_si128((long long)v);
    } else {
        return (__m128i)v;
    }
}
template <class A>
VEK_INLINE A fromLow(__m128i v) {
    if constexpr (sizeof(A) == 4) {
        return (A)_mm_cvtsi128_si32(v);
    } else if constexpr (sizeof(A) == 8) {
        return (A)_mm_cvtsi128_si64(v);
    } else {
        return (A)v;
    }
}

// ---- lane by lane ----

/// Whether any bit is set.
template <class A>
VEK_INLINE bool any(A mask) {
    if constexpr (sizeof mask == 64) {
        return _mm512_test_epi64_mask((__m512i)mask, (__m512i)mask) != 0;
    } else if constexpr (sizeof mask == 32) {
        return _mm256_testz_si256((__m256i)mask, (__m256i)mask) == 0;
    } else {
        return _mm_testz_si128((__m128i)mask, (__m128i)mask) == 0;
    }
}

/// a + b and a - b, held within the range of unsigned bytes or words; sums of signed words, too.
template <class A>
VEK_INLINE A addSat(A a, A b) {
    if constexpr (sizeof(Lane<A>) == 1) {
        return mm::adds_epu8(a, b);
    } else if constexpr (Lane<A>(-1) < 0) {
        return mm::adds_epi16(a, b);
    } else {
        return mm::adds_epu16(a, b);
    }
}
template <class A>
VEK_INLINE A subSat(A a, A b) {
    if constexpr (sizeof(Lane<A>) == 1) {
        return mm::subs_epu8(a, b);
    } else {
        return mm::subs_epu16(a, b);
    }
}

/// The mean of bytes or words without a sign, rounded up.
template <class A>
VEK_INLINE A meanUp(A a, A b) {
    if constexpr (sizeof(Lane<A>) == 1) {
        return mm::avg_epu8(a, b);
    } else {
        return mm::avg_epu16(a, b);
    }
}

/// Words with a sign without it; -2^15 stays.
template <class A>
VEK_INLINE A absolute(A v) {
    if constexpr (sizeof v == 64) {
        return (A)_mm512_maskz_abs_epi16(static_cast<__mmask32>(kEveryLane), (__m512i)v);
    } else if constexpr (sizeof v == 32) {
        return (A)_mm256_abs_epi16((__m256i)v);
    } else {
        return (A)_mm_abs_epi16((__m128i)v);
    }
}

/// The upper halves of the products of words, with or without a sign.
template <class A>
VEK_INLINE A mulHigh(A a, A b) {
    if constexpr (Lane<A>(-1) < 0) {
        return mm::mulhi_epi16(a, b);
    } else {
        return mm::mulhi_epu16(a, b);
    }
}

/// (a x b + 2^14) >> 15 of words within -2^15 .. 2^15 - 1.
template <class A>
VEK_INLINE A mulRound15(A a, A b) {
    return mm::mulhrs_epi16(a, b);
}

/// select for lanes of mask that are all ones or 0, in an instruction of its own where there is one.
template <class A>
VEK_INLINE A choose(A mask, A a, A b) {
    if constexpr (sizeof a == 64 || kPermutes) {
        return select(mask, a, b);
    } else if constexpr (sizeof a == 32) {
        return (A)_mm256_blendv_epi8((__m256i)b, (__m256i)a, (__m256i)mask);
    } else {
        return (A)_mm_blendv_epi8((__m128i)b, (__m128i)a, (__m128i)mask);
    }
}

/// Bit i: chosen(i), for a mask register; chosen: a function object without state.
template <class A, class F>
constexpr std::uint64_t maskBits() {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < kLanes<A>; ++i) {
        bits |= std::uint64_t{F{}(i)} << i;
    }
    return bits;
}

/// Bytes of a where chosen(i), of b elsewhere.
template <class A, class F>
VEK_INLINE A blend(A a, A b, F) {
    if constexpr (sizeof a == 64) {
        constexpr std::uint64_t mask = maskBits<A, F>();
        return (A)_mm512_mask_blend_epi8(mask, (__m512i)b, (__m512i)a);
    } else if constexpr (kPermutes && sizeof a == 32) {
        constexpr auto mask = static_cast<__mmask32>(maskBits<A, F>());
        return (A)_mm256_mask_blend_epi8(mask, (__m256i)b, (__m256i)a);
    } else {
        const A mask = constant<A>([](std::size_t i) { return F{}(i) ? 0xFF : 0; });
        if constexpr (sizeof a == 32) {
            return (A)_mm256_blendv_epi8((__m256i)b, (__m256i)a, (__m256i)mask);
        } else {
            return (A)_mm_blendv_epi8((__m128i)b, (__m128i)a, (__m128i)mask);
        }
    }
}

// ---- within 16 bytes ----

/// Units of Unit bytes of a and b in turn: those of the first 8 bytes, and of the last 8.
template <std::size_t Unit, class A>
VEK_INLINE A zipLow(A a, A b) {
    if constexpr (Unit == 1) {
        return mm::unpacklo_epi8(a, b);
    } else if constexpr (Unit == 2) {
        return mm::unpacklo_epi16(a, b);
    } else if constexpr (Unit == 4) {
        return mm::unpacklo_epi32(a, b);
    } else {
        return mm::unpacklo_epi64(a, b);
    }
}
template <std::size_t Unit, class A>
VEK_INLINE A zipHigh(A a, A b) {
    if constexpr (Unit == 1) {
        return mm::unpackhi_epi8(a, b);
    } else if constexpr (Unit == 2) {
        return mm::unpackhi_epi16(a, b);
    } else if constexpr (Unit == 4) {
        return mm::unpackhi_epi32(a, b);
    } else {
        return mm::unpackhi_epi64(a, b);
    }
}

/// Signed lanes of a, then of b, as T of half their width, held within its range. int16 to uint8, int32 to either word.
template <class T, class A>
VEK_INLINE Like<T, A> pack(A a, A b) {
    static_assert(Lane<A>(-1) < 0 && sizeof(Lane<A>) == 2 * sizeof(T));
    if constexpr (sizeof(T) == 1) {
        return (Like<T, A>)mm::packus_epi16(a, b);
    } else if constexpr (T(-1) < 0) {
        return (Like<T, A>)mm::packs_epi32(a, b);
    } else {
        return (Like<T, A>)mm::packus_epi32(a, b);
    }
}

/// Bytes of v by index, below 16; 0 for an index of 0x80.
template <class A>
VEK_INLINE A shuffle(A v, A index) {
    return mm::shuffle_epi8(v, index);
}

/// First x a + Second x b of bytes, or of signed words, in signed lanes of twice the width, which hold it. Weights of
/// bytes: up to 7 bits, with their sum.
template <int First, int Second, class A>
VEK_INLINE auto weigh(A a, A b) {
    const A low = zipLow<sizeof(Lane<A>)>(a, b);
    const A high = zipHigh<sizeof(Lane<A>)>(a, b);
    if constexpr (sizeof(Lane<A>) == 1) {
        using Words = Like<std::int16_t, A>;
        const auto weights = (A)all<Words>(static_cast<std::int16_t>(Second << 8 | First));
        return SHalves<Words>{(Words)mm::maddubs_epi16(low, weights), (Words)mm::maddubs_epi16(high, weights)};
    } else {
        static_assert(Lane<A>(-1) < 0 && sizeof(Lane<A>) == 2);
        using Longs = Like<std::int32_t, A>;
        const auto weights = (A)all<Longs>(Second << 16 | First);
        return SHalves<Longs>{(Longs)mm::madd_epi16(low, weights), (Longs)mm::madd_epi16(high, weights)};
    }
}

/// Of each two signed words: a0 x b0 + a1 x b1, in 32 bits, which hold it.
template <class A>
VEK_INLINE Like<std::int32_t, A> multiplyPairs(A a, A b) {
    static_assert(Lane<A>(-1) < 0 && sizeof(Lane<A>) == 2);
    return (Like<std::int32_t, A>)mm::madd_epi16(a, b);
}

/// Of each two bytes: a0 x b0 + a1 x b1, b with a sign, in words, held within their range.
template <class A>
VEK_INLINE Like<std::int16_t, A> multiplyBytePairs(A a, Like<std::int8_t, A> b) {
    static_assert(Lane<A>(-1) > 0 && sizeof(Lane<A>) == 1);
    return (Like<std::int16_t, A>)mm::maddubs_epi16(a, (A)b);
}

/// sum + multiplyPairs(a, b), modulo 2^32.
template <class A>
VEK_INLINE Like<std::int32_t, A> addPairs(Like<std::int32_t, A> sum, A a, A b) {
#if defined(__AVX512VNNI__)
    if constexpr (sizeof a == 64) {
        return (Like<std::int32_t, A>)_mm512_dpwssd_epi32((__m512i)sum, (__m512i)a, (__m512i)b);
    } else if constexpr (sizeof a == 32) {
        return (Like<std::int32_t, A>)_mm256_dpwssd_epi32((__m256i)sum, (__m256i)a, (__m256i)b);
    }
#endif
    return sum + multiplyPairs(a, b);
}

#if defined(__AVX512F__)
/// a x b + c of floats, rounded once; 64 bytes.
template <class A>
VEK_INLINE A multiplyAdd(A a, A b, A c) {
    return (A)_mm512_fmadd_ps((__m512)a, (__m512)b, (__m512)c);
}
#endif

// ---- across 16 bytes ----

/// Halves of 32 bytes of a (0, 1) and b (2, 3): the low one by the low digit, the high one by the high digit.
template <int Digits, class A>
VEK_INLINE A joinHalves(A a, A b) {
    return (A)_mm256_permute2x128_si256((__m256i)a, (__m256i)b, Digits);
}
/// The low half of 32 bytes of a, the high half of b.
template <class A>
VEK_INLINE A lowAndHigh(A a, A b) {
    return (A)_mm256_blend_epi32((__m256i)a, (__m256i)b, 0xF0);
}

/// The 16-byte parts of a vector from addresses step bytes apart.
template <class A>
VEK_INLINE A loadParts(const void* p, std::ptrdiff_t step) {
    if constexpr (sizeof(A) == 32) {
        const auto* const low = static_cast<const std::uint8_t*>(p);
        return (A)_mm256_loadu2_m128i((const __m128i*)(low + step), (const __m128i*)low);
    } else {
        static_assert(sizeof(A) == 16);
        return load<A>(p);
    }
}

/// The 16-byte parts of two vectors in memory, in turn: those that pack joins in memory order.
template <class A>
VEK_INLINE SHalves<A> loadInTurn(const void* p) {
    const auto* const bytes = static_cast<const std::uint8_t*>(p);
    if constexpr (sizeof(A) == 64) {
        const auto first = (__m512i)load<A>(bytes);
        const auto second = (__m512i)load<A>(bytes + 64);
        return {(A)_mm512_maskz_shuffle_i64x2(static_cast<__mmask8>(kEveryLane), first, second, 0x88),
                (A)_mm512_maskz_shuffle_i64x2(static_cast<__mmask8>(kEveryLane), first, second, 0xDD)};
    } else {
        return {loadParts<A>(bytes, 32), loadParts<A>(bytes + 16, 32)};
    }
}

/// The 16 bytes at p in each 16 of a vector.
template <class A>
VEK_INLINE A repeat16(const void* p) {
    const auto bytes = load<__m128i>(p);
    if constexpr (sizeof(A) == 64) {
        return (A)_mm512_maskz_broadcast_i32x4(static_cast<__mmask16>(kEveryLane), bytes);
    } else if constexpr (sizeof(A) == 32) {
        return (A)_mm256_broadcastsi128_si256(bytes);
    } else {
        return (A)bytes;
    }
}

/// Unsigned lanes as T, which is wider.
template <class T, class A>
VEK_INLINE V<T, kLanes<A> * sizeof(T)> widen(A v) {
    using To = V<T, kLanes<A> * sizeof(T)>;
    constexpr bool fromBytes = sizeof(Lane<A>) == 1;
    if constexpr (fromBytes && sizeof(T) == 2) {
        if constexpr (sizeof(To) == 64) {
            return (To)_mm512_maskz_cvtepu8_epi16(static_cast<__mmask32>(kEveryLane), (__m256i)v);
        } else if constexpr (sizeof(To) == 32) {
            return (To)_mm256_cvtepu8_epi16((__m128i)v);
        } else {
            return (To)_mm_cvtepu8_epi16(inLow(v));
        }
    } else if constexpr (fromBytes) {
        if constexpr (sizeof(To) == 64) {
            return (To)_mm512_maskz_cvtepu8_epi32(static_cast<__mmask16>(kEveryLane), (__m128i)v);
        } else if constexpr (sizeof(To) == 32) {
            return (To)_mm256_cvtepu8_epi32(inLow(v));
        } else {
            return (To)_mm_cvtepu8_epi32(inLow(v));
        }
    } else {
        if constexpr (sizeof(To) == 64) {
            return (To)_mm512_maskz_cvtepu16_epi32(static_cast<__mmask16>(kEveryLane), (__m256i)v);
        } else if constexpr (sizeof(To) == 32) {
            return (To)_mm256_cvtepu16_epi32((__m128i)v);
        } else {
            return (To)_mm_cvtepu16_epi32(inLow(v));
        }
    }
}

/// Half 0 or 1 of a vector of unsigned bytes as words.
template <std::size_t Half, class A>
VEK_INLINE Like<std::uint16_t, A> widenHalf(A v) {
    V<std::uint8_t, sizeof v / 2> half;
    __builtin_memcpy(&half, reinterpret_cast<const std::uint8_t*>(&v) + Half * sizeof half, sizeof half);
    return widen<std::uint16_t>(half);
}

/// Lanes as T, which is narrower and holds them.
template <class T, class A>
VEK_INLINE V<T, kLanes<A> * sizeof(T)> narrow(A v) {
    using To = V<T, kLanes<A> * sizeof(T)>;
    constexpr bool fromWords = sizeof(Lane<A>) == 2;
    if constexpr (sizeof v == 64) {
        if constexpr (fromWords) {
            return (To)_mm512_maskz_cvtepi16_epi8(static_cast<__mmask32>(kEveryLane), (__m512i)v);
        } else if constexpr (sizeof(T) == 1) {
            return (To)_mm512_maskz_cvtepi32_epi8(static_cast<__mmask16>(kEveryLane), (__m512i)v);
        } else {
            return (To)_mm512_maskz_cvtepi32_epi16(static_cast<__mmask16>(kEveryLane), (__m512i)v);
        }
    } else if constexpr (fromWords) {
        if constexpr (sizeof v == 32) {
            const __m128i low = _mm256_castsi256_si128((__m256i)v);
            return (To)_mm_packus_epi16(low, _mm256_extracti128_si256((__m256i)v, 1));
        } else {
            return fromLow<To>(_mm_packus_epi16((__m128i)v, (__m128i)v));
        }
    } else {
        // The low bytes of each lane: packing takes them for signed ones.
        using Bytes = Like<std::uint8_t, A>;
        const Bytes runs = shuffle((Bytes)v, constant<Bytes>([](std::size_t i) {
                                       return i % 16 / sizeof(T) % 4 * sizeof(Lane<A>) + i % sizeof(T);
                                   }));
        if constexpr (sizeof v == 32) {
            const __m128i low = _mm256_castsi256_si128((__m256i)runs);
            const __m128i high = _mm256_extracti128_si256((__m256i)runs, 1);
            return fromLow<To>(sizeof(T) == 1 ? _mm_unpacklo_epi32(low, high) : _mm_unpacklo_epi64(low, high));
        } else {
            return fromLow<To>((__m128i)runs);
        }
    }
}

// kPermutes: bytes of a vector as a whole by index, of two (64 bytes: words, too), and where chosen(i), of another one
// elsewhere.
template <class A>
VEK_INLINE A permute(A v, A index) {
    if constexpr (sizeof v == 64) {
        return (A)_mm512_maskz_permutexvar_epi8(kEveryLane, (__m512i)index, (__m512i)v);
    } else {
        return (A)_mm256_maskz_permutexvar_epi8(static_cast<__mmask32>(kEveryLane), (__m256i)index, (__m256i)v);
    }
}
template <class A>
VEK_INLINE A permute2(A a, A b, A index) {
    if constexpr (sizeof(Lane<A>) == 2) {
        static_assert(sizeof a == 64);
        return (A)_mm512_permutex2var_epi16((__m512i)a, (__m512i)index, (__m512i)b);
    } else if constexpr (sizeof a == 64) {
        return (A)_mm512_permutex2var_epi8((__m512i)a, (__m512i)index, (__m512i)b);
    } else {
        return (A)_mm256_permutex2var_epi8((__m256i)a, (__m256i)index, (__m256i)b);
    }
}
template <class A, class F>
VEK_INLINE A permuteWhere(A v, A index, A elsewhere, F) {
    static_assert(sizeof v == 64);
    constexpr std::uint64_t mask = maskBits<A, F>();
    return (A)_mm512_mask_permutexvar_epi8((__m512i)elsewhere, mask, (__m512i)index, (__m512i)v);
}

#if VEK_VECTOR_BYTES == 32
/// Long lanes by index, modulo their number.
template <class A>
VEK_INLINE A pickLongs(A table, A index) {
    static_assert(sizeof(Lane<A>) == 4);
    if constexpr (sizeof table == 64) {
        return (A)_mm512_maskz_permutexvar_epi32(static_cast<__mmask16>(kEveryLane), (__m512i)index, (__m512i)table);
    } else {
        return (A)_mm256_permutevar8x32_epi32((__m256i)table, (__m256i)index);
    }
}
/// Long lanes of a where the highest bit of choice is set, of b elsewhere; 32 bytes.
template <class A>
VEK_INLINE A chooseByTop(A choice, A a, A b) {
    return (A)_mm256_blendv_ps((__m256)b, (__m256)a, (__m256)choice);
}
#endif

/// The low byte of each word of a, then of b.
template <class A>
VEK_INLINE Like<std::uint8_t, A> lowBytes(A a, A b) {
    using Bytes = Like<std::uint8_t, A>;
    if constexpr (kPermutes) {
        return permute2((Bytes)a, (Bytes)b, constant<Bytes>([](std::size_t i) { return 2 * i; }));
    } else {
        const A packed = mm::packus_epi16(a & 0xFF, b & 0xFF);
        if constexpr (sizeof a == 32) {
            // The pack works within 16 bytes: the middle quarters change places.
            return (Bytes)_mm256_permute4x64_epi64((__m256i)packed, 0xD8);
        } else {
            return (Bytes)packed;
        }
    }
}

/// v with its lanes Bytes further up; the highest ones of fill, all alike, come in from below.
template <std::size_t Bytes, class A>
VEK_INLINE A shiftUp(A v, A fill) {
    if constexpr (sizeof v == 16) {
        return (A)_mm_alignr_epi8((__m128i)v, (__m128i)fill, 16 - Bytes);
    } else if constexpr (sizeof v == 64) {
        if constexpr (Bytes == 2) {
            const auto index = constant<V<std::uint16_t, 64>>([](std::size_t i) { return i - 1; });
            return (A)_mm512_mask_permutexvar_epi16((__m512i)fill, ~__mmask32{1}, (__m512i)index, (__m512i)v);
        } else {
            return (A)_mm512_maskz_alignr_epi32(static_cast<__mmask16>(kEveryLane), (__m512i)v, (__m512i)fill,
                                                16 - Bytes / 4);
        }
    } else {
        const A halfUp = joinHalves<0x21>(fill, v);
        if constexpr (Bytes == 16) {
            return halfUp;
        } else {
            return (A)_mm256_alignr_epi8((__m256i)v, (__m256i)halfUp, 16 - Bytes);
        }
    }
}

/// The highest two lanes in every two.
template <class A>
VEK_INLINE A repeatLastPair(A v) {
    constexpr std::size_t pair = 2 * sizeof(Lane<A>);
    using Bytes = Like<std::uint8_t, A>;
    if constexpr (sizeof v == 32) {
        v = (A)_mm256_permute4x64_epi64((__m256i)v, 0xFF);
    }
    return (A)shuffle((Bytes)v, constant<Bytes>([](std::size_t i) { return 16 - pair + i % pair; }));
}

} // namespace
} // namespace vek::rows::VEK_ISA
