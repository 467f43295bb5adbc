// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/Turning.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace vek::client {

SPictureView turned(const SPictureView& picture, const STurning& turning, std::vector<std::uint8_t>& samples) {
    const bool exchanged = turning.quarters % 2 != 0;
    SPictureView result = picture;
    if (exchanged) {
        std::swap(result.width, result.height);
    }
    const std::size_t pixelBytes = picture.RowBytes() / picture.width;
    samples.resize(picture.RowBytes() * picture.height);
    result.samples = samples.data();
    std::uint8_t* to = samples.data();
    for (std::size_t y = 0; y < result.height; ++y) {
        for (std::size_t x = 0; x < result.width; ++x, to += pixelBytes) {
            const std::size_t lastX = result.width - 1U - x;
            const std::size_t lastY = result.height - 1U - y;
            // Where the pixel stood before the rotation.
            const std::size_t sources[4][2] = {{x, y}, {y, lastX}, {lastX, lastY}, {lastY, x}};
            const auto& source = sources[turning.quarters];
            const std::size_t fromX = turning.leftRight ? picture.width - 1U - source[0] : source[0];
            const std::size_t fromY = turning.topBottom ? picture.height - 1U - source[1] : source[1];
            std::copy_n(picture.Row(fromY) + fromX * pixelBytes, pixelBytes, to);
        }
    }
    return result;
}

} // namespace vek::client
