// SPDX-License-Identifier: Apache-2.0
#include "api/VekTrgCamera.h"

#include "control/DigitalGain.h"
#include "control/GainCurve.h"
#include "imageproc/IMultiROIImage.h"

#include <cstdint>

namespace {

/// Fills a slot with a new module; it stays null for a type that the factory does not make.
template <class Interface, vek::EModuleType Type>
void mvCreate(vek::ModulePtr<Interface, Type>& slot) {
    slot.reset(static_cast<Interface*>(vek::CreateVekImageProc(Type)));
}

} // namespace

CVekTrgCamera::CVekTrgCamera() {
    mvCreate(mpSharpness);
    mvCreate(mpGamma);
    mvCreate(mpColorMatrix);
    mvCreate(mpWB);
    mvCreate(mpNoiseReduction);
    mvCreate(mpMultiROIImage);
    mvCreate(mpShadingCorrection);
    mvCreate(mpChromaSuppress);
    mvCreate(mpFlip);
    mvCreate(mpColorInterpolation);
    mpDeviceControl = std::make_unique<vek::CDeviceControl>();
}

CVekTrgCamera::~CVekTrgCamera() {
    mpSharpness.reset();
    mpGamma.reset();
    mpColorMatrix.reset();
    mpWB.reset();
    mpNoiseReduction.reset();
    mpMultiROIImage.reset();
    mpShadingCorrection.reset();
    mpChromaSuppress.reset();
    mpFlip.reset();
    mpColorInterpolation.reset();
    mpDeviceControl.reset();
}

bool CVekTrgCamera::CameraOpen(int fd) {
    mpDeviceControl = std::make_unique<vek::CDeviceControl>();
    // A camera that does not describe itself still gives a handle: the image functions work without it.
    static_cast<void>(mpDeviceControl->Open(fd));
    mpLuminanceCtrl = std::make_unique<vek::CLuminanceCtrl>(this);
    return true;
}

void CVekTrgCamera::CameraClose() {
    mpLuminanceCtrl.reset();
    mpDeviceControl.reset();
}

bool CVekTrgCamera::SetGainAndExposure(unsigned short gain, unsigned long exposureClock) {
    return mpDeviceControl->SetGainAndExposure(gain, exposureClock);
}

bool CVekTrgCamera::GetGainAndExposure(unsigned short* gain, unsigned long* exposureClock) {
    return mpDeviceControl->GetGainAndExposure(gain, exposureClock);
}

unsigned short CVekTrgCamera::GetMaxGain() {
    return mpDeviceControl->GetMaxGain();
}

unsigned short CVekTrgCamera::GetInitialGain() {
    return mpDeviceControl->GetInitialGain();
}

float CVekTrgCamera::GainValue2DB(unsigned short gain) {
    return vek::gainDbFromValue(mpDeviceControl->GetGainType(), gain);
}

unsigned short CVekTrgCamera::GainDB2Value(float dB) {
    return vek::gainValueFromDb(mpDeviceControl->GetGainType(), dB, GetMaxGain());
}

unsigned long CVekTrgCamera::GetMaxLongExposureClock() {
    return mpDeviceControl->GetMaxLongExposureClock();
}

long CVekTrgCamera::GetMaxShortExposureClock() {
    return mpDeviceControl->GetMaxShortExposureClock();
}

unsigned short CVekTrgCamera::GetMaxROICount() {
    return mpDeviceControl->GetMaxRoiCount();
}

int CVekTrgCamera::GetMultiROIType() {
    return mpDeviceControl->GetMaxRoiCount() == 8 ? vek::kROIBlocks : vek::kROIsCombined;
}

void CVekTrgCamera::GetROIInfo(unsigned int index, unsigned int* enabled, unsigned int* offsetX, unsigned int* offsetY,
                               unsigned int* width, unsigned int* height) {
    mpDeviceControl->GetROIInfo(index, enabled, offsetX, offsetY, width, height);
}

int CVekTrgCamera::GetMaxROICountH() {
    switch (mpDeviceControl->GetMaxRoiCount()) {
    case 16:
        return 4;
    case 4:
        return 2;
    default:
        return 1;
    }
}

unsigned short CVekTrgCamera::GetCurrentColorArray() {
    const auto sensor = static_cast<unsigned short>(mpDeviceControl->GetColorArray());
    return VekTransferColorArray(static_cast<unsigned long>(mpDeviceControl->GetTransferBitsPerPixel()), sensor);
}

unsigned char CVekTrgCamera::GetBitsPerPixel(unsigned long transferFormat) const {
    return VekTransferFormatBits(transferFormat);
}

int CVekTrgCamera::GetRawGenICamPixelFormat() {
    const unsigned short colorArray = GetCurrentColorArray();
    return VekTransferPixelFormat(static_cast<unsigned long>(mpDeviceControl->GetTransferBitsPerPixel()), colorArray);
}

unsigned long CVekTrgCamera::GetFrameSize() {
    return static_cast<unsigned long>(mpDeviceControl->GetCurrentRawImageSize());
}

unsigned long CVekTrgCamera::GetFramePixelFormat() {
    return static_cast<unsigned long>(GetRawGenICamPixelFormat());
}

unsigned long CVekTrgCamera::GetFrameWidth() {
    return static_cast<unsigned long>(mpDeviceControl->ImageWidth());
}

unsigned long CVekTrgCamera::GetFrameHeight() {
    return static_cast<unsigned long>(mpDeviceControl->ImageHeight());
}

unsigned char CVekTrgCamera::GetFrameBitsPerPixel() {
    return GetBitsPerPixel(static_cast<unsigned long>(mpDeviceControl->GetTransferBitsPerPixel()));
}

unsigned short CVekTrgCamera::GetEnableDefectPixelCorrectionCount() const {
    return mpDeviceControl->GetEnableDefectPixelCorrectionCount();
}

bool CVekTrgCamera::SetEnableDefectPixelCorrectionPosition(unsigned short x, unsigned short y, unsigned short index) {
    return mpDeviceControl->SetEnableDefectPixelCorrectionPosition(x, y, index);
}

void CVekTrgCamera::GetWhiteBalanceMaxGain(unsigned short* r, unsigned short* gr, unsigned short* gb,
                                           unsigned short* b) const {
    *r = mwWBMaxGain[0];
    *gr = mwWBMaxGain[1];
    *gb = mwWBMaxGain[1];
    *b = mwWBMaxGain[2];
}

bool CVekTrgCamera::GetAptina4MRowClockCount(unsigned long* rowClocks, unsigned long* rowOffset) {
    const auto width = static_cast<unsigned long>(mpDeviceControl->ImageWidth());
    unsigned char h = 0;
    unsigned char v = 0;
    const bool read = mpDeviceControl->GetBinning(&h, &v);
    const vek::SRowClocks row = vek::rowClocksOf(width, h, v);
    *rowClocks = row.rowClocks;
    *rowOffset = row.rowOffset;
    return read;
}

bool CVekTrgCamera::mbGetExposureTiming(vek::SExposureTiming* timing) {
    timing->unit = vek::cameraFamily(mpDeviceControl->GetPID()).exposure;
    timing->clock = static_cast<unsigned long>(mpDeviceControl->GetClock());
    timing->timeBase = mpDeviceControl->GetExposureTimeBase();
    timing->timeOffset = mpDeviceControl->GetExposureTimeOffset();
    switch (timing->unit) {
    case vek::EExposureUnit::Row:
        return GetAptina4MRowClockCount(&timing->row.rowClocks, &timing->row.rowOffset);
    case vek::EExposureUnit::Line:
    case vek::EExposureUnit::LineWithOffset:
    case vek::EExposureUnit::LineWithConstant:
        timing->totalHClock = static_cast<unsigned long>(mpDeviceControl->TotalHClock());
        return true;
    default:
        return true;
    }
}

bool CVekTrgCamera::GetExposureClockFromTime(float seconds, unsigned long* clock) {
    vek::SExposureTiming timing{};
    if (!mbGetExposureTiming(&timing)) {
        return false;
    }
    *clock = vek::exposureClocksFromSeconds(timing, seconds, GetMaxLongExposureClock());
    return true;
}

bool CVekTrgCamera::GetExposureTimeFormClock(unsigned long clock, float* seconds) {
    const unsigned long maxLong = GetMaxLongExposureClock();
    const auto maxShort = static_cast<unsigned long>(GetMaxShortExposureClock());
    if (maxLong < clock) {
        clock = maxLong;
    } else if (clock == 0) {
        clock = maxShort;
    }
    vek::SExposureTiming timing{};
    if (!mbGetExposureTiming(&timing)) {
        return false;
    }
    *seconds = vek::secondsFromExposureClocks(timing, clock);
    return true;
}

long CVekTrgCamera::GetVBlankForFPS(unsigned long* vblank) {
    if (!mpDeviceControl->HasVBlankFunction()) {
        return VEK_EINVAL;
    }
    *vblank = static_cast<unsigned long>(mpDeviceControl->GetVBlank());
    return 0;
}

long CVekTrgCamera::GetVBlankFromFPS(float fps, unsigned long* vblank) {
    if (!mpDeviceControl->HasVBlankFunction()) {
        return VEK_EINVAL;
    }
    const auto clock = static_cast<unsigned long>(mpDeviceControl->GetClock());
    unsigned long lineClocks = 0;
    double frameLines = 0;
    switch (vek::cameraFamily(mpDeviceControl->GetPID()).frame) {
    case vek::EFrameLines::ImageAnd13: {
        unsigned long rowOffset = 0;
        if (!GetAptina4MRowClockCount(&lineClocks, &rowOffset)) {
            return 0;
        }
        frameLines = static_cast<double>(mpDeviceControl->ImageHeight() + 13);
        *vblank = vek::vblankFromFps(clock, lineClocks, frameLines, fps);
        return 0;
    }
    case vek::EFrameLines::TotalWithoutPresent: {
        lineClocks = static_cast<unsigned long>(mpDeviceControl->TotalHClock());
        const long totalLines = mpDeviceControl->TotalVLine();
        unsigned long current = 0;
        if (const long status = GetVBlankForFPS(&current); status != 0) {
            *vblank = 0;
            return status;
        }
        frameLines = static_cast<double>(totalLines - static_cast<long>(current));
        break;
    }
    case vek::EFrameLines::TotalAnd28:
        lineClocks = static_cast<unsigned long>(mpDeviceControl->TotalHClock());
        frameLines = static_cast<double>(mpDeviceControl->TotalVLine() + 28);
        break;
    case vek::EFrameLines::Total:
        lineClocks = static_cast<unsigned long>(mpDeviceControl->TotalHClock());
        frameLines = static_cast<double>(static_cast<std::uint32_t>(mpDeviceControl->TotalVLine()));
        break;
    }
    if (clock == 0 || lineClocks == 0) {
        *vblank = 0;
        return VEK_EINVAL;
    }
    *vblank = vek::vblankFromFps(clock, lineClocks, frameLines, fps);
    return 0;
}

bool CVekTrgCamera::GetDigitalGainTimesFromSettingValue(unsigned short value, float* times) {
    *times = 1.0F;
    if (mpDeviceControl->HasDigitalGainFunction()) {
        *times = vek::digitalGainTimesFromValue(mpDeviceControl->HasDigitalGainType(), value,
                                                mpDeviceControl->GetMaxDigitalGain());
    }
    return true;
}

bool CVekTrgCamera::GetDigitalGainSettingValueFromGainTimes(float times, unsigned short* value) {
    *value = 0;
    if (mpDeviceControl->HasDigitalGainFunction()) {
        *value = vek::digitalGainValueFromTimes(mpDeviceControl->HasDigitalGainType(), times,
                                                mpDeviceControl->GetMaxDigitalGain());
    }
    return true;
}

bool CVekTrgCamera::SetALCMode(unsigned char mode) {
    mpLuminanceCtrl->SetMode(mode & vek::kALCModeBits);
    return true;
}

bool CVekTrgCamera::GetALCMode(unsigned char* mode) const {
    *mode = mpLuminanceCtrl->GetMode();
    return true;
}

bool CVekTrgCamera::SetALCTargetLevel(unsigned short level) {
    mpLuminanceCtrl->SetTarget(level);
    return true;
}

bool CVekTrgCamera::GetALCTargetLevel(unsigned short* level) const {
    *level = mpLuminanceCtrl->GetTarget();
    return true;
}

bool CVekTrgCamera::SetAGCMaxGain(unsigned short gain) {
    mpLuminanceCtrl->SetAGCMaxGain(gain);
    return true;
}

bool CVekTrgCamera::GetAGCMaxGain(unsigned short* gain) const {
    *gain = mpLuminanceCtrl->GetAGCMaxGain();
    return true;
}

bool CVekTrgCamera::SetAGCMinGain(unsigned short gain) {
    mpLuminanceCtrl->SetAGCMinGain(gain);
    return true;
}

bool CVekTrgCamera::GetAGCMinGain(unsigned short* gain) const {
    *gain = mpLuminanceCtrl->GetAGCMinGain();
    return true;
}

bool CVekTrgCamera::SetAEMaxExposureClock(unsigned long clock) {
    mpLuminanceCtrl->SetAEMaxExposureClock(clock);
    return true;
}

bool CVekTrgCamera::GetAEMaxExposureClock(unsigned long* clock) const {
    *clock = mpLuminanceCtrl->GetAEMaxExposureClock();
    return true;
}

bool CVekTrgCamera::SetAEMinExposureClock(unsigned long clock) {
    mpLuminanceCtrl->SetAEMinExposureClock(clock);
    return true;
}

bool CVekTrgCamera::GetAEMinExposureClock(unsigned long* clock) const {
    *clock = mpLuminanceCtrl->GetAEMinExposureClock();
    return true;
}

unsigned long CVekTrgCamera::RunALC(unsigned short average, unsigned long* flags) {
    return mpLuminanceCtrl->RunALC(average, flags);
}
