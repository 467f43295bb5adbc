// SPDX-License-Identifier: Apache-2.0
// Samples and packed pixels to bytes.
//
//   words   s0 s1 s2 ...  ->  s0 >> shift, s1 >> shift, ...      the low byte of each; into 1 or 3 channels
//   packed  eight pixels of 10 or 12 bits in whole bytes   ->   eight bytes
//
// No neighbours; bits below are cut off.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Blocks.inl"
#include "imageproc/rows/kernels/Packed.inl"
#include "imageproc/rows/simd/Pixels.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. width-1 ----

template <class T>
inline std::uint8_t shifted(T sample, int shift) {
    const std::uint32_t wide = sample;
    return static_cast<std::uint8_t>(shift >= 0 ? wide >> shift : wide << -shift);
}

template <class T, unsigned Channels>
inline void shiftSpan(const T* src, std::uint8_t* dst, std::size_t from, std::size_t width, int shift) {
    for (std::size_t x = from; x < width; ++x) {
        std::uint8_t* const pixel = dst + x * Channels;
        pixel[0] = shifted(src[x], shift);
        if constexpr (Channels > 1) {
            pixel[1] = pixel[2] = pixel[0];
        }
    }
}

template <unsigned Bits>
inline void unpackSpan(const std::uint8_t* src, std::uint8_t* dst, std::size_t from, std::size_t width, int shift) {
    for (std::size_t x = from; x < width; ++x) {
        dst[x] = static_cast<std::uint8_t>(packedWord<Bits>(src, x) >> shift);
    }
}

#if VEK_VECTOR_BYTES != 0

/// A shift of less than a sample's width: to the left, then to the right, one of them by 0.
template <class T>
struct SShift {
    explicit SShift(int shift)
        : left(shift < 0 ? -shift : 0), right(shift < 0 ? 0 : shift),
          kept(static_cast<std::uint8_t>((0xFF << left & 0xFF) >> right)) {}
    static bool Takes(int shift) {
        constexpr int bits = 8 * sizeof(T);
        return shift > -bits && shift < bits;
    }
    int left;
    int right;
    /// Bits of a shifted byte that come from the byte itself, where bytes are shifted in pairs.
    std::uint8_t kept;
};

/// Samples as a vector of bytes.
VEK_INLINE RowV<std::uint8_t> shiftBlock(const std::uint8_t* src, const SShift<std::uint8_t>& shift) {
    const auto pairs = load<RowV<std::uint16_t>>(src);
    return (RowV<std::uint8_t>)(pairs << shift.left >> shift.right) & shift.kept;
}
VEK_INLINE RowV<std::uint8_t> shiftBlock(const std::uint16_t* src, const SShift<std::uint16_t>& shift) {
    using Words = RowV<std::uint16_t>;
    return lowBytes(load<Words>(src) << shift.left >> shift.right,
                    load<Words>(src + kLanes<Words>) << shift.left >> shift.right);
}

#endif

// ---- kernels ----

template <class T, unsigned Channels>
void shiftToBytes(const T* src, std::uint8_t* dst, std::size_t width, int shift) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    if (SShift<T>::Takes(shift)) {
        const SShift<T> by(shift);
        if constexpr (Channels == 1) {
            done = storeBlocks<1>(dst, width, [=](std::size_t x) { return shiftBlock(src + x, by); });
        } else if (const std::size_t columns = blockColumns<RowV<std::uint8_t>>(0, 0, width); columns != 0) {
            forBlocks<RowV<std::uint8_t>, Channels>(dst, 0, columns, [=](std::size_t x) {
                storeGray<Channels>(dst + x * Channels, shiftBlock(src + x, by));
            });
            done = columns;
        }
    }
#endif
    shiftSpan<T, Channels>(src, dst, done, width, shift);
}

template <unsigned Bits>
void unpackToBytes(const std::uint8_t* src, std::uint8_t* dst, std::size_t width, int shift) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    // Larger shifts bring in bits of the next pixel.
    if (shift >= 0 && shift <= static_cast<int>(Bits) - 8) {
        constexpr std::size_t lanes = kLanes<RowV<std::uint8_t>>;
        constexpr std::size_t half = kLanes<RowV<std::uint16_t>>;
        constexpr std::size_t reach = half * Bits / 8 + kPackedReach<Bits>;
        const std::size_t rowBytes = packedBytes<Bits>(width);
        // Eight pixels take whole bytes, so blocks start at multiples of 8 columns.
        const std::size_t count = rowBytes < reach ? 0 : (rowBytes - reach) / Bits * 8 + lanes;
        done = storeBlocks<8>(dst, count, [=](std::size_t x) {
            const std::uint8_t* const p = src + x / 8 * Bits;
            return lowBytes(unpackBlock<Bits>(p) >> shift, unpackBlock<Bits>(p + half * Bits / 8) >> shift);
        });
    }
#endif
    unpackSpan<Bits>(src, dst, done, width, shift);
}

constexpr SByteRows byteTable() {
    return {.shift8 = {shiftToBytes<std::uint8_t, 1>, shiftToBytes<std::uint8_t, 3>, shiftToBytes<std::uint8_t, 4>},
            .shift16 = {shiftToBytes<std::uint16_t, 1>, shiftToBytes<std::uint16_t, 3>, shiftToBytes<std::uint16_t, 4>},
            .unpack10 = unpackToBytes<10>,
            .unpack12 = unpackToBytes<12>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
