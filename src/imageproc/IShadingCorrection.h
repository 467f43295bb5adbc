// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

/// Shading correction of raw and mono images, in place. width, height in pixels; pitch in bytes (0: width x the
/// bytes of a sample). Results: 0 where nothing else is said; -22 and -12 as an unsigned 64-bit number.
class IShadingCorrection {
public:
    /// mode: enum VekShadingMode, not checked; others do nothing. The calibrating modes start anew.
    virtual unsigned long SetMode(unsigned long mode) = 0;
    virtual unsigned long GetMode(unsigned long* mode) = 0;
    /// 1 when memory for the mean of a calibration runs out, 0 when that for its map does: without a map frames pass
    /// unchanged.
    virtual unsigned long ProcessW(unsigned long width, unsigned long height, unsigned long pitch,
                                   unsigned short* image, unsigned short bitsPerPixel) = 0;
    virtual unsigned long ProcessB(unsigned long width, unsigned long height, unsigned long pitch, unsigned char* image,
                                   unsigned short bitsPerPixel) = 0;
    /// Target levels by 2 x (row mod 2) + (column mod 2); 0 is measured. GetTargetAll: the mean of the four.
    virtual unsigned long SetTargetAll(unsigned short target) = 0;
    virtual unsigned long GetTargetAll(unsigned short* target) = 0;
    virtual unsigned long SetTargetEachColor(const unsigned short* targets) = 0;
    virtual unsigned long GetTargetEachColor(unsigned short* targets) = 0;
    virtual unsigned long SetColorArray(unsigned short colorArray) = 0;
    virtual unsigned long GetColorArray(unsigned short* colorArray) = 0;
    /// height rows of width entries, pitch bytes apart, pitch x height bytes in all; pitch: 4 x width and
    /// more. -22 for a shorter pitch or a null map; -12 when memory runs out, and no map stays. Frames that wait for a
    /// calibration's map still replace one of their size that is set in between.
    virtual unsigned long SetMap(unsigned long width, unsigned long height, unsigned long pitch, const int* map) = 0;
    /// Every output may be null; map takes pitch x height bytes.
    virtual unsigned long GetMap(unsigned long* width, unsigned long* height, unsigned long* pitch, int* map) = 0;

protected:
    ~IShadingCorrection() = default;
};

} // namespace vek
