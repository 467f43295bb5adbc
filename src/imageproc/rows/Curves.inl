// SPDX-License-Identifier: Apache-2.0
// Samples through tables or times gains, one for even and one for odd columns.

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

#if defined(__AVX512VBMI__)

/// 256 bytes, of which vpermi2b picks by the low seven bits of an index.
struct SByteTable {
    __m512i part[4];
    explicit SByteTable(const std::uint8_t* table) {
        for (unsigned i = 0; i < 4; ++i) {
            part[i] = _mm512_loadu_si512(table + 64 * i);
        }
    }
    __m512i LookUp(__m512i index, __mmask64 upperHalf) const {
        const __m512i low = _mm512_permutex2var_epi8(part[0], index, part[1]);
        const __m512i high = _mm512_permutex2var_epi8(part[2], index, part[3]);
        return _mm512_mask_blend_epi8(upperHalf, low, high);
    }
};

inline std::size_t lookUpBlocks(std::uint8_t* row, std::size_t width, const std::uint8_t* even,
                                const std::uint8_t* odd) {
    const SByteTable evenTable(even);
    const SByteTable oddTable(odd);
    std::size_t x = 0;
    for (; x + 64 <= width; x += 64) {
        const __m512i index = _mm512_loadu_si512(row + x);
        const __mmask64 upperHalf = _mm512_movepi8_mask(index);
        const __m512i result = _mm512_mask_blend_epi8(0xAAAAAAAAAAAAAAAA, evenTable.LookUp(index, upperHalf),
                                                      oddTable.LookUp(index, upperHalf));
        _mm512_storeu_si512(row + x, result);
    }
    return x;
}

#elif VEK_VECTOR_BYTES == 32

/// 256 bytes as sixteen runs of sixteen, each in both halves of a vector.
struct SByteTable {
    __m256i run[16];
    explicit SByteTable(const std::uint8_t* table) {
        for (unsigned i = 0; i < 16; ++i) {
            run[i] = _mm256_broadcastsi128_si256(_mm_loadu_si128((const __m128i*)(table + 16 * i)));
        }
    }
    /// Every run gives what it has for the low four bits of the index; the other four choose, one by one. vpblendvb
    /// goes by the highest bit of a byte.
    __m256i LookUp(__m256i index) const {
        const __m256i low = _mm256_and_si256(index, _mm256_set1_epi8(15));
        const __m256i bit[4] = {_mm256_slli_epi16(index, 3), _mm256_slli_epi16(index, 2), _mm256_slli_epi16(index, 1),
                                index};
        return Choose<3>(0, low, bit);
    }

private:
    /// From the runs first .. first + 2^(Bit + 1) - 1.
    template <int Bit>
    __m256i Choose(unsigned first, __m256i low, const __m256i (&bit)[4]) const {
        if constexpr (Bit < 0) {
            return _mm256_shuffle_epi8(run[first], low);
        } else {
            return _mm256_blendv_epi8(Choose<Bit - 1>(first, low, bit), Choose<Bit - 1>(first + (1U << Bit), low, bit),
                                      bit[Bit]);
        }
    }
};

inline std::size_t lookUpBlocks(std::uint8_t* row, std::size_t width, const std::uint8_t* even,
                                const std::uint8_t* odd) {
    const SByteTable evenTable(even);
    const SByteTable oddTable(odd);
    const __m256i lowBytes = _mm256_set1_epi16(0xFF);
    std::size_t x = 0;
    for (; x + 64 <= width; x += 64) {
        auto* const at = (__m256i*)(row + x);
        const __m256i a = _mm256_loadu_si256(at);
        const __m256i b = _mm256_loadu_si256(at + 1);
        // Even columns of both vectors to one, odd ones to another; what packing does to the order, unpacking undoes.
        const __m256i evens =
            evenTable.LookUp(_mm256_packus_epi16(_mm256_and_si256(a, lowBytes), _mm256_and_si256(b, lowBytes)));
        const __m256i odds = oddTable.LookUp(_mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8)));
        _mm256_storeu_si256(at, _mm256_unpacklo_epi8(evens, odds));
        _mm256_storeu_si256(at + 1, _mm256_unpackhi_epi8(evens, odds));
    }
    return x;
}

#elif defined(__ARM_NEON) && VEK_VECTOR_BYTES != 0

/// 256 bytes, in fours of registers as tbl takes them. An index beyond 63 gives 0 (tbl) or what was there (tbx).
struct SByteTable {
    uint8x16x4_t part[4];
    explicit SByteTable(const std::uint8_t* table) {
        for (unsigned i = 0; i < 4; ++i) {
            part[i] = vld1q_u8_x4(table + 64 * i);
        }
    }
    uint8x16_t LookUp(uint8x16_t index) const {
        const uint8x16_t partLength = vdupq_n_u8(64);
        uint8x16_t result = vqtbl4q_u8(part[0], index);
        for (unsigned i = 1; i < 4; ++i) {
            index = vsubq_u8(index, partLength);
            result = vqtbx4q_u8(result, part[i], index);
        }
        return result;
    }
};

inline std::size_t lookUpBlocks(std::uint8_t* row, std::size_t width, const std::uint8_t* even,
                                const std::uint8_t* odd) {
    const SByteTable evenTable(even);
    const SByteTable oddTable(odd);
    std::size_t x = 0;
    for (; x + 32 <= width; x += 32) {
        uint8x16x2_t columns = vld2q_u8(row + x);
        columns.val[0] = evenTable.LookUp(columns.val[0]);
        columns.val[1] = oddTable.LookUp(columns.val[1]);
        vst2q_u8(row + x, columns);
    }
    return x;
}

#else

/// 16 bytes are too few for a table of 256: sixteen shuffles cost what sixteen loads do.
inline std::size_t lookUpBlocks(std::uint8_t*, std::size_t, const std::uint8_t*, const std::uint8_t*) {
    return 0;
}

#endif

#if VEK_VECTOR_BYTES != 0

/// Tables of words are too large for registers, and gathers are slower than loads. What a vector can do is to see that
/// no sample of a block has to be limited; two samples at a time then take the fewest instructions.
inline std::size_t lookUpBlocks(std::uint16_t* row, std::size_t width, const std::uint16_t* even,
                                const std::uint16_t* odd) {
    constexpr std::uint16_t last = kCurveEntries<std::uint16_t> - 1;
    constexpr std::size_t lanes = kLanes<std::uint16_t>;
    std::size_t x = 0;
    for (; x + lanes <= width; x += lanes) {
        if (anyLane(load(row + x) > last)) {
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

#else

inline std::size_t lookUpBlocks(std::uint16_t*, std::size_t, const std::uint16_t*, const std::uint16_t*) {
    return 0;
}

#endif

// ---- kernels ----

template <class T>
void lookUp(T* row, std::size_t width, const T* even, const T* odd) {
    lookUpSpan(row, lookUpBlocks(row, width, even, odd), width, even, odd);
}

template <class T>
constexpr SCurveRows<T> curveTable() {
    return {lookUp<T>};
}

#if VEK_VECTOR_BYTES != 0

/// The upper halves of the products of words.
template <class V>
inline V upperProduct(V a, V b) {
#if defined(__ARM_NEON)
    const auto low = (uint16x8_t)vmull_u16(vget_low_u16(a), vget_low_u16(b));
    return vuzp2q_u16(low, (uint16x8_t)vmull_high_u16(a, b));
#else
    if constexpr (sizeof a == 16) {
        return (V)_mm_mulhi_epu16((__m128i)a, (__m128i)b);
    }
#if VEK_VECTOR_BYTES == 32
    if constexpr (sizeof a == 32) {
        return (V)_mm256_mulhi_epu16((__m256i)a, (__m256i)b);
    }
#endif
#if defined(__AVX512VBMI__)
    if constexpr (sizeof a == 64) {
        return (V)_mm512_mulhi_epu16((__m512i)a, (__m512i)b);
    }
#endif
#endif
}

/// Gains as factors of upper product: byte x 256 x factor / 65536. One is all it takes to reach 255 with the largest
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
    done = changeBlocks(row, 0, width, [=]<class V>(V, std::size_t x) {
        using Words = VecOf<std::uint16_t, sizeof(V)>;
        const std::uint16_t* const factor = factors + x % 2;
        const auto words = (Words)loadAs<V>(row + x);
        const Words largest = Words{} + std::uint16_t{255};
        const Words low = upperProduct(words << 8, Words{} + factor[0]);
        const Words high = upperProduct(words & 0xFF00, Words{} + factor[1]);
        return (V)((low < largest ? low : largest) | (high < largest ? high : largest) << 8);
    });
#endif
    gainSpan(row, done, width, evenGain, oddGain);
}

constexpr SGainRows gainTable() {
    return {gainBytes};
}

} // namespace
} // namespace vek::rows::VEK_ISA
