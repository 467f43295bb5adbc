// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vek::tools {

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

/// Reads a camera's controls. source: name of the descriptor, for messages and for the record.
/// Throws CFailure when the descriptor does not answer as a trigger camera.
SCameraInfo readCameraInfo(int fd, const std::string& source);

/// Reads one control; what: the control in words, for messages. Throws CFailure.
std::int32_t readControl(int fd, const std::string& source, std::uint32_t id, const char* what);

/// Throws CFailure when the descriptor does not answer as a trigger camera.
void requireTriggerCamera(int fd, const std::string& source);

/// Sets one control of a camera. Throws CFailure.
void setControl(int fd, const std::string& source, std::uint32_t id, std::int32_t value);

/// The record as lines of text and as a JSON object, the library's version with it; both end with a line feed.
std::string textOf(const SCameraInfo& info);
std::string jsonOf(const SCameraInfo& info);

} // namespace vek::tools
