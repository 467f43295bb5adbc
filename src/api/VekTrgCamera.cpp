// SPDX-License-Identifier: Apache-2.0
#include "api/VekTrgCamera.h"

#include "control/GainCurve.h"

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
    // 0: one block of data after the other; 2: combined by the camera.
    return mpDeviceControl->GetMaxRoiCount() == 8 ? 0 : 2;
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
