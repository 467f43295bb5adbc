// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/ImageLayout.h"

#include <array>
#include <cstdint>

namespace vek::test {

/// A sharpness module: its three numbers and the table of corrections by difference.
struct SSharpnessModel {
    unsigned char mode = 0;
    unsigned short gain = 0;
    unsigned short coring = 0;
    std::array<unsigned short, 4096> table{};

    void SetMode(unsigned char newMode, unsigned short newGain, unsigned short newCoring);
};

/// Status of a call; sampleBytes 1 or 2, memory aside. samples receives those of a pixel, 0 where there is nothing to
/// do.
unsigned long modelSharpnessStatus(const SSharpnessModel& module, unsigned long pixelFormat, unsigned bits,
                                   unsigned* samples);

/// One call, pixel by pixel. The samples a pixel are those of the format.
template <class T>
unsigned long modelSharpness(const SSharpnessModel& module, SInPlaceImage image, unsigned long pixelFormat, T* samples,
                             unsigned bits);

extern template unsigned long modelSharpness(const SSharpnessModel&, SInPlaceImage, unsigned long, std::uint8_t*,
                                             unsigned);
extern template unsigned long modelSharpness(const SSharpnessModel&, SInPlaceImage, unsigned long, std::uint16_t*,
                                             unsigned);

} // namespace vek::test
