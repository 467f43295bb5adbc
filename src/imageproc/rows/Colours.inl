// SPDX-License-Identifier: Apache-2.0
// Rows of blue-green-red pixels: luma curve, colour matrix, chroma suppression; and the unsharp mask.
//
// The tiers with vectors compute luma instead of looking it up, and take a row in chunks: luma of a chunk to a buffer,
// there through the curve or the corrections, and from there to the pixels.

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

/// 0 .. maxValue as it is, larger sums below 2^28 as maxValue, negative and still larger ones as 0.
template <class T>
inline T clampSum(std::uint32_t sum, unsigned maxValue) {
    return static_cast<T>(sum <= maxValue ? sum : sum < 1U << 28 ? maxValue : 0);
}

template <class T>
inline void matrixSpan(T* row, std::size_t from, std::size_t to, std::size_t step, const SMatrixTables& tables,
                       unsigned maxValue) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = row + x * step;
        const SMatrixTables::Entry& blue = tables.blue[entryOf<4096>(pixel[0])];
        const SMatrixTables::Entry& green = tables.green[entryOf<4096>(pixel[1])];
        const SMatrixTables::Entry& red = tables.red[entryOf<4096>(pixel[2])];
        for (unsigned i = 0; i < 3; ++i) {
            // Unsigned: entries of extreme matrices may leave 31 bits together.
            const std::uint32_t sum = static_cast<std::uint32_t>(blue[i]) + static_cast<std::uint32_t>(green[i]) +
                                      static_cast<std::uint32_t>(red[i]);
            pixel[i] = clampSum<T>(sum, maxValue);
        }
    }
}

/// sample moved toward green by strength / 16384, the fraction cut off.
template <class T>
inline T towardGreen(T sample, T green, std::int32_t strength) {
    const std::int32_t move = strength * (green - sample);
    return static_cast<T>(move > 0 ? sample + (move >> 14) : sample - (-move >> 14));
}

/// Full suppression.
constexpr std::uint16_t kFullStrength = 1 << 14;

template <class T>
inline void suppressChromaSpan(T* row, std::size_t from, std::size_t to, std::size_t step, const SLumaTables& luma,
                               const SChromaLimits& limits) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = row + x * step;
        const unsigned y = lumaOf(pixel, luma);
        std::uint32_t strength = 0;
        if (y < limits.lowStart) {
            strength = std::uint32_t{limits.lowSlope} * static_cast<std::uint16_t>(limits.lowStart - y + 1);
        }
        if (y > limits.highStart) {
            const std::uint32_t high =
                std::uint32_t{limits.highSlope} * static_cast<std::uint16_t>(y - limits.highStart + 1);
            strength = high > strength ? high : strength;
        }
        const auto k = static_cast<std::int32_t>(strength < kFullStrength ? strength : kFullStrength);
        pixel[0] = towardGreen(pixel[0], pixel[1], k);
        pixel[2] = towardGreen(pixel[2], pixel[1], k);
    }
}

template <class T>
inline void lumaSpan(const T* row, T* lumaRow, std::size_t from, std::size_t to, std::size_t step,
                     const SLumaTables& tables) {
    for (std::size_t x = from; x < to; ++x) {
        lumaRow[x] = static_cast<T>(lumaOf(row + x * step, tables));
    }
}

template <class T>
inline void sum3Span(const T* row, std::uint16_t* sumRow, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        sumRow[x] = static_cast<std::uint16_t>(row[x - 1] + row[x] + row[x + 1]);
    }
}

/// What a pixel differs by from the mean of its eight neighbours, which a half rounds up.
inline std::int32_t detail(unsigned centre, unsigned left, unsigned right, unsigned above, unsigned below) {
    return static_cast<std::int32_t>(centre) - static_cast<std::int32_t>((above + below + left + right + 4) >> 3);
}

/// Correction by absolute difference.
inline unsigned correctionOf(std::int32_t difference, const SSharpening& sharpening) {
    return sharpening.table[difference < 4096 ? difference : 4095];
}

// Bytes: the correction itself counts modulo 256 in grey images; in colour images the bound and the sum do. Both are a
// clamp to 0 .. 255 for corrections of up to 255.

inline std::uint8_t brighterGrey(std::uint8_t sample, unsigned correction, unsigned maxValue) {
    const unsigned step = correction & 0xFF;
    return static_cast<std::uint8_t>(((maxValue - sample) & 0xFF) > step ? sample + step : maxValue);
}
inline std::uint8_t darkerGrey(std::uint8_t sample, unsigned correction) {
    const unsigned step = correction & 0xFF;
    return static_cast<std::uint8_t>(sample > step ? sample - step : 0);
}
inline std::uint8_t brighterColour(std::uint8_t sample, unsigned correction, unsigned maxValue) {
    return static_cast<std::uint8_t>(sample < ((maxValue - correction) & 0xFF) ? sample + correction : maxValue);
}
inline std::uint8_t darkerColour(std::uint8_t sample, unsigned correction, unsigned) {
    return static_cast<std::uint8_t>(sample > correction ? sample - correction : 0);
}

// Words: plain clamps. A sample above maxValue that a grey image darkens may stay above it.

inline std::uint16_t brighterGrey(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    return static_cast<std::uint16_t>(sample + correction < maxValue ? sample + correction : maxValue);
}
inline std::uint16_t darkerGrey(std::uint16_t sample, unsigned correction) {
    return static_cast<std::uint16_t>(sample > correction ? sample - correction : 0);
}
inline std::uint16_t brighterColour(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    return brighterGrey(sample, correction, maxValue);
}
inline std::uint16_t darkerColour(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    const std::uint16_t darker = darkerGrey(sample, correction);
    return static_cast<std::uint16_t>(darker < maxValue ? darker : maxValue);
}

/// left: the sample in front of from as it was before its own change. Returns that of the last column.
template <class T>
inline T sharpenGreySpan(T* row, const std::uint16_t* above, const std::uint16_t* below, std::size_t from,
                         std::size_t to, T left, const SSharpening& sharpening) {
    const auto coring = static_cast<std::int32_t>(sharpening.coring);
    for (std::size_t x = from; x < to; ++x) {
        const T centre = row[x];
        const std::int32_t difference = detail(centre, left, row[x + 1], above[x], below[x]);
        if (difference > coring) {
            row[x] = brighterGrey(centre, correctionOf(difference, sharpening), sharpening.maxValue);
        } else if (difference < -coring) {
            row[x] = darkerGrey(centre, correctionOf(-difference, sharpening));
        }
        left = centre;
    }
    return left;
}

/// pixel: that of column from.
template <class T>
inline void sharpenColourSpan(T* pixel, std::size_t step, const T* lumaRow, const std::uint16_t* above,
                              const std::uint16_t* below, std::size_t from, std::size_t to,
                              const SSharpening& sharpening) {
    const auto coring = static_cast<std::int32_t>(sharpening.coring);
    for (std::size_t x = from; x < to; ++x, pixel += step) {
        const std::int32_t difference = detail(lumaRow[x], lumaRow[x - 1], lumaRow[x + 1], above[x], below[x]);
        if (difference > coring) {
            const unsigned correction = correctionOf(difference, sharpening);
            for (unsigned i = 0; i < 3; ++i) {
                pixel[i] = brighterColour(pixel[i], correction, sharpening.maxValue);
            }
        } else if (difference < -coring) {
            const unsigned correction = correctionOf(-difference, sharpening);
            for (unsigned i = 0; i < 3; ++i) {
                pixel[i] = darkerColour(pixel[i], correction, sharpening.maxValue);
            }
        }
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- blocks: each function works on whole blocks of a row and returns the column behind them ----

/// Pixels that go through the steps of a kernel together.
constexpr std::size_t kChunk = 512;

/// A value for each pixel of a chunk.
template <class T>
struct SChunk {
    alignas(VEK_VECTOR_BYTES) T at[kChunk];
};

/// Whole blocks of T from column x on, a chunk at most.
template <class T>
inline std::size_t chunkColumns(std::size_t x, std::size_t end) {
    const std::size_t blocks = (end - x) / kLanes<T> * kLanes<T>;
    return blocks < kChunk ? blocks : kChunk;
}

template <std::size_t Step>
struct SStep {
    static constexpr std::size_t value = Step;
};

/// Columns from x on, a chunk at most; less than a block is the end of a row.
template <class T>
inline std::size_t anyColumns(std::size_t x, std::size_t end) {
    const std::size_t blocks = chunkColumns<T>(x, end);
    return blocks != 0 ? blocks : end - x;
}

/// Copies the pixels of a row that stand Step samples apart to dense ones, or back. Samples between pixels may be read
/// with them, those behind the last pixel are not; only pixels are written.
template <std::size_t Step, class T>
inline void gatherPixels(const T* pixels, std::size_t count, T* dense) {
    // A chunk further on: nothing is read there.
    constexpr std::size_t ahead = kChunk * Step * sizeof(T);
    std::size_t i = 0;
    if constexpr (Step == 4) {
        constexpr std::size_t together = 4 / sizeof(T);
        for (; i + together < count; i += together) {
            __builtin_prefetch(reinterpret_cast<const std::uint8_t*>(pixels + i * Step) + ahead);
            Bytes16 four;
            __builtin_memcpy(&four, pixels + i * Step, sizeof four);
            four = narrowPixels<3 * sizeof(T)>(four);
            __builtin_memcpy(dense + 3 * i, &four, sizeof four);
        }
    }
    for (; i + 1 < count; ++i) {
        __builtin_prefetch(reinterpret_cast<const std::uint8_t*>(pixels + i * Step) + ahead);
        __builtin_memcpy(dense + 3 * i, pixels + i * Step, 4 * sizeof(T));
    }
    __builtin_memcpy(dense + 3 * i, pixels + i * Step, 3 * sizeof(T));
}
template <std::size_t Step, class T>
inline void scatterPixels(const T* dense, std::size_t count, T* pixels) {
    for (std::size_t i = 0; i < count; ++i) {
        __builtin_memcpy(pixels + i * Step, dense + 3 * i, 3 * sizeof(T));
    }
}

/// Calls copy(step) with the step as a constant.
template <class Copy>
inline void withStep(std::size_t step, Copy copy) {
    switch (step) {
    case 3:
        copy(SStep<3>{});
        break;
    case 4:
        copy(SStep<4>{});
        break;
    case 6:
        copy(SStep<6>{});
        break;
    default:
        copy(SStep<8>{});
        break;
    }
}

/// Pixels of three samples without gaps, in whole blocks: those of a row themselves, or a copy where they stand 4, 6 or
/// 8 samples apart or are less than a block.
template <class T>
class CDensePixels {
public:
    explicit CDensePixels(std::size_t step) : mStep(step) {}

    /// count pixels from pixels on, at least one.
    template <class Pixels>
    Pixels* Take(Pixels* pixels, std::size_t count) {
        if (!Copies(count)) {
            return pixels;
        }
        withStep(mStep, [=, this](auto step) { gatherPixels<step.value, T>(pixels, count, mPixels); });
        if (count < kLanes<T>) {
            __builtin_memset(mPixels + 3 * count, 0, 3 * (kLanes<T> - count) * sizeof(T));
        }
        return mPixels;
    }
    /// What Take gave goes back to where it came from.
    void PutBack(T* pixels, std::size_t count) const {
        if (Copies(count)) {
            withStep(mStep, [=, this](auto step) { scatterPixels<step.value, T>(mPixels, count, pixels); });
        }
    }

private:
    bool Copies(std::size_t count) const { return mStep != 3 || count < kLanes<T>; }

    std::size_t mStep;
    T mPixels[3 * kChunk + 4]; ///< and room for what is stored with the last pixels
};

/// Asks for the dense pixels of a block some time ahead: these loops are slow enough for the processor to lose sight of
/// the row. Nothing is read.
template <class T>
inline void prefetchPixels(const T* pixels) {
    constexpr std::size_t ahead = 1024;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(pixels) + ahead;
    for (std::size_t i = 0; i < 3 * VEK_VECTOR_BYTES; i += 64) {
        __builtin_prefetch(bytes + i);
    }
}

/// Luma of bytes. The weights of ITU-R BT.601 in 15 bits round every byte as the tables do.
inline Vec<std::uint8_t> lumaVec(const SColours<std::uint8_t>& pixels) {
    using Words = Vec<std::uint16_t>;
    return inPairs<std::uint8_t>(
        [](Words blue, Words green, Words red) {
            return mulRounded(blue, Words{} + 3736) + mulRounded(green, Words{} + 19235) +
                   mulRounded(red, Words{} + 9798);
        },
        pixels.blue, pixels.green, pixels.red);
}

/// The share of samples within the tables. The products have three decimals: a constant between the largest fraction
/// that is cut off, 0.499, and the smallest that is not leaves room for single precision.
inline Vec<std::uint32_t> lumaShare(Vec<std::uint32_t> samples, float weight) {
    const auto product = __builtin_convertvector((Vec<std::int32_t>)samples, Vec<float>) * weight + 0.5005F;
    return (Vec<std::uint32_t>)__builtin_convertvector(product, Vec<std::int32_t>);
}

/// Luma of words.
inline Vec<std::uint16_t> lumaVec(const SColours<std::uint16_t>& pixels) {
    using Wide = Vec<std::uint32_t>;
    const Vec<std::uint16_t> last = Vec<std::uint16_t>{} + (SLumaTables::kEntries - 1);
    return inPairs<std::uint16_t>(
        [](Wide blue, Wide green, Wide red) {
            return lumaShare(blue, 0.114F) + lumaShare(green, 0.587F) + lumaShare(red, 0.299F);
        },
        smaller(pixels.blue, last), smaller(pixels.green, last), smaller(pixels.red, last));
}

/// Luma of count pixels, whole blocks.
template <class T>
inline void lumaBlocks(const T* pixels, T* lumaRow, std::size_t count) {
    for (std::size_t x = 0; x < count; x += kLanes<T>) {
        prefetchPixels(pixels + 3 * x);
        store(lumaRow + x, lumaVec(loadColours(pixels + 3 * x)));
    }
}

/// Vector K of a block of pixels: plus and then minus a change, up to maxValue.
template <std::size_t K, class T>
inline void changeVector(T* pixels, Vec<T> plus, Vec<T> minus, Vec<T> maxValue) {
    T* const at = pixels + K * kLanes<T>;
    const Vec<T> changed = subSat(addSat(load(at), repeatLanes<K, T>(plus)), repeatLanes<K, T>(minus));
    store(at, sizeof(T) == 1 ? changed : smaller(changed, maxValue));
}

/// The samples of a block of pixels become larger by plus and smaller by minus, of which one is 0; they stay within
/// 0 .. maxValue (bytes: 255).
template <class T>
inline void changeBlock(T* pixels, Vec<T> plus, Vec<T> minus, Vec<T> maxValue) {
    changeVector<0>(pixels, plus, minus, maxValue);
    changeVector<1>(pixels, plus, minus, maxValue);
    changeVector<2>(pixels, plus, minus, maxValue);
}

/// Whether vectors know the largest sample: all bytes, words of up to 15 bits.
template <class T>
constexpr bool isUsualMaximum(unsigned maxValue) {
    return sizeof(T) == 1 ? maxValue == 255 : maxValue < 0x8000;
}

/// The curve as the lookup takes it; null where its levels are no bytes.
inline const std::uint16_t* levelsOf(const SLumaCurve& curve, std::uint16_t) {
    return curve.levels;
}
inline const std::uint8_t* levelsOf(const SLumaCurve& curve, std::uint8_t) {
    return curve.bytes;
}

template <class T>
inline std::size_t lumaCurveBlocks(T* row, std::size_t width, std::size_t step, const SLumaCurve& curve,
                                   unsigned maxValue) {
    const T* const levels = levelsOf(curve, T{});
    if (levels == nullptr || !isUsualMaximum<T>(maxValue)) {
        return 0;
    }
    const Vec<T> max = Vec<T>{} + static_cast<T>(maxValue);
    SChunk<T> luma;
    SChunk<T> level;
    CDensePixels<T> dense(step);
    std::size_t x = 0;
    while (const std::size_t columns = anyColumns<T>(x, width)) {
        const std::size_t count = columns < kLanes<T> ? kLanes<T> : columns;
        T* const pixels = dense.Take(row + x * step, columns);
        lumaBlocks(pixels, luma.at, count);
        __builtin_memcpy(level.at, luma.at, count * sizeof(T));
        lookUp(level.at, count, levels, levels);
        for (std::size_t i = 0; i < count; i += kLanes<T>) {
            const Vec<T> before = load(luma.at + i);
            const Vec<T> after = load(level.at + i);
            if constexpr (sizeof(T) == 1) {
                changeBlock(pixels + 3 * i, subSat(after, before), subSat(before, after), max);
            } else {
                // The difference counts in 16 bits with a sign.
                const Vec<T> falls = (Vec<T>)((Vec<std::int16_t>)(after - before) < 0);
                changeBlock(pixels + 3 * i, (after - before) & ~falls, (before - after) & falls, max);
            }
        }
        dense.PutBack(row + x * step, columns);
        x += columns;
    }
    return x;
}

/// Strength of suppression at a distance beyond a start level.
inline Vec<std::uint16_t> strengthAt(Vec<std::uint16_t> distance, std::uint16_t slope) {
    using Words = Vec<std::uint16_t>;
    const Words slopes = Words{} + slope;
    const Words full = Words{} + kFullStrength;
    return mulHigh(distance, slopes) != 0 ? full : smaller(distance * slopes, full);
}

inline Vec<std::uint16_t> strengthOf(Vec<std::uint16_t> y, const SChromaLimits& limits) {
    using Words = Vec<std::uint16_t>;
    const Words lowStart = Words{} + limits.lowStart;
    const Words highStart = Words{} + limits.highStart;
    const Words low = strengthAt(lowStart - y + 1, limits.lowSlope) & (Words)(y < lowStart);
    const Words high = strengthAt(y - highStart + 1, limits.highSlope) & (Words)(y > highStart);
    return larger(low, high);
}

/// Strengths of a block: bytes have those of even and of odd columns.
template <class T>
struct SStrength;
template <>
struct SStrength<std::uint8_t> {
    Vec<std::uint16_t> even;
    Vec<std::uint16_t> odd;
    SStrength(Vec<std::uint8_t> y, const SChromaLimits& limits)
        : even(strengthOf((Vec<std::uint16_t>)y & 0xFF, limits)), odd(strengthOf((Vec<std::uint16_t>)y >> 8, limits)) {}
    bool Any() const { return anyLane(even | odd); }
    /// distance x strength / 16384
    Vec<std::uint8_t> Of(Vec<std::uint8_t> distance) const {
        const auto pairs = (Vec<std::uint16_t>)distance;
        return (Vec<std::uint8_t>)(mulHigh((pairs & 0xFF) << 2, even) | mulHigh(pairs >> 8 << 2, odd) << 8);
    }
};
template <>
struct SStrength<std::uint16_t> {
    Vec<std::uint16_t> all;
    SStrength(Vec<std::uint16_t> y, const SChromaLimits& limits) : all(strengthOf(y, limits)) {}
    bool Any() const { return anyLane(all); }
    Vec<std::uint16_t> Of(Vec<std::uint16_t> distance) const {
        return all == kFullStrength ? distance : mulHigh(distance, all << 2);
    }
};

template <class T>
inline Vec<T> towardGreenVec(Vec<T> samples, Vec<T> green, const SStrength<T>& strength) {
    const Vec<T> up = subSat(green, samples);
    const Vec<T> move = strength.Of(up | subSat(samples, green));
    return up != 0 ? samples + move : samples - move;
}

template <class T>
inline std::size_t suppressChromaBlocks(T* row, std::size_t width, std::size_t step, const SChromaLimits& limits) {
    CDensePixels<T> dense(step);
    std::size_t x = 0;
    while (const std::size_t columns = anyColumns<T>(x, width)) {
        T* const pixels = dense.Take(row + x * step, columns);
        for (std::size_t i = 0; i < columns; i += kLanes<T>) {
            const SColours<T> colours = loadColours(pixels + 3 * i);
            const SStrength<T> strength(lumaVec(colours), limits);
            // Bright and dark areas are connected.
            if (strength.Any()) {
                storePixels<3>(pixels + 3 * i, towardGreenVec(colours.blue, colours.green, strength), colours.green,
                               towardGreenVec(colours.red, colours.green, strength));
            }
        }
        dense.PutBack(row + x * step, columns);
        x += columns;
    }
    return x;
}

// loadWords: kLanes<std::uint16_t> samples as words. storeNarrow: words of 0 .. 255 as so many bytes; words stay.

inline Vec<std::uint16_t> loadWords(const std::uint16_t* p) {
    return load(p);
}
inline void storeNarrow(std::uint16_t* p, Vec<std::uint16_t> v) {
    store(p, v);
}

#if defined(__ARM_NEON)
inline Vec<std::uint16_t> loadWords(const std::uint8_t* p) {
    return vmovl_u8(vld1_u8(p));
}
inline void storeNarrow(std::uint8_t* p, Vec<std::uint16_t> v) {
    vst1_u8(p, vmovn_u16(v));
}
#elif VEK_VECTOR_BYTES == 64
// The conversions without a mask start from an undefined vector, which g++ 12 warns of.
constexpr __mmask32 kAllWords = 0xFFFFFFFF;
inline Vec<std::uint16_t> loadWords(const std::uint8_t* p) {
    return (Vec<std::uint16_t>)_mm512_maskz_cvtepu8_epi16(kAllWords, _mm256_loadu_si256((const __m256i*)p));
}
inline void storeNarrow(std::uint8_t* p, Vec<std::uint16_t> v) {
    _mm256_storeu_si256((__m256i*)p, _mm512_maskz_cvtepi16_epi8(kAllWords, (__m512i)v));
}
#elif VEK_VECTOR_BYTES == 32
inline Vec<std::uint16_t> loadWords(const std::uint8_t* p) {
    return (Vec<std::uint16_t>)_mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)p));
}
inline void storeNarrow(std::uint8_t* p, Vec<std::uint16_t> v) {
    const __m128i low = _mm256_castsi256_si128((__m256i)v);
    _mm_storeu_si128((__m128i*)p, _mm_packus_epi16(low, _mm256_extracti128_si256((__m256i)v, 1)));
}
#else
inline Vec<std::uint16_t> loadWords(const std::uint8_t* p) {
    return (Vec<std::uint16_t>)_mm_cvtepu8_epi16(_mm_loadl_epi64((const __m128i*)p));
}
inline void storeNarrow(std::uint8_t* p, Vec<std::uint16_t> v) {
    _mm_storel_epi64((__m128i*)p, _mm_packus_epi16((__m128i)v, (__m128i)v));
}
#endif

template <class T>
inline std::size_t sum3Blocks(const T* row, std::uint16_t* sumRow, std::size_t width) {
    constexpr std::size_t lanes = kLanes<std::uint16_t>;
    std::size_t x = 1;
    for (; x + lanes < width; x += lanes) {
        store(sumRow + x, loadWords(row + x - 1) + loadWords(row + x) + loadWords(row + x + 1));
    }
    return x;
}

/// Tables of corrections as the lookup takes them; lower is null where raise serves both.
template <class T>
struct SCorrections {
    const T* raise;
    const T* lower;
};
inline SCorrections<std::uint16_t> correctionsOf(const SSharpening& sharpening, std::uint16_t) {
    return {sharpening.table, nullptr};
}
inline SCorrections<std::uint8_t> correctionsOf(const SSharpening& sharpening, std::uint8_t) {
    return {sharpening.raiseBytes, sharpening.lowerBytes};
}

/// What the unsharp mask knows of the pixels of a chunk: how far they are above or below the mean of their neighbours,
/// 0 where that is within the coring; and the corrections for it.
template <class T>
struct SSharpChunk {
    SChunk<T> brighter;
    SChunk<T> darker;
    SChunk<T> raise;
    SChunk<T> lower;

    /// samples: those of the row; leftOf(i): the left neighbours of column i and those behind it, as words; above,
    /// below: sums of three of the rows beside. Returns false where sums leave 16 bits: words above any depth.
    template <class LeftOf>
    bool Compare(const T* samples, LeftOf leftOf, const std::uint16_t* above, const std::uint16_t* below,
                 std::size_t count, unsigned coring) {
        Vec<std::uint16_t> sums{};
        Vec<std::uint16_t> neighbours{};
        for (std::size_t i = 0; i < count; i += kLanes<std::uint16_t>) {
            const Vec<std::uint16_t> a = load(above + i);
            const Vec<std::uint16_t> b = load(below + i);
            const Vec<std::uint16_t> left = leftOf(i);
            const Vec<std::uint16_t> right = loadWords(samples + i + 1);
            sums |= a | b;
            neighbours |= left | right;
            storeNarrow(raise.at + i, (a + b + left + right + 4) >> 3);
        }
        constexpr T largest = static_cast<T>(~T{0});
        const T held = coring < largest ? static_cast<T>(coring) : largest;
        const Vec<T> limit = Vec<T>{} + held;
        for (std::size_t i = 0; i < count; i += kLanes<T>) {
            const Vec<T> sample = load(samples + i);
            const Vec<T> mean = load(raise.at + i);
            const Vec<T> more = subSat(sample, mean);
            const Vec<T> less = subSat(mean, sample);
            store(brighter.at + i, more & (Vec<T>)(more > limit));
            store(darker.at + i, less & (Vec<T>)(less > limit));
            store(raise.at + i, more | less);
        }
        return !anyLane((sums & 0xC000) | (neighbours & 0xE000));
    }

    /// Whether there is anything to correct in columns from .. from + count - 1.
    bool Any(std::size_t from, std::size_t count) const {
        Vec<T> any{};
        for (std::size_t i = from; i < from + count; i += kLanes<T>) {
            any |= load(brighter.at + i) | load(darker.at + i);
        }
        return anyLane(any);
    }
    /// Corrections from their differences.
    void LookUp(const SCorrections<T>& corrections, std::size_t from, std::size_t count) {
        if (corrections.lower != nullptr) {
            __builtin_memcpy(lower.at + from, raise.at + from, count * sizeof(T));
            lookUp(lower.at + from, count, corrections.lower, corrections.lower);
        }
        lookUp(raise.at + from, count, corrections.raise, corrections.raise);
    }
    /// Calls correct(i) for the blocks of every run that has something to correct. Even areas have nothing.
    template <class Correct>
    void ForRuns(const SCorrections<T>& corrections, std::size_t count, Correct correct) {
        constexpr std::size_t run = 64;
        for (std::size_t from = 0; from < count; from += run) {
            const std::size_t columns = count - from < run ? count - from : run;
            if (Any(from, columns)) {
                LookUp(corrections, from, columns);
                for (std::size_t i = from; i < from + columns; i += kLanes<T>) {
                    correct(i);
                }
            }
        }
    }
    Vec<T> Plus(std::size_t i) const { return load(raise.at + i) & (Vec<T>)(load(brighter.at + i) != 0); }
    Vec<T> Minus(std::size_t i, bool apart) const {
        return load((apart ? lower.at : raise.at) + i) & (Vec<T>)(load(darker.at + i) != 0);
    }
};

template <class T>
inline std::size_t sharpenGreyBlocks(T* row, const std::uint16_t* above, const std::uint16_t* below, std::size_t width,
                                     T& left, const SSharpening& sharpening) {
    std::size_t x = 1;
    if (!isUsualMaximum<T>(sharpening.maxValue) || width < kLanes<T> + 2) {
        return x;
    }
    // What a grey sample gets darker by counts modulo 256, too.
    const SCorrections<T> corrections = {correctionsOf(sharpening, T{}).raise, nullptr};
    const Vec<T> max = Vec<T>{} + static_cast<T>(sharpening.maxValue);
    SSharpChunk<T> chunk;
    while (const std::size_t count = chunkColumns<T>(x, width - 1)) {
        T* const samples = row + x;
        const auto leftOf = [&](std::size_t i) {
            Vec<std::uint16_t> words = loadWords(samples + i - 1);
            if (i == 0) {
                words[0] = left;
            }
            return words;
        };
        bool usual = chunk.Compare(samples, leftOf, above + x, below + x, count, sharpening.coring);
        if constexpr (sizeof(T) != 1) {
            // Samples above the largest keep what the plain loop leaves of them.
            Vec<T> high{};
            for (std::size_t i = 0; i < count; i += kLanes<T>) {
                high |= (Vec<T>)(load(samples + i) > max);
            }
            usual = usual && !anyLane(high);
        }
        if (usual) {
            left = samples[count - 1];
            chunk.ForRuns(corrections, count, [&](std::size_t i) {
                const Vec<T> sharp = subSat(addSat(load(samples + i), chunk.Plus(i)), chunk.Minus(i, false));
                store(samples + i, sizeof(T) == 1 ? sharp : smaller(sharp, max));
            });
        } else {
            left = sharpenGreySpan(row, above, below, x, x + count, left, sharpening);
        }
        x += count;
    }
    return x;
}

/// Whether a sample of a block's pixels is above maxValue.
template <class T>
inline bool anyAbove(const T* pixels, Vec<T> maxValue) {
    return anyLane((Vec<T>)((load(pixels) > maxValue) | (load(pixels + kLanes<T>) > maxValue) |
                            (load(pixels + 2 * kLanes<T>) > maxValue)));
}

template <class T>
inline std::size_t sharpenColourBlocks(T* row, std::size_t step, const T* lumaRow, const std::uint16_t* above,
                                       const std::uint16_t* below, std::size_t width, const SSharpening& sharpening) {
    std::size_t x = 1;
    if (!isUsualMaximum<T>(sharpening.maxValue) || width < kLanes<T> + 2) {
        return x;
    }
    const SCorrections<T> corrections = correctionsOf(sharpening, T{});
    const Vec<T> max = Vec<T>{} + static_cast<T>(sharpening.maxValue);
    SSharpChunk<T> chunk;
    CDensePixels<T> dense(step);
    while (const std::size_t count = chunkColumns<T>(x, width - 1)) {
        T* const pixels = dense.Take(row + x * step, count);
        const auto leftOf = [&](std::size_t i) { return loadWords(lumaRow + x + i - 1); };
        if (chunk.Compare(lumaRow + x, leftOf, above + x, below + x, count, sharpening.coring)) {
            chunk.ForRuns(corrections, count, [&](std::size_t i) {
                if (sizeof(T) != 1 && anyAbove(pixels + 3 * i, max)) {
                    // Those that are left alone stay as they are.
                    sharpenColourSpan(pixels + 3 * i, 3, lumaRow, above, below, x + i, x + i + kLanes<T>, sharpening);
                } else {
                    changeBlock(pixels + 3 * i, chunk.Plus(i), chunk.Minus(i, corrections.lower != nullptr), max);
                }
            });
        } else {
            sharpenColourSpan(pixels, 3, lumaRow, above, below, x, x + count, sharpening);
        }
        dense.PutBack(row + x * step, count);
        x += count;
    }
    return x;
}

#endif

// ---- colour matrix ----

#if VEK_VECTOR_BYTES != 0

// A pixel is a vector of sums, of which the first three have a meaning. They are added without a sign: the others may
// leave its range.

/// Sums of 32 bits. They go to bytes or words as a clamp does it, which is what the limits of 2^28 come to where no sum
/// reaches them.
struct SWideSums {
    typedef std::uint32_t Vector __attribute__((vector_size(16)));
    using Entry = SMatrixTables::Entry;
};
/// Sums of 16 bits, in the lower half.
struct SNarrowSums {
    typedef std::uint16_t Vector __attribute__((vector_size(16)));
    using Entry = SMatrixTables::NarrowEntry;
};

typedef std::uint8_t SampleBytes __attribute__((vector_size(16)));
typedef std::uint16_t SampleWords __attribute__((vector_size(16)));
inline SampleBytes samplesOfVector(std::uint8_t) {
    return SampleBytes{};
}
inline SampleWords samplesOfVector(std::uint16_t) {
    return SampleWords{};
}

/// 16 bytes of samples from four pixels (bytes) or two (words).
#if defined(__ARM_NEON)
inline SampleWords packSums(const SWideSums::Vector* sums, std::uint16_t) {
    return vcombine_u16(vqmovun_s32((int32x4_t)sums[0]), vqmovun_s32((int32x4_t)sums[1]));
}
inline SampleBytes packSums(const SWideSums::Vector* sums, std::uint8_t) {
    return vcombine_u8(vqmovn_u16(packSums(sums, std::uint16_t{})), vqmovn_u16(packSums(sums + 2, std::uint16_t{})));
}
inline SampleWords packSums(const SNarrowSums::Vector* sums, std::uint16_t) {
    return (SampleWords)vmaxq_s16((int16x8_t)vzip1q_s64((int64x2_t)sums[0], (int64x2_t)sums[1]), int16x8_t{});
}
inline SampleBytes packSums(const SNarrowSums::Vector* sums, std::uint8_t) {
    return vcombine_u8(vqmovun_s16((int16x8_t)vzip1q_s64((int64x2_t)sums[0], (int64x2_t)sums[1])),
                       vqmovun_s16((int16x8_t)vzip1q_s64((int64x2_t)sums[2], (int64x2_t)sums[3])));
}
#else
inline SampleWords packSums(const SWideSums::Vector* sums, std::uint16_t) {
    return (SampleWords)_mm_packus_epi32((__m128i)sums[0], (__m128i)sums[1]);
}
inline SampleBytes packSums(const SWideSums::Vector* sums, std::uint8_t) {
    return (SampleBytes)_mm_packus_epi16(_mm_packs_epi32((__m128i)sums[0], (__m128i)sums[1]),
                                         _mm_packs_epi32((__m128i)sums[2], (__m128i)sums[3]));
}
inline SampleWords packSums(const SNarrowSums::Vector* sums, std::uint16_t) {
    return (SampleWords)_mm_max_epi16(_mm_unpacklo_epi64((__m128i)sums[0], (__m128i)sums[1]), _mm_setzero_si128());
}
inline SampleBytes packSums(const SNarrowSums::Vector* sums, std::uint8_t) {
    return (SampleBytes)_mm_packus_epi16(_mm_unpacklo_epi64((__m128i)sums[0], (__m128i)sums[1]),
                                         _mm_unpacklo_epi64((__m128i)sums[2], (__m128i)sums[3]));
}
#endif

/// The first 12 bytes.
inline void store12(void* p, Bytes16 v) {
    typedef std::uint64_t Halves __attribute__((vector_size(16)));
    typedef std::uint32_t Quarters __attribute__((vector_size(16)));
    const std::uint64_t low = ((Halves)v)[0];
    const std::uint32_t high = ((Quarters)v)[2];
    __builtin_memcpy(p, &low, sizeof low);
    __builtin_memcpy(static_cast<std::uint8_t*>(p) + sizeof low, &high, sizeof high);
}

/// A sample's entry; one of 8 bytes comes with the next one. Held: the sample may lie beyond the table.
template <class Kind, bool Held, class T>
inline typename Kind::Vector entryAt(const typename Kind::Entry* table, T sample) {
    typename Kind::Vector entry;
    __builtin_memcpy(&entry, table[Held ? entryOf<4096>(sample) : unsigned{sample}], sizeof entry);
    return entry;
}

/// The three tables of a kind.
template <class Kind>
struct SProducts {
    const typename Kind::Entry* blue;
    const typename Kind::Entry* green;
    const typename Kind::Entry* red;

    template <bool Held, class T>
    typename Kind::Vector Sums(const T* pixel) const {
        return entryAt<Kind, Held>(blue, pixel[0]) + entryAt<Kind, Held>(green, pixel[1]) +
               entryAt<Kind, Held>(red, pixel[2]);
    }
};

/// Blocks of pixels that stand step samples apart, 3 if Dense.
template <bool Held, bool Dense, class Kind, class T>
inline void multiplyBlocks(T* pixels, std::size_t count, std::size_t step, SProducts<Kind> products, T maxValue) {
    constexpr std::size_t block = 4 / sizeof(T);
    const auto max = samplesOfVector(T{}) + maxValue;
    for (std::size_t x = 0; x < count; x += block) {
        T* const at = pixels + x * step;
        typename Kind::Vector sums[block];
        for (std::size_t i = 0; i < block; ++i) {
            sums[i] = products.template Sums<Held>(at + i * step);
        }
        const auto samples = smaller(packSums(sums, T{}), max);
        if constexpr (Dense) {
            store12(at, narrowPixels<3 * sizeof(T)>((Bytes16)samples));
        } else {
            T stored[16 / sizeof(T)];
            __builtin_memcpy(stored, &samples, sizeof stored);
            for (std::size_t i = 0; i < block; ++i) {
                __builtin_memcpy(at + i * step, stored + 4 * i, 3 * sizeof(T));
            }
        }
    }
}

#if VEK_VECTOR_BYTES == 64

/// 64 dense pixels of bytes at a time: 16-bit products from tables that stand in registers.
inline std::size_t multiplyInRegisters(std::uint8_t* row, std::size_t width, const SMatrixTables::BytePlanes* planes) {
    std::size_t x = 0;
    for (; x + kLanes<std::uint8_t> <= width; x += kLanes<std::uint8_t>) {
        prefetchPixels(row + 3 * x);
        const SColours<std::uint8_t> colours = loadColours(row + 3 * x);
        const __m512i in[3] = {(__m512i)colours.blue, (__m512i)colours.green, (__m512i)colours.red};
        Vec<std::uint8_t> out[3];
        for (std::size_t j = 0; j < 3; ++j) {
            __m512i low = _mm512_setzero_si512();
            __m512i high = low;
            for (std::size_t i = 0; i < 3; ++i) {
                const __mmask64 upperHalf = _mm512_movepi8_mask(in[i]);
                const __m512i lowBytes = SByteTable(planes[i].low[j]).LookUp(in[i], upperHalf);
                const __m512i highBytes = SByteTable(planes[i].high[j]).LookUp(in[i], upperHalf);
                low = _mm512_add_epi16(low, _mm512_unpacklo_epi8(lowBytes, highBytes));
                high = _mm512_add_epi16(high, _mm512_unpackhi_epi8(lowBytes, highBytes));
            }
            out[j] = (Vec<std::uint8_t>)_mm512_packus_epi16(low, high);
        }
        storePixels<3>(row + 3 * x, out[0], out[1], out[2]);
    }
    return x;
}

#endif

template <class Kind, class T>
inline std::size_t multiply(T* row, std::size_t done, std::size_t width, std::size_t step, SProducts<Kind> products,
                            T maxValue) {
    constexpr std::size_t block = 4 / sizeof(T);
    std::size_t x = done;
    if (step != 3) {
        const std::size_t columns = (width - x) / block * block;
        multiplyBlocks<true, false>(row + x * step, columns, step, products, maxValue);
        return x + columns;
    }
    if constexpr (sizeof(T) != 1) {
        constexpr std::size_t lanes = kLanes<T>;
        const Vec<T> last = Vec<T>{} + 4095;
        for (; x + lanes <= width; x += lanes) {
            T* const pixels = row + 3 * x;
            prefetchPixels(pixels);
            anyAbove(pixels, last) ? multiplyBlocks<true, true>(pixels, lanes, 3, products, maxValue)
                                   : multiplyBlocks<false, true>(pixels, lanes, 3, products, maxValue);
        }
    }
    const std::size_t columns = (width - x) / block * block;
    multiplyBlocks<sizeof(T) != 1, true>(row + 3 * x, columns, 3, products, maxValue);
    return x + columns;
}

template <class T>
inline std::size_t matrixBlocks(T* row, std::size_t width, std::size_t step, const SMatrixTables& tables,
                                unsigned maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES == 64
    if constexpr (sizeof(T) == 1) {
        if (tables.narrowBytes && step == 3 && maxValue == 255) {
            done = multiplyInRegisters(row, width, tables.planes);
        }
    }
#endif
    if (sizeof(T) == 1 ? tables.narrowBytes : tables.narrowWords) {
        constexpr unsigned largest = 0x7FFF; // which no sum of 16 bits exceeds
        const auto held = static_cast<T>(sizeof(T) == 2 && maxValue > largest ? largest : maxValue);
        const SProducts<SNarrowSums> products = {tables.narrowBlue, tables.narrowGreen, tables.narrowRed};
        return multiply(row, done, width, step, products, held);
    }
    const SProducts<SWideSums> products = {tables.blue, tables.green, tables.red};
    return tables.moderate ? multiply(row, 0, width, step, products, static_cast<T>(maxValue)) : 0;
}

#endif

// ---- kernels ----

template <class T>
void lumaCurve(T* row, std::size_t width, std::size_t step, const SLumaTables& luma, const SLumaCurve& curve,
               unsigned maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = lumaCurveBlocks(row, width, step, curve, maxValue);
#endif
    lumaCurveSpan(row, done, width, step, luma, curve, maxValue);
}

template <class T>
void matrix(T* row, std::size_t width, std::size_t step, const SMatrixTables& tables, unsigned maxValue) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = matrixBlocks(row, width, step, tables, maxValue);
#endif
    matrixSpan(row, done, width, step, tables, maxValue);
}

template <class T>
void suppressChroma(T* row, std::size_t width, std::size_t step, const SLumaTables& luma, const SChromaLimits& limits) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = suppressChromaBlocks(row, width, step, limits);
#endif
    suppressChromaSpan(row, done, width, step, luma, limits);
}

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
void sum3(const T* row, std::uint16_t* sumRow, std::size_t width) {
    std::size_t done = 1;
#if VEK_VECTOR_BYTES != 0
    done = sum3Blocks(row, sumRow, width);
#endif
    if (width > 2) {
        sum3Span(row, sumRow, done, width - 1);
    }
}

template <class T>
void sharpenGrey(T* row, const std::uint16_t* above, const std::uint16_t* below, std::size_t width,
                 const SSharpening& sharpening) {
    std::size_t done = 1;
    T left = row[0];
#if VEK_VECTOR_BYTES != 0
    done = sharpenGreyBlocks(row, above, below, width, left, sharpening);
#endif
    sharpenGreySpan(row, above, below, done, width - 1, left, sharpening);
}

template <class T>
void sharpenColour(T* row, std::size_t step, const T* lumaRow, const std::uint16_t* above, const std::uint16_t* below,
                   std::size_t width, const SSharpening& sharpening) {
    std::size_t done = 1;
#if VEK_VECTOR_BYTES != 0
    done = sharpenColourBlocks(row, step, lumaRow, above, below, width, sharpening);
#endif
    sharpenColourSpan(row + done * step, step, lumaRow, above, below, done, width - 1, sharpening);
}

template <class T>
constexpr SColourRows<T> colourTable() {
    return {lumaCurve<T>, matrix<T>, suppressChroma<T>, luma<T>, sum3<T>, sharpenGrey<T>, sharpenColour<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
