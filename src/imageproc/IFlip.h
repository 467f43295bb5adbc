// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Mirror and quarter turns, in place (src and dst are the same) or into another buffer that does not overlap.
/// mirror: enum VekMirror; rotation: enum VekRotation. width, height: pixels, in and out: unless one of the outputs is
/// null, they receive the result's size before anything else is judged. Rows have no padding. Results: 0, -22 (a null
/// pointer that would be used, samples that the transform does not take) or -12 as an unsigned 64-bit number; nothing
/// is written to dst with those. Without a transform nothing is written to dst either.
class IFlip {
public:
    /// samplesPerPixel: 1, 3 or 4, moved as a whole; any for the vertical mirror, which into another buffer copies no
    /// more than width samples of a row.
    virtual unsigned long FlipBGRB(unsigned char mirror, unsigned char rotation, unsigned long* width,
                                   unsigned long* height, unsigned char* src, unsigned char* dst,
                                   unsigned short samplesPerPixel) = 0;
    virtual unsigned long FlipBGRW(unsigned char mirror, unsigned char rotation, unsigned long* width,
                                   unsigned long* height, unsigned short* src, unsigned short* dst,
                                   unsigned short samplesPerPixel) = 0;
    /// One sample a pixel. colorArray: receives the colour array of the result.
    virtual unsigned long FlipRawB(unsigned char mirror, unsigned char rotation, unsigned long* width,
                                   unsigned long* height, unsigned char* src, unsigned char* dst,
                                   unsigned short* colorArray) = 0;
    virtual unsigned long FlipRawW(unsigned char mirror, unsigned char rotation, unsigned long* width,
                                   unsigned long* height, unsigned short* src, unsigned short* dst,
                                   unsigned short* colorArray) = 0;

protected:
    ~IFlip() = default;
};

} // namespace vek
