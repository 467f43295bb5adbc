// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device/DriverAbi.h"

#include <cstdint>

namespace vek {

/// The library's only contact with the camera's driver. Uses a descriptor that the application owns: never opens
/// or closes it. The description is read once by Open; every other value is asked of the driver on each call, so
/// that changes the application makes to the device are followed.
class CDeviceControl {
public:
    /// Reads the camera description. Keeps fd and the description and returns true; on failure changes nothing.
    bool Open(int fd);

    unsigned long GetPID() const { return mDescription.productId; }
    unsigned short GetInitialGain() const { return mDescription.initialGain; }
    unsigned long GetGainType() const { return mDescription.gainType; }
    unsigned short GetMaxGain() const { return mDescription.maxGain; }
    bool HasDigitalGainFunction() const { return mDescription.hasDigitalGainFunction != 0; }
    bool HasDigitalGainType() const { return mDescription.hasDigitalGainType != 0; }
    unsigned short GetMaxDigitalGain() const { return mDescription.maxDigitalGain; }
    unsigned short GetEnableDefectPixelCorrectionCount() const { return mDescription.defectPixelCorrectionCount; }
    bool HasVBlankFunction() const { return mDescription.hasVBlankFunction != 0; }
    unsigned short GetMaxRoiCount() const { return mDescription.maxRoiCount; }
    unsigned long GetMaxLongExposureClock() const { return mDescription.maxLongExposureClock; }
    unsigned long GetExposureTimeBase() const { return mDescription.exposureTimeBase; }
    unsigned long GetExposureTimeOffset() const { return mDescription.exposureTimeOffset; }

    // One control read each. A read that the driver refuses gives 0 unless the driver changed the value anyway.
    long ImageWidth() const;               ///< pixels
    long ImageHeight() const;              ///< rows
    long TotalHClock() const;              ///< clocks of one sensor line, blanking included
    long TotalVLine() const;               ///< lines of one sensor frame, blanking included
    long GetClock() const;                 ///< Hz
    long GetMaxShortExposureClock() const; ///< exposure clocks
    long GetVBlank() const;                ///< lines
    long GetTransferBitsPerPixel() const;  ///< transfer format code, enum VekTransferFormat
    long GetCurrentRawImageSize() const;   ///< bytes of one transferred frame
    int GetColorArray() const;             ///< sensor's colour array, 1..5

    /// Binning codes, horizontal before vertical, each cut to 8 bits. Always true.
    bool GetBinning(unsigned char* h, unsigned char* v) const;
    /// Gain setting value (low 16 bits), then exposure clocks (sign-extended). Always true.
    bool GetGainAndExposure(unsigned short* gain, unsigned long* exposure) const;
    /// Writes the gain and, only if the driver took it, the low 32 bits of the exposure. True when both were taken.
    bool SetGainAndExposure(unsigned short gain, unsigned long exposure) const;
    /// Layout of region index (its low 8 bits are sent). The outputs keep their values when the driver refuses.
    void GetROIInfo(unsigned int index, unsigned int* enabled, unsigned int* offsetX, unsigned int* offsetY,
                    unsigned int* width, unsigned int* height) const;
    /// Programs correction slot index (its low 8 bits are sent). True when the driver took it.
    bool SetEnableDefectPixelCorrectionPosition(unsigned short x, unsigned short y, unsigned short index) const;

private:
    int GetControl(std::uint32_t id) const;

    std::int32_t mFd = -1;
    SDEVICE_DESCRIPTION mDescription{};
};

} // namespace vek
