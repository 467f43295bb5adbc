// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vek::test {

/// In 128ths: R, Gr, Gb, B.
using Gains = std::array<std::uint16_t, 4>;

/// One image call of the white balance, the image aside.
struct SWhiteBalanceCall {
    unsigned long width = 0; ///< pixels
    unsigned long height = 0;
    unsigned long pitch = 0; ///< bytes; 0: derived
    unsigned short colorArray = 0;
    unsigned short bits = 0;
};

/// What a module holds. Colours stand in the order R, Gr, Gb, B, phases in the order of the top-left 2 x 2 pixels.
struct SWhiteBalanceModel {
    static constexpr std::size_t kByteTables = 4 * 256;
    static constexpr std::size_t kWordTables = 4 * 4096 * 2;

    std::uint16_t gains[4] = {256, 128, 128, 217};
    std::uint16_t tableDepth = 0;
    std::uint8_t storage[kByteTables + kWordTables] = {}; ///< byte tables, word tables behind them
    std::uint64_t histogram[4][4096] = {};
    double average[4] = {};
    std::uint64_t count[4] = {};
    std::uint8_t mode = 0;
};

/// Which tables images of bytes are looked up in when bits is 9 to 12 (the two readings of the same state).
enum class WideBytes { ByteTables, WordTables };

unsigned long modelPitch(const SWhiteBalanceCall& call, std::size_t sampleBytes);
/// Bytes from the image's start to the end of its last row.
std::size_t modelExtent(const SWhiteBalanceCall& call, std::size_t sampleBytes);

void modelSetGains(SWhiteBalanceModel* model, const std::uint16_t* gains);
/// image may be null.
template <class T>
unsigned long modelWhiteBalance(SWhiteBalanceModel* model, const SWhiteBalanceCall& call, T* image,
                                WideBytes reading = WideBytes::ByteTables);

extern template unsigned long modelWhiteBalance(SWhiteBalanceModel*, const SWhiteBalanceCall&, std::uint8_t*,
                                                WideBytes);
extern template unsigned long modelWhiteBalance(SWhiteBalanceModel*, const SWhiteBalanceCall&, std::uint16_t*,
                                                WideBytes);

} // namespace vek::test
