// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Chroma suppression in the darkest and the brightest parts of blue-green-red images, in place. width, height in
/// pixels, pitch in bytes (0: the samples of a row, rounded up to a multiple of 4), pixelFormat: enum
/// VekDestinationFormat. Levels are lumas; slopes are 1/16384 of full suppression per level. Results: 0, or -22 as an
/// unsigned 64-bit number, and then nothing has changed.
class IChromaSuppress {
public:
    virtual unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned long pixelFormat, unsigned char* image) = 0;
    virtual unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned long pixelFormat, unsigned short* image) = 0;
    // The high part under its older names.
    virtual unsigned long SetStartLevel(unsigned short level) = 0;
    virtual unsigned long GetStartLevel(unsigned short* level) = 0;
    virtual unsigned long SetSlope(unsigned short slope) = 0;
    virtual unsigned long GetSlope(unsigned short* slope) = 0;

    virtual unsigned long SetLowStartLevel(unsigned short level) = 0;
    virtual unsigned long GetLowStartLevel(unsigned short* level) = 0;
    virtual unsigned long SetLowSlope(unsigned short slope) = 0;
    virtual unsigned long GetLowSlope(unsigned short* slope) = 0;
    virtual unsigned long SetHighStartLevel(unsigned short level) = 0;
    virtual unsigned long GetHighStartLevel(unsigned short* level) = 0;
    virtual unsigned long SetHighSlope(unsigned short slope) = 0;
    virtual unsigned long GetHighSlope(unsigned short* slope) = 0;

protected:
    ~IChromaSuppress() = default;
};

} // namespace vek
