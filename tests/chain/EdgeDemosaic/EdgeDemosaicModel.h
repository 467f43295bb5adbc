// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace vek::test {

/// Edge-directed demosaicing, one pixel at a time, as docs/demosaic.md tells it. Samples of a frame without padding.
template <class T>
class CEdgeDemosaicModel {
public:
    CEdgeDemosaicModel(long width, long height, unsigned short colorArray, unsigned depth,
                       const std::vector<T>& samples)
        : mWidth(width), mHeight(height), mArray(colorArray), mLargest((1 << depth) - 1), mSamples(samples) {}

    /// Blue, green and red of a pixel.
    std::array<int, 3> Pixel(long x, long y) const {
        const int own = At(x, y);
        const int s[2] = {MeanUp(At(x - 1, y), At(x + 1, y)), MeanUp(At(x, y - 1), At(x, y + 1))};
        const int b[2] = {own - MeanUp(At(x - 2, y), At(x + 2, y)), own - MeanUp(At(x, y - 2), At(x, y + 2))};
        const int change[2] = {std::abs(At(x - 1, y) - At(x + 1, y)) + std::abs(b[0]),
                               std::abs(At(x, y - 1) - At(x, y + 1)) + std::abs(b[1])};
        const int corners =
            MeanUp(MeanUp(At(x - 1, y - 1), At(x + 1, y + 1)), MeanUp(At(x + 1, y - 1), At(x - 1, y + 1)));
        const auto byDirection = [&](int alongRow, int downColumn) {
            if (2 * change[0] < change[1]) {
                return alongRow;
            }
            if (2 * change[1] < change[0]) {
                return downColumn;
            }
            return static_cast<int>(std::floor((alongRow + downColumn) / 2.0));
        };
        std::array<int, 3> pixel{};
        pixel[ColorAt(x, y)] = own;
        if (ColorAt(x, y) == 1) {
            const int rise = Share(own - corners, 0.75);
            pixel[ColorAt(x + 1, y)] = Limited(byDirection(s[0] + Share(b[0], 0.375), s[0] + rise));
            pixel[ColorAt(x, y + 1)] = Limited(byDirection(s[1] + rise, s[1] + Share(b[1], 0.375)));
        } else {
            const int green = byDirection(s[0] + Share(b[0], 0.5), s[1] + Share(b[1], 0.5));
            pixel[1] = Limited(green);
            pixel[ColorAt(x + 1, y + 1)] = Limited(green + corners - MeanUp(s[0], s[1]));
        }
        return pixel;
    }

private:
    /// 0 .. count-1, back to 0, and so on.
    static long Mirrored(long i, long count) {
        const long period = 2 * (count - 1);
        const long inPeriod = ((i % period) + period) % period;
        return std::min(inPeriod, period - inPeriod);
    }
    static int MeanUp(int a, int b) { return (a + b + 1) / 2; }
    static int Share(int value, double share) { return static_cast<int>(std::floor(value * share + 0.5)); }
    int Limited(int value) const { return std::clamp(value, 0, mLargest); }
    int At(long x, long y) const {
        return mSamples[static_cast<std::size_t>(Mirrored(y, mHeight) * mWidth + Mirrored(x, mWidth))];
    }
    /// 0, 1, 2: blue, green, red.
    unsigned ColorAt(long x, long y) const {
        constexpr unsigned kCells[4][4] = {{2, 1, 1, 0}, {1, 2, 0, 1}, {1, 0, 2, 1}, {0, 1, 1, 2}};
        return kCells[mArray - VEK_COLOR_ARRAY_RGGB][2 * (y % 2) + x % 2];
    }

    long mWidth;
    long mHeight;
    unsigned short mArray;
    int mLargest;
    const std::vector<T>& mSamples;
};

} // namespace vek::test
