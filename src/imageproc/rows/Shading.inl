// SPDX-License-Identifier: Apache-2.0
// Shading correction rows.

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

#if defined(__x86_64__) && VEK_VECTOR_BYTES != 0

using EntryVec = WideVec<std::uint32_t>;

/// As many samples as a vector has entries.
template <class T>
using SampleVec = VecOf<T, kWideBytes / sizeof(std::uint32_t) * sizeof(T)>;

#if defined(__AVX512VBMI__)

/// All lanes. The intrinsics without a mask make GCC warn of a register that they leave undefined.
constexpr __mmask16 kEvery = 0xFFFF;

inline EntryVec widened(const std::uint8_t* p) {
    return (EntryVec)_mm512_maskz_cvtepu8_epi32(kEvery, _mm_loadu_si128((const __m128i*)p));
}
inline EntryVec widened(const std::uint16_t* p) {
    return (EntryVec)_mm512_maskz_cvtepu16_epi32(kEvery, _mm256_loadu_si256((const __m256i*)p));
}
template <class T>
inline SampleVec<T> narrowed(EntryVec v) {
    if constexpr (sizeof(T) == 1) {
        return (SampleVec<T>)_mm512_maskz_cvtepi32_epi8(kEvery, (__m512i)v);
    } else {
        return (SampleVec<T>)_mm512_maskz_cvtepi32_epi16(kEvery, (__m512i)v);
    }
}

#else

#if VEK_VECTOR_BYTES == 32
inline EntryVec widened(const std::uint8_t* p) {
    return (EntryVec)_mm256_cvtepu8_epi32(_mm_loadl_epi64((const __m128i*)p));
}
inline EntryVec widened(const std::uint16_t* p) {
    return (EntryVec)_mm256_cvtepu16_epi32(_mm_loadu_si128((const __m128i*)p));
}
#else
inline EntryVec widened(const std::uint8_t* p) {
    return (EntryVec)_mm_cvtepu8_epi32(_mm_loadu_si32(p));
}
inline EntryVec widened(const std::uint16_t* p) {
    return (EntryVec)_mm_cvtepu16_epi32(_mm_loadl_epi64((const __m128i*)p));
}
#endif

/// The low bits of each entry: packing would saturate.
template <class T>
inline SampleVec<T> narrowed(EntryVec v) {
    static constexpr SLanes<std::uint8_t> kIndex = makeLanes<std::uint8_t>(
        [](std::size_t i) { return i % 16 / sizeof(T) % 4 * sizeof(std::uint32_t) + i % sizeof(T); });
    const auto runs = shuffleBytes((Vec<std::uint8_t>)v, kIndex.vec());
#if VEK_VECTOR_BYTES == 32
    const __m128i low = _mm256_castsi256_si128((__m256i)runs);
    const __m128i high = _mm256_extracti128_si256((__m256i)runs, 1);
    if constexpr (sizeof(T) == 1) {
        return (SampleVec<T>)_mm_cvtsi128_si64(_mm_unpacklo_epi32(low, high));
    } else {
        return (SampleVec<T>)_mm_unpacklo_epi64(low, high);
    }
#else
    if constexpr (sizeof(T) == 1) {
        return (SampleVec<T>)_mm_cvtsi128_si32((__m128i)runs);
    } else {
        return (SampleVec<T>)_mm_cvtsi128_si64((__m128i)runs);
    }
#endif
}

#endif

/// change(samples, entries) gives the new samples, all as wide as entries.
template <class T, class Change>
inline std::size_t shadingBlocks(T* row, const void* entries, std::size_t width, Change change) {
    return changeBlocksOf<SampleVec<T>>(row, 0, width, [=](SampleVec<T>, std::size_t x) {
        const auto* const at = static_cast<const std::uint8_t*>(entries) + x * sizeof(std::uint32_t);
        return narrowed<T>(change(widened(row + x), loadAs<EntryVec>(at)));
    });
}

#endif

// ---- kernels ----

template <class T>
void shadingGain(T* row, const void* entries, std::size_t width, std::uint32_t offset, std::uint32_t maxValue) {
    std::size_t done = 0;
#if defined(__x86_64__) && VEK_VECTOR_BYTES != 0
    done = shadingBlocks(row, entries, width, [=](EntryVec samples, EntryVec gains) {
        return smaller(((samples - offset) * gains >> 7) + offset, EntryVec{} + maxValue);
    });
#endif
    shadingGainSpan(row, entries, done, width, offset, maxValue);
}

template <class T>
void shadingOffset(T* row, const void* entries, std::size_t width, std::uint32_t maxValue) {
    std::size_t done = 0;
#if defined(__x86_64__) && VEK_VECTOR_BYTES != 0
    done = shadingBlocks(row, entries, width, [=](EntryVec samples, EntryVec offsets) {
        const auto sums = larger((WideVec<std::int32_t>)(samples + offsets), WideVec<std::int32_t>{});
        return smaller((EntryVec)sums, EntryVec{} + maxValue);
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
    return {shadingGain<T>, shadingOffset<T>, shadingShow<T>, addToMean<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
