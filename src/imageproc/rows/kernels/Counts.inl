// SPDX-License-Identifier: Apache-2.0
// Sums, clipped samples and bins of a row's samples, or of the luma of its pixels, at even and at odd columns.
//
//   samples   s0 s1 s2 ...   ->   min(s >> shift, 63) in bytes, a chunk at a time   ->   counted one by one
//
// Samples that follow each other are often alike: neighbours of a parity have bins of their own, so that no count waits
// for the one before it.
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
VEK_INLINE RowV<std::uint8_t> binBlock(const std::uint8_t* samples, unsigned shift) {
    return smaller(shiftBlock(samples, SShift<std::uint8_t>(static_cast<int>(shift))),
                   all<RowV<std::uint8_t>>(kLastBin));
}
VEK_INLINE RowV<std::uint8_t> binBlock(const std::uint16_t* samples, unsigned shift) {
    using Words = RowV<std::uint16_t>;
    const auto by = static_cast<int>(shift);
    const Words last = all<Words>(kLastBin);
    return lowBytes(smaller(load<Words>(samples) >> by, last),
                    smaller(load<Words>(samples + kLanes<Words>) >> by, last));
}

/// Luma of a block; the sum of bytes fits 16 bits.
template <class A>
VEK_INLINE A lumaCountBlock(const SColors<A>& colors) {
    using Wide = Like<Pair<Lane<A>>, A>;
    return inPairs([](Wide blue, Wide green, Wide red) { return (29 * blue + 150 * green + 77 * red + 128) >> 8; },
                   colors.blue, colors.green, colors.red);
}

#endif

/// Counts bins, in turn for two even and two odd columns.
inline void countBins(const std::uint8_t* bins, std::size_t count, std::uint32_t (&counts)[4][SRowCount::kBins]) {
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        ++counts[0][bins[i]];
        ++counts[1][bins[i + 1]];
        ++counts[2][bins[i + 2]];
        ++counts[3][bins[i + 3]];
    }
    for (; i < count; ++i) {
        ++counts[i % 4][bins[i]];
    }
}

/// Sums and clipped samples of a chunk that starts at an even column, and the bin of each sample.
template <class T>
inline void countChunk(const T* samples, std::size_t count, unsigned shift, T clipped, std::uint64_t (&sums)[2],
                       std::uint64_t (&clips)[2], std::uint8_t* bins) {
    std::size_t done = 0;
    std::size_t binned = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<T>;
    constexpr std::size_t room = std::size_t{1} << (8 * sizeof(T));
    const std::size_t blocks = count / kLanes<A>;
    sumBlocks<T>(blocks, room, sums, [=](std::size_t block) { return load<A>(samples + block * kLanes<A>); });
    sumBlocks<T>(blocks, room, clips,
                 [=](std::size_t block) { return (A)(load<A>(samples + block * kLanes<A>) >= clipped) & 1; });
    done = blocks * kLanes<A>;
    using Bins = RowV<std::uint8_t>;
    for (; binned + kLanes<Bins> <= count; binned += kLanes<Bins>) {
        store(bins + binned, binBlock(samples + binned, shift));
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
inline void countColumns(std::size_t width, unsigned shift, T clipped, SRowCount& even, SRowCount& odd,
                         SamplesAt samplesAt) {
    std::uint64_t sums[2] = {};
    std::uint64_t clips[2] = {};
    std::uint32_t counts[4][SRowCount::kBins] = {};
    std::uint8_t bins[kCounted];
    for (std::size_t x = 0; x < width; x += kCounted) {
        const std::size_t count = smaller(width - x, kCounted);
        countChunk(samplesAt(x, count), count, shift, clipped, sums, clips, bins);
        countBins(bins, count, counts);
    }
    even.sum += sums[0];
    odd.sum += sums[1];
    even.clipped += clips[0];
    odd.clipped += clips[1];
    for (std::size_t i = 0; i < SRowCount::kBins; ++i) {
        even.bins[i] += std::uint64_t{counts[0][i]} + counts[2][i];
        odd.bins[i] += std::uint64_t{counts[1][i]} + counts[3][i];
    }
}

// ---- kernels ----

template <class T>
void countSamples(const T* row, std::size_t width, unsigned shift, T clipped, SRowCount& even, SRowCount& odd) {
    countColumns(width, shift, clipped, even, odd, [=](std::size_t x, std::size_t) { return row + x; });
}

template <class T>
void countLuma(const T* row, std::size_t width, unsigned shift, T clipped, SRowCount& even, SRowCount& odd) {
    T luma[kCounted];
    T* const chunk = luma;
    countColumns(width, shift, clipped, even, odd, [=](std::size_t x, std::size_t count) -> const T* {
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

template <class T>
constexpr SCountRows<T> countTable() {
    return {.samples = countSamples<T>, .luma = countLuma<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
