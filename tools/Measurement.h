// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LibraryHandle.h"
#include "Names.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vek::tools {

/// A part of an image, pixels.
struct SRegion {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// "X,Y,W,H", W and H 1 or more; nothing for another text.
std::optional<SRegion> parsedRegion(std::string_view text);

/// The part of a region that lies in an image; the whole image for an empty text (others are ones that parsedRegion
/// takes). Throws CBadArguments for a region that lies outside.
SRegion regionInside(const std::string& text, std::uint32_t width, std::uint32_t height);

/// Means by place in the 2 x 2 cell, or one mean and three zeros where colorArray is mono, with
/// VekCam_GetAveragePixelValue. A mono format is measured as the raw format of the same layout.
/// Throws CFailure when the library refuses.
std::array<float, 4> averagesOf(const CLibraryHandle& handle, std::span<const std::uint8_t> bytes,
                                const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                                unsigned short colorArray, const SRegion& region);

/// The transfer format whose pixels the library can average and that has a format's layout; nothing for colour formats.
std::optional<unsigned> measuredFormat(const STransferFormat& format);

} // namespace vek::tools
