// SPDX-License-Identifier: Apache-2.0
// Rows of blue-green-red pixels in chunks, without the gaps between them; and what changes their samples alike.
//
//   row, step 4    b g r - b g r - b g r - ...       Take: whole blocks, or a row's last pixels and zeros behind them
//   dense          b g r b g r b g r ...             PutBack: pixels alone, never what stands between them
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/simd/Pixels.inl"

namespace vek::rows::VEK_ISA {
namespace {

#if VEK_VECTOR_BYTES != 0

/// Pixels that go through the steps of a kernel together.
constexpr std::size_t kChunk = 512;

/// A value for each pixel of a chunk.
template <class T>
struct SChunk {
    alignas(kWideBytes) T at[kChunk];
};

/// Whole blocks of T from column x on, a chunk at most.
template <class T>
inline std::size_t chunkColumns(std::size_t x, std::size_t end) {
    const std::size_t blocks = (end - x) / kLanes<WideV<T>> * kLanes<WideV<T>>;
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

/// Samples that go in or out of pixels of four together, where stores with kPermutes have masks.
template <class T>
using Fours = V<T, kPermutes ? 64 : 16>;

/// Pixels of four samples without the fourth ones, and of three with room for them; what lies behind means nothing.
template <class A>
VEK_INLINE A threeOfFour(A v) {
    using Bytes = Like<std::uint8_t, A>;
    constexpr std::size_t pixel = 3 * sizeof(Lane<A>);
    return (A)permute((Bytes)v, constant<Bytes>([](std::size_t i) {
                          return (i / pixel * 4 * sizeof(Lane<A>) + i % pixel) % sizeof(A);
                      }));
}
template <class A>
VEK_INLINE A fourOfThree(A v) {
    using Bytes = Like<std::uint8_t, A>;
    constexpr std::size_t pixel = 4 * sizeof(Lane<A>);
    return (A)permute((Bytes)v,
                      constant<Bytes>([](std::size_t i) { return i / pixel * 3 * sizeof(Lane<A>) + i % pixel; }));
}

/// Copies the pixels of a row that stand Step samples apart to dense ones, or back. Samples between pixels may be read
/// with them, those behind the last pixel are not; only pixels are written.
template <std::size_t Step, class T>
inline void gatherPixels(const T* pixels, std::size_t count, T* dense) {
    // A chunk further on: nothing is read there.
    constexpr std::size_t ahead = kChunk * Step * sizeof(T);
    std::size_t i = 0;
    if constexpr (Step == 4) {
        if constexpr (kPermutes) {
            constexpr std::size_t block = kLanes<Fours<T>> / 4;
            for (; i + 2 * block <= count; i += block) {
                __builtin_prefetch(reinterpret_cast<const std::uint8_t*>(pixels + i * Step) + ahead);
                store(dense + 3 * i, threeOfFour(load<Fours<T>>(pixels + i * Step)));
            }
        }
        constexpr std::size_t together = 4 / sizeof(T);
        for (; i + together < count; i += together) {
            __builtin_prefetch(reinterpret_cast<const std::uint8_t*>(pixels + i * Step) + ahead);
            store(dense + 3 * i, narrowPixels<3 * sizeof(T)>(load<V<std::uint8_t, 16>>(pixels + i * Step)));
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
    std::size_t i = 0;
    if constexpr (Step == 4 && kPermutes) {
        constexpr std::size_t block = kLanes<Fours<T>> / 4;
        for (; i + 2 * block <= count; i += block) {
            storeThreeOfFour(pixels + i * Step, fourOfThree(load<Fours<T>>(dense + 3 * i)));
        }
    }
    for (; i < count; ++i) {
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
        if (count < kLanes<WideV<T>>) {
            __builtin_memset(mPixels + 3 * count, 0, 3 * (kLanes<WideV<T>> - count) * sizeof(T));
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
    bool Copies(std::size_t count) const { return mStep != 3 || count < kLanes<WideV<T>>; }

    std::size_t mStep;
    /// And room for what is stored with the last pixels. Vectors of 16 bytes gain a tenth by cache lines; with longer
    /// ones the copying loses as much.
    alignas(kWideBytes == 16 ? 64 : kWideBytes) T mPixels[3 * kChunk + 4];
};

/// Asks for the dense pixels of a block some time ahead: these loops are slow enough for the processor to lose sight of
/// the row. Nothing is read.
template <class T>
inline void prefetchPixels(const T* pixels) {
    constexpr std::size_t ahead = 1024;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(pixels) + ahead;
    for (std::size_t i = 0; i < 3 * kWideBytes; i += 64) {
        __builtin_prefetch(bytes + i);
    }
}

/// Asks for the lines of bytes that will be written some rows ahead, of an image that is in no cache: a processor that
/// computes between stores waits for each of its pages otherwise. Nothing is written.
template <std::size_t Bytes>
inline void prefetchWrites(const std::uint8_t* dst) {
    constexpr std::size_t ahead = 16384;
    for (std::size_t i = 0; i < Bytes; i += 64) {
        __builtin_prefetch(dst + ahead + i, 1, 2);
    }
}

/// A block of single samples, or of the colours of dense pixels.
template <unsigned Channels, class A>
VEK_INLINE auto loadSamples(const Lane<A>* p) {
    if constexpr (Channels == 3) {
        return load3<A>(p);
    } else {
        return load<A>(p);
    }
}

/// Calls body(x, block) for blocks that cover columns 0 .. width-1 of src, from left to right: colours of dense pixels
/// or, of one channel, samples. The last block overlaps the one before it and is loaded before the first one is done:
/// body may store where its samples were. Returns width; 0 where the columns do not fill a block.
template <unsigned Channels, class A, class Body>
VEK_INLINE std::size_t forSampleBlocks(const Lane<A>* src, std::size_t width, Body body) {
    constexpr std::size_t lanes = kLanes<A>;
    if (width < lanes) {
        return 0;
    }
    const std::size_t end = width - lanes;
    const auto last = loadSamples<Channels, A>(src + Channels * end);
    // One place that calls body, so that it is inlined and its constants stay in registers.
    for (std::size_t x = 0;;) {
        body(x, x < end ? loadSamples<Channels, A>(src + Channels * x) : last);
        if (x == end) {
            return width;
        }
        x = smaller(x + lanes, end);
    }
}

/// What the three samples of each pixel change by: they become larger by plus and smaller by minus, of which one is 0.
template <class A>
struct SChange {
    A plus;
    A minus;
};

/// The samples of a block with such a change, within 0 .. maxValue (bytes: 255).
template <class A>
VEK_INLINE A changed(A samples, const SChange<A>& change, A maxValue) {
    const A result = subSat(addSat(samples, change.plus), change.minus);
    return sizeof(Lane<A>) == 1 ? result : smaller(result, maxValue);
}
template <class A>
VEK_INLINE SColors<A> changeBlock(const SColors<A>& colors, const SChange<A>& change, A maxValue) {
    return {changed(colors.blue, change, maxValue), changed(colors.green, change, maxValue),
            changed(colors.red, change, maxValue)};
}

/// A block of samples in memory order: of one channel, or of dense pixels.
template <unsigned Channels, class A>
struct SRun {
    A part[Channels];
};
template <unsigned Channels, class A>
VEK_INLINE SRun<Channels, A> loadRun(const Lane<A>* p) {
    SRun<Channels, A> run;
    for (std::size_t i = 0; i < Channels; ++i) {
        run.part[i] = load<A>(p + i * kLanes<A>);
    }
    return run;
}
template <unsigned Channels, class A>
VEK_INLINE void storeRun(Lane<A>* p, const SRun<Channels, A>& run) {
    for (std::size_t i = 0; i < Channels; ++i) {
        store(p + i * kLanes<A>, run.part[i]);
    }
}

/// The block with a change of its pixels: in memory order, which spares taking the colours apart.
template <class A>
VEK_INLINE SRun<1, A> changedRun(const SRun<1, A>& run, const SChange<A>& change, A maxValue) {
    return {{changed(run.part[0], change, maxValue)}};
}
template <class A>
VEK_INLINE SRun<3, A> changedRun(const SRun<3, A>& run, const SChange<A>& change, A maxValue) {
    return {{changed(run.part[0], {repeatLanes<0>(change.plus), repeatLanes<0>(change.minus)}, maxValue),
             changed(run.part[1], {repeatLanes<1>(change.plus), repeatLanes<1>(change.minus)}, maxValue),
             changed(run.part[2], {repeatLanes<2>(change.plus), repeatLanes<2>(change.minus)}, maxValue)}};
}
/// The same in place, for dense pixels.
template <class A>
VEK_INLINE void changePixels(Lane<A>* pixels, const SChange<A>& change, A maxValue) {
    storeRun(pixels, changedRun(loadRun<3, A>(pixels), change, maxValue));
}

/// Whether vectors know the largest sample: all bytes, words of up to 15 bits.
template <class T>
constexpr bool isUsualMaximum(unsigned maxValue) {
    return sizeof(T) == 1 ? maxValue == 255 : maxValue < 0x8000;
}

/// Whether a sample of a block's pixels is above maxValue.
template <class T>
VEK_INLINE bool anyAbove(const T* pixels, WideV<T> maxValue) {
    return any((WideV<T>)((load<WideV<T>>(pixels) > maxValue) | (load<WideV<T>>(pixels + kLanes<WideV<T>>) > maxValue) |
                          (load<WideV<T>>(pixels + 2 * kLanes<WideV<T>>) > maxValue)));
}

#endif

} // namespace
} // namespace vek::rows::VEK_ISA
