// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Demosaicing module. width, height in pixels, pitches in bytes (0: derived). Samples are bytes (B) or 16-bit
/// words (W). Results: 0, or -22 as an unsigned 64-bit number; nothing is written with -22.
class IColorInterpolation {
public:
    virtual unsigned long ColorInterporationB(unsigned long width, unsigned long height, unsigned char* src,
                                              unsigned char* dst, unsigned char method, unsigned short colorArray,
                                              unsigned short channels) = 0;
    virtual unsigned long ColorInterporationW(unsigned long width, unsigned long height, unsigned short* src,
                                              unsigned short* dst, unsigned char method, unsigned short colorArray,
                                              unsigned short channels) = 0;
    virtual unsigned long ColorInterporationB(unsigned long width, unsigned long height, unsigned long srcPitch,
                                              unsigned char* src, unsigned long dstPitch, unsigned char* dst,
                                              unsigned char method, unsigned short colorArray,
                                              unsigned short channels) = 0;
    virtual unsigned long ColorInterporationW(unsigned long width, unsigned long height, unsigned long srcPitch,
                                              unsigned short* src, unsigned long dstPitch, unsigned short* dst,
                                              unsigned char method, unsigned short colorArray,
                                              unsigned short channels) = 0;

protected:
    ~IColorInterpolation() = default;
};

} // namespace vek
