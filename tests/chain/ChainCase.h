// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"
#include "chain/ChainHandles.h"

#include <cstdint>

namespace vek::test {

/// A description and the structs that it points to, of an 8-bit Bayer frame that becomes blue-green-red pixels.
struct SChainCase {
    VekChainFrame frame{};
    VekChainPicture picture{};
    VekChainLevels levels{};
    VekChainLinearMatrix matrix{};
    VekChainTone tone{};
    VekChainDescription description{};

    explicit SChainCase(std::uint32_t width = 32, std::uint32_t height = 24) {
        frame.size = sizeof frame;
        frame.width = width;
        frame.height = height;
        frame.format = VEK_TRANSFER_RAW8;
        frame.colorArray = VEK_COLOR_ARRAY_RGGB;
        picture.size = sizeof picture;
        picture.layout = VEK_CHAIN_BGR;
        levels.size = sizeof levels;
        matrix.size = sizeof matrix;
        tone.size = sizeof tone;
        for (unsigned i = 0; i < 4; ++i) {
            levels.gain[i] = 4096;
        }
        for (unsigned i = 0; i < 3; ++i) {
            matrix.factor[i][i] = 4096;
        }
        tone.curve = VEK_CHAIN_CURVE_SRGB;
        description.size = sizeof description;
        description.frame = &frame;
        description.picture = &picture;
        description.demosaic = VEK_DEMOSAIC_NEAREST_NEIGHBOR;
    }
    SChainCase(const SChainCase&) = delete;
    SChainCase& operator=(const SChainCase&) = delete;
};

} // namespace vek::test
