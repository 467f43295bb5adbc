// SPDX-License-Identifier: Apache-2.0
// PNG files by ISA-L, where the build has it (VEKCAM_ISAL).
#pragma once

#include "client/pictures/Image.h"
#include "client/pictures/PictureOptions.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::client {

/// Bytes of the rows that are compressed together, about: so many that what a band costs, and what it cannot refer back
/// to, do not count.
inline constexpr std::size_t kPngBandBytes = std::size_t{1} << 19;

/// A PNG file of an image of depth 8 or 16, in pieces. Every row is told as differences from the one above (filter Up),
/// and bands of rows are compressed each for itself, on several threads where options ask for them; the file does not
/// depend on their number. bandBytes: of a band, about; a row at least.
std::vector<std::vector<std::uint8_t>> pngInBands(const SPictureView& image, const SPictureOptions& options,
                                                  std::size_t bandBytes = kPngBandBytes);

} // namespace vek::client
