// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace vek {

/// Camera description, argument of VIDIOC_G_DEVICE_DESCRIPTION. Filled by the driver; little-endian, no padding.
struct __attribute__((packed)) SDEVICE_DESCRIPTION {
    std::uint32_t productId;
    std::uint16_t initialGain;
    std::uint32_t gainType;
    std::uint16_t maxGain;
    std::uint8_t hasDigitalGainFunction;
    std::uint8_t hasDigitalGainType;
    std::uint16_t maxDigitalGain;
    std::uint16_t defectPixelCorrectionCount;
    std::uint8_t hasVBlankFunction;
    std::uint8_t maxRoiCount;
    std::uint32_t maxLongExposureClock;
    std::uint32_t exposureTimeBase;
    std::uint32_t exposureTimeOffset;
};
static_assert(sizeof(SDEVICE_DESCRIPTION) == 32);
static_assert(offsetof(SDEVICE_DESCRIPTION, productId) == 0);
static_assert(offsetof(SDEVICE_DESCRIPTION, initialGain) == 4);
static_assert(offsetof(SDEVICE_DESCRIPTION, gainType) == 6);
static_assert(offsetof(SDEVICE_DESCRIPTION, maxGain) == 10);
static_assert(offsetof(SDEVICE_DESCRIPTION, hasDigitalGainFunction) == 12);
static_assert(offsetof(SDEVICE_DESCRIPTION, hasDigitalGainType) == 13);
static_assert(offsetof(SDEVICE_DESCRIPTION, maxDigitalGain) == 14);
static_assert(offsetof(SDEVICE_DESCRIPTION, defectPixelCorrectionCount) == 16);
static_assert(offsetof(SDEVICE_DESCRIPTION, hasVBlankFunction) == 18);
static_assert(offsetof(SDEVICE_DESCRIPTION, maxRoiCount) == 19);
static_assert(offsetof(SDEVICE_DESCRIPTION, maxLongExposureClock) == 20);
static_assert(offsetof(SDEVICE_DESCRIPTION, exposureTimeBase) == 24);
static_assert(offsetof(SDEVICE_DESCRIPTION, exposureTimeOffset) == 28);

/// One region of interest, argument of VIDIOC_G_ROI_INFO: the index goes in, everything else comes out.
struct __attribute__((packed)) SROI_REQUEST {
    std::uint16_t offsetX; ///< pixels
    std::uint16_t offsetY; ///< lines
    std::uint16_t width;
    std::uint16_t height;
    std::uint8_t index;
    std::uint8_t enabled; ///< nonzero when the region is in use
};
static_assert(sizeof(SROI_REQUEST) == 10);
static_assert(offsetof(SROI_REQUEST, offsetX) == 0);
static_assert(offsetof(SROI_REQUEST, offsetY) == 2);
static_assert(offsetof(SROI_REQUEST, width) == 4);
static_assert(offsetof(SROI_REQUEST, height) == 6);
static_assert(offsetof(SROI_REQUEST, index) == 8);
static_assert(offsetof(SROI_REQUEST, enabled) == 9);

/// Position for one defect-pixel correction slot, argument of VIDIOC_S_DEFECT_PIXEL_POSITION.
struct __attribute__((packed)) SDEFECT_PIXEL_POSITION {
    std::uint8_t index;
    std::uint16_t x; ///< 65535: the slot is unused
    std::uint16_t y; ///< 65535: the slot is unused
};
static_assert(sizeof(SDEFECT_PIXEL_POSITION) == 5);
static_assert(offsetof(SDEFECT_PIXEL_POSITION, index) == 0);
static_assert(offsetof(SDEFECT_PIXEL_POSITION, x) == 1);
static_assert(offsetof(SDEFECT_PIXEL_POSITION, y) == 3);

// The driver's private requests (V4L2: private numbers start at BASE_VIDIOC_PRIVATE, 192).
constexpr unsigned long VIDIOC_G_DEVICE_DESCRIPTION = 0x802056E0UL;
constexpr unsigned long VIDIOC_G_ROI_INFO = 0xC00A56C6UL;
constexpr unsigned long VIDIOC_S_DEFECT_PIXEL_POSITION = 0x400556CBUL;

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
