// SPDX-License-Identifier: Apache-2.0
#include "imageproc/AveragePixel.h"

#include "Frame.h"
#include "imageproc/rows/RowDispatch.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace vek::bench {
namespace {

struct SFormat {
    const char* name;
    unsigned bits;
    bool packed;
};
constexpr SFormat kFormats[] = {
    {"average of samples", 8, false},
    {"average of samples", 16, false},
    {"average of 10 bit packed", 10, true},
    {"average of 12 bit packed", 12, true},
};

void average(benchmark::State& state, const rows::SRowTable& table, const SFormat& format) {
    const std::vector<std::uint16_t> frame(kWidth * kHeight * format.bits / 16, 0x5A5A);
    const SRegion whole = SRegion::Cut(0, 0, kWidth, kHeight, kWidth, kHeight);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(frame.data());
    for (auto _ : state) {
        SCellSums sums{};
        if (format.packed) {
            sums = mvAveragePackedPixel(table, whole, kWidth * format.bits / 8, format.bits, bytes);
        } else if (format.bits == 8) {
            sums = mvAveragePixel(table, whole, kWidth, bytes);
        } else {
            sums = mvAveragePixel(table, whole, kWidth, frame.data());
        }
        benchmark::DoNotOptimize(sums);
    }
    setWork(state, frame.size() * 2);
}

const bool kRegistered = [] {
    for (const SFormat& format : kFormats) {
        const std::string row = std::string(format.name) + '/' + std::to_string(format.bits) + '/';
        const std::size_t bytes = kWidth * kHeight * format.bits / 8;
        benchmark::RegisterBenchmark((row + "memcpy").c_str(),
                                     [=](benchmark::State& state) { copyTraffic(state, bytes); });
        for (std::size_t i = 0; i < rows::tierCount(); ++i) {
            const rows::STier tier = rows::tier(i);
            if (tier.usable) {
                benchmark::RegisterBenchmark((row + tier.table->name).c_str(),
                                             [=](benchmark::State& state) { average(state, *tier.table, format); });
            }
        }
    }
    return true;
}();

} // namespace
} // namespace vek::bench
