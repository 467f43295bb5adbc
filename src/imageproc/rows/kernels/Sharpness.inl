// SPDX-License-Identifier: Apache-2.0
// The unsharp mask, of grey rows and of blue-green-red pixels, which it takes by their luma.
//
//   a a a     detail = c - (sum of a + l + r + sum of b + 4) / 8, the mean of the eight neighbours, a half up.
//   l c r     Beyond the coring, a correction by |detail| makes c (or all three samples of the pixel) brighter where
//   b b b     detail is positive and darker where it is not, within 0 .. maxValue.
//
// Reads columns 0 .. width-1 of the row, as they were before any change, and 1 .. width-2 of the sums a and b of the
// rows beside it; changes 1 .. width-2.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Luma.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. to-1 ----

template <class T>
inline void sum3Span(const T* row, std::uint16_t* sumRow, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        sumRow[x] = static_cast<std::uint16_t>(row[x - 1] + row[x] + row[x + 1]);
    }
}

/// What a pixel differs by from the mean of its eight neighbours, which a half rounds up.
inline std::int32_t detail(unsigned center, unsigned left, unsigned right, unsigned above, unsigned below) {
    return static_cast<std::int32_t>(center) - static_cast<std::int32_t>((above + below + left + right + 4) >> 3);
}

/// Correction by absolute difference.
inline unsigned correctionOf(std::int32_t difference, const SSharpening& sharpening) {
    return sharpening.table[difference < 4096 ? difference : 4095];
}

// Bytes: the correction itself counts modulo 256 in grey images; in colour images the bound and the sum do. Both are a
// clamp to 0 .. 255 for corrections of up to 255.

inline std::uint8_t brighterGray(std::uint8_t sample, unsigned correction, unsigned maxValue) {
    const unsigned step = correction & 0xFF;
    return static_cast<std::uint8_t>(((maxValue - sample) & 0xFF) > step ? sample + step : maxValue);
}
inline std::uint8_t darkerGray(std::uint8_t sample, unsigned correction) {
    const unsigned step = correction & 0xFF;
    return static_cast<std::uint8_t>(sample > step ? sample - step : 0);
}
inline std::uint8_t brighterColor(std::uint8_t sample, unsigned correction, unsigned maxValue) {
    return static_cast<std::uint8_t>(sample < ((maxValue - correction) & 0xFF) ? sample + correction : maxValue);
}
inline std::uint8_t darkerColor(std::uint8_t sample, unsigned correction, unsigned) {
    return static_cast<std::uint8_t>(sample > correction ? sample - correction : 0);
}

// Words: plain clamps. A sample above maxValue that a grey image darkens may stay above it.

inline std::uint16_t brighterGray(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    return static_cast<std::uint16_t>(sample + correction < maxValue ? sample + correction : maxValue);
}
inline std::uint16_t darkerGray(std::uint16_t sample, unsigned correction) {
    return static_cast<std::uint16_t>(sample > correction ? sample - correction : 0);
}
inline std::uint16_t brighterColor(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    return brighterGray(sample, correction, maxValue);
}
inline std::uint16_t darkerColor(std::uint16_t sample, unsigned correction, unsigned maxValue) {
    const std::uint16_t darker = darkerGray(sample, correction);
    return static_cast<std::uint16_t>(darker < maxValue ? darker : maxValue);
}

/// left: the sample in front of from as it was before its own change. Returns that of the last column.
template <class T>
inline T sharpenGraySpan(T* row, const std::uint16_t* above, const std::uint16_t* below, std::size_t from,
                         std::size_t to, T left, const SSharpening& sharpening) {
    const auto coring = static_cast<std::int32_t>(sharpening.coring);
    for (std::size_t x = from; x < to; ++x) {
        const T center = row[x];
        const std::int32_t difference = detail(center, left, row[x + 1], above[x], below[x]);
        if (difference > coring) {
            row[x] = brighterGray(center, correctionOf(difference, sharpening), sharpening.maxValue);
        } else if (difference < -coring) {
            row[x] = darkerGray(center, correctionOf(-difference, sharpening));
        }
        left = center;
    }
    return left;
}

/// pixel: that of column from.
template <class T>
inline void sharpenColorSpan(T* pixel, std::size_t step, const T* lumaRow, const std::uint16_t* above,
                             const std::uint16_t* below, std::size_t from, std::size_t to,
                             const SSharpening& sharpening) {
    const auto coring = static_cast<std::int32_t>(sharpening.coring);
    for (std::size_t x = from; x < to; ++x, pixel += step) {
        const std::int32_t difference = detail(lumaRow[x], lumaRow[x - 1], lumaRow[x + 1], above[x], below[x]);
        if (difference > coring) {
            const unsigned correction = correctionOf(difference, sharpening);
            for (unsigned i = 0; i < 3; ++i) {
                pixel[i] = brighterColor(pixel[i], correction, sharpening.maxValue);
            }
        } else if (difference < -coring) {
            const unsigned correction = correctionOf(-difference, sharpening);
            for (unsigned i = 0; i < 3; ++i) {
                pixel[i] = darkerColor(pixel[i], correction, sharpening.maxValue);
            }
        }
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- blocks: each function works on whole blocks of a row and returns the column behind them ----

/// Samples as words, and words within a sample's range as samples.
template <class T>
VEK_INLINE WideV<std::uint16_t> loadWords(const T* p) {
    const auto samples = load<V<T, kLanes<WideV<std::uint16_t>> * sizeof(T)>>(p);
    if constexpr (sizeof(T) == 1) {
        return widen<std::uint16_t>(samples);
    } else {
        return samples;
    }
}
template <class T>
VEK_INLINE auto asSamples(WideV<std::uint16_t> words) {
    if constexpr (sizeof(T) == 1) {
        return narrow<T>(words);
    } else {
        return words;
    }
}

template <class T>
inline std::size_t sum3Blocks(const T* row, std::uint16_t* sumRow, std::size_t width) {
    constexpr std::size_t lanes = kLanes<WideV<std::uint16_t>>;
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
    using A = WideV<T>;
    SChunk<T> brighter;
    SChunk<T> darker;
    SChunk<T> raise;
    SChunk<T> lower;

    /// Details of a chunk, by their size and sign.
    /// samples: those of the row; leftOf(i): the left neighbours of column i and those behind it, as words; above,
    /// below: sums of three of the rows beside. Returns false where sums leave 16 bits: words above any depth.
    template <class LeftOf>
    bool Compare(const T* samples, LeftOf leftOf, const std::uint16_t* above, const std::uint16_t* below,
                 std::size_t count, unsigned coring) {
        using Words = WideV<std::uint16_t>;
        Words sums{};
        Words neighbors{};
        for (std::size_t i = 0; i < count; i += kLanes<Words>) {
            const auto a = load<Words>(above + i);
            const auto b = load<Words>(below + i);
            const Words left = leftOf(i);
            const Words right = loadWords(samples + i + 1);
            sums |= a | b;
            neighbors |= left | right;
            store(raise.at + i, asSamples<T>((a + b + left + right + 4) >> 3));
        }
        constexpr T largest = static_cast<T>(~T{0});
        const T held = coring < largest ? static_cast<T>(coring) : largest;
        const A limit = all<A>(held);
        for (std::size_t i = 0; i < count; i += kLanes<A>) {
            const A sample = load<A>(samples + i);
            const A mean = load<A>(raise.at + i);
            const A more = subSat(sample, mean);
            const A less = subSat(mean, sample);
            store(brighter.at + i, more & (A)(more > limit));
            store(darker.at + i, less & (A)(less > limit));
            store(raise.at + i, more | less);
        }
        return !any((sums & 0xC000) | (neighbors & 0xE000));
    }

    /// Whether there is anything to correct in columns from .. from + count - 1.
    bool Any(std::size_t from, std::size_t count) const {
        A differences{};
        for (std::size_t i = from; i < from + count; i += kLanes<A>) {
            differences |= load<A>(brighter.at + i) | load<A>(darker.at + i);
        }
        return any(differences);
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
                for (std::size_t i = from; i < from + columns; i += kLanes<A>) {
                    correct(i);
                }
            }
        }
    }
    /// What corrects block i; apart: what makes darker has a table of its own.
    VEK_INLINE SChange<A> Change(std::size_t i, bool apart) const {
        const A plus = load<A>(raise.at + i) & (A)(load<A>(brighter.at + i) != 0);
        const A minus = load<A>((apart ? lower.at : raise.at) + i) & (A)(load<A>(darker.at + i) != 0);
        return {plus, minus};
    }
};

template <class T>
inline std::size_t sharpenGrayBlocks(T* row, const std::uint16_t* above, const std::uint16_t* below, std::size_t width,
                                     T& left, const SSharpening& sharpening) {
    using A = WideV<T>;
    std::size_t x = 1;
    if (!isUsualMaximum<T>(sharpening.maxValue) || width < kLanes<A> + 2) {
        return x;
    }
    // What a grey sample gets darker by counts modulo 256, too.
    const SCorrections<T> corrections = {correctionsOf(sharpening, T{}).raise, nullptr};
    const A max = all<A>(static_cast<T>(sharpening.maxValue));
    SSharpChunk<T> chunk;
    while (const std::size_t count = chunkColumns<T>(x, width - 1)) {
        T* const samples = row + x;
        const auto leftOf = [&](std::size_t i) {
            WideV<std::uint16_t> words = loadWords(samples + i - 1);
            if (i == 0) {
                words[0] = left;
            }
            return words;
        };
        bool usual = chunk.Compare(samples, leftOf, above + x, below + x, count, sharpening.coring);
        if constexpr (sizeof(T) != 1) {
            // Samples above the largest keep what the plain loop leaves of them.
            A high{};
            for (std::size_t i = 0; i < count; i += kLanes<A>) {
                high |= (A)(load<A>(samples + i) > max);
            }
            usual = usual && !any(high);
        }
        if (usual) {
            left = samples[count - 1];
            chunk.ForRuns(corrections, count, [&](std::size_t i) {
                store(samples + i, changed(load<A>(samples + i), chunk.Change(i, false), max));
            });
        } else {
            left = sharpenGraySpan(row, above, below, x, x + count, left, sharpening);
        }
        x += count;
    }
    return x;
}

template <class T>
inline std::size_t sharpenColorBlocks(T* row, std::size_t step, const T* lumaRow, const std::uint16_t* above,
                                      const std::uint16_t* below, std::size_t width, const SSharpening& sharpening) {
    using A = WideV<T>;
    std::size_t x = 1;
    if (!isUsualMaximum<T>(sharpening.maxValue) || width < kLanes<A> + 2) {
        return x;
    }
    const SCorrections<T> corrections = correctionsOf(sharpening, T{});
    const A max = all<A>(static_cast<T>(sharpening.maxValue));
    SSharpChunk<T> chunk;
    CDensePixels<T> dense(step);
    while (const std::size_t count = chunkColumns<T>(x, width - 1)) {
        T* const pixels = dense.Take(row + x * step, count);
        const auto leftOf = [&](std::size_t i) { return loadWords(lumaRow + x + i - 1); };
        if (chunk.Compare(lumaRow + x, leftOf, above + x, below + x, count, sharpening.coring)) {
            chunk.ForRuns(corrections, count, [&](std::size_t i) {
                if (sizeof(T) != 1 && anyAbove(pixels + 3 * i, max)) {
                    // Those that are left alone stay as they are.
                    sharpenColorSpan(pixels + 3 * i, 3, lumaRow, above, below, x + i, x + i + kLanes<A>, sharpening);
                } else {
                    changePixels(pixels + 3 * i, chunk.Change(i, corrections.lower != nullptr), max);
                }
            });
        } else {
            sharpenColorSpan(pixels, 3, lumaRow, above, below, x, x + count, sharpening);
        }
        dense.PutBack(row + x * step, count);
        x += count;
    }
    return x;
}

#if defined(__AVX512VBMI__)

#define VEK_SHARP_BYTES 1

/// Corrections of bytes in registers: what makes brighter and, if it is Apart, what makes darker. Their entry 0 is 0.
template <bool Apart>
struct SByteCorrections {
    using A = SByteTable::Bytes;
    SByteTable raise;
    SByteTable lower;

    VEK_INLINE SChange<A> ChangeOf(A center, A mean) const {
        const A more = subSat(center, mean);
        const A less = subSat(mean, center);
        if constexpr (Apart) {
            return {raise.LookUp(more), lower.LookUp(less)};
        } else {
            const A correction = raise.LookUp(more | less);
            return {correction & (A)(more != 0), correction & (A)(less != 0)};
        }
    }
};

/// The mean of the eight neighbours of columns x and those behind it. own holds center, too.
VEK_INLINE SByteTable::Bytes neighborMean(SByteTable::Bytes center, const SNeighborSums& sums, std::size_t x) {
    using Words = V<std::uint16_t, 64>;
    const auto half = [&](std::size_t at, Words own) {
        const Words sum = load<Words>(sums.above + at) + load<Words>(sums.below + at) + load<Words>(sums.own + at);
        return (sum - own + 4) >> 3;
    };
    return lowBytes(half(x, widenHalf<0>(center)), half(x + kLanes<Words>, widenHalf<1>(center)));
}

/// Columns 1 .. width-2, which fill a block; Channels 3: of dense pixels.
template <unsigned Channels, bool Apart>
inline void sharpenBytes(const std::uint8_t* row, std::uint8_t* dst, const std::uint8_t* lumaRow,
                         const SNeighborSums& sums, std::size_t width, const SSharpening& sharpening) {
    using A = SByteTable::Bytes;
    const SByteCorrections<Apart> corrections = {SByteTable(sharpening.raiseBytes),
                                                 SByteTable(Apart ? sharpening.lowerBytes : sharpening.raiseBytes)};
    const A max = all<A>(255);
    const auto samplesAt = [&](std::size_t x) { return loadRun<Channels, A>(row + Channels * x); };
    // The first and the last block overlap others, to bring those between into line, and where they are read from may
    // be written to.
    const std::size_t end = width - 1 - kLanes<A>;
    const SRun<Channels, A> first = samplesAt(1);
    const SRun<Channels, A> last = samplesAt(end);
    for (std::size_t x = smaller(alignedColumn<A, Channels>(dst, 0), end);;) {
        const SRun<Channels, A> samples = x == 1 ? first : x == end ? last : samplesAt(x);
        const A center = Channels == 1 ? samples.part[0] : load<A>(lumaRow + x);
        const A mean = neighborMean(center, sums, x);
        if (row != dst) {
            prefetchWrites<Channels * sizeof(A)>(dst + Channels * x);
        }
        storeRun(dst + Channels * x, changedRun(samples, corrections.ChangeOf(center, mean), max));
        if (x == 1) {
            return;
        }
        x = x == end ? 1 : smaller(x + kLanes<A>, end);
    }
}

/// All of a row; false, and nothing done, where it has less than a block.
template <unsigned Channels>
inline bool sharpenInRegisters(const std::uint8_t* row, std::uint8_t* dst, const std::uint8_t* lumaRow,
                               const SNeighborSums& sums, std::size_t width, const SSharpening& sharpening) {
    if (sharpening.maxValue != 255 || width < kLanes<SByteTable::Bytes> + 2) {
        return false;
    }
    if (row != dst) {
        __builtin_memcpy(dst, row, Channels);
        __builtin_memcpy(dst + Channels * (width - 1), row + Channels * (width - 1), Channels);
    }
    // What a grey sample gets darker by counts modulo 256, too.
    Channels == 1 || sharpening.lowerBytes == nullptr
        ? sharpenBytes<Channels, false>(row, dst, lumaRow, sums, width, sharpening)
        : sharpenBytes<Channels, true>(row, dst, lumaRow, sums, width, sharpening);
    return true;
}

#else
#define VEK_SHARP_BYTES 0
#endif

#endif

// ---- kernels ----

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

/// Makes dst what row is, for a change in its own place.
template <class T>
inline void copyRow(const T* row, T* dst, std::size_t samples) {
    if (row != dst) {
        __builtin_memcpy(dst, row, samples * sizeof(T));
    }
}

template <class T>
void sharpenGray(const T* row, T* dst, const SNeighborSums& sums, std::size_t width, const SSharpening& sharpening) {
#if VEK_VECTOR_BYTES != 0 && VEK_SHARP_BYTES
    if constexpr (sizeof(T) == 1) {
        if (sharpenInRegisters<1>(row, dst, row, sums, width, sharpening)) {
            return;
        }
    }
#endif
    copyRow(row, dst, width);
    std::size_t done = 1;
    T left = dst[0];
#if VEK_VECTOR_BYTES != 0
    done = sharpenGrayBlocks(dst, sums.above, sums.below, width, left, sharpening);
#endif
    sharpenGraySpan(dst, sums.above, sums.below, done, width - 1, left, sharpening);
}

template <class T>
void sharpenColor(const T* row, T* dst, std::size_t step, const T* lumaRow, const SNeighborSums& sums,
                  std::size_t width, const SSharpening& sharpening) {
#if VEK_VECTOR_BYTES != 0 && VEK_SHARP_BYTES
    if constexpr (sizeof(T) == 1) {
        if (step == 3 && sharpenInRegisters<3>(row, dst, lumaRow, sums, width, sharpening)) {
            return;
        }
    }
#endif
    copyRow(row, dst, 3 * width);
    std::size_t done = 1;
#if VEK_VECTOR_BYTES != 0
    done = sharpenColorBlocks(dst, step, lumaRow, sums.above, sums.below, width, sharpening);
#endif
    sharpenColorSpan(dst + done * step, step, lumaRow, sums.above, sums.below, done, width - 1, sharpening);
}

} // namespace
} // namespace vek::rows::VEK_ISA
