// SPDX-License-Identifier: Apache-2.0
// Sums of a row's samples at even and at odd columns.
//
//   s0 s1 | s2 s3 | ...     pairs of samples as integers of twice the width: the sum of the pairs is s0 + s2 + ... and
//                           2^bits x (s1 + s3 + ...), from which the second sum, kept by itself, is taken away
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Packed.inl"
#include "imageproc/rows/simd/Vector.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. width-1, from even ----

/// sample(x) is the value of column x.
template <class Sample>
inline void sumSpan(std::size_t from, std::size_t width, std::uint64_t* sums, Sample sample) {
    std::uint64_t even = 0;
    std::uint64_t odd = 0;
    std::size_t x = from;
    for (; x + 1 < width; x += 2) {
        even += sample(x);
        odd += sample(x + 1);
    }
    if (x < width) {
        even += sample(x);
    }
    sums[0] += even;
    sums[1] += odd;
}

#if VEK_VECTOR_BYTES != 0

/// Sum of a vector's lanes, none of which is as wide as 64 bits.
template <class A>
VEK_INLINE std::uint64_t sumLanes(A v) {
    using P = Pair<Lane<A>>;
    constexpr unsigned bits = 8 * sizeof(Lane<A>);
    const auto pairs = as<P>(v);
    const auto sums = (pairs & static_cast<P>((P{1} << bits) - 1)) + (pairs >> bits);
    if constexpr (sizeof(P) < sizeof(std::uint64_t)) {
        return sumLanes(sums);
    } else {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < kLanes<Like<P, A>>; ++i) {
            sum += sums[i];
        }
        return sum;
    }
}

/// Sums count blocks of a row in lanes of twice a sample's width, which hold the sum of room samples.
template <class A, class LoadBlock>
inline void sumBlocks(std::size_t count, std::size_t room, std::uint64_t* sums, LoadBlock loadBlock) {
    using Pairs = Like<Pair<Lane<A>>, A>;
    constexpr unsigned bits = 8 * sizeof(Lane<A>);
    for (std::size_t block = 0; block < count;) {
        const std::size_t end = count - block < room ? count : block + room;
        // Modulo a lane's range the sum of whole pairs is even + odd x 2^bits, and even fits a lane: no mask per block.
        Pairs both{};
        Pairs odd{};
        for (; block < end; ++block) {
            const auto pairs = (Pairs)loadBlock(block);
            both += pairs;
            odd += pairs >> bits;
        }
        sums[0] += sumLanes(both - (odd << bits));
        sums[1] += sumLanes(odd);
    }
}

#endif

// ---- kernels ----

template <class T>
void sumRow(const T* row, std::size_t width, std::uint64_t* sums) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    // A lane of 16 bits holds 257 bytes' sum, one of 32 bits 65537 words'.
    constexpr std::size_t room = std::size_t{1} << (8 * sizeof(T));
    using A = RowV<T>;
    const std::size_t blocks = width / kLanes<A>;
    sumBlocks<A>(blocks, room, sums, [=](std::size_t block) { return load<A>(row + block * kLanes<A>); });
    done = blocks * kLanes<A>;
#endif
    sumSpan(done, width, sums, [=](std::size_t x) { return row[x]; });
}

template <unsigned Bits>
void sumPacked(const std::uint8_t* row, std::size_t width, std::uint64_t* sums) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    using A = RowV<std::uint16_t>;
    constexpr std::size_t pixels = kLanes<A>;
    constexpr std::size_t bytes = pixels * Bits / 8;
    constexpr std::size_t reach = kPackedReach<Bits>;
    const std::size_t rowBytes = packedBytes<Bits>(width);
    const std::size_t blocks = rowBytes < reach ? 0 : (rowBytes - reach) / bytes + 1;
    sumBlocks<A>(blocks, std::size_t{1} << 16, sums,
                 [=](std::size_t block) { return unpackBlock<Bits>(row + block * bytes); });
    done = blocks * pixels;
#endif
    sumSpan(done, width, sums, [=](std::size_t x) { return packedPixel<Bits>(row, x); });
}

constexpr SSumRows sumTable() {
    return {.samples8 = sumRow<std::uint8_t>,
            .samples16 = sumRow<std::uint16_t>,
            .packed10 = sumPacked<10>,
            .packed12 = sumPacked<12>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
