// SPDX-License-Identifier: Apache-2.0
// Raw rows to words, and words to 12 bits.
//
//   stream10, 12   one bit stream, the least significant bit first: Packed.inl
//   csi10, 12, 14  00000000 11111111 22222222 33333333 33221100     groups: the high 8 bits of each pixel, then the low
//                                                                   ones of all as a stream; four, two, four pixels
//   swapped        words, the high byte first
//   depth 12       sample << 4 or 2, or sample + half >> 2 or 4
//
// No neighbours beyond a group.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"
#include "imageproc/rows/kernels/Packed.inl"

namespace vek::rows::VEK_ISA {
namespace {

/// A group of MIPI CSI-2. Eight pixels are whole groups in Bits bytes.
template <unsigned Bits>
struct SCsiGroup {
    static constexpr std::size_t pixels = Bits == 12 ? 2 : 4;
    static constexpr std::size_t bytes = pixels * Bits / 8;
    static constexpr unsigned lowBits = Bits - 8;

    /// Byte of pixel x that holds its high bits, the one where its low bits start, and the bit there.
    static constexpr std::size_t High(std::size_t x) { return x / pixels * bytes + x % pixels; }
    static constexpr std::size_t Low(std::size_t x) { return x / pixels * bytes + pixels + x % pixels * lowBits / 8; }
    static constexpr unsigned LowBit(std::size_t x) { return static_cast<unsigned>(x % pixels * lowBits % 8); }
};

template <unsigned Bits>
inline std::uint16_t csiPixel(const std::uint8_t* src, std::size_t x) {
    using Group = SCsiGroup<Bits>;
    const std::uint8_t* const at = src + Group::Low(x);
    const unsigned bit = Group::LowBit(x);
    const unsigned next = bit + Group::lowBits > 8 ? static_cast<unsigned>(at[1]) << 8 : 0;
    const unsigned low = (at[0] | next) >> bit & ((1U << Group::lowBits) - 1);
    return static_cast<std::uint16_t>(static_cast<unsigned>(src[Group::High(x)]) << Group::lowBits | low);
}

inline std::uint16_t swappedWord(const std::uint8_t* src, std::size_t x) {
    return static_cast<std::uint16_t>(src[2 * x] << 8 | src[2 * x + 1]);
}

constexpr std::uint16_t kMax12 = 4095;

/// What takes samples of a depth to 12 bits: both shifts at once, one of them by 0.
struct SToDepth12 {
    explicit SToDepth12(unsigned depth)
        : largest(static_cast<std::uint16_t>((1U << depth) - 1)), left(depth < 12 ? 12 - static_cast<int>(depth) : 0),
          right(depth < 12 ? 0 : static_cast<int>(depth) - 12), half(static_cast<std::uint16_t>((1U << right) >> 1)) {}
    std::uint16_t largest;
    int left;
    int right;
    std::uint16_t half;
};

// ---- plain loops: columns from .. width-1 ----

template <class Pixel>
inline void wordSpan(std::uint16_t* dst, std::size_t from, std::size_t width, Pixel pixel) {
    for (std::size_t x = from; x < width; ++x) {
        dst[x] = pixel(x);
    }
}

inline void toDepth12Span(std::uint16_t* row, std::size_t from, std::size_t width, const SToDepth12& to) {
    for (std::size_t x = from; x < width; ++x) {
        const unsigned sample = smaller(row[x], to.largest);
        row[x] = static_cast<std::uint16_t>(smaller<unsigned>((sample + to.half) >> to.right << to.left, kMax12));
    }
}

#if VEK_VECTOR_BYTES != 0

using UnpackWords = RowV<std::uint16_t>;

// ---- bodies ----

/// A vector of pixels out of whole groups, of which each 16-byte part of the vector takes 8 from the low Bits bytes of
/// its own: the high bits shifted to their place, the low ones up to the word's highest bit, then down.
template <unsigned Bits>
VEK_INLINE UnpackWords csiBlock(const std::uint8_t* p) {
    using Group = SCsiGroup<Bits>;
    using Bytes = RowV<std::uint8_t>;
    constexpr unsigned lowBits = Group::lowBits;
    const auto groups = loadParts<Bytes>(p, Bits);
    const auto high = (UnpackWords)shuffle(
        groups, constant<Bytes>([](std::size_t i) { return i % 2 == 0 ? 0x80 : Group::High(i % 16 / 2); }));
    const auto low =
        (UnpackWords)shuffle(groups, constant<Bytes>([](std::size_t i) { return Group::Low(i % 16 / 2) + i % 2; }));
    const auto up = constant<UnpackWords>([](std::size_t i) { return 1U << (16 - lowBits - Group::LowBit(i % 8)); });
    return high >> (8 - lowBits) | low * up >> (16 - lowBits);
}

VEK_INLINE UnpackWords swapBlock(const std::uint8_t* p) {
    using Bytes = RowV<std::uint8_t>;
    return (UnpackWords)shuffle(load<Bytes>(p), constant<Bytes>([](std::size_t i) { return i % 16 ^ 1; }));
}

/// Samples of any depth to 12 bits.
template <class A>
VEK_INLINE A toDepth12Block(A samples, const SToDepth12& to) {
    const A held = addSat(smaller(samples, all<A>(to.largest)), all<A>(to.half));
    return smaller(held >> to.right << to.left, all<A>(kMax12));
}

// ---- drivers ----

/// block(p) unpacks what starts at p. Eight pixels take Bits bytes, so blocks start at multiples of 8 columns.
template <unsigned Bits, class Block>
inline std::size_t unpackBlocks(const std::uint8_t* src, std::size_t rowBytes, std::uint16_t* dst, Block block) {
    constexpr std::size_t reach = kPackedReach<Bits>;
    const std::size_t count = rowBytes < reach ? 0 : (rowBytes - reach) / Bits * 8 + kLanes<UnpackWords>;
    return storeBlocks<8>(dst, count, [=](std::size_t x) { return block(src + x / 8 * Bits); });
}

#endif

// ---- kernels ----

template <unsigned Bits>
void streamToWords(const std::uint8_t* src, std::uint16_t* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = unpackBlocks<Bits>(src, packedBytes<Bits>(width), dst,
                              [](const std::uint8_t* p) { return unpackBlock<Bits>(p); });
#endif
    wordSpan(dst, done, width, [=](std::size_t x) { return static_cast<std::uint16_t>(packedPixel<Bits>(src, x)); });
}

template <unsigned Bits>
void csiToWords(const std::uint8_t* src, std::uint16_t* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using Group = SCsiGroup<Bits>;
    const std::size_t rowBytes = (width + Group::pixels - 1) / Group::pixels * Group::bytes;
    done = unpackBlocks<Bits>(src, rowBytes, dst, [](const std::uint8_t* p) { return csiBlock<Bits>(p); });
#endif
    wordSpan(dst, done, width, [=](std::size_t x) { return csiPixel<Bits>(src, x); });
}

void swapWords(const std::uint8_t* src, std::uint16_t* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = storeBlocks<1>(dst, width, [=](std::size_t x) { return swapBlock(src + 2 * x); });
#endif
    wordSpan(dst, done, width, [=](std::size_t x) { return swappedWord(src, x); });
}

void bytesToDepth12(const std::uint8_t* src, std::uint16_t* dst, std::size_t width) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = storeBlocks<1>(dst, width, [=](std::size_t x) {
        return widen<std::uint16_t>(load<V<std::uint8_t, kRowBytes / 2>>(src + x)) << 4;
    });
#endif
    wordSpan(dst, done, width, [=](std::size_t x) { return static_cast<std::uint16_t>(src[x] << 4); });
}

void toDepth12(std::uint16_t* row, std::size_t width, unsigned depth) {
    const SToDepth12 to(depth);
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = changeBlocks(row, 0, width, [=]<class A>(A, std::size_t x) { return toDepth12Block(load<A>(row + x), to); });
#endif
    toDepth12Span(row, done, width, to);
}

constexpr SUnpackRows unpackTable() {
    return {.stream10 = streamToWords<10>,
            .stream12 = streamToWords<12>,
            .csi10 = csiToWords<10>,
            .csi12 = csiToWords<12>,
            .csi14 = csiToWords<14>,
            .swapped = swapWords,
            .bytesToDepth12 = bytesToDepth12,
            .toDepth12 = toDepth12};
}

} // namespace
} // namespace vek::rows::VEK_ISA
