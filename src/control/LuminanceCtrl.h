// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "control/IUpdateGainExposureClockSetting.h"

namespace vek {

/// Bits of a mode that a camera keeps.
inline constexpr unsigned char kALCModeBits = 0x0F;

/// Automatic luminance control: turns the level that the application measured into the next exposure and gain, with a
/// dead band around the target and a wider one while it is at rest. Brightening takes exposure before gain, darkening
/// gain before exposure: noise stays lowest. Gains are the camera's setting values, exposures its exposure clocks; a
/// clock of 0 stands for the camera's longest short exposure. Borrows the camera.
class CLuminanceCtrl {
public:
    explicit CLuminanceCtrl(IUpdateGainExposureClockSetting& camera);

    /// Default settings, limits from the camera's description, current gain and exposure from its driver. Returns
    /// whether the camera gave the current values.
    bool Reset();

    // Stored and returned as given; nothing is checked.
    void SetMode(unsigned char mode) { mSettings.mode = mode; }
    unsigned char GetMode() const { return mSettings.mode; }
    void SetTarget(unsigned short level) { mSettings.target = level; }
    unsigned short GetTarget() const { return mSettings.target; }
    void SetAEMaxExposureClock(unsigned long clock) { mSettings.maxExposureClock = clock; }
    unsigned long GetAEMaxExposureClock() const { return mSettings.maxExposureClock; }
    void SetAEMinExposureClock(unsigned long clock) { mSettings.minExposureClock = clock; }
    unsigned long GetAEMinExposureClock() const { return mSettings.minExposureClock; }
    void SetAGCMaxGain(unsigned short gain) { mSettings.maxGain = gain; }
    unsigned short GetAGCMaxGain() const { return mSettings.maxGain; }
    void SetAGCMinGain(unsigned short gain) { mSettings.minGain = gain; }
    unsigned short GetAGCMinGain() const { return mSettings.minGain; }

    /// One control step for a measured level. flags: bits of enum VekALCChange. Returns 1 when nothing had to be
    /// written, else what the camera says of the write (the new values are kept either way).
    unsigned long RunALC(unsigned short average, unsigned long* flags);

    // The exposure clocks with 0 resolved to the camera's longest short exposure.
    unsigned long GetCurExposureClockNonZero() const { return GetExposureClockNonZero(mCurrentExposureClock); }
    unsigned long GetAEMaxExposureClockNonZero() const { return GetExposureClockNonZero(mSettings.maxExposureClock); }
    unsigned long GetAEMinExposureClockNonZero() const { return GetExposureClockNonZero(mSettings.minExposureClock); }

private:
    /// Brings the stored values back into their limits; each correction sets a flag.
    void CheckInvalidStatus(unsigned long* flags);
    /// The control law of a level outside the dead band: one actuator, one step.
    void ALCCalculation(unsigned short average, unsigned long* flags);
    /// One exposure step, by a factor of up to 2 upwards. Whether the exposure changed.
    bool RunAE(unsigned short average);
    /// One gain step, by at least one setting value and a factor of up to 2 upwards. Whether the gain changed.
    bool RunAGC(unsigned short average);
    unsigned long GetExposureClockNonZero(unsigned long clock) const;
    bool HasAE() const;
    bool HasAGC() const;
    bool HasBoth() const;

    /// What applications set; the defaults of gains come from the camera.
    struct SSettings {
        unsigned char mode = VEK_ALC_OFF; ///< enum VekALCMode; other values do nothing
        unsigned short target = 128;
        unsigned long maxExposureClock = 0;
        unsigned long minExposureClock = 1;
        unsigned short maxGain = 0;
        unsigned short minGain = 0;
    };

    SSettings mSettings;
    unsigned short mCurrentGain = 0;
    unsigned long mCurrentExposureClock = 0;
    bool mAdjusting = false; ///< after a step that changed something
    IUpdateGainExposureClockSetting& mCamera;
};

} // namespace vek
