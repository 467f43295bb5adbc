// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation.h"

#include "Frame.h"
#include "VekTrgApi.h"
#include "imageproc/rows/RowDispatch.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

struct SMethod {
    const char* name;
    unsigned char code;
};
constexpr SMethod kMethods[] = {{"demosaic None", VEK_DEMOSAIC_NONE},
                                {"demosaic NearestNeighbor", VEK_DEMOSAIC_NEAREST_NEIGHBOR},
                                {"demosaic BilinearSimple", VEK_DEMOSAIC_BILINEAR_SIMPLE},
                                {"demosaic BiCubic", VEK_DEMOSAIC_BICUBIC},
                                {"demosaic BilinearFalseColorReduction", VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION},
                                {"demosaic NearestNeighbor2", VEK_DEMOSAIC_NEAREST_NEIGHBOR2},
                                {"grey to BGR", VEK_DEMOSAIC_MONO}};

template <class T>
std::size_t trafficOf(unsigned channels) {
    return kWidth * kHeight * (1 + channels) * sizeof(T);
}

template <class T>
void demosaic(benchmark::State& state, const rows::SRowTable* table, unsigned char method, unsigned short channels) {
    CColorInterpolation module(*table);
    std::vector<T> src = makeSamples<T>(kWidth * kHeight + 1);
    std::vector<T> dst(kWidth * kHeight * channels);
    for (auto _ : state) {
        if constexpr (sizeof(T) == 1) {
            module.ColorInterporationB(kWidth, kHeight, src.data(), dst.data(), method, VEK_COLOR_ARRAY_RGGB, channels);
        } else {
            module.ColorInterporationW(kWidth, kHeight, src.data(), dst.data(), method, VEK_COLOR_ARRAY_RGGB, channels);
        }
        benchmark::ClobberMemory();
    }
    setWork(state, trafficOf<T>(channels));
}

template <class T>
void registerFor(const SMethod& method, unsigned short channels) {
    const std::string operation = std::string(method.name) + (channels == 4 ? " BGRX" : "");
    benchmark::RegisterBenchmark(benchName(operation.c_str(), sizeof(T), "memcpy").c_str(),
                                 [channels](benchmark::State& state) { copyTraffic(state, trafficOf<T>(channels)); });
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        const rows::STier tier = rows::tier(i);
        if (tier.usable) {
            benchmark::RegisterBenchmark(
                benchName(operation.c_str(), sizeof(T), tier.table->name).c_str(),
                [=](benchmark::State& state) { demosaic<T>(state, tier.table, method.code, channels); });
        }
    }
}

/// halfSamples: bytes of a pixel of the frame, doubled.
void registerYCrCb(const char* operation, unsigned short colorArray, std::size_t halfSamples, unsigned char method) {
    const std::size_t sourceBytes = kWidth * kHeight * halfSamples / 2;
    const unsigned short channels = method == VEK_DEMOSAIC_MONO ? 1 : 3;
    registerTiers(operation, 1, sourceBytes + kWidth * kHeight * channels,
                  [=](benchmark::State& state, const rows::SRowTable& table) {
                      CColorInterpolation module(table);
                      std::vector<std::uint8_t> src = makeSamples<std::uint8_t>(sourceBytes);
                      std::vector<std::uint8_t> dst(kWidth * kHeight * channels);
                      for (auto _ : state) {
                          module.ColorInterporationB(kWidth, kHeight, src.data(), dst.data(), method, colorArray,
                                                     channels);
                          benchmark::ClobberMemory();
                      }
                  });
}

const bool kRegistered = [] {
    for (const SMethod& method : kMethods) {
        registerFor<std::uint8_t>(method, 3);
        registerFor<std::uint16_t>(method, 3);
    }
    registerFor<std::uint8_t>(kMethods[2], 4);
    registerFor<std::uint16_t>(kMethods[2], 4);
    registerYCrCb("YCrCb 4:2:2 to BGR", VEK_COLOR_ARRAY_YCRCB422, 4, VEK_DEMOSAIC_NEAREST_NEIGHBOR);
    registerYCrCb("YCrCb 4:4:4 to BGR", VEK_COLOR_ARRAY_YCRCB444, 6, VEK_DEMOSAIC_NEAREST_NEIGHBOR);
    registerYCrCb("YCrCb 4:1:1 to BGR", VEK_COLOR_ARRAY_YCRCB411, 3, VEK_DEMOSAIC_NEAREST_NEIGHBOR);
    registerYCrCb("YCrCb 4:2:2 BT.709 to BGR", VEK_COLOR_ARRAY_YCRCB422_BT709, 4, VEK_DEMOSAIC_NEAREST_NEIGHBOR);
    registerYCrCb("YCrCb 4:2:2 to grey", VEK_COLOR_ARRAY_YCRCB422, 4, VEK_DEMOSAIC_MONO);
    return true;
}();

} // namespace
} // namespace vek::bench
