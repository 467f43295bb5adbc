// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace vek {

/// The library's only contact with the camera's driver. Uses a descriptor that the application owns: never opens
/// or closes it. The description is read once by Open; every other value is asked of the driver on each call, so
/// that changes the application makes to the device are followed.
class CDeviceControl {
public:
    /// Reads the camera description. Keeps fd and the description and returns true; on failure changes nothing.
    bool Open(int fd);

    unsigned long GetPID() const { return mulPID; }
    unsigned short GetInitialGain() const { return mwInitialGain; }
    unsigned long GetGainType() const { return mulGainType; }
    unsigned short GetMaxGain() const { return mwMaxGain; }
    bool HasDigitalGainFunction() const { return mbHasDigitalGainFunction; }
    bool HasDigitalGainType() const { return mbHasDigitalGainType; }
    unsigned short GetMaxDigitalGain() const { return mwMaxDigitalGain; }
    unsigned short GetEnableDefectPixelCorrectionCount() const { return mwEnableDefectPixelCorrectionCount; }
    bool HasVBlankFunction() const { return mbHasVBlankFunction; }
    unsigned short GetMaxRoiCount() const { return mwMaxRoiCount; }
    unsigned long GetMaxLongExposureClock() const { return mulMaxLongExposureClock; }
    unsigned long GetExposureTimeBase() const { return mulExposureTimeBase; }
    unsigned long GetExposureTimeOffset() const { return mulExposureTimeOffset; }

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
    int miGetControl(std::uint32_t id) const;

    std::int32_t mFd = -1;
    unsigned long mulPID = 0;
    unsigned short mwInitialGain = 0;
    unsigned long mulGainType = 0;
    unsigned short mwMaxGain = 0;
    bool mbHasDigitalGainFunction = false;
    bool mbHasDigitalGainType = false;
    unsigned short mwMaxDigitalGain = 0;
    unsigned short mwEnableDefectPixelCorrectionCount = 0;
    bool mbHasVBlankFunction = false;
    unsigned short mwMaxRoiCount = 0;
    unsigned long mulMaxLongExposureClock = 0;
    unsigned long mulExposureTimeBase = 0;
    unsigned long mulExposureTimeOffset = 0;
};

} // namespace vek
