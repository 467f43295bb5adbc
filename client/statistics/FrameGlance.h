// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/Measurement.h"

#include "formats/TransferFormats.h"

#include <array>
#include <cstdint>
#include <span>

namespace vek::client {

/// A frame's brightness at a glance: of so few of its samples that live frames have the time.
struct SFrameGlance {
    static constexpr std::uint32_t kColumns = 16;
    static constexpr std::uint32_t kRows = 12;

    double level = 0;                             ///< mean sample, 0 to 1 of the format's range
    double clipped = 0;                           ///< share of samples at white and above it, 0 to 1
    std::array<double, kColumns * kRows> tiles{}; ///< mean samples of equal parts of the frame, row by row
};

/// bytes: frameBytes of them, of a transfer format or one that the chain takes besides. white: sample from which on one
/// counts as clipped; 0: the largest of the format. Of formats that are colour already all bytes count as samples.
SFrameGlance glanceOf(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                      std::uint32_t height, unsigned white = 0);

/// The largest change of a tile, 0 to 1.
double largestChange(const SFrameGlance& a, const SFrameGlance& b);

} // namespace vek::client
