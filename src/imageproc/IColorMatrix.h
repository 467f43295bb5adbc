// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Colour matrix, hue and saturation of blue-green-red images, in place. width, height in pixels, pitch in bytes
/// (0: the samples of a row, rounded up to a multiple of 4), pixelFormat: enum VekDestinationFormat. Results: 0, or -22
/// as an unsigned 64-bit number, and then nothing has changed.
class IColorMatrix {
public:
    /// mode: 0 identity, 255 matrix. matrix: rows R, G, B of three coefficients for R, G, B (hundredths) and an offset
    /// (hundredths of a level); not read in mode 0.
    virtual unsigned long SetColorMatrix(unsigned char mode, const short* matrix) = 0;
    /// Each output may be null.
    virtual unsigned long GetColorMatrix(unsigned char* mode, short* matrix) = 0;
    /// mode: 0 off, 1 on. hue: tenths of a degree. saturation: per cent.
    virtual unsigned long SetHueSaturation(unsigned char mode, short hue, unsigned short saturation) = 0;
    virtual unsigned long GetHueSaturation(unsigned char* mode, short* hue, unsigned short* saturation) = 0;
    virtual unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned long pixelFormat, unsigned char* image, unsigned short bits) = 0;
    virtual unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned long pixelFormat, unsigned short* image, unsigned short bits) = 0;

protected:
    ~IColorMatrix() = default;
};

} // namespace vek
