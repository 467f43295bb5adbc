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

// ---- corrections in registers: of bytes, ChangeOf(center, mean) gives the change of a block; of words,
// CorrectionOf(difference) its size ----

/// What makes brighter where center is above mean, and what makes darker where it is not.
template <class A>
VEK_INLINE SChange<A> changeBySide(A raise, A lower, A more) {
    const A falls = (A)(more == 0);
    return {raise & ~falls, lower & falls};
}

#if VEK_BYTE_TABLES

/// Of bytes, from tables: what makes brighter and, if it is Apart, what makes darker. Their entry 0 is 0.
template <bool Apart>
class CTableCorrections {
public:
    using A = SByteTable::Bytes;

    VEK_INLINE explicit CTableCorrections(const SSharpening& sharpening)
        : mRaise(sharpening.raiseBytes), mLower(Apart ? sharpening.lowerBytes : sharpening.raiseBytes) {}
    VEK_INLINE SChange<A> ChangeOf(A center, A mean) const {
        const A more = subSat(center, mean);
        const A less = subSat(mean, center);
        if constexpr (Apart) {
            return {mRaise.LookUp(more), mLower.LookUp(less)};
        } else {
            const A correction = mRaise.LookUp(more | less);
            return changeBySide(correction, correction, more);
        }
    }

private:
    SByteTable mRaise;
    SByteTable mLower;
};

#endif

/// Of bytes, by their digits.
template <bool Apart>
class CDigitCorrections {
public:
    using A = WideV<std::uint8_t>;

    VEK_INLINE explicit CDigitCorrections(const SSharpening& sharpening)
        : mUpper(sharpening.digits->upper), mLower(sharpening.digits->lower),
          mCoring(all<A>(static_cast<std::uint8_t>(smaller(sharpening.coring, 255U)))) {}
    VEK_INLINE SChange<A> ChangeOf(A center, A mean) const {
        const A more = subSat(center, mean);
        const A steps = subSat(more | subSat(mean, center), mCoring);
        const A low = steps & 15;
        const A high = (A)(as<std::uint16_t>(steps) >> 4) & 15;
        const A carry = smaller(subSat(shuffle(mLower.rest, low), shuffle(mUpper.rest, high)), all<A>(1));
        const A raise = shuffle(mLower.whole, low) + shuffle(mUpper.whole, high) + carry;
        if constexpr (Apart) {
            return changeBySide(raise, addSat(addSat(shuffle(mLower.held, low), shuffle(mUpper.held, high)), carry),
                                more);
        } else {
            return changeBySide(raise, raise, more);
        }
    }

private:
    struct SDigit {
        A whole;
        A held;
        A rest;
        VEK_INLINE explicit SDigit(const SCorrectionDigits::SDigit& digit)
            : whole(repeat16<A>(digit.whole)), held(repeat16<A>(digit.held)), rest(repeat16<A>(digit.rest)) {}
    };
    SDigit mUpper;
    SDigit mLower;
    A mCoring;
};

/// Of words, by segments.
class CSegmentCorrections {
public:
    using A = WideV<std::uint16_t>;

    VEK_INLINE explicit CSegmentCorrections(const SSharpening& sharpening)
        : mTurn(repeat16<Bytes>(sharpening.segments->turn)), mRest(repeat16<Bytes>(sharpening.segments->rest)),
          mMore(repeat16<Bytes>(sharpening.segments->more)), mAdd(repeat16<Bytes>(sharpening.segments->add)),
          mTake(repeat16<Bytes>(sharpening.segments->take)),
          mCoring(all<A>(static_cast<std::uint16_t>(sharpening.coring))), mLast(all<A>(sharpening.segments->last)),
          mSlope(all<A>(sharpening.segments->slope)), mWhole(all<A>(sharpening.segments->whole)),
          mLow(all<A>(static_cast<std::uint16_t>((1U << sharpening.segments->bits) - 1))),
          mToSegment(all<A>(static_cast<std::uint16_t>(1U << (16 - sharpening.segments->bits)))),
          mToWhole(all<A>(static_cast<std::uint16_t>(1U << (16 - sharpening.segments->shift)))) {}
    VEK_INLINE A CorrectionOf(A difference) const {
        const A steps = smaller(subSat(difference, mCoring), mLast);
        const A segment = mulHigh(steps, mToSegment);
        const A index = segment | 0x8000;
        const A product = mulHigh(steps * mToSegment, mSlope + Pick(mTurn, index));
        const A next = (steps & mLow) + 1;
        const A exceptions = (A)(next == Pick(mTake, index)) - (A)(next == Pick(mAdd, index));
        return mulHigh(product + Pick(mRest, index), mToWhole) + segment * mWhole + (Pick(mMore, index) + exceptions);
    }

private:
    using Bytes = WideV<std::uint8_t>;
    /// A byte of 16 in each lane.
    VEK_INLINE static A Pick(Bytes table, A index) { return (A)shuffle(table, (Bytes)index); }

    Bytes mTurn;
    Bytes mRest;
    Bytes mMore;
    Bytes mAdd;
    Bytes mTake;
    A mCoring;
    A mLast;
    A mSlope;
    A mWhole;
    A mLow;
    // Powers of two that mulHigh shifts down by: shifts by a number that is no constant take twice the time.
    A mToSegment;
    A mToWhole;
};

#if VEK_VECTOR_BYTES == 32

/// Of words, by a line. Twice: its parts fill a vector of 8 lanes.
template <bool Twice>
class CLineCorrections {
public:
    using A = WideV<std::uint16_t>;
    using Longs = Like<std::uint32_t, A>;

    VEK_INLINE explicit CLineCorrections(const SSharpening& sharpening)
        : mLine(*sharpening.line), mTurn(mLine.turn), mOffset(mLine.offset),
          mCoring(all<A>(static_cast<std::uint16_t>(sharpening.coring))),
          mLast(all<A>(static_cast<std::uint16_t>(mLine.last))) {}
    VEK_INLINE A CorrectionOf(A difference) const {
        const A steps = smaller(subSat(difference, mCoring), mLast);
        return inPairs([this](Longs m) { return AtStep(m); }, steps);
    }

private:
    static constexpr bool kInOne = Twice || sizeof(Longs) == 64;
    struct SParts {
        Longs first;
        Longs second;
        VEK_INLINE explicit SParts(const std::int32_t* parts)
            : first(load<Longs>(parts)), second(load<Longs>(parts + SCorrectionLine::kParts - kLanes<Longs>)) {}
        VEK_INLINE Longs Pick(Longs index) const {
            if constexpr (kInOne) {
                return pickLongs(first, index);
            } else {
                return chooseByTop(index << 28, pickLongs(second, index), pickLongs(first, index));
            }
        }
    };
    VEK_INLINE Longs AtStep(Longs m) const {
        using Signed = Like<std::int32_t, A>;
        const Longs product = m * mLine.slope;
        const auto held = (Signed)larger(product, all<Longs>(mLine.least));
        const auto index = (Longs) __builtin_convertvector(held, Like<float, A>) >> 23;
        const Signed rest =
            addPairs((Signed)mOffset.Pick(index), as<std::int16_t>(m), as<std::int16_t>(mTurn.Pick(index)));
        return (product + (Longs)rest) >> mLine.shift;
    }

    SCorrectionLine mLine;
    SParts mTurn;
    SParts mOffset;
    A mCoring;
    A mLast;
};

#endif

/// The mean of the eight neighbours of columns x and those behind it. own holds center, too.
VEK_INLINE WideV<std::uint8_t> neighborMean(WideV<std::uint8_t> center, const SNeighborSums& sums, std::size_t x) {
    using Words = WideV<std::uint16_t>;
    const auto half = [&](std::size_t at, Words own) {
        const Words sum = load<Words>(sums.above + at) + load<Words>(sums.below + at) + load<Words>(sums.own + at);
        return (sum - own + 4) >> 3;
    };
    return lowBytes(half(x, widenHalf<0>(center)), half(x + kLanes<Words>, widenHalf<1>(center)));
}
VEK_INLINE WideV<std::uint16_t> neighborMean(WideV<std::uint16_t> center, const SNeighborSums& sums, std::size_t x) {
    using Words = WideV<std::uint16_t>;
    const Words sum = load<Words>(sums.above + x) + load<Words>(sums.below + x) + load<Words>(sums.own + x);
    return (sum - center + 4) >> 3;
}

/// What a row is sharpened with, but for its samples and the corrections.
template <class T>
struct SSharpRow {
    const T* lumaRow; ///< a grey row's own
    const SNeighborSums& sums;
    const SSharpening& sharpening;
};

/// The samples, 12 bits and at most max, and what is added to those of each pixel, of 15 bits with a sign.
template <unsigned Channels, class A>
VEK_INLINE SRun<Channels, A> addedRun(const SRun<Channels, A>& samples, A change, A max) {
    using Signed = Like<std::int16_t, A>;
    const auto added = [=](A sample, A by) { return (A)smaller(larger((Signed)(sample + by), Signed{}), (Signed)max); };
    if constexpr (Channels == 1) {
        return {{added(samples.part[0], change)}};
    } else {
        return {{added(samples.part[0], repeatLanes<0>(change)), added(samples.part[1], repeatLanes<1>(change)),
                 added(samples.part[2], repeatLanes<2>(change))}};
    }
}

/// A block of columns from x on, in memory order, to dst; Channels 3: of dense pixels.
template <unsigned Channels, class T, class Corrections>
VEK_INLINE void sharpenBlock(const SRun<Channels, WideV<T>>& samples, T* dst, const SSharpRow<T>& row, std::size_t x,
                             const Corrections& corrections) {
    using A = WideV<T>;
    const A max = all<A>(static_cast<T>(row.sharpening.maxValue));
    if constexpr (sizeof(T) != 1 && Channels == 3) {
        if (any((A)((samples.part[0] > max) | (samples.part[1] > max) | (samples.part[2] > max)))) {
            // Those that are left alone stay as they are.
            storeRun(dst, samples);
            sharpenColorSpan(dst, 3, row.lumaRow, row.sums.above, row.sums.below, x, x + kLanes<A>, row.sharpening);
            return;
        }
    }
    const A center = Channels == 1 ? samples.part[0] : load<A>(row.lumaRow + x);
    const A mean = neighborMean(center, row.sums, x);
    if constexpr (sizeof(T) == 1) {
        storeRun(dst, changedRun(samples, corrections.ChangeOf(center, mean), max));
    } else {
        const A less = subSat(mean, center);
        const A correction = corrections.CorrectionOf(subSat(center, mean) | less);
        const A falls = (A)(less != 0);
        storeRun(dst, addedRun(samples, (correction ^ falls) - falls, max));
    }
}

/// Columns 1 .. width-2, which fill a block, of dense samples, to dst.
template <unsigned Channels, class T, class Corrections>
inline void sharpenDense(const T* src, T* dst, std::size_t width, const SSharpRow<T>& row,
                         const Corrections& corrections) {
    using A = WideV<T>;
    const auto samplesAt = [&](std::size_t x) { return loadRun<Channels, A>(src + Channels * x); };
    // The first and the last block overlap others, to bring those between into line, and where they are read from may
    // be written to.
    const std::size_t end = width - 1 - kLanes<A>;
    const SRun<Channels, A> first = samplesAt(1);
    const SRun<Channels, A> last = samplesAt(end);
    for (std::size_t x = smaller(alignedColumn<A, Channels>(dst, 0), end);;) {
        const SRun<Channels, A> samples = x == 1 ? first : x == end ? last : samplesAt(x);
        if (src != dst) {
            prefetchWrites<Channels * sizeof(A)>(reinterpret_cast<const std::uint8_t*>(dst + Channels * x));
        }
        sharpenBlock(samples, dst + Channels * x, row, x, corrections);
        if (x == 1) {
            return;
        }
        x = x == end ? 1 : smaller(x + kLanes<A>, end);
    }
}

/// Whole blocks of pixels that stand step samples apart, in place; returns the column behind them.
template <class T, class Corrections>
inline std::size_t sharpenApart(T* pixels, std::size_t step, std::size_t width, const SSharpRow<T>& row,
                                const Corrections& corrections) {
    using A = WideV<T>;
    CDensePixels<T> dense(step);
    std::size_t x = 1;
    while (const std::size_t count = chunkColumns<T>(x, width - 1)) {
        T* const chunk = dense.Take(pixels + x * step, count);
        for (std::size_t i = 0; i < count; i += kLanes<A>) {
            sharpenBlock(loadRun<3, A>(chunk + 3 * i), chunk + 3 * i, row, x + i, corrections);
        }
        dense.PutBack(pixels + x * step, count);
        x += count;
    }
    return x;
}

/// Calls sharpen(corrections) with those that a row's samples and its setting allow; false where there are none.
template <bool Gray, class Sharpen>
inline bool withCorrections(const SSharpening& sharpening, const std::uint8_t*, Sharpen sharpen) {
    // What a grey sample gets darker by counts modulo 256, too.
    const bool apart = !Gray && sharpening.lowerBytes != nullptr;
    if (sharpening.maxValue != 255) {
        return false;
    }
#if defined(__AVX512VBMI__)
    apart ? sharpen(CTableCorrections<true>(sharpening)) : sharpen(CTableCorrections<false>(sharpening));
    return true;
#else
    if (sharpening.digits != nullptr) {
        apart ? sharpen(CDigitCorrections<true>(sharpening)) : sharpen(CDigitCorrections<false>(sharpening));
        return true;
    }
    return false;
#endif
}
template <bool Gray, class Sharpen>
inline bool withCorrections(const SSharpening& sharpening, const std::uint16_t*, Sharpen sharpen) {
    // What is corrected by 4095 and more ends at a limit of 12 bits all the same.
    if (sharpening.maxValue >= 4096) {
        return false;
    }
    if (sharpening.segments != nullptr) {
        sharpen(CSegmentCorrections(sharpening));
        return true;
    }
#if VEK_VECTOR_BYTES == 32
    if (sharpening.line != nullptr) {
        sharpening.line->twice ? sharpen(CLineCorrections<true>(sharpening))
                               : sharpen(CLineCorrections<false>(sharpening));
        return true;
    }
#endif
    return false;
}

/// Whether vectors know the samples of a grey row and the sums beside it: words may be above their depth.
inline bool areUsual(const std::uint8_t*, const SNeighborSums&, std::size_t, unsigned) {
    return true;
}
inline bool areUsual(const std::uint16_t* row, const SNeighborSums& sums, std::size_t width, unsigned maxValue) {
    using A = WideV<std::uint16_t>;
    const std::size_t end = width - kLanes<A>;
    A high{};
    A large{};
    for (std::size_t x = 0;; x = smaller(x + kLanes<A>, end)) {
        high = larger(high, load<A>(row + x));
        // The first and the last column have no sums.
        const std::size_t inner = smaller(larger(x, std::size_t{1}), end - 1);
        large |= load<A>(sums.above + inner) | load<A>(sums.below + inner);
        if (x == end) {
            return !any((A)(high > all<A>(static_cast<std::uint16_t>(maxValue))) | (large & 0xC000));
        }
    }
}

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
#if VEK_VECTOR_BYTES != 0
    if (width >= kLanes<WideV<T>> + 2 && areUsual(row, sums, width, sharpening.maxValue)) {
        const auto sharpen = [&](const auto& corrections) {
            dst[0] = row[0];
            dst[width - 1] = row[width - 1];
            sharpenDense<1>(row, dst, width, SSharpRow<T>{row, sums, sharpening}, corrections);
        };
        if (withCorrections<true>(sharpening, row, sharpen)) {
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
    std::size_t done = 1;
#if VEK_VECTOR_BYTES != 0
    if (width >= kLanes<WideV<T>> + 2) {
        const SSharpRow<T> given = {lumaRow, sums, sharpening};
        const auto sharpen = [&](const auto& corrections) {
            if (step != 3) {
                done = sharpenApart(dst, step, width, given, corrections);
                return;
            }
            if (row != dst) {
                __builtin_memcpy(dst, row, 3 * sizeof(T));
                __builtin_memcpy(dst + 3 * (width - 1), row + 3 * (width - 1), 3 * sizeof(T));
            }
            sharpenDense<3>(row, dst, width, given, corrections);
            done = width - 1;
        };
        if (withCorrections<false>(sharpening, row, sharpen)) {
            sharpenColorSpan(dst + done * step, step, lumaRow, sums.above, sums.below, done, width - 1, sharpening);
            return;
        }
    }
#endif
    copyRow(row, dst, 3 * width);
#if VEK_VECTOR_BYTES != 0
    done = sharpenColorBlocks(dst, step, lumaRow, sums.above, sums.below, width, sharpening);
#endif
    sharpenColorSpan(dst + done * step, step, lumaRow, sums.above, sums.below, done, width - 1, sharpening);
}

} // namespace
} // namespace vek::rows::VEK_ISA
