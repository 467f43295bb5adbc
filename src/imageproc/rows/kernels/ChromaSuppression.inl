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

/// Strength of suppression at a distance beyond a start level.
VEK_INLINE WideV<std::uint16_t> strengthAt(WideV<std::uint16_t> distance, std::uint16_t slope) {
    using Words = WideV<std::uint16_t>;
    const Words slopes = all<Words>(slope);
    const Words full = all<Words>(kFullStrength);
    return mulHigh(distance, slopes) != 0 ? full : smaller(distance * slopes, full);
}

VEK_INLINE WideV<std::uint16_t> strengthOf(WideV<std::uint16_t> y, const SChromaLimits& limits) {
    using Words = WideV<std::uint16_t>;
    const Words lowStart = all<Words>(limits.lowStart);
    const Words highStart = all<Words>(limits.highStart);
    const Words low = strengthAt(lowStart - y + 1, limits.lowSlope) & (Words)(y < lowStart);
    const Words high = strengthAt(y - highStart + 1, limits.highSlope) & (Words)(y > highStart);
    return larger(low, high);
}

/// Strengths of a block: bytes have those of even and of odd columns.
template <class T>
struct SStrength;
template <>
struct SStrength<std::uint8_t> {
    WideV<std::uint16_t> even;
    WideV<std::uint16_t> odd;
    VEK_INLINE SStrength(WideV<std::uint8_t> y, const SChromaLimits& limits)
        : even(strengthOf((WideV<std::uint16_t>)y & 0xFF, limits)),
          odd(strengthOf((WideV<std::uint16_t>)y >> 8, limits)) {}
    VEK_INLINE bool Any() const { return any(even | odd); }
    /// distance x strength / 16384
    VEK_INLINE WideV<std::uint8_t> Of(WideV<std::uint8_t> distance) const {
        const auto pairs = (WideV<std::uint16_t>)distance;
        return (WideV<std::uint8_t>)(mulHigh((pairs & 0xFF) << 2, even) | mulHigh(pairs >> 8 << 2, odd) << 8);
    }
};
template <>
struct SStrength<std::uint16_t> {
    WideV<std::uint16_t> all;
    VEK_INLINE SStrength(WideV<std::uint16_t> y, const SChromaLimits& limits) : all(strengthOf(y, limits)) {}
    VEK_INLINE bool Any() const { return any(all); }
    VEK_INLINE WideV<std::uint16_t> Of(WideV<std::uint16_t> distance) const {
        return all == kFullStrength ? distance : mulHigh(distance, all << 2);
    }
};

template <class T>
VEK_INLINE WideV<T> towardGreenVec(WideV<T> samples, WideV<T> green, const SStrength<T>& strength) {
    const WideV<T> up = subSat(green, samples);
    const WideV<T> move = strength.Of(up | subSat(samples, green));
    return up != 0 ? samples + move : samples - move;
}

template <class T>
inline std::size_t suppressChromaBlocks(T* row, std::size_t width, std::size_t step, const SChromaLimits& limits) {
    CDensePixels<T> dense(step);
    std::size_t x = 0;
    while (const std::size_t columns = anyColumns<T>(x, width)) {
        T* const pixels = dense.Take(row + x * step, columns);
        for (std::size_t i = 0; i < columns; i += kLanes<WideV<T>>) {
            const SColours<WideV<T>> colours = load3<WideV<T>>(pixels + 3 * i);
            const SStrength<T> strength(lumaVec(colours), limits);
            // Bright and dark areas are connected.
            if (strength.Any()) {
                storePixels<3>(pixels + 3 * i,
                               SColours<WideV<T>>{towardGreenVec<T>(colours.blue, colours.green, strength),
                                                  colours.green,
                                                  towardGreenVec<T>(colours.red, colours.green, strength)});
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
