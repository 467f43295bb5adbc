// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// Row kernels: pointers and a pixel count in, samples out. They allocate nothing, check nothing and accept any
/// address that suits the sample type. Every tier computes what the scalar one does, bit for bit, and reads and
/// writes no sample that the scalar one does not.
namespace vek::rows {

/// Instruction sets that the kernels are compiled for, in the order of preference on each architecture.
enum class Isa : std::uint8_t {
    Scalar, ///< the architecture's baseline; plain loops, the reference of the others
    Sse42,
    Avx2,
    Avx512, ///< F, BW, DQ, VL and VBMI
    Neon
};

/// Colours of a Bayer row, column 0 first. Also the index into a kernel's table.
enum class BayerRow : std::uint8_t { RG, GR, GB, BG };
constexpr std::size_t kBayerRows = 4;

/// Channels of a colour pixel, as an index: 0 for B, G, R; 1 for B, G, R and a sample that is never written.
constexpr std::size_t kPixelLayouts = 2;
constexpr std::size_t pixelLayout(unsigned channels) {
    return channels - 3;
}

template <class T>
struct SDemosaicRows {
    /// B = G = R = src. Reads and writes columns 0 .. width-1; any width.
    using Grey = void (*)(const T* src, T* dst, std::size_t width);
    Grey grey[kPixelLayouts];

    /// The own colour of each column, 0 in the two others. Any width.
    using None = void (*)(const T* row, T* dst, std::size_t width);
    None none[kBayerRows][kPixelLayouts];

    /// Both columns of a pair share the row's two colours and the third one, which other (the row of the same
    /// cell) holds; an odd last column pairs with the one before it. Width 2 and more.
    using NearestNeighbor = void (*)(const T* row, const T* other, T* dst, std::size_t width);
    NearestNeighbor nearestNeighbor[kBayerRows][kPixelLayouts];

    /// Own row's missing colour from left and right, the third colour from the rows above and below, after the
    /// same horizontal step. Reads column width of all three rows when the width is odd. Width 2 and more.
    using Bilinear = void (*)(const T* above, const T* row, const T* below, T* dst, std::size_t width);
    Bilinear bilinearSimple[kBayerRows][kPixelLayouts];

    /// The own row's two colours of bilinearSimple; the third one is left as dst holds it. Width 2 and more.
    using BilinearOpen = void (*)(const T* row, T* dst, std::size_t width);
    BilinearOpen bilinearSimpleOpen[kBayerRows][kPixelLayouts];
};

/// Sums of a row's samples: those of even columns are added to sums[0], those of odd ones to sums[1]. Any width.
struct SSumRows {
    void (*samples8)(const std::uint8_t* row, std::size_t width, std::uint64_t* sums);
    void (*samples16)(const std::uint16_t* row, std::size_t width, std::uint64_t* sums);
    /// Packed pixels, one little-endian bit stream from the row's first byte on; (width x bits + 7) / 8 bytes.
    void (*packed10)(const std::uint8_t* row, std::size_t width, std::uint64_t* sums);
    void (*packed12)(const std::uint8_t* row, std::size_t width, std::uint64_t* sums);
};

struct SRowTable {
    Isa isa;
    const char* name; ///< "scalar", "sse42", "avx2", "avx512", "neon"
    SDemosaicRows<std::uint8_t> demosaic8;
    SDemosaicRows<std::uint16_t> demosaic16;
    SSumRows sums;
};

/// The demosaic kernels for a sample type.
template <class T>
const SDemosaicRows<T>& demosaicRows(const SRowTable& table) {
    if constexpr (sizeof(T) == 1) {
        return table.demosaic8;
    } else {
        return table.demosaic16;
    }
}

/// The sum kernel for a sample type.
template <class T>
auto sumRow(const SRowTable& table) {
    if constexpr (sizeof(T) == 1) {
        return table.sums.samples8;
    } else {
        return table.sums.samples16;
    }
}

} // namespace vek::rows
