// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Unsharp mask on grey and blue-green-red images, in place. width, height in pixels, lineBytes in bytes (0: the
/// samples of a row, rounded up to a multiple of 4), pixelFormat: enum VekDestinationFormat, bits: 8 to 12. Results: 0,
/// -22 or -12 as an unsigned 64-bit number; the image changes with 0 alone.
class ISharpness {
public:
    /// mode: 0 off, else on. gain: per cent. coring: the difference that is ignored.
    virtual unsigned long SetMode(unsigned char mode, unsigned short gain, unsigned short coring) = 0;
    virtual unsigned long GetMode(unsigned char* mode, unsigned short* gain, unsigned short* coring) = 0;
    virtual unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long lineBytes,
                                   unsigned long pixelFormat, unsigned short* image, unsigned short bits) = 0;
    virtual unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long lineBytes,
                                   unsigned long pixelFormat, unsigned char* image, unsigned short bits) = 0;

protected:
    ~ISharpness() = default;
};

} // namespace vek
