// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vek::test {

using Samples = std::vector<std::uint16_t>;

/// A PNG file as it is stored: no gamma or colour conversion.
struct SPng {
    unsigned width = 0;
    unsigned height = 0;
    unsigned bits = 0;
    unsigned channels = 0; ///< 1: grey, 3: red, green, blue
    bool sRgb = false;     ///< has an sRGB chunk
    Samples samples;

    /// Mean of a channel over a rectangle.
    double Mean(unsigned x, unsigned y, unsigned columns, unsigned rows, unsigned channel) const;
};

/// Throws std::runtime_error when the bytes are no whole PNG file.
SPng decodePng(std::span<const std::uint8_t> bytes);
SPng readPng(const std::string& path);

} // namespace vek::test
