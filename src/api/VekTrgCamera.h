// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "api/VekImageProcLib.h"
#include "control/IUpdateGainExposureClockSetting.h"
#include "control/LuminanceCtrl.h"
#include "device/DeviceControl.h"
#include "imageproc/IRegionInfo.h"

#include <memory>

/// One camera: what a handle points to. Owns the image processing modules, the luminance control and the driver
/// access; borrows the descriptor that CameraOpen binds it to.
struct CVekTrgCamera final : public vek::IUpdateGainExposureClockSetting, public vek::IRegionInfo {
public:
    /// Makes every module and an unbound driver access. Throws std::bad_alloc.
    CVekTrgCamera();
    ~CVekTrgCamera();
    CVekTrgCamera(const CVekTrgCamera&) = delete;
    CVekTrgCamera& operator=(const CVekTrgCamera&) = delete;

    /// Binds the camera to a descriptor and makes the luminance control. True also when the driver does not answer
    /// the description request: the description then reads as 0. Throws std::bad_alloc.
    bool CameraOpen(int fd);
    /// Ends the luminance control and the driver access.
    void CameraClose();

    // IUpdateGainExposureClockSetting
    bool SetGainAndExposure(unsigned short gain, unsigned long exposureClock) override;
    bool GetGainAndExposure(unsigned short* gain, unsigned long* exposureClock) override;
    unsigned short GetMaxGain() override;
    unsigned short GetInitialGain() override;
    float GainValue2DB(unsigned short gain) override;
    unsigned short GainDB2Value(float dB) override;
    unsigned long GetMaxLongExposureClock() override;
    long GetMaxShortExposureClock() override;

    // IRegionInfo
    unsigned short GetMaxROICount() override;
    int GetMultiROIType() override;
    void GetROIInfo(unsigned int index, unsigned int* enabled, unsigned int* offsetX, unsigned int* offsetY,
                    unsigned int* width, unsigned int* height) override;
    int GetMaxROICountH() override;

    /// Colour array of the pixels that are transferred now, enum VekColorArray. Asks the driver.
    unsigned short GetCurrentColorArray();
    /// Bits of one pixel in the transfer buffer; 0 for packed and unknown formats.
    unsigned char GetBitsPerPixel(unsigned long transferFormat) const;
    /// GenICam pixel format of what is transferred now, 0 when there is none. Asks the driver.
    int GetRawGenICamPixelFormat();

    /// Number of defect-pixel correction slots.
    unsigned short GetEnableDefectPixelCorrectionCount() const;
    bool SetEnableDefectPixelCorrectionPosition(unsigned short x, unsigned short y, unsigned short index);

    /// White balance gain limits in the order of the gain arguments, 128 is a gain of 1. Both greens have the second
    /// limit, the last gain the third one; the fourth is never given out.
    void GetWhiteBalanceMaxGain(unsigned short* r, unsigned short* gr, unsigned short* gb, unsigned short* b) const;

    vek::IColorInterpolation& ColorInterpolation() const { return *mpColorInterpolation; }

private:
    template <class Interface, vek::EModuleType Type>
    using Slot = vek::ModulePtr<Interface, Type>;

    unsigned short mwWBMaxGain[4] = {640, 640, 640, 640};
    Slot<vek::ISharpness, vek::kModuleSharpness> mpSharpness;
    Slot<vek::IGamma, vek::kModuleGamma> mpGamma;
    Slot<vek::IColorMatrix, vek::kModuleColorMatrix> mpColorMatrix;
    Slot<vek::IWB, vek::kModuleWB> mpWB;
    Slot<vek::INoiseReduction, vek::kModuleNoiseReduction> mpNoiseReduction;
    Slot<vek::IMultiROIImage, vek::kModuleMultiROIImage> mpMultiROIImage;
    Slot<vek::IShadingCorrection, vek::kModuleShadingCorrection> mpShadingCorrection;
    Slot<vek::IChromaSuppress, vek::kModuleChromaSuppress> mpChromaSuppress;
    Slot<vek::IFlip, vek::kModuleFlip> mpFlip;
    Slot<vek::IColorInterpolation, vek::kModuleColorInterpolation> mpColorInterpolation;
    std::unique_ptr<vek::CLuminanceCtrl> mpLuminanceCtrl;
    std::unique_ptr<vek::CDeviceControl> mpDeviceControl;
};
