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

const bool kRegistered = [] {
    for (const SMethod& method : kMethods) {
        registerFor<std::uint8_t>(method, 3);
        registerFor<std::uint16_t>(method, 3);
    }
    registerFor<std::uint8_t>(kMethods[2], 4);
    registerFor<std::uint16_t>(kMethods[2], 4);
    return true;
}();

} // namespace
} // namespace vek::bench
