// SPDX-License-Identifier: Apache-2.0
// Sums, clipped samples and bins of a row's samples, or of the luma of its pixels, at even and at odd columns.
//
//   samples   s0 s1 s2 s3 ...  ->  bins b = min(s >> shift, 63), a chunk at a time
//                              ->  pairs  b0 + 64 x b1,  b2 + 64 x b3, ...  counted one by one
//
// Samples that follow each other are often alike: neighbouring pairs have counts of their own, so that none waits for
// the one before it.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Bytes.inl"
#include "imageproc/rows/kernels/Sums.inl"

namespace vek::rows::VEK_ISA {
namespace {

constexpr std::uint8_t kLastBin = SRowCount::kBins - 1;

/// Samples that go through the steps together; even.
constexpr std::size_t kCounted = 1024;

template <class T>
inline std::uint8_t binOf(T sample, unsigned shift) {
    const unsigned bin = static_cast<unsigned>(sample) >> shift;
    return static_cast<std::uint8_t>(smaller<unsigned>(bin, kLastBin));
}

template <class T>
inline T lumaCount(const T* pixel) {
    return static_cast<T>((29U * pixel[0] + 150U * pixel[1] + 77U * pixel[2] + 128U) >> 8);
}

#if VEK_VECTOR_BYTES != 0

/// The bins of as many samples as a vector has bytes.
template <class Bins>
VEK_INLINE Bins binBlock(const std::uint8_t* samples, unsigned shift) {
    // Bytes are shifted in pairs: what comes in from the next one goes.
    const auto pairs = load<Like<std::uint16_t, Bins>>(samples) >> static_cast<int>(shift);
    const Bins kept = all<Bins>(static_cast<std::uint8_t>(0xFF >> shift));
    return smaller((Bins)pairs & kept, all<Bins>(kLastBin));
}
template <class Bins>
VEK_INLINE Bins binBlock(const std::uint16_t* samples, unsigned shift) {
    using Words = Like<std::uint16_t, Bins>;
    const auto by = static_cast<int>(shift);
    const Words last = all<Words>(kLastBin);
    return lowBytes(smaller(load<Words>(samples) >> by, last),
                    smaller(load<Words>(samples + kLanes<Words>) >> by, last));
}

/// How many samples of even and of odd columns are clipped; blocks of them, fewer than a lane counts.
template <class A>
inline void countClipped(const Lane<A>* samples, std::size_t blocks, Lane<A> clipped, std::uint64_t (&clips)[2]) {
    using P = Pair<Lane<A>>;
    A counts{};
    for (std::size_t i = 0; i < blocks; ++i) {
        counts -= (A)(load<A>(samples + i * kLanes<A>) >= clipped);
    }
    constexpr unsigned bits = 8 * sizeof(Lane<A>);
    clips[0] += sumLanes(as<P>(counts) & static_cast<P>((P{1} << bits) - 1));
    clips[1] += sumLanes(as<P>(counts) >> bits);
}

/// Luma of a block; the sum of bytes fits 16 bits.
template <class A>
VEK_INLINE A lumaCountBlock(const SColors<A>& colors) {
    using Wide = Like<Pair<Lane<A>>, A>;
    return inPairs([](Wide blue, Wide green, Wide red) { return (29 * blue + 150 * green + 77 * red + 128) >> 8; },
                   colors.blue, colors.green, colors.red);
}

#endif

/// Pairs of bins that follow one another, the first of an even column.
inline std::size_t pairAt(const std::uint8_t* bins) {
    std::uint16_t pair;
    __builtin_memcpy(&pair, bins, sizeof pair);
    return pair;
}

/// Counts pairs of a chunk; of an odd one the last bin goes with bin 0.
inline void countPairs(std::uint8_t* bins, std::size_t count, SPairCounts& counts) {
    if (count % 2 != 0) {
        bins[count++] = 0;
        ++counts.unpaired;
    }
    std::size_t i = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<std::uint16_t>;
    for (; i + 2 * kLanes<A> <= count; i += 2 * kLanes<A>) {
        const auto both = load<A>(bins + i);
        store(bins + i, (A)((both & 0xFF) | (both >> 8 << 6)));
    }
#endif
    for (; i < count; i += 2) {
        const auto pair = static_cast<std::uint16_t>(bins[i] | bins[i + 1] << 6);
        __builtin_memcpy(bins + i, &pair, sizeof pair);
    }
    std::size_t at = 0;
    for (; at + 2 * SPairCounts::kCopies <= count; at += 2 * SPairCounts::kCopies) {
        ++counts.pairs[0][pairAt(bins + at)];
        ++counts.pairs[1][pairAt(bins + at + 2)];
        ++counts.pairs[2][pairAt(bins + at + 4)];
        ++counts.pairs[3][pairAt(bins + at + 6)];
    }
    for (; at < count; at += 2) {
        ++counts.pairs[0][pairAt(bins + at)];
    }
}

/// Sums and clipped samples of a chunk that starts at an even column, and the bin of each sample.
template <class T>
inline void countChunk(const T* samples, std::size_t count, unsigned shift, T clipped, std::uint64_t (&sums)[2],
                       std::uint64_t (&clips)[2], std::uint8_t* bins) {
    std::size_t done = 0;
    std::size_t binned = 0;
#if VEK_VECTOR_BYTES != 0
    using A = WideV<T>;
    constexpr std::size_t room = std::size_t{1} << (8 * sizeof(T));
    const std::size_t blocks = count / kLanes<A>;
    sumBlocks<A>(blocks, room, sums, [=](std::size_t block) { return load<A>(samples + block * kLanes<A>); });
    countClipped<A>(samples, blocks, clipped, clips);
    done = blocks * kLanes<A>;
    using Bins = WideV<std::uint8_t>;
    for (; binned + kLanes<Bins> <= count; binned += kLanes<Bins>) {
        store(bins + binned, binBlock<Bins>(samples + binned, shift));
    }
#endif
    sumSpan(done, count, sums, [=](std::size_t x) { return samples[x]; });
    sumSpan(done, count, clips, [=](std::size_t x) { return samples[x] >= clipped ? 1U : 0U; });
    for (; binned < count; ++binned) {
        bins[binned] = binOf(samples[binned], shift);
    }
}

/// samplesAt(x, count): those of the columns from x on, which is even.
template <class T, class SamplesAt>
inline void countColumns(std::size_t width, unsigned shift, T clipped, SPairCounts& counts, SamplesAt samplesAt) {
    std::uint8_t bins[kCounted];
    for (std::size_t x = 0; x < width; x += kCounted) {
        const std::size_t count = smaller(width - x, kCounted);
        countChunk(samplesAt(x, count), count, shift, clipped, counts.sum, counts.clipped, bins);
        countPairs(bins, count, counts);
    }
}

// ---- kernels ----

template <class T>
void countSamples(const T* row, std::size_t width, unsigned shift, T clipped, SPairCounts& counts) {
    countColumns(width, shift, clipped, counts, [=](std::size_t x, std::size_t) { return row + x; });
}

template <class T>
void countLuma(const T* row, std::size_t width, unsigned shift, T clipped, SPairCounts& counts) {
    T luma[kCounted];
    T* const chunk = luma;
    countColumns(width, shift, clipped, counts, [=](std::size_t x, std::size_t count) -> const T* {
        const T* const pixels = row + 3 * x;
        std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
        using A = WideV<T>;
        for (; done + kLanes<A> <= count; done += kLanes<A>) {
            store(chunk + done, lumaCountBlock(load3<A>(pixels + 3 * done)));
        }
#endif
        for (; done < count; ++done) {
            chunk[done] = lumaCount(pixels + 3 * done);
        }
        return chunk;
    });
}

void takeCounts(SPairCounts& counts, SRowCount& even, SRowCount& odd) {
    constexpr std::size_t bins = SRowCount::kBins;
    std::uint32_t ofEven[bins] = {};
    for (std::size_t oddBin = 0; oddBin < bins; ++oddBin) {
        std::uint32_t ofOdd = 0;
        for (std::size_t evenBin = 0; evenBin < bins; ++evenBin) {
            const std::size_t pair = evenBin + bins * oddBin;
            std::uint32_t count = 0;
            for (const auto& copy : counts.pairs) {
                count += copy[pair];
            }
            ofEven[evenBin] += count;
            ofOdd += count;
        }
        odd.bins[oddBin] += ofOdd;
    }
    for (std::size_t bin = 0; bin < bins; ++bin) {
        even.bins[bin] += ofEven[bin];
    }
    odd.bins[0] -= counts.unpaired;
    even.sum += counts.sum[0];
    odd.sum += counts.sum[1];
    even.clipped += counts.clipped[0];
    odd.clipped += counts.clipped[1];
    __builtin_memset(&counts, 0, sizeof counts);
}

template <class T>
constexpr SCountRows<T> countTable() {
    return {.samples = countSamples<T>, .luma = countLuma<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
