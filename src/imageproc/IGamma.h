// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Tone curves: one for the luma of grey and blue-green-red images, one for each colour of raw images. Images are
/// worked on in place. width, height in pixels, pitch in bytes (0: derived). Results: 0, or -22 as an unsigned
/// 64-bit number, and then nothing has changed.
class IGamma {
public:
    /// Every output may be null. bits: on entry the depth of contrast and table (8 where null or below 8, 12 at most),
    /// on return the depth of the channel's curve.
    virtual unsigned long GetMode(unsigned char channel, unsigned char* mode, unsigned short* gamma, short* brightness,
                                  void* contrast, void* table, unsigned short* bits) = 0;
    /// channel: enum VekGammaChannel; mode: enum VekGammaMode; table: 2^bits entries, read in mode 255 alone.
    virtual unsigned long SetMode(unsigned char channel, unsigned char mode, unsigned short gamma, short brightness,
                                  unsigned short contrast, const void* table, unsigned short bits) = 0;
    /// Raw Bayer images through the curves of their four colours.
    virtual unsigned long ProcColorRawB(unsigned long width, unsigned long height, unsigned long pitch,
                                        unsigned short colorArray, unsigned char* image) = 0;
    virtual unsigned long ProcColorRawW(unsigned long width, unsigned long height, unsigned long pitch,
                                        unsigned short colorArray, unsigned short* image) = 0;
    /// Grey and blue-green-red images through the luma curve. pixelFormat: enum VekDestinationFormat.
    virtual unsigned long ProcBGROrGrayB(unsigned long width, unsigned long height, unsigned long pitch,
                                         unsigned long pixelFormat, unsigned char* image) = 0;
    virtual unsigned long ProcBGROrGrayW(unsigned long width, unsigned long height, unsigned long pitch,
                                         unsigned long pixelFormat, unsigned short* image) = 0;

protected:
    ~IGamma() = default;
};

} // namespace vek
