// SPDX-License-Identifier: Apache-2.0
#pragma once

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

/// One call, pixel by pixel. A line length of 0 is derived.
template <class T>
unsigned long modelChromaSuppress(const SChromaSuppressModel& settings, unsigned long width, unsigned long height,
                                  unsigned long lineBytes, unsigned long pixelFormat, T* image);

extern template unsigned long modelChromaSuppress(const SChromaSuppressModel&, unsigned long, unsigned long,
                                                  unsigned long, unsigned long, std::uint8_t*);
extern template unsigned long modelChromaSuppress(const SChromaSuppressModel&, unsigned long, unsigned long,
                                                  unsigned long, unsigned long, std::uint16_t*);

} // namespace vek::test
