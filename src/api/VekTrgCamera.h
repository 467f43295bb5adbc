// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"
#include "api/VekImageProcLib.h"
#include "control/ExposureConversion.h"
#include "control/IUpdateGainExposureClockSetting.h"
#include "control/LuminanceCtrl.h"
#include "device/DeviceControl.h"
#include "imageproc/IDeliveredFrame.h"
#include "imageproc/IRegionInfo.h"

#include <memory>

/// One camera: what a handle points to. Owns the image processing modules, the luminance control and the driver
/// access; borrows the descriptor that CameraOpen binds it to.
struct CVekTrgCamera final : public vek::IUpdateGainExposureClockSetting,
                             public vek::IRegionInfo,
                             public vek::IDeliveredFrame {
public:
    /// Makes every module and an unbound driver access. Throws std::bad_alloc.
    CVekTrgCamera();
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

    // IDeliveredFrame
    unsigned long GetFrameSize() override;
    unsigned long GetFramePixelFormat() override;
    unsigned long GetFrameWidth() override;
    unsigned long GetFrameHeight() override;
    unsigned char GetFrameBitsPerPixel() override;

    /// Colour array of the pixels that are transferred now, enum VekColorArray. Asks the driver.
    unsigned short GetCurrentColorArray();
    /// Bits of one pixel in the transfer buffer; 0 for packed and unknown formats.
    unsigned char GetBitsPerPixel(unsigned long transferFormat) const;
    /// GenICam pixel format of what is transferred now, 0 when there is none. Asks the driver.
    int GetRawGenICamPixelFormat();

    // Conversions between the camera's units and physical ones; docs/units.md lists the formulas.

    /// True; false, and nothing stored, when a row length cannot be computed.
    bool GetExposureClockFromTime(float seconds, unsigned long* clock);
    /// clocks 0: the longest short exposure. Result as above.
    bool GetExposureTimeFormClock(unsigned long clock, float* seconds);
    /// Sensor clocks of one exposure row and of its offset, from image width and binning. True.
    bool GetAptina4MRowClockCount(unsigned long* rowClocks, unsigned long* rowOffset);
    /// 0; -22 on a camera without a blanking setting (nothing stored) and when the clock or line length that the
    /// formula divides by is 0 (0 stored).
    long GetVBlankFromFPS(float fps, unsigned long* vblank);
    /// The blanking set now, lines. 0; -22, and nothing stored, on a camera without a blanking setting.
    long GetVBlankForFPS(unsigned long* vblank);
    bool GetDigitalGainTimesFromSettingValue(unsigned short value, float* times);
    bool GetDigitalGainSettingValueFromGainTimes(float times, unsigned short* value);

    // Automatic luminance control; all but RunALC return true.
    bool SetALCMode(unsigned char mode);
    bool GetALCMode(unsigned char* mode) const;
    bool SetALCTargetLevel(unsigned short level);
    bool GetALCTargetLevel(unsigned short* level) const;
    bool SetAGCMaxGain(unsigned short gain);
    bool GetAGCMaxGain(unsigned short* gain) const;
    bool SetAGCMinGain(unsigned short gain);
    bool GetAGCMinGain(unsigned short* gain) const;
    bool SetAEMaxExposureClock(unsigned long clock);
    bool GetAEMaxExposureClock(unsigned long* clock) const;
    bool SetAEMinExposureClock(unsigned long clock);
    bool GetAEMinExposureClock(unsigned long* clock) const;
    /// One control step; see CLuminanceCtrl::RunALC.
    unsigned long RunALC(unsigned short average, unsigned long* flags);

    /// Number of defect-pixel correction slots.
    unsigned short GetEnableDefectPixelCorrectionCount() const;
    bool SetEnableDefectPixelCorrectionPosition(unsigned short x, unsigned short y, unsigned short index);

    /// White balance gain limits in the order of the gain arguments, 128 is a gain of 1. Both greens have the second
    /// limit, the last gain the third one; the fourth is never given out.
    void GetWhiteBalanceMaxGain(unsigned short* r, unsigned short* gr, unsigned short* gb, unsigned short* b) const;

    vek::IColorInterpolation& ColorInterpolation() const { return *mColorInterpolation; }
    vek::ISharpness& Sharpness() const { return *mSharpness; }
    vek::IGamma& Gamma() const { return *mGamma; }
    vek::IColorMatrix& ColorMatrix() const { return *mColorMatrix; }
    vek::IWB& WB() const { return *mWB; }
    vek::INoiseReduction& NoiseReduction() const { return *mNoiseReduction; }
    vek::IMultiROIImage& MultiROIImage() const { return *mMultiROIImage; }
    vek::IShadingCorrection& ShadingCorrection() const { return *mShadingCorrection; }
    vek::IChromaSuppress& ChromaSuppress() const { return *mChromaSuppress; }
    vek::IFlip& Flip() const { return *mFlip; }
    vek::CLuminanceCtrl& LuminanceCtrl() const { return *mLuminanceCtrl; }

private:
    /// Fills in what the model's exposure unit uses, the rest stays; false when a row length cannot be computed.
    bool GetExposureTiming(vek::SExposureTiming* timing);

    unsigned short mWBMaxGain[4] = {640, 640, 640, 640};
    vek::ModulePtr<vek::ISharpness, vek::kModuleSharpness> mSharpness;
    vek::ModulePtr<vek::IGamma, vek::kModuleGamma> mGamma;
    vek::ModulePtr<vek::IColorMatrix, vek::kModuleColorMatrix> mColorMatrix;
    vek::ModulePtr<vek::IWB, vek::kModuleWB> mWB;
    vek::ModulePtr<vek::INoiseReduction, vek::kModuleNoiseReduction> mNoiseReduction;
    vek::ModulePtr<vek::IMultiROIImage, vek::kModuleMultiROIImage> mMultiROIImage;
    vek::ModulePtr<vek::IShadingCorrection, vek::kModuleShadingCorrection> mShadingCorrection;
    vek::ModulePtr<vek::IChromaSuppress, vek::kModuleChromaSuppress> mChromaSuppress;
    vek::ModulePtr<vek::IFlip, vek::kModuleFlip> mFlip;
    vek::ModulePtr<vek::IColorInterpolation, vek::kModuleColorInterpolation> mColorInterpolation;
    vek::CDeviceControl mDeviceControl;
    std::unique_ptr<vek::CLuminanceCtrl> mLuminanceCtrl;
};
