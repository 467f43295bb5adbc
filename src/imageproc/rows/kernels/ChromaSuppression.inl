// SPDX-License-Identifier: Apache-2.0
// Colour taken out of dark and bright blue-green-red pixels.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Luma.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. to-1 ----

/// Full suppression.
constexpr std::uint16_t kFullStrength = 1 << 14;

/// sample moved toward green by strength / 16384, the fraction cut off.
template <class T>
inline T towardGreen(T sample, T green, std::int32_t strength) {
    return static_cast<T>(sample + strength * (green - sample) / kFullStrength);
}

template <class T>
inline void suppressChromaSpan(T* row, std::size_t from, std::size_t to, std::size_t step, const SLumaTables& luma,
                               const SChromaLimits& limits) {
    // Copies: no store into the row can change them.
    const SLumaTables tables = luma;
    const SChromaLimits own = limits;
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = row + x * step;
        const unsigned y = lumaOf(pixel, tables);
        // Both sides and no branches: the luma of noise cannot be foreseen.
        const unsigned below = (own.lowStart - y + 1) & 0xFFFF & (0U - unsigned{y < own.lowStart});
        const unsigned above = (y - own.highStart + 1) & 0xFFFF & (0U - unsigned{y > own.highStart});
        const unsigned strength = larger(own.lowSlope * below, own.highSlope * above);
        const auto k = static_cast<std::int32_t>(smaller<unsigned>(strength, kFullStrength));
        pixel[0] = towardGreen(pixel[0], pixel[1], k);
        pixel[2] = towardGreen(pixel[2], pixel[1], k);
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- body, in registers ----

/// Strength of suppression beyond a start level, words.
template <class A>
struct SRamp {
    A start;
    A slope;
    A farthest; ///< distance of full suppression: products up to there fit 16 bits

    VEK_INLINE SRamp(std::uint16_t level, std::uint16_t steepness) : start(all<A>(level)) {
        // Steeper ones are full at once, too.
        const auto usual = smaller(steepness, kFullStrength);
        slope = all<A>(usual);
        farthest = all<A>(static_cast<std::uint16_t>(usual == 0 ? 0 : (kFullStrength + usual - 1) / usual));
    }
    /// beyond: levels between luma and start, 0 where luma does not reach it. They count from 1.
    VEK_INLINE A At(A beyond) const {
        const A distance = beyond + smaller(beyond, all<A>(1));
        return smaller(smaller(distance, farthest) * slope, all<A>(kFullStrength));
    }
};
template <class A>
struct SRamps {
    SRamp<A> low;
    SRamp<A> high;
    VEK_INLINE explicit SRamps(const SChromaLimits& limits)
        : low(limits.lowStart, limits.lowSlope), high(limits.highStart, limits.highSlope) {}
    VEK_INLINE A Of(A y) const { return larger(low.At(subSat(low.start, y)), high.At(subSat(y, high.start))); }
};

/// Strengths of a block, by its luma: bytes have those of even and of odd columns.
template <class A, std::size_t = sizeof(Lane<A>)>
struct SStrength;
template <class A>
struct SStrength<A, 1> {
    using Words = Like<std::uint16_t, A>;
    Words even;
    Words odd;
    VEK_INLINE SStrength(A y, const SRamps<Words>& ramps)
        : even(ramps.Of((Words)y & 0xFF)), odd(ramps.Of((Words)y >> 8)) {}
    VEK_INLINE bool Any() const { return any(even | odd); }
    /// distance x strength / 16384; odd columns at 256 times their size.
    VEK_INLINE A Of(A distance) const {
        const auto pairs = (Words)distance;
        return (A)(mulHigh((pairs & 0xFF) << 2, even) | (mulHigh(pairs & 0xFF00, odd) << 2 & 0xFF00));
    }
};
template <class A>
struct SStrength<A, 2> {
    A words;
    VEK_INLINE SStrength(A y, const SRamps<A>& ramps) : words(ramps.Of(y)) {}
    VEK_INLINE bool Any() const { return any(words); }
    VEK_INLINE A Of(A distance) const { return words == kFullStrength ? distance : mulHigh(distance, words << 2); }
};

template <class A>
VEK_INLINE A towardGreenBlock(A samples, A green, const SStrength<A>& strength) {
    const A up = subSat(green, samples);
    const A move = strength.Of(up | subSat(samples, green));
    return up != 0 ? samples + move : samples - move;
}

template <class A>
VEK_INLINE SColors<A> suppressBlock(const SColors<A>& colors, const SStrength<A>& strength) {
    return {towardGreenBlock(colors.blue, colors.green, strength), colors.green,
            towardGreenBlock(colors.red, colors.green, strength)};
}

// ---- driver: all of a row; returns the column behind it ----

///   strength      \_                 _/     of luma: full at slope x distance = 1, none between the starts
///                   \_____________ _/
///                  lowStart   highStart
///
/// No neighbours. Blue and red move toward green by strength x distance, the fraction cut off.
template <class T>
inline std::size_t suppressChromaBlocks(T* row, std::size_t width, std::size_t step, const SChromaLimits& limits) {
    using A = WideV<T>;
    const SRamps<WideV<std::uint16_t>> ramps(limits);
    CDensePixels<T> dense(step);
    std::size_t x = 0;
    while (const std::size_t columns = anyColumns<T>(x, width)) {
        T* const pixels = dense.Take(row + x * step, columns);
        for (std::size_t i = 0; i < columns; i += kLanes<A>) {
            const SColors<A> colors = load3<A>(pixels + 3 * i);
            const SStrength<A> strength(lumaBlock(colors), ramps);
            // Bright and dark areas are connected.
            if (strength.Any()) {
                storePixels<3>(pixels + 3 * i, suppressBlock(colors, strength));
            }
        }
        dense.PutBack(row + x * step, columns);
        x += columns;
    }
    return x;
}

#endif

// ---- kernels ----

template <class T>
void suppressChroma(T* row, std::size_t width, std::size_t step, const SLumaTables& luma, const SChromaLimits& limits) {
    std::size_t done = 0;
#if VEK_VECTOR_BYTES != 0
    done = suppressChromaBlocks(row, width, step, limits);
#endif
    suppressChromaSpan(row, done, width, step, luma, limits);
}

} // namespace
} // namespace vek::rows::VEK_ISA
