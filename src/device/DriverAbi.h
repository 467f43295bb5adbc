// SPDX-License-Identifier: Apache-2.0
// What the camera's driver and its clients agree on besides the standard controls of Video4Linux2: private requests and
// their records, byte by byte. The private controls stand in the public header.
#pragma once

#include "VekTrgApi.h"

#include <linux/videodev2.h>

#include <cstddef>
#include <cstdint>

namespace vek {

/// Camera description, argument of VIDIOC_G_DEVICE_DESCRIPTION. Filled by the driver; little-endian, no padding.
struct __attribute__((packed)) SDEVICE_DESCRIPTION {
    std::uint32_t productId;                  ///< camera model
    std::uint16_t initialGain;                ///< smallest analogue gain, setting value
    std::uint32_t gainType;                   ///< gain curve, 1..5; others are the default curve
    std::uint16_t maxGain;                    ///< largest analogue gain, setting value
    std::uint8_t hasDigitalGainFunction;      ///< flags: 0 or anything else
    std::uint8_t hasDigitalGainType;          ///< digital gain counts from a factor of 1
    std::uint16_t maxDigitalGain;             ///< setting value
    std::uint16_t defectPixelCorrectionCount; ///< slots
    std::uint8_t hasVBlankFunction;
    std::uint8_t maxRoiCount;           ///< region slots
    std::uint32_t maxLongExposureClock; ///< exposure clocks
    std::uint32_t exposureTimeBase;     ///< clocks a microsecond
    std::uint32_t exposureTimeOffset;   ///< clocks
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

// The driver's private requests (V4L2: private numbers start at BASE_VIDIOC_PRIVATE, 192): description 32, region 6,
// defect pixel 11.
constexpr unsigned long VIDIOC_G_DEVICE_DESCRIPTION = 0x802056E0UL;
constexpr unsigned long VIDIOC_G_ROI_INFO = 0xC00A56C6UL;
constexpr unsigned long VIDIOC_S_DEFECT_PIXEL_POSITION = 0x400556CBUL;
static_assert(_IOC(_IOC_READ, 'V', BASE_VIDIOC_PRIVATE + 32, sizeof(SDEVICE_DESCRIPTION)) ==
              VIDIOC_G_DEVICE_DESCRIPTION);
static_assert(_IOC(_IOC_READ | _IOC_WRITE, 'V', BASE_VIDIOC_PRIVATE + 6, sizeof(SROI_REQUEST)) == VIDIOC_G_ROI_INFO);
static_assert(_IOC(_IOC_WRITE, 'V', BASE_VIDIOC_PRIVATE + 11, sizeof(SDEFECT_PIXEL_POSITION)) ==
              VIDIOC_S_DEFECT_PIXEL_POSITION);
static_assert(VEK_CID_COLOR_ARRAY == V4L2_CID_PRIVATE_BASE);

} // namespace vek
