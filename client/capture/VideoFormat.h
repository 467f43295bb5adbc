// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/TransferFormats.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vek::client {

/// Frames as a camera sends them.
struct SVideoFormat {
    const STransferFormat* format = nullptr;
    std::uint32_t width = 0;       ///< pixels
    std::uint32_t height = 0;      ///< rows
    unsigned short colorArray = 0; ///< enum VekColorArray, of the pixels
    std::uint32_t fourCc = 0;      ///< V4L2_PIX_FMT_...
    std::uint32_t pitch = 0;       ///< bytes from row to row
    std::uint32_t imageBytes = 0;  ///< of a frame in the driver's buffer, padding included

    /// Bytes of a frame without padding.
    std::uint64_t FrameBytes() const { return format->RowBytes(width) * height; }
};

/// A pixel format of Video4Linux2: what frames it stands for.
struct SFourCcMeaning {
    const STransferFormat* format = nullptr;
    unsigned short colorArray = 0; ///< enum VekColorArray
};
/// Nothing for a format that is none of them.
std::optional<SFourCcMeaning> meaningOf(std::uint32_t fourCc);
/// The pixel format for frames of a format; nothing where Video4Linux2 has none. colorArray: of the sensor.
std::optional<std::uint32_t> fourCcOf(const STransferFormat& format, unsigned short colorArray);
/// "RGGB", with what cannot be printed as a question mark.
std::string fourCcText(std::uint32_t fourCc);

} // namespace vek::client
