// SPDX-License-Identifier: Apache-2.0
#include "api/VekTrgCamera.h"

#include "control/DigitalGain.h"
#include "control/GainCurve.h"
#include "formats/TransferFormats.h"
#include "imageproc/IMultiROIImage.h"

#include <cstdint>

namespace {

/// Fills a slot with a new module.
template <class Interface, vek::EModuleType Type>
void create(vek::ModulePtr<Interface, Type>& slot) {
    slot.reset(static_cast<Interface*>(vek::CreateVekImageProc(Type)));
}

/// What is transferred now, null for an unknown format. Asks the driver.
const vek::STransferFormat* transferFormatOf(const vek::CDeviceControl& device) {
    return vek::transferFormat(static_cast<unsigned long>(device.GetTransferBitsPerPixel()));
}

} // namespace

CVekTrgCamera::CVekTrgCamera() {
    create(mSharpness);
    create(mGamma);
    create(mColorMatrix);
    create(mWB);
    create(mNoiseReduction);
    create(mMultiROIImage);
    create(mShadingCorrection);
    create(mChromaSuppress);
    create(mFlip);
    create(mColorInterpolation);
}

bool CVekTrgCamera::CameraOpen(int fd) {
    mDeviceControl = {};
    // A camera that does not describe itself still gives a handle: the image functions work without it.
    static_cast<void>(mDeviceControl.Open(fd));
    mLuminanceCtrl = std::make_unique<vek::CLuminanceCtrl>(*this);
    return true;
}

void CVekTrgCamera::CameraClose() {
    mLuminanceCtrl.reset();
    mDeviceControl = {};
}

bool CVekTrgCamera::SetGainAndExposure(unsigned short gain, unsigned long exposureClock) {
    return mDeviceControl.SetGainAndExposure(gain, exposureClock);
}

bool CVekTrgCamera::GetGainAndExposure(unsigned short* gain, unsigned long* exposureClock) {
    return mDeviceControl.GetGainAndExposure(gain, exposureClock);
}

unsigned short CVekTrgCamera::GetMaxGain() {
    return mDeviceControl.GetMaxGain();
}

unsigned short CVekTrgCamera::GetInitialGain() {
    return mDeviceControl.GetInitialGain();
}

float CVekTrgCamera::GainValue2DB(unsigned short gain) {
    return vek::gainDbFromValue(mDeviceControl.GetGainType(), gain);
}

unsigned short CVekTrgCamera::GainDB2Value(float dB) {
    return vek::gainValueFromDb(mDeviceControl.GetGainType(), dB, GetMaxGain());
}

unsigned long CVekTrgCamera::GetMaxLongExposureClock() {
    return mDeviceControl.GetMaxLongExposureClock();
}

long CVekTrgCamera::GetMaxShortExposureClock() {
    return mDeviceControl.GetMaxShortExposureClock();
}

unsigned short CVekTrgCamera::GetMaxROICount() {
    return mDeviceControl.GetMaxRoiCount();
}

int CVekTrgCamera::GetMultiROIType() {
    return mDeviceControl.GetMaxRoiCount() == 8 ? vek::kROIBlocks : vek::kROIsCombined;
}

void CVekTrgCamera::GetROIInfo(unsigned int index, unsigned int* enabled, unsigned int* offsetX, unsigned int* offsetY,
                               unsigned int* width, unsigned int* height) {
    mDeviceControl.GetROIInfo(index, enabled, offsetX, offsetY, width, height);
}

int CVekTrgCamera::GetMaxROICountH() {
    switch (mDeviceControl.GetMaxRoiCount()) {
    case 16:
        return 4;
    case 4:
        return 2;
    default:
        return 1;
    }
}

unsigned short CVekTrgCamera::GetCurrentColorArray() {
    const auto sensor = static_cast<unsigned short>(mDeviceControl.GetColorArray());
    const vek::STransferFormat* const format = transferFormatOf(mDeviceControl);
    return format != nullptr ? format->ColorArrayOf(sensor) : sensor;
}

unsigned char CVekTrgCamera::GetBitsPerPixel(unsigned long transferFormat) const {
    const vek::STransferFormat* const format = vek::transferFormat(transferFormat);
    return static_cast<unsigned char>(format != nullptr ? format->reportedBits : 0);
}

int CVekTrgCamera::GetRawGenICamPixelFormat() {
    const unsigned short colorArray = GetCurrentColorArray();
    const vek::STransferFormat* const format = transferFormatOf(mDeviceControl);
    return format != nullptr ? format->PixelFormatOf(colorArray) : int{VEK_PFNC_NONE};
}

unsigned long CVekTrgCamera::GetFrameSize() {
    return static_cast<unsigned long>(mDeviceControl.GetCurrentRawImageSize());
}

unsigned long CVekTrgCamera::GetFramePixelFormat() {
    return static_cast<unsigned long>(GetRawGenICamPixelFormat());
}

unsigned long CVekTrgCamera::GetFrameWidth() {
    return static_cast<unsigned long>(mDeviceControl.ImageWidth());
}

unsigned long CVekTrgCamera::GetFrameHeight() {
    return static_cast<unsigned long>(mDeviceControl.ImageHeight());
}

unsigned char CVekTrgCamera::GetFrameBitsPerPixel() {
    return GetBitsPerPixel(static_cast<unsigned long>(mDeviceControl.GetTransferBitsPerPixel()));
}

unsigned short CVekTrgCamera::GetEnableDefectPixelCorrectionCount() const {
    return mDeviceControl.GetEnableDefectPixelCorrectionCount();
}

bool CVekTrgCamera::SetEnableDefectPixelCorrectionPosition(unsigned short x, unsigned short y, unsigned short index) {
    return mDeviceControl.SetEnableDefectPixelCorrectionPosition(x, y, index);
}

void CVekTrgCamera::GetWhiteBalanceMaxGain(unsigned short* r, unsigned short* gr, unsigned short* gb,
                                           unsigned short* b) const {
    *r = mWBMaxGain[0];
    *gr = mWBMaxGain[1];
    *gb = mWBMaxGain[1];
    *b = mWBMaxGain[2];
}

bool CVekTrgCamera::GetAptina4MRowClockCount(unsigned long* rowClocks, unsigned long* rowOffset) {
    const auto width = static_cast<unsigned long>(mDeviceControl.ImageWidth());
    unsigned char h = 0;
    unsigned char v = 0;
    const bool read = mDeviceControl.GetBinning(&h, &v);
    const vek::SRowClocks row = vek::rowClocksOf(width, h, v);
    *rowClocks = row.rowClocks;
    *rowOffset = row.rowOffset;
    return read;
}

bool CVekTrgCamera::GetExposureTiming(vek::SExposureTiming* timing) {
    timing->unit = vek::cameraFamily(mDeviceControl.GetPID()).exposure;
    timing->clock = static_cast<unsigned long>(mDeviceControl.GetClock());
    timing->timeBase = mDeviceControl.GetExposureTimeBase();
    timing->timeOffset = mDeviceControl.GetExposureTimeOffset();
    switch (timing->unit) {
    case vek::EExposureUnit::Row:
        return GetAptina4MRowClockCount(&timing->row.rowClocks, &timing->row.rowOffset);
    case vek::EExposureUnit::Line:
    case vek::EExposureUnit::LineWithOffset:
    case vek::EExposureUnit::LineWithConstant:
        timing->totalHClock = static_cast<unsigned long>(mDeviceControl.TotalHClock());
        return true;
    default:
        return true;
    }
}

bool CVekTrgCamera::GetExposureClockFromTime(float seconds, unsigned long* clock) {
    vek::SExposureTiming timing{};
    if (!GetExposureTiming(&timing)) {
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
    if (!GetExposureTiming(&timing)) {
        return false;
    }
    *seconds = vek::secondsFromExposureClocks(timing, clock);
    return true;
}

long CVekTrgCamera::GetVBlankForFPS(unsigned long* vblank) {
    if (!mDeviceControl.HasVBlankFunction()) {
        return VEK_EINVAL;
    }
    *vblank = static_cast<unsigned long>(mDeviceControl.GetVBlank());
    return 0;
}

long CVekTrgCamera::GetVBlankFromFPS(float fps, unsigned long* vblank) {
    if (!mDeviceControl.HasVBlankFunction()) {
        return VEK_EINVAL;
    }
    const auto clock = static_cast<unsigned long>(mDeviceControl.GetClock());
    unsigned long lineClocks = 0;
    double frameLines = 0;
    switch (vek::cameraFamily(mDeviceControl.GetPID()).frame) {
    case vek::EFrameLines::ImageAnd13: {
        unsigned long rowOffset = 0;
        if (!GetAptina4MRowClockCount(&lineClocks, &rowOffset)) {
            return 0;
        }
        frameLines = static_cast<double>(mDeviceControl.ImageHeight() + 13);
        *vblank = vek::vblankFromFps(clock, lineClocks, frameLines, fps);
        return 0;
    }
    case vek::EFrameLines::TotalWithoutPresent: {
        lineClocks = static_cast<unsigned long>(mDeviceControl.TotalHClock());
        const long totalLines = mDeviceControl.TotalVLine();
        unsigned long current = 0;
        if (const long status = GetVBlankForFPS(&current); status != 0) {
            *vblank = 0;
            return status;
        }
        frameLines = static_cast<double>(totalLines - static_cast<long>(current));
        break;
    }
    case vek::EFrameLines::TotalAnd28:
        lineClocks = static_cast<unsigned long>(mDeviceControl.TotalHClock());
        frameLines = static_cast<double>(mDeviceControl.TotalVLine() + 28);
        break;
    case vek::EFrameLines::Total:
        lineClocks = static_cast<unsigned long>(mDeviceControl.TotalHClock());
        frameLines = static_cast<double>(static_cast<std::uint32_t>(mDeviceControl.TotalVLine()));
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
    if (mDeviceControl.HasDigitalGainFunction()) {
        *times = vek::digitalGainTimesFromValue(mDeviceControl.HasDigitalGainType(), value,
                                                mDeviceControl.GetMaxDigitalGain());
    }
    return true;
}

bool CVekTrgCamera::GetDigitalGainSettingValueFromGainTimes(float times, unsigned short* value) {
    *value = 0;
    if (mDeviceControl.HasDigitalGainFunction()) {
        *value = vek::digitalGainValueFromTimes(mDeviceControl.HasDigitalGainType(), times,
                                                mDeviceControl.GetMaxDigitalGain());
    }
    return true;
}

bool CVekTrgCamera::SetALCMode(unsigned char mode) {
    mLuminanceCtrl->SetMode(mode & vek::kALCModeBits);
    return true;
}

bool CVekTrgCamera::GetALCMode(unsigned char* mode) const {
    *mode = mLuminanceCtrl->GetMode();
    return true;
}

bool CVekTrgCamera::SetALCTargetLevel(unsigned short level) {
    mLuminanceCtrl->SetTarget(level);
    return true;
}

bool CVekTrgCamera::GetALCTargetLevel(unsigned short* level) const {
    *level = mLuminanceCtrl->GetTarget();
    return true;
}

bool CVekTrgCamera::SetAGCMaxGain(unsigned short gain) {
    mLuminanceCtrl->SetAGCMaxGain(gain);
    return true;
}

bool CVekTrgCamera::GetAGCMaxGain(unsigned short* gain) const {
    *gain = mLuminanceCtrl->GetAGCMaxGain();
    return true;
}

bool CVekTrgCamera::SetAGCMinGain(unsigned short gain) {
    mLuminanceCtrl->SetAGCMinGain(gain);
    return true;
}

bool CVekTrgCamera::GetAGCMinGain(unsigned short* gain) const {
    *gain = mLuminanceCtrl->GetAGCMinGain();
    return true;
}

bool CVekTrgCamera::SetAEMaxExposureClock(unsigned long clock) {
    mLuminanceCtrl->SetAEMaxExposureClock(clock);
    return true;
}

bool CVekTrgCamera::GetAEMaxExposureClock(unsigned long* clock) const {
    *clock = mLuminanceCtrl->GetAEMaxExposureClock();
    return true;
}

bool CVekTrgCamera::SetAEMinExposureClock(unsigned long clock) {
    mLuminanceCtrl->SetAEMinExposureClock(clock);
    return true;
}

bool CVekTrgCamera::GetAEMinExposureClock(unsigned long* clock) const {
    *clock = mLuminanceCtrl->GetAEMinExposureClock();
    return true;
}

unsigned long CVekTrgCamera::RunALC(unsigned short average, unsigned long* flags) {
    return mLuminanceCtrl->RunALC(average, flags);
}
