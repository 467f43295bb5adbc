// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Noise reduction on raw and mono images, in place. width, height in pixels; pitch in bytes (0: width x the bytes
/// of a sample of bitsPerPixel), not below a row's samples; colorArray: enum VekColorArray, mono or Bayer; mode: enum
/// VekNoiseReductionMode. Results: 0, -22 or -12 as an unsigned 64-bit number.
class INoiseReduction {
public:
    virtual unsigned long NRProcB(unsigned long width, unsigned long height, unsigned long pitch,
                                  unsigned short colorArray, unsigned char* image, unsigned short bitsPerPixel,
                                  unsigned long mode) = 0;
    virtual unsigned long NRProcW(unsigned long width, unsigned long height, unsigned long pitch,
                                  unsigned short colorArray, unsigned short* image, unsigned short bitsPerPixel,
                                  unsigned long mode) = 0;

protected:
    ~INoiseReduction() = default;
};

} // namespace vek
