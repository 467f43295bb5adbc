// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Flip/FlipModel.h"

#include <vector>

namespace vek::test {

unsigned modelFlipTransform(unsigned mirror, unsigned rotation) {
    constexpr unsigned kClockwise[] = {4, 6, 7, 5};
    constexpr unsigned kCounterclockwise[] = {5, 7, 6, 4};
    if (rotation == 1) {
        return kClockwise[mirror % 4];
    }
    return rotation == 2 ? kCounterclockwise[mirror % 4] : mirror;
}

unsigned short modelFlipColorArray(unsigned transform, unsigned short colorArray) {
    // Rows: transforms 1 to 7; columns: RGGB, GRBG, GBRG, BGGR.
    constexpr unsigned short kArrays[7][4] = {{3, 2, 5, 4}, {4, 5, 2, 3}, {5, 4, 3, 2}, {3, 5, 2, 4},
                                              {4, 2, 5, 3}, {5, 3, 4, 2}, {2, 4, 3, 5}};
    if (transform < 1 || transform > 7 || colorArray < 2 || colorArray > 5) {
        return colorArray;
    }
    return kArrays[transform - 1][colorArray - 2];
}

unsigned long modelFlipStatus(unsigned transform, unsigned samples) {
    if (transform == 0 || transform == 2 || transform > 7) {
        return 0;
    }
    return samples == 1 || samples == 3 || samples == 4 ? 0 : static_cast<unsigned long>(-22L);
}

bool modelFlipTurns(unsigned transform) {
    return transform >= 4 && transform <= 7;
}

std::size_t modelFlipReach(unsigned transform, std::size_t width, std::size_t height, unsigned samples) {
    if (width == 0 || height == 0) {
        return 0;
    }
    if (transform == 2) {
        return (height - 1) * width * samples + width;
    }
    return width * height * samples;
}

template <class T>
void modelFlip(unsigned transform, std::size_t width, std::size_t height, unsigned samples, const T* src, T* dst) {
    if (transform == 0 || transform > 7) {
        return;
    }
    const bool inPlace = src == dst;
    const std::vector<T> source(src, src + width * height * samples);
    const std::size_t resultWidth = modelFlipTurns(transform) ? height : width;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            std::size_t toX = x;
            std::size_t toY = y;
            switch (transform) {
            case 1:
                toX = width - 1 - x;
                break;
            case 2:
                toY = height - 1 - y;
                break;
            case 3:
                toX = width - 1 - x;
                toY = height - 1 - y;
                break;
            case 4:
                toX = height - 1 - y;
                toY = x;
                break;
            case 5:
                toX = y;
                toY = width - 1 - x;
                break;
            case 6:
                toX = height - 1 - y;
                toY = width - 1 - x;
                break;
            default:
                toX = y;
                toY = x;
                break;
            }
            for (std::size_t s = 0; s < samples; ++s) {
                const std::size_t inRow = toX * samples + s;
                if (transform == 2 && !inPlace && inRow >= width) {
                    continue; // a vertical mirror into another buffer moves width samples of a row, not all of them
                }
                dst[toY * resultWidth * samples + inRow] = source[(y * width + x) * samples + s];
            }
        }
    }
}

template void modelFlip(unsigned, std::size_t, std::size_t, unsigned, const std::uint8_t*, std::uint8_t*);
template void modelFlip(unsigned, std::size_t, std::size_t, unsigned, const std::uint16_t*, std::uint16_t*);

} // namespace vek::test
