// SPDX-License-Identifier: Apache-2.0
// What the compiler's vector types cannot say, on aarch64: vectors of 16 bytes. X86.inl tells what each name means.
#pragma once

#include <arm_neon.h>

namespace vek::rows::VEK_ISA {
namespace {

/// See X86.inl: tbl picks within 16 bytes.
constexpr bool kPermutes = false;

// ---- lane by lane ----

template <class A>
VEK_INLINE bool any(A mask) {
    return vmaxvq_u8((uint8x16_t)mask) != 0;
}

template <class A>
VEK_INLINE A addSat(A a, A b) {
    if constexpr (sizeof(Lane<A>) == 1) {
        return (A)vqaddq_u8((uint8x16_t)a, (uint8x16_t)b);
    } else if constexpr (Lane<A>(-1) < 0) {
        return (A)vqaddq_s16((int16x8_t)a, (int16x8_t)b);
    } else {
        return (A)vqaddq_u16((uint16x8_t)a, (uint16x8_t)b);
    }
}
template <class A>
VEK_INLINE A subSat(A a, A b) {
    if constexpr (sizeof(Lane<A>) == 1) {
        return (A)vqsubq_u8((uint8x16_t)a, (uint8x16_t)b);
    } else {
        return (A)vqsubq_u16((uint16x8_t)a, (uint16x8_t)b);
    }
}

template <class A>
VEK_INLINE A meanUp(A a, A b) {
    return (A)vrhaddq_u16((uint16x8_t)a, (uint16x8_t)b);
}

template <class A>
VEK_INLINE A absolute(A v) {
    return (A)vabsq_s16((int16x8_t)v);
}

template <class A>
VEK_INLINE A mulHigh(A a, A b) {
    if constexpr (Lane<A>(-1) < 0) {
        const int32x4_t low = vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)b));
        const int32x4_t high = vmull_high_s16((int16x8_t)a, (int16x8_t)b);
        return (A)vuzp2q_s16((int16x8_t)low, (int16x8_t)high);
    } else {
        const uint32x4_t low = vmull_u16(vget_low_u16((uint16x8_t)a), vget_low_u16((uint16x8_t)b));
        const uint32x4_t high = vmull_high_u16((uint16x8_t)a, (uint16x8_t)b);
        return (A)vuzp2q_u16((uint16x8_t)low, (uint16x8_t)high);
    }
}

template <class A>
VEK_INLINE A mulRound15(A a, A b) {
    return (A)vqrdmulhq_s16((int16x8_t)a, (int16x8_t)b);
}

template <class A>
VEK_INLINE A choose(A mask, A a, A b) {
    return (A)vbslq_u8((uint8x16_t)mask, (uint8x16_t)a, (uint8x16_t)b);
}

// ---- within 16 bytes ----

template <std::size_t Unit, class A>
VEK_INLINE A zipLow(A a, A b) {
    if constexpr (Unit == 1) {
        return (A)vzip1q_u8((uint8x16_t)a, (uint8x16_t)b);
    } else if constexpr (Unit == 2) {
        return (A)vzip1q_u16((uint16x8_t)a, (uint16x8_t)b);
    } else if constexpr (Unit == 4) {
        return (A)vzip1q_u32((uint32x4_t)a, (uint32x4_t)b);
    } else {
        return (A)vzip1q_u64((uint64x2_t)a, (uint64x2_t)b);
    }
}
template <std::size_t Unit, class A>
VEK_INLINE A zipHigh(A a, A b) {
    if constexpr (Unit == 1) {
        return (A)vzip2q_u8((uint8x16_t)a, (uint8x16_t)b);
    } else if constexpr (Unit == 2) {
        return (A)vzip2q_u16((uint16x8_t)a, (uint16x8_t)b);
    } else if constexpr (Unit == 4) {
        return (A)vzip2q_u32((uint32x4_t)a, (uint32x4_t)b);
    } else {
        return (A)vzip2q_u64((uint64x2_t)a, (uint64x2_t)b);
    }
}

template <class T, class A>
VEK_INLINE Like<T, A> pack(A a, A b) {
    static_assert(Lane<A>(-1) < 0 && sizeof(Lane<A>) == 2 * sizeof(T));
    if constexpr (sizeof(T) == 1) {
        return (Like<T, A>)vcombine_u8(vqmovun_s16((int16x8_t)a), vqmovun_s16((int16x8_t)b));
    } else if constexpr (T(-1) < 0) {
        return (Like<T, A>)vcombine_s16(vqmovn_s32((int32x4_t)a), vqmovn_s32((int32x4_t)b));
    } else {
        return (Like<T, A>)vcombine_u16(vqmovun_s32((int32x4_t)a), vqmovun_s32((int32x4_t)b));
    }
}

template <class A>
VEK_INLINE A shuffle(A v, A index) {
    return (A)vqtbl1q_u8((uint8x16_t)v, (uint8x16_t)index);
}

template <int First, int Second, class A>
VEK_INLINE auto weigh(A a, A b) {
    if constexpr (sizeof(Lane<A>) == 1) {
        using Words = Like<std::int16_t, A>;
        const auto half = [](uint8x8_t first, uint8x8_t second) {
            return (Words)vmlal_u8(vmull_u8(first, vdup_n_u8(First)), second, vdup_n_u8(Second));
        };
        const auto first = (uint8x16_t)a;
        const auto second = (uint8x16_t)b;
        return SHalves<Words>{half(vget_low_u8(first), vget_low_u8(second)),
                              half(vget_high_u8(first), vget_high_u8(second))};
    } else {
        static_assert(Lane<A>(-1) < 0 && sizeof(Lane<A>) == 2);
        using Longs = Like<std::int32_t, A>;
        const auto half = [](int16x4_t first, int16x4_t second) {
            return (Longs)vmlal_n_s16(vmull_n_s16(first, First), second, Second);
        };
        const auto first = (int16x8_t)a;
        const auto second = (int16x8_t)b;
        return SHalves<Longs>{half(vget_low_s16(first), vget_low_s16(second)),
                              half(vget_high_s16(first), vget_high_s16(second))};
    }
}

template <class A>
VEK_INLINE Like<std::int32_t, A> multiplyPairs(A a, A b) {
    static_assert(Lane<A>(-1) < 0 && sizeof(Lane<A>) == 2);
    const int32x4_t low = vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)b));
    const int32x4_t high = vmull_high_s16((int16x8_t)a, (int16x8_t)b);
    return (Like<std::int32_t, A>)vpaddq_s32(low, high);
}

template <class A>
VEK_INLINE Like<std::int32_t, A> addPairs(Like<std::int32_t, A> sum, A a, A b) {
    return sum + multiplyPairs(a, b);
}

// ---- longer and shorter vectors ----

template <class A>
VEK_INLINE A loadParts(const void* p, std::ptrdiff_t) {
    return load<A>(p);
}

template <class A>
VEK_INLINE SHalves<A> loadInTurn(const void* p) {
    return {load<A>(p), load<A>(static_cast<const std::uint8_t*>(p) + sizeof(A))};
}

template <class A>
VEK_INLINE A repeat16(const void* p) {
    return load<A>(p);
}

template <class T, class A>
VEK_INLINE V<T, kLanes<A> * sizeof(T)> widen(A v) {
    using To = V<T, kLanes<A> * sizeof(T)>;
    if constexpr (sizeof(Lane<A>) == 2) {
        return (To)vmovl_u16((uint16x4_t)v);
    } else if constexpr (sizeof(T) == 2) {
        return (To)vmovl_u8((uint8x8_t)v);
    } else {
        const auto words = vmovl_u8(vcreate_u8((std::uint32_t)v));
        return (To)vmovl_u16(vget_low_u16(words));
    }
}

template <class T, class A>
VEK_INLINE V<T, kLanes<A> * sizeof(T)> narrow(A v) {
    using To = V<T, kLanes<A> * sizeof(T)>;
    if constexpr (sizeof(Lane<A>) == 2) {
        return (To)vmovn_u16((uint16x8_t)v);
    } else if constexpr (sizeof(T) == 2) {
        return (To)vmovn_u32((uint32x4_t)v);
    } else {
        const uint16x4_t words = vmovn_u32((uint32x4_t)v);
        return (To)vget_lane_u32(vreinterpret_u32_u8(vmovn_u16(vcombine_u16(words, words))), 0);
    }
}

template <std::size_t Half, class A>
VEK_INLINE Like<std::uint16_t, A> widenHalf(A v) {
    if constexpr (Half == 0) {
        return (Like<std::uint16_t, A>)vmovl_u8(vget_low_u8((uint8x16_t)v));
    } else {
        return (Like<std::uint16_t, A>)vmovl_high_u8((uint8x16_t)v);
    }
}

template <class A>
VEK_INLINE Like<std::uint8_t, A> lowBytes(A a, A b) {
    return (Like<std::uint8_t, A>)vuzp1q_u8((uint8x16_t)a, (uint8x16_t)b);
}

template <std::size_t Bytes, class A>
VEK_INLINE A shiftUp(A v, A fill) {
    return (A)vextq_u8((uint8x16_t)fill, (uint8x16_t)v, 16 - Bytes);
}

template <class A>
VEK_INLINE A repeatLastPair(A v) {
    if constexpr (sizeof(Lane<A>) == 1) {
        return (A)vdupq_laneq_u16((uint16x8_t)v, 7);
    } else {
        return (A)vdupq_laneq_u32((uint32x4_t)v, 3);
    }
}

} // namespace
} // namespace vek::rows::VEK_ISA
