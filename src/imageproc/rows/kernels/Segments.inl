// SPDX-License-Identifier: Apache-2.0
// Curves of 4096 words as 64 parabolas, where the registers hold 64 words three times for each curve:
//
//   sample   ssssss ffffff      base[s] + ((slope[s] + (bend[s] x f >> 7)) x f >> 7) >> shift; what none fits is an
//                               exception, and looked up
//
// Curves by steps have up to 12 bits with a fraction of six, of which base keeps 16 bits: a multiple of 512 for each
// segment, in the low bits of its bend, is added to the result. The finer fraction leaves few exceptions.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/simd/Vector.inl"

#if defined(__AVX512VBMI__)
#define VEK_TONE_SEGMENTS 1
#else
#define VEK_TONE_SEGMENTS 0
#endif

namespace vek::rows::VEK_ISA {
namespace {

constexpr std::uint16_t kLastTone = 4095;

#if VEK_TONE_SEGMENTS

/// A curve's segments in registers.
struct SToneLanes {
    using A = V<std::uint16_t, 64>;
    A base[2];
    A slope[2];
    A bend[2];
    const SToneCurve* curve;

    VEK_INLINE explicit SToneLanes(const SToneCurve& of)
        : base{load<A>(of.segments->base), load<A>(of.segments->base + 32)}, slope{load<A>(of.segments->slope),
                                                                                   load<A>(of.segments->slope + 32)},
          bend{load<A>(of.segments->bend), load<A>(of.segments->bend + 32)}, curve(&of) {}
};

/// Words to levels in 16 bits, of which the curve's shift leaves the result; in the lanes of bend that are odd they are
/// not. held: samples of 12 bits, with as many bits of a fraction behind them that does not count.
struct SToneSteps {
    SToneLanes::A level;
    SToneLanes::A bend;
};
template <int Fraction>
VEK_INLINE SToneSteps toneSteps(SToneLanes::A held, const SToneLanes& lanes) {
    using A = SToneLanes::A;
    using Signed = Like<std::int16_t, A>;
    const A segment = held >> (6 + Fraction);
    const auto along = (Signed)(held << (9 - Fraction) & 0x7E00);
    const A bend = permute2(lanes.bend[0], lanes.bend[1], segment);
    const A slope = permute2(lanes.slope[0], lanes.slope[1], segment) + (A)mulHigh((Signed)bend, along);
    const A rise = (A)mulHigh((Signed)slope, along);
    return {permute2(lanes.base[0], lanes.base[1], segment) + rise, bend};
}
/// What the exceptions' entries make of a block: they are moved up by Up bits.
template <int Fraction, int Up>
VEK_INLINE SToneLanes::A withExceptions(SToneLanes::A result, SToneLanes::A held, const SToneCurve& curve) {
    using A = SToneLanes::A;
    const A sample = held >> Fraction;
    const A segment = sample >> 6;
    for (std::size_t i = 0; i < curve.exceptions; ++i) {
        const std::uint16_t exception = curve.exception[i];
        const std::uint16_t* const entries = curve.entries + exception * SToneCurve::kSegment;
        // The low six bits of an index count. No branch: it would be as good as random on noise.
        result = select((A)(segment == exception), (A)(permute2(load<A>(entries), load<A>(entries + 32), sample) << Up),
                        result);
    }
    return result;
}

/// Words to words. BySteps: of the curve.
template <bool BySteps = false>
VEK_INLINE SToneLanes::A toneBlock(SToneLanes::A samples, const SToneLanes& lanes) {
    using A = SToneLanes::A;
    const A held = smaller(samples, all<A>(kLastTone));
    const SToneSteps steps = toneSteps<0>(held, lanes);
    A result;
    if constexpr (BySteps) {
        static_assert(SToneCurve::kStep == 512 && SToneCurve::kSteps == 8);
        result = (steps.level >> SToneCurve::kStepShift) + ((steps.bend & 0xE) << 8);
    } else {
        result = steps.level >> static_cast<int>(lanes.curve->shift);
    }
    return any((A)(steps.bend & 1)) ? withExceptions<0, 0>(result, held, *lanes.curve) : result;
}

/// Two neighbouring blocks of a row.
struct STonePair {
    SToneLanes::A first;
    SToneLanes::A second;
};
/// Words of even and of odd columns through curves by steps of their own, each in one vector:
///
///   first    a0 a1 a2 a3 ...        evens   a0 b0 a2 b2 ...
///   second   b0 b1 b2 b3 ...        odds    a1 b1 a3 b3 ...
VEK_INLINE STonePair tonePair(const STonePair& samples, const SToneLanes& even, const SToneLanes& odd) {
    using A = SToneLanes::A;
    using Longs = Like<std::uint32_t, A>;
    const A isOdd = (A)all<Longs>(0xFFFF0000);
    const A evens = toneBlock<true>(select(isOdd, (A)((Longs)samples.second << 16), samples.first), even);
    const A odds = toneBlock<true>(select(isOdd, samples.second, (A)((Longs)samples.first >> 16)), odd);
    return {select(isOdd, (A)((Longs)odds << 16), evens), select(isOdd, odds, (A)((Longs)evens >> 16))};
}
#endif

} // namespace
} // namespace vek::rows::VEK_ISA
