// SPDX-License-Identifier: Apache-2.0
#include "imageproc/FormatConversion.h"

#include "Frame.h"
#include "VekTrgApi.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

/// sourceBits: of a pixel in the frame; the result has pixelBytes. Operations on bytes and on packed data count as 8
/// bits, those on words as 16.
void registerFor(const char* operation, unsigned long transferFormat, std::size_t sourceBits,
                 unsigned long destinationFormat, std::size_t pixelBytes) {
    const std::size_t sourceBytes = kWidth * kHeight * sourceBits / 8;
    const std::size_t bytes = sourceBytes + kWidth * kHeight * pixelBytes;
    registerTiers(operation, sourceBits == 16 ? 2 : 1, bytes,
                  [=](benchmark::State& state, const rows::SRowTable& table) {
                      const std::vector<std::uint8_t> src = makeSamples<std::uint8_t>(sourceBytes);
                      std::vector<std::uint8_t> dst(kWidth * kHeight * pixelBytes);
                      for (auto _ : state) {
                          ConvGrayToBGRImage(table, kWidth, kHeight, 0, transferFormat, src.data(), nullptr,
                                             destinationFormat, dst.data());
                          benchmark::ClobberMemory();
                      }
                  });
}

/// There is one version of these two only.
void registerBgr(const char* operation, unsigned long transferFormat, std::size_t sourceBytes) {
    const std::size_t bytes = kWidth * kHeight * (sourceBytes + 4);
    registerTiers(operation, 1, bytes, [=](benchmark::State& state, const rows::SRowTable&) {
        const std::vector<std::uint8_t> src = makeSamples<std::uint8_t>(kWidth * kHeight * sourceBytes);
        std::vector<std::uint8_t> dst(kWidth * kHeight * 4);
        for (auto _ : state) {
            ConvBGRToBGR(kWidth, kHeight, transferFormat, src.data(), VEK_DESTINATION_BGRX32, dst.data());
            benchmark::ClobberMemory();
        }
    });
}

const bool kRegistered = [] {
    registerFor("12 bit to bytes", VEK_TRANSFER_RAW12, 16, VEK_DESTINATION_MONO8, 1);
    registerFor("12 bit to BGR bytes", VEK_TRANSFER_RAW12, 16, VEK_DESTINATION_BGR24, 3);
    registerFor("8 bit to BGR bytes", VEK_TRANSFER_RAW8, 8, VEK_DESTINATION_BGR24, 3);
    registerFor("packed 10 bit to bytes", VEK_TRANSFER_RAW10_PACKED, 10, VEK_DESTINATION_MONO8, 1);
    registerFor("packed 12 bit to bytes", VEK_TRANSFER_RAW12_PACKED, 12, VEK_DESTINATION_MONO8, 1);
    registerBgr("BGR to BGRX", VEK_TRANSFER_BGR8, 3);
    registerBgr("10 bit BGR to BGRX", VEK_TRANSFER_BGR10, 8);
    return true;
}();

} // namespace
} // namespace vek::bench
