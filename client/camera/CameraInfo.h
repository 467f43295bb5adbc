// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/Camera.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vek::client {

/// What a camera's driver tells about itself at one moment. Counts are the driver's signed 32-bit values.
struct SCameraInfo {
    std::string source; ///< where it was read from, for the reader
    std::int32_t width = 0;
    std::int32_t height = 0;
    unsigned sensorColorArray = 0; ///< 1..5
    unsigned colorArray = 0;       ///< of the transferred pixels, enum VekColorArray
    unsigned transferFormat = 0;   ///< enum VekTransferFormat
    unsigned bitsPerPixel = 0;     ///< in the transfer buffer; 0: packed
    int pixelFormat = 0;           ///< enum VekPixelFormat
    std::int32_t rawImageSize = 0; ///< bytes
    std::int32_t binningH = 0;     ///< code
    std::int32_t binningV = 0;     ///< code
    std::int32_t clockHz = 0;
    std::int32_t lineClocks = 0; ///< blanking included
    std::int32_t frameLines = 0; ///< blanking included
    std::int32_t gain = 0;       ///< setting value
    std::int32_t exposureClocks = 0;
    std::int32_t maxShortExposureClocks = 0;
    std::optional<std::int32_t> vBlankLines; ///< nothing: the camera has no such control
};

/// Reads a camera's controls. Throws CFailure when it does not answer as a trigger camera.
SCameraInfo readCameraInfo(const ICamera& camera);

/// Reads one control; what: the control in words, for messages. Throws CFailure.
std::int32_t readControl(const ICamera& camera, std::uint32_t id, const char* what);

/// Sets one control. Throws CFailure.
void setControl(const ICamera& camera, std::uint32_t id, std::int32_t value);

/// Exposure (clocks) and gain (setting value) of the next frame, as V4L2_CID_EXPOSURE and V4L2_CID_GAIN have them.
/// Throw CFailure.
std::int32_t readExposure(const ICamera& camera);
std::int32_t readGain(const ICamera& camera);

/// Sets those that are given. Throws CFailure.
void setExposureAndGain(const ICamera& camera, std::optional<std::int32_t> exposureClocks,
                        std::optional<std::int32_t> gain);

} // namespace vek::client
