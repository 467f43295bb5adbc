// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// White balance of raw Bayer images in place. width, height in pixels, pitch in bytes (0: the samples of a row,
/// rounded up to a multiple of 4). Samples are bytes (B) or 16-bit words (W). Results: 0, or -22 as an unsigned 64-bit
/// number.
class IWB {
public:
    /// Works out the red and the blue gain where the mode asks for it, and applies the gains. bits: 12 at most.
    virtual unsigned long WBProcB(unsigned long width, unsigned long height, unsigned long pitch,
                                  unsigned short colorArray, unsigned char* image, unsigned short bits) = 0;
    virtual unsigned long WBProcW(unsigned long width, unsigned long height, unsigned long pitch,
                                  unsigned short colorArray, unsigned short* image, unsigned short bits) = 0;
    /// mode: enum VekWhiteBalanceMode; every other value works as manual.
    virtual unsigned long SetWBMode(unsigned char mode) = 0;
    virtual unsigned long GetWBMode(unsigned char* mode) = 0;
    /// gains: R, Gr, Gb, B; 128 is a gain of 1. A null pointer to GetWBGain is ignored.
    virtual unsigned long SetWBGain(const unsigned short* gains) = 0;
    virtual unsigned long GetWBGain(unsigned short* gains) = 0;

protected:
    ~IWB() = default;
};

} // namespace vek
