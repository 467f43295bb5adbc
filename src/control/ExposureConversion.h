// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "control/CameraFamilies.h"

namespace vek {

/// A row's length and the part of it that does not count as exposure, in sensor clocks (EExposureUnit::Row).
struct SRowClocks {
    unsigned long rowClocks;
    unsigned long rowOffset;
};
/// width: transferred pixels; binning codes 0, 1, 2, larger ones count as 2 but for the offset.
SRowClocks rowClocksOf(unsigned long width, unsigned char binningH, unsigned char binningV);

/// What the conversions need to know of the camera. A field that the model's unit does not use may be 0.
struct SExposureTiming {
    EExposureUnit unit;
    unsigned long clock;       ///< Hz
    unsigned long totalHClock; ///< clocks of one line, blanking included
    SRowClocks row;
    unsigned long timeBase;   ///< clocks per microsecond
    unsigned long timeOffset; ///< clocks
};

/// Exposure clocks for a time in seconds, the fraction cut off where the unit's formula does not round; 1 .. maxLong.
unsigned long exposureClocksFromSeconds(const SExposureTiming& timing, float seconds, unsigned long maxLong);

/// Seconds of an exposure in clocks, which the caller has limited to the camera's range.
float secondsFromExposureClocks(const SExposureTiming& timing, unsigned long clocks);

/// Lines of blanking that make frames of frameLines lines, each lineClocks clocks long, come at fps frames per second;
/// 0 where the frames cannot come that fast.
unsigned long vblankFromFps(unsigned long clock, unsigned long lineClocks, double frameLines, float fps);

} // namespace vek
