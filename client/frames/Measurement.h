// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/TransferFormats.h"

#include <VekTrgApi.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vek::client {

/// A part of an image, pixels.
struct SRegion {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// The part of a region that lies in an image of width x height pixels; nothing where none of it does.
std::optional<SRegion> partInside(const SRegion& region, std::uint32_t width, std::uint32_t height);

/// The transfer format whose pixels the library can average and that has a format's layout; nothing for colour formats.
std::optional<unsigned> measuredFormat(const STransferFormat& format);

/// Means by place in the 2 x 2 cell, or one mean and three zeros where colorArray is mono, with
/// VekCam_GetAveragePixelValue. A mono format is measured as the raw format of the same layout. bytes: frameBytes of
/// them, aligned for words where the format has words; region: inside the image.
/// Throws CFailure when the library refuses.
std::array<float, 4> averagesOf(VekCam_Handle handle, std::span<const std::uint8_t> bytes,
                                const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                                unsigned short colorArray, const SRegion& region);

/// A frame as it was transferred, wherever it came from.
struct STransferredFrame {
    const STransferFormat* format = nullptr;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short colorArray = 0; ///< enum VekColorArray
    std::vector<std::uint8_t> bytes;
};

/// The levels of a region.
struct SMeasurement {
    SRegion region;                  ///< inside the image
    std::array<float, 4> averages{}; ///< by place in the 2 x 2 cell; mono: the first only
    float mean = 0;                  ///< of all pixels
    bool fromFirstColumn = false;    ///< packed rows, measured from their first pixel instead of the region's
};

/// Measures a region of a frame that measuredFormat knows. Throws CFailure when the library refuses.
SMeasurement measured(VekCam_Handle handle, const STransferredFrame& frame, const SRegion& region);

/// What stands in the four places of a Bayer array's cell: R, Gr, Gb, B.
std::array<std::string_view, 4> placeNames(unsigned colorArray);

} // namespace vek::client
