// SPDX-License-Identifier: Apache-2.0
// Colour taken out of dark and bright blue-green-red pixels.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/Luma.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- plain loops: columns from .. to-1 ----

/// sample moved toward green by strength / 16384, the fraction cut off.
template <class T>
inline T towardGreen(T sample, T green, std::int32_t strength) {
    const std::int32_t move = strength * (green - sample);
    return static_cast<T>(move > 0 ? sample + (move >> 14) : sample - (-move >> 14));
}

/// Full suppression.
constexpr std::uint16_t kFullStrength = 1 << 14;

template <class T>
inline void suppressChromaSpan(T* row, std::size_t from, std::size_t to, std::size_t step, const SLumaTables& luma,
                               const SChromaLimits& limits) {
    for (std::size_t x = from; x < to; ++x) {
        T* const pixel = row + x * step;
        const unsigned y = lumaOf(pixel, luma);
        std::uint32_t strength = 0;
        if (y < limits.lowStart) {
            strength = std::uint32_t{limits.lowSlope} * static_cast<std::uint16_t>(limits.lowStart - y + 1);
        }
        if (y > limits.highStart) {
            const std::uint32_t high =
                std::uint32_t{limits.highSlope} * static_cast<std::uint16_t>(y - limits.highStart + 1);
            strength = high > strength ? high : strength;
        }
        const auto k = static_cast<std::int32_t>(strength < kFullStrength ? strength : kFullStrength);
        pixel[0] = towardGreen(pixel[0], pixel[1], k);
        pixel[2] = towardGreen(pixel[2], pixel[1], k);
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- body, in registers ----

/// Strength of suppression at a distance beyond a start level, words.
template <class A>
VEK_INLINE A strengthAt(A distance, std::uint16_t slope) {
    const A slopes = all<A>(slope);
    const A full = all<A>(kFullStrength);
    return mulHigh(distance, slopes) != 0 ? full : smaller(distance * slopes, full);
}
template <class A>
VEK_INLINE A strengthOf(A y, const SChromaLimits& limits) {
    const A lowStart = all<A>(limits.lowStart);
    const A highStart = all<A>(limits.highStart);
    const A low = strengthAt(lowStart - y + 1, limits.lowSlope) & (A)(y < lowStart);
    const A high = strengthAt(y - highStart + 1, limits.highSlope) & (A)(y > highStart);
    return larger(low, high);
}

/// Strengths of a block, by its luma: bytes have those of even and of odd columns.
template <class A, std::size_t = sizeof(Lane<A>)>
struct SStrength;
template <class A>
struct SStrength<A, 1> {
    using Words = Like<std::uint16_t, A>;
    Words even;
    Words odd;
    VEK_INLINE SStrength(A y, const SChromaLimits& limits)
        : even(strengthOf((Words)y & 0xFF, limits)), odd(strengthOf((Words)y >> 8, limits)) {}
    VEK_INLINE bool Any() const { return any(even | odd); }
    /// distance x strength / 16384
    VEK_INLINE A Of(A distance) const {
        const auto pairs = (Words)distance;
        return (A)(mulHigh((pairs & 0xFF) << 2, even) | mulHigh(pairs >> 8 << 2, odd) << 8);
    }
};
template <class A>
struct SStrength<A, 2> {
    A words;
    VEK_INLINE SStrength(A y, const SChromaLimits& limits) : words(strengthOf(y, limits)) {}
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
    CDensePixels<T> dense(step);
    std::size_t x = 0;
    while (const std::size_t columns = anyColumns<T>(x, width)) {
        T* const pixels = dense.Take(row + x * step, columns);
        for (std::size_t i = 0; i < columns; i += kLanes<A>) {
            const SColors<A> colors = load3<A>(pixels + 3 * i);
            const SStrength<A> strength(lumaBlock(colors), limits);
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
