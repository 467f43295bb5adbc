// SPDX-License-Identifier: Apache-2.0
// Constant tables of demosaicing and YCrCb decoding. The row kernels compute what fits a few instructions; the tables
// are there for applications, and tests hold both together.
#include "VekTrgApi.h"

#include <algorithm>
#include <array>

namespace {

/// An array cannot be initialised by a function, a std::array can; it has the layout of the array that it goes out as.
using ProductTable = std::array<unsigned short, VEK_PRODUCT_TABLE_SIZE>;
using CubicTable = std::array<short, VEK_CUBIC_TABLE_SIZE>;
using ChromaTable = std::array<std::array<int, 256>, 5>;

constexpr ProductTable makeProducts(unsigned factor) {
    ProductTable table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        table[i] = static_cast<unsigned short>(factor * i);
    }
    return table;
}

/// sign x floor(eighths x s / 8 + 0.5)
constexpr CubicTable makeCubic(int eighths, int sign) {
    CubicTable table{};
    for (int s = 0; s < VEK_CUBIC_TABLE_SIZE; ++s) {
        table[static_cast<std::size_t>(s)] = static_cast<short>(sign * ((eighths * s + 4) / 8));
    }
    return table;
}

/// floor(weight x value x 2^22 + 0.5)
constexpr int fixed22(double weight, int value) {
    const double scaled = weight * value * 4194304 + 0.5;
    const auto whole = static_cast<int>(scaled);
    return whole - (scaled < whole ? 1 : 0);
}

/// The weights of Y, Cr in red, Cb in green, Cr in green, Cb in blue; the range that luma starts at and ends at, and
/// the one of chroma.
struct SColorSpace {
    double weight[5];
    int lumaLow;
    int lumaHigh;
    int chromaLow;
    int chromaHigh;
};

constexpr ChromaTable makeChroma(const SColorSpace& space) {
    ChromaTable table{};
    for (int v = 0; v < 256; ++v) {
        const auto at = static_cast<std::size_t>(v);
        table[0][at] = fixed22(space.weight[0], std::clamp(v, space.lumaLow, space.lumaHigh) - space.lumaLow);
        for (std::size_t row = 1; row < table.size(); ++row) {
            table[row][at] = fixed22(space.weight[row], std::clamp(v, space.chromaLow, space.chromaHigh) - 128);
        }
    }
    return table;
}

} // namespace

extern "C" {
VEK_API extern const ProductTable vekMul3 __asm__("pwMul3");
VEK_API extern const ProductTable vekMul9 __asm__("pwMul9");
VEK_API extern const CubicTable vekCubic05 __asm__("pshtTable_05");
VEK_API extern const CubicTable vekCubic15 __asm__("pshtTable_15");
VEK_API extern const ChromaTable vekYCrCb601 __asm__("pnYCrCbConvTable");
VEK_API extern const ChromaTable vekYCrCb709 __asm__("pnYCrCbConvTable709");
}

constexpr ProductTable vekMul3 = makeProducts(3);
constexpr ProductTable vekMul9 = makeProducts(9);

// Cubic convolution with a = -1: 5/8 at a distance of 0.5, -1/8 at 1.5.
constexpr CubicTable vekCubic05 = makeCubic(5, 1);
constexpr CubicTable vekCubic15 = makeCubic(1, -1);

// ITU-R BT.601 of full range, ITU-R BT.709 of video range.
constexpr ChromaTable vekYCrCb601 = makeChroma({{1, 1.402, -0.34414, -0.71414, 1.772}, 0, 255, 0, 255});
constexpr ChromaTable vekYCrCb709 = makeChroma({{1.16438, 1.79274, -0.21325, -0.53291, 2.1124}, 16, 235, 16, 240});

static_assert(sizeof(ProductTable) == sizeof pwMul3 && sizeof(CubicTable) == sizeof pshtTable_05 &&
              sizeof(ChromaTable) == sizeof pnYCrCbConvTable);
