// SPDX-License-Identifier: Apache-2.0
// Exports of unit conversions and of automatic luminance control.
#include "VekTrgApi.h"

#include "api/Export.h"

using vek::runExport;
using vek::runValueExport;

int VekCam_GetVBlankFromFPS(VekCam_Handle handle, float fps, unsigned long* vblank) {
    return runValueExport(handle, vblank, [=](CVekTrgCamera& camera) { return camera.GetVBlankFromFPS(fps, vblank); });
}

int VekCam_GetDigitalGainTimesFromSettingValue(VekCam_Handle handle, unsigned short value, float* times) {
    return runValueExport(
        handle, times, [=](CVekTrgCamera& camera) { return camera.GetDigitalGainTimesFromSettingValue(value, times); });
}

int VekCam_GetDigitalGainSettingValueFromGainTimes(VekCam_Handle handle, float times, unsigned short* value) {
    return runValueExport(handle, value, [=](CVekTrgCamera& camera) {
        return camera.GetDigitalGainSettingValueFromGainTimes(times, value);
    });
}

int VekCam_GetExposureClockFromTime(VekCam_Handle handle, float seconds, unsigned long* clock) {
    return runValueExport(handle, clock,
                          [=](CVekTrgCamera& camera) { return camera.GetExposureClockFromTime(seconds, clock); });
}

int VekCam_GetExposureTimeFromClock(VekCam_Handle handle, unsigned long clock, float* seconds) {
    return runValueExport(handle, seconds,
                          [=](CVekTrgCamera& camera) { return camera.GetExposureTimeFormClock(clock, seconds); });
}

int VekCam_GetGainDBFromSettingValue(VekCam_Handle handle, unsigned short value, float* dB) {
    return runValueExport(handle, dB, [=](CVekTrgCamera& camera) {
        *dB = camera.GainValue2DB(value);
        return 0;
    });
}

int VekCam_SetALCMode(VekCam_Handle handle, unsigned char mode) {
    return runExport(handle, [=](CVekTrgCamera& camera) { return camera.SetALCMode(mode); });
}

int VekCam_GetALCMode(VekCam_Handle handle, unsigned char* mode) {
    return runValueExport(handle, mode, [=](CVekTrgCamera& camera) { return camera.GetALCMode(mode); });
}

int VekCam_SetALCTargetLevel(VekCam_Handle handle, unsigned short level) {
    return runExport(handle, [=](CVekTrgCamera& camera) { return camera.SetALCTargetLevel(level); });
}

int VekCam_GetALCTargetLevel(VekCam_Handle handle, unsigned short* level) {
    return runValueExport(handle, level, [=](CVekTrgCamera& camera) { return camera.GetALCTargetLevel(level); });
}

int VekCam_SetAGCMaxGain(VekCam_Handle handle, unsigned short gain) {
    return runExport(handle, [=](CVekTrgCamera& camera) { return camera.SetAGCMaxGain(gain); });
}

int VekCam_GetAGCMaxGain(VekCam_Handle handle, unsigned short* gain) {
    return runValueExport(handle, gain, [=](CVekTrgCamera& camera) { return camera.GetAGCMaxGain(gain); });
}

int VekCam_SetAGCMinGain(VekCam_Handle handle, unsigned short gain) {
    return runExport(handle, [=](CVekTrgCamera& camera) { return camera.SetAGCMinGain(gain); });
}

int VekCam_GetAGCMinGain(VekCam_Handle handle, unsigned short* gain) {
    return runValueExport(handle, gain, [=](CVekTrgCamera& camera) { return camera.GetAGCMinGain(gain); });
}

int VekCam_SetAEMaxExposureClock(VekCam_Handle handle, unsigned long clock) {
    return runExport(handle, [=](CVekTrgCamera& camera) { return camera.SetAEMaxExposureClock(clock); });
}

int VekCam_GetAEMaxExposureClock(VekCam_Handle handle, unsigned long* clock) {
    return runValueExport(handle, clock, [=](CVekTrgCamera& camera) { return camera.GetAEMaxExposureClock(clock); });
}

int VekCam_SetAEMinExposureClock(VekCam_Handle handle, unsigned long clock) {
    return runExport(handle, [=](CVekTrgCamera& camera) { return camera.SetAEMinExposureClock(clock); });
}

int VekCam_GetAEMinExposureClock(VekCam_Handle handle, unsigned long* clock) {
    return runValueExport(handle, clock, [=](CVekTrgCamera& camera) { return camera.GetAEMinExposureClock(clock); });
}

int VekCam_ALC(VekCam_Handle handle, unsigned short average, unsigned long* flags) {
    return runValueExport(handle, flags, [=](CVekTrgCamera& camera) { return camera.RunALC(average, flags); });
}
