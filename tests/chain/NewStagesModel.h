// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

// The chain's own stages sample by sample, as docs/pipeline.md tells them.

namespace vek::test {

using Samples = std::vector<std::uint16_t>;

/// Samples of a depth as those of 12 bits.
inline std::uint16_t at12Bits(unsigned sample, unsigned depth) {
    sample = std::min(sample, (1U << depth) - 1);
    if (depth <= 12) {
        return static_cast<std::uint16_t>(sample << (12 - depth));
    }
    const unsigned shift = depth - 12;
    return static_cast<std::uint16_t>(std::min((sample + (1U << (shift - 1))) >> shift, 4095U));
}

/// x, y: in the whole frame.
inline std::uint16_t leveled(const VekChainLevels& levels, unsigned sample, unsigned long x, unsigned long y) {
    const std::size_t place = 2 * (y % 2) + x % 2;
    const double product = (static_cast<double>(sample) - levels.black[place]) * levels.gain[place];
    const double value = std::floor((product + 2048) / 4096) + levels.pedestal;
    return static_cast<std::uint16_t>(std::clamp(value, 0.0, 4095.0));
}

/// Blue, green, red.
inline void multiply(const VekChainLinearMatrix& matrix, std::uint16_t* pixel) {
    const std::array<int, 3> in = {pixel[2], pixel[1], pixel[0]}; // red, green, blue
    for (std::size_t i = 0; i < 3; ++i) {
        long sum = 2048;
        for (std::size_t j = 0; j < 3; ++j) {
            sum += static_cast<long>(matrix.factor[i][j]) * in[j];
        }
        const double value = std::floor(static_cast<double>(sum) / 4096) + matrix.offset[i];
        pixel[2 - i] = static_cast<std::uint16_t>(std::clamp(value, 0.0, 4095.0));
    }
}

/// A table of a curve that is known by name.
inline Samples curveTable(unsigned curve, unsigned gamma, std::size_t entries, unsigned depth) {
    Samples table(entries);
    for (std::size_t i = 0; i < entries; ++i) {
        const double x = static_cast<double>(i) / static_cast<double>(entries - 1);
        double y = x;
        if (curve == VEK_CHAIN_CURVE_SRGB) {
            y = x <= 0.0031308 ? 12.92 * x : 1.055 * std::pow(x, 1 / 2.4) - 0.055;
        } else if (curve == VEK_CHAIN_CURVE_BT709) {
            y = x < 0.018 ? 4.5 * x : 1.099 * std::pow(x, 0.45) - 0.099;
        } else if (curve == VEK_CHAIN_CURVE_GAMMA) {
            y = std::pow(x, 100.0 / gamma);
        }
        table[i] = static_cast<std::uint16_t>(std::floor(y * ((1 << depth) - 1) + 0.5));
    }
    return table;
}

/// Luma (height rows of width), then Cb and Cr of each 2 x 2 pixels, of a blue-green-red picture of bytes.
inline std::vector<std::uint8_t> nv12Of(const Samples& picture, unsigned long width, unsigned long height,
                                        unsigned space) {
    // Shares of blue, green and red in 32768ths, and what is added: luma, Cb, Cr.
    static constexpr int shares[2][3][4] = {
        {{3736, 19235, 9797, 0}, {16384, -10855, -5529, 128}, {-2664, -13720, 16384, 128}},
        {{2032, 20127, 5983, 16}, {14392, -11094, -3298, 128}, {-1320, -13072, 14392, 128}}};
    const auto weigh = [&](std::size_t row, const std::array<unsigned, 3>& pixel) {
        const int* const share = shares[space][row];
        double sum = 16384;
        for (std::size_t i = 0; i < 3; ++i) {
            sum += static_cast<double>(share[i]) * pixel[i];
        }
        return static_cast<std::uint8_t>(std::clamp(std::floor(sum / 32768) + share[3], 0.0, 255.0));
    };
    const auto at = [&](unsigned long x, unsigned long y, std::size_t i) -> unsigned {
        return picture[(std::min(y, height - 1) * width + std::min(x, width - 1)) * 3 + i];
    };
    std::vector<std::uint8_t> bytes;
    for (unsigned long y = 0; y < height; ++y) {
        for (unsigned long x = 0; x < width; ++x) {
            bytes.push_back(weigh(0, {at(x, y, 0), at(x, y, 1), at(x, y, 2)}));
        }
    }
    for (unsigned long y = 0; y < height; y += 2) {
        for (unsigned long x = 0; x < width; x += 2) {
            std::array<unsigned, 3> mean{};
            for (std::size_t i = 0; i < 3; ++i) {
                mean[i] = (at(x, y, i) + at(x + 1, y, i) + at(x, y + 1, i) + at(x + 1, y + 1, i) + 2) / 4;
            }
            bytes.push_back(weigh(1, mean));
            bytes.push_back(weigh(2, mean));
        }
    }
    return bytes;
}

} // namespace vek::test
