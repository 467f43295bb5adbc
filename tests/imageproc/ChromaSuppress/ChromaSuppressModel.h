// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/ImageLayout.h"

#include <cstdint>

namespace vek::test {

/// Settings of chroma suppression, as they are when a module is made.
struct SChromaSuppressModel {
    unsigned short lowStart = 0;
    unsigned short highStart = 255;
    unsigned short lowSlope = 0;
    unsigned short highSlope = 0;
};

/// Status that an image of a format gets; sampleBytes 1 or 2.
unsigned long modelChromaStatus(unsigned long pixelFormat, unsigned sampleBytes);

/// One call, pixel by pixel. The samples a pixel are those of the format.
template <class T>
unsigned long modelChromaSuppress(const SChromaSuppressModel& settings, SInPlaceImage image, unsigned long pixelFormat,
                                  T* samples);

extern template unsigned long modelChromaSuppress(const SChromaSuppressModel&, SInPlaceImage, unsigned long,
                                                  std::uint8_t*);
extern template unsigned long modelChromaSuppress(const SChromaSuppressModel&, SInPlaceImage, unsigned long,
                                                  std::uint16_t*);

} // namespace vek::test
