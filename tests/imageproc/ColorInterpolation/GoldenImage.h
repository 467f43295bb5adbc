// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ColorInterpolation/SlotCalls.h"

#include <gtest/gtest.h>

#include <vector>

namespace vek::test {

/// What destination samples hold before a call; stands for "not written" in expected images.
constexpr int kKept = 170;

/// Demosaics one image without padding, at both sample widths and with 3 and 4 channels, and compares it with pixels
/// (blue, green, red each). Sources of odd width need one more sample for bilinear interpolation.
inline void expectColor(unsigned long width, unsigned long height, unsigned char method, unsigned short colorArray,
                        const std::vector<int>& source, const std::vector<int>& pixels) {
    const ColorInterpolationPtr module = makeColorInterpolation();
    const auto check = [&](auto sample) {
        using T = decltype(sample);
        for (const unsigned short channels : {std::uint16_t{3}, std::uint16_t{4}}) {
            std::vector<T> src(source.begin(), source.end());
            std::vector<T> dst(width * height * channels, T{kKept});
            const unsigned long pitch = width * channels * sizeof(T);
            const SDemosaicCall call{width, height, 0, pitch, method, colorArray, channels};
            EXPECT_EQ(callLong(*module, call, src.data(), dst.data()), 0U);
            std::vector<int> result;
            for (std::size_t i = 0; i < dst.size(); ++i) {
                if (i % channels < 3) {
                    result.push_back(int{dst[i]});
                } else {
                    EXPECT_EQ(int{dst[i]}, kKept) << "fourth sample " << i;
                }
            }
            EXPECT_EQ(result, pixels) << channels << " channels, " << 8 * sizeof(T) << " bit";
        }
    };
    check(std::uint8_t{});
    check(std::uint16_t{});
}

} // namespace vek::test
