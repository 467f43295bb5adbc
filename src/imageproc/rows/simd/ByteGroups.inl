// SPDX-License-Identifier: Apache-2.0
// Bytes of memory in groups, and a vector of one byte for each lane out of them.
//
//   groups of 4 bytes for 2 lanes   y0 b y1 r | y0 b y1 r | ...     Pick:   y0 y1 y0 y1 ...   or   b b b b ...
#pragma once

#include "imageproc/rows/simd/Vector.inl"

#if VEK_VECTOR_BYTES != 0

namespace vek::rows::VEK_ISA {
namespace {

/// What stands in memory for the lanes of A: a group of Bytes bytes for every Lanes lanes, in up to three registers.
/// Each part of a register, as long as one shuffle reaches, has the bytes of as many lanes. A register's parts start a
/// part's length behind those of the one before it, the last register's where their end is the end of the bytes.
template <class A, std::size_t Lanes, std::size_t Bytes>
class CByteGroups {
    static constexpr std::size_t kPart = kPermutes ? sizeof(A) : 16;
    static constexpr std::size_t kPartBytes = kPart / Lanes * Bytes;
    static constexpr std::size_t kRegisters = (kPartBytes + kPart - 1) / kPart;
    static constexpr std::size_t kNowhere = 2 * kPart;

    static constexpr std::size_t Start(std::size_t i) { return i + 1 < kRegisters ? i * kPart : kPartBytes - kPart; }
    /// Where a part's byte at lies in the parts of register i; kNowhere where it does not, or is in an earlier one.
    static constexpr std::size_t Find(std::size_t i, std::size_t at) {
        const bool earlier = i > 0 && at < Start(i - 1) + kPart;
        return earlier || at < Start(i) ? kNowhere : at - Start(i);
    }

public:
    /// Bytes that stand for a vector.
    static constexpr std::size_t kBytes = sizeof(A) / kPart * kPartBytes;

    VEK_INLINE explicit CByteGroups(const std::uint8_t* p) {
        for (std::size_t i = 0; i < kRegisters; ++i) {
            if constexpr (kPart == sizeof(A)) {
                mRegister[i] = load<A>(p + Start(i));
            } else {
                mRegister[i] = loadParts<A>(p + Start(i), kPartBytes);
            }
        }
    }

    /// Byte at(lane) of memory for each lane; at: a function object without state, the same in every group.
    template <class At>
    VEK_INLINE A Pick(At) const {
        if constexpr (kPermutes) {
            const A firstTwo = permute2(mRegister[0], mRegister[1], constant<A>([](std::size_t lane) {
                                            const std::size_t at = Find(0, At{}(lane));
                                            return at < kPart ? at : kPart + Find(1, At{}(lane)) % kPart;
                                        }));
            if constexpr (kRegisters == 2) {
                return firstTwo;
            } else {
                return permuteWhere(mRegister[2], constant<A>([](std::size_t lane) { return Find(2, At{}(lane)); }),
                                    firstTwo, [](std::size_t lane) { return Find(2, At{}(lane)) < kPart; });
            }
        } else {
            A bytes = From<0, At>() | From<1, At>();
            if constexpr (kRegisters == 3) {
                bytes |= From<2, At>();
            }
            return bytes;
        }
    }

private:
    /// Without kPermutes: the bytes that a register has, 0 for the other lanes.
    template <std::size_t I, class At>
    VEK_INLINE A From() const {
        return shuffle(mRegister[I], constant<A>([](std::size_t lane) {
                           const std::size_t at = Find(I, At{}(lane % kPart));
                           return at < kPart ? at : 0x80;
                       }));
    }

    A mRegister[kRegisters];
};

} // namespace
} // namespace vek::rows::VEK_ISA

#endif // VEK_VECTOR_BYTES != 0
