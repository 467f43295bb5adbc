// SPDX-License-Identifier: Apache-2.0
// Tables of 256 bytes that stand in registers, looked up in by all lanes at once.
#pragma once

#include "imageproc/rows/simd/Vector.inl"

#if VEK_VECTOR_BYTES != 0

namespace vek::rows::VEK_ISA {
namespace {

// SByteTable::LookUp: entry index of the table, lane by lane. SBytePair: one table for even and one for odd columns;
// Change replaces the columns bytes at row, which start at an even column.

#if defined(__AVX512VBMI__)

#define VEK_BYTE_TABLES 1

/// vpermi2b picks out of 128 bytes by the low seven bits of an index.
struct SByteTable {
    using Bytes = V<std::uint8_t, 64>;
    Bytes part[4];
    VEK_INLINE explicit SByteTable(const std::uint8_t* table) {
        for (unsigned i = 0; i < 4; ++i) {
            part[i] = load<Bytes>(table + 64 * i);
        }
    }
    VEK_INLINE Bytes LookUp(Bytes index) const {
        const Bytes low = permute2(part[0], part[1], index);
        const Bytes high = permute2(part[2], part[3], index);
        return (Bytes)_mm512_mask_blend_epi8(_mm512_movepi8_mask((__m512i)index), (__m512i)low, (__m512i)high);
    }
};

struct SBytePair {
    static constexpr std::size_t columns = 64;
    SByteTable even;
    SByteTable odd;
    VEK_INLINE SBytePair(const std::uint8_t* evenTable, const std::uint8_t* oddTable)
        : even(evenTable), odd(oddTable) {}
    VEK_INLINE void Change(std::uint8_t* row) const {
        const auto index = load<SByteTable::Bytes>(row);
        store(row, blend(odd.LookUp(index), even.LookUp(index), [](std::size_t i) { return i % 2 != 0; }));
    }
};

#elif VEK_VECTOR_BYTES == 32

#define VEK_BYTE_TABLES 1

/// Sixteen runs of sixteen, each in both halves of a vector.
struct SByteTable {
    using Bytes = V<std::uint8_t, 32>;
    Bytes run[16];
    VEK_INLINE explicit SByteTable(const std::uint8_t* table) {
        for (unsigned i = 0; i < 16; ++i) {
            run[i] = loadParts<Bytes>(table + 16 * i, 0);
        }
    }
    /// Every run gives what it has for the low four bits of the index; the other four choose, one by one. vpblendvb
    /// goes by the highest bit of a byte.
    VEK_INLINE Bytes LookUp(Bytes index) const {
        const auto words = as<std::uint16_t>(index);
        const Bytes bit[4] = {(Bytes)(words << 3), (Bytes)(words << 2), (Bytes)(words << 1), index};
        return Choose<3>(0, index & 15, bit);
    }

private:
    /// From the runs first .. first + 2^(Bit + 1) - 1.
    template <int Bit>
    VEK_INLINE Bytes Choose(unsigned first, Bytes low, const Bytes (&bit)[4]) const {
        if constexpr (Bit < 0) {
            return shuffle(run[first], low);
        } else {
            return (Bytes)_mm256_blendv_epi8((__m256i)Choose<Bit - 1>(first, low, bit),
                                             (__m256i)Choose<Bit - 1>(first + (1U << Bit), low, bit),
                                             (__m256i)bit[Bit]);
        }
    }
};

struct SBytePair {
    static constexpr std::size_t columns = 64;
    SByteTable even;
    SByteTable odd;
    VEK_INLINE SBytePair(const std::uint8_t* evenTable, const std::uint8_t* oddTable)
        : even(evenTable), odd(oddTable) {}
    VEK_INLINE void Change(std::uint8_t* row) const {
        using Bytes = SByteTable::Bytes;
        using Words = V<std::int16_t, 32>;
        const auto a = load<Words>(row);
        const auto b = load<Words>(row + 32);
        // Even columns of both vectors to one, odd ones to another; what packing does to the order, zipping undoes.
        const Bytes evens = even.LookUp(pack<std::uint8_t>((Words)(a & 0xFF), (Words)(b & 0xFF)));
        const Bytes odds =
            odd.LookUp(pack<std::uint8_t>((Words)(as<std::uint16_t>(a) >> 8), (Words)(as<std::uint16_t>(b) >> 8)));
        store(row, zipLow<1>(evens, odds));
        store(row + 32, zipHigh<1>(evens, odds));
    }
};

#elif defined(__ARM_NEON)

#define VEK_BYTE_TABLES 1

/// In fours of registers as tbl takes them. An index beyond 63 gives 0 (tbl) or what was there (tbx).
struct SByteTable {
    using Bytes = V<std::uint8_t, 16>;
    uint8x16x4_t part[4];
    VEK_INLINE explicit SByteTable(const std::uint8_t* table) {
        for (unsigned i = 0; i < 4; ++i) {
            part[i] = vld1q_u8_x4(table + 64 * i);
        }
    }
    VEK_INLINE Bytes LookUp(Bytes lanes) const {
        auto index = (uint8x16_t)lanes;
        const uint8x16_t partLength = vdupq_n_u8(64);
        uint8x16_t result = vqtbl4q_u8(part[0], index);
        for (unsigned i = 1; i < 4; ++i) {
            index = vsubq_u8(index, partLength);
            result = vqtbx4q_u8(result, part[i], index);
        }
        return (Bytes)result;
    }
};

struct SBytePair {
    static constexpr std::size_t columns = 32;
    SByteTable even;
    SByteTable odd;
    VEK_INLINE SBytePair(const std::uint8_t* evenTable, const std::uint8_t* oddTable)
        : even(evenTable), odd(oddTable) {}
    VEK_INLINE void Change(std::uint8_t* row) const {
        uint8x16x2_t columnsOf = vld2q_u8(row);
        columnsOf.val[0] = (uint8x16_t)even.LookUp((SByteTable::Bytes)columnsOf.val[0]);
        columnsOf.val[1] = (uint8x16_t)odd.LookUp((SByteTable::Bytes)columnsOf.val[1]);
        vst2q_u8(row, columnsOf);
    }
};

#else

/// 16 bytes are too few for a table of 256: sixteen shuffles cost what sixteen loads do.
#define VEK_BYTE_TABLES 0

#endif

} // namespace
} // namespace vek::rows::VEK_ISA

#endif // VEK_VECTOR_BYTES != 0
