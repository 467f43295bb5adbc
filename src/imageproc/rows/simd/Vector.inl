// SPDX-License-Identifier: Apache-2.0
// Vectors of samples: V<T, Bytes> is the compiler's own vector type, which adds, multiplies, shifts, compares and
// selects lane by lane. This file adds what such types can say in a few words; what they cannot stands in X86.inl or
// Neon.inl, under the same names.
//
// The including file defines VEK_ISA, VEK_VECTOR_BYTES (0: plain loops only) and, where longer vectors exist,
// VEK_WIDE_VECTOR_BYTES.
#pragma once

#include <cstddef>
#include <cstdint>

#ifndef VEK_WIDE_VECTOR_BYTES
#define VEK_WIDE_VECTOR_BYTES VEK_VECTOR_BYTES
#endif

namespace vek::rows::VEK_ISA {
namespace {

// Of samples, or lane by lane.
template <class T>
inline T smaller(T a, T b) {
    return a < b ? a : b;
}
template <class T>
inline T larger(T a, T b) {
    return a < b ? b : a;
}

} // namespace
} // namespace vek::rows::VEK_ISA

#if VEK_VECTOR_BYTES != 0

/// For all that takes or returns vectors. Behind a call with vectors g++ 12 does not release the upper halves of the
/// registers, and code without AVX is slow until someone does.
#define VEK_INLINE [[gnu::always_inline]] inline

namespace vek::rows::VEK_ISA {
namespace {

// ---- types ----

template <class T, std::size_t Bytes>
struct SVector {
    typedef T type __attribute__((vector_size(Bytes)));
};
/// Lanes of T that fill Bytes bytes: 16 to what the registers hold; 4 and 8 as the narrow side of widen and narrow.
template <class T, std::size_t Bytes>
using V = typename SVector<T, Bytes>::type;

/// The length for work that memory decides, and the one for work that arithmetic does.
constexpr std::size_t kRowBytes = VEK_VECTOR_BYTES;
constexpr std::size_t kWideBytes = VEK_WIDE_VECTOR_BYTES;
template <class T>
using RowV = V<T, kRowBytes>;
template <class T>
using WideV = V<T, kWideBytes>;

template <class T>
struct SPlain;
template <class T>
struct SPlain<T&> {
    using type = T;
};
/// The type of a vector's lanes, and their number.
template <class A>
using Lane = typename SPlain<decltype((*static_cast<A*>(nullptr))[0])>::type;
template <class A>
constexpr std::size_t kLanes = sizeof(A) / sizeof(Lane<A>);

/// A vector as long as A with lanes of T.
template <class T, class A>
using Like = V<T, sizeof(A)>;

/// The same bits in lanes of T.
template <class T, class A>
VEK_INLINE Like<T, A> as(A v) {
    return (Like<T, A>)v;
}

/// An integer as wide as two samples.
template <class T>
struct SPair {
    using type = std::uint16_t;
};
template <>
struct SPair<std::uint16_t> {
    using type = std::uint32_t;
};
template <>
struct SPair<std::uint32_t> {
    using type = std::uint64_t;
};
template <class T>
using Pair = typename SPair<T>::type;

/// Two vectors that belong together: the lanes from the first and from the last 8 bytes of each 16.
template <class A>
struct SHalves {
    A low;
    A high;
};

/// Blue, green and red of as many pixels as A has lanes.
template <class A>
struct SColors {
    A blue;
    A green;
    A red;
};

// ---- memory and constants ----

/// Any address.
template <class A>
VEK_INLINE A load(const void* p) {
    A v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
template <class A>
VEK_INLINE void store(void* p, A v) {
    __builtin_memcpy(p, &v, sizeof v);
}

/// v in a register: GCC loads a vector anew for each instruction that it can be an operand of, and loads off the lines
/// cost more than such instructions.
template <class A>
VEK_INLINE A inRegister(A v) {
#if defined(__x86_64__)
    __asm__("" : "+v"(v));
#endif
    return v;
}

/// value in every lane.
template <class A>
VEK_INLINE A all(Lane<A> value) {
    return A{} + value;
}

/// A vector constant, built at compile time.
template <class A>
struct SLanes {
    alignas(sizeof(A)) Lane<A> lane[kLanes<A>];
    VEK_INLINE A Vec() const { return load<A>(lane); }
};
template <class A, class F>
constexpr SLanes<A> makeLanes(F valueOfLane) {
    SLanes<A> lanes{};
    for (std::size_t i = 0; i < kLanes<A>; ++i) {
        lanes.lane[i] = static_cast<Lane<A>>(valueOfLane(i));
    }
    return lanes;
}
/// The vector of valueOfLane(i), a function object without state.
template <class A, class F>
VEK_INLINE A constant(F) {
    static constexpr SLanes<A> kLane = makeLanes<A>(F{});
    return kLane.Vec();
}

// ---- arithmetic ----

/// Lanes of a where mask is set, lanes of b elsewhere.
template <class A>
VEK_INLINE A select(A mask, A a, A b) {
    return (a & mask) | (b & ~mask);
}

/// (a + b) >> 1 without a wider type.
template <class A>
VEK_INLINE A mean(A a, A b) {
    return (a & b) + ((a ^ b) >> 1);
}

/// All ones in the lanes whose index has the parity, 0 in the others.
template <class A, unsigned Parity>
VEK_INLINE A parityMask() {
    return constant<A>([](std::size_t i) { return i % 2 == Parity ? ~Lane<A>{0} : Lane<A>{0}; });
}

/// combine on the even and on the odd lanes of vectors, in lanes of twice the width; its results fit a sample.
template <class Combine, class A, class... More>
VEK_INLINE A inPairs(Combine combine, A first, More... more) {
    using P = Pair<Lane<A>>;
    constexpr unsigned bits = 8 * sizeof(Lane<A>);
    constexpr auto low = static_cast<P>((P{1} << bits) - 1);
    const Like<P, A> even = combine(as<P>(first) & low, as<P>(more) & low...);
    const Like<P, A> odd = combine(as<P>(first) >> bits, as<P>(more) >> bits...);
    return (A)(even | odd << bits);
}

/// Both lanes of each pair get the pair's lane of Parity.
template <unsigned Parity, class A>
VEK_INLINE A shareInPairs(A v) {
    constexpr unsigned bits = 8 * sizeof(Lane<A>);
    const auto kept = as<Pair<Lane<A>>>(v & parityMask<A, Parity>());
    return (A)(kept | (Parity == 0 ? kept << bits : kept >> bits));
}

/// The two samples at p in every two lanes.
template <class A>
VEK_INLINE A repeatPair(const Lane<A>* p) {
    Pair<Lane<A>> pair;
    __builtin_memcpy(&pair, p, sizeof pair);
    return (A)all<Like<Pair<Lane<A>>, A>>(pair);
}

} // namespace
} // namespace vek::rows::VEK_ISA

#if defined(__ARM_NEON)
#include "imageproc/rows/simd/Neon.inl"
#else
#include "imageproc/rows/simd/X86.inl"
#endif

#endif // VEK_VECTOR_BYTES != 0
