// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace vek::bench {

// The frame that every operation is measured on: five megapixels, warm.
constexpr unsigned long kWidth = 2448;
constexpr unsigned long kHeight = 2048;

/// Name of a benchmark: "<operation>/<depth>/<tier>". TableReporter makes a row of each operation and depth.
inline std::string benchName(const char* operation, std::size_t sampleBytes, const char* tier) {
    return std::string(operation) + '/' + (sampleBytes == 1 ? "8" : "16") + '/' + tier;
}

/// Records what one iteration did, for ns per pixel and GB/s: pixels worked on, bytes read and written.
inline void setWork(benchmark::State& state, std::size_t bytes) {
    state.counters["pixels"] = static_cast<double>(kWidth * kHeight);
    state.counters["bytes"] = static_cast<double>(bytes);
}

/// The yardstick of an operation that moves so many bytes: a copy of half of them reads and writes as much.
inline void copyTraffic(benchmark::State& state, std::size_t bytes) {
    std::vector<std::uint8_t> src(bytes / 2, 1);
    std::vector<std::uint8_t> dst(bytes / 2);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), src.size());
        benchmark::ClobberMemory();
    }
    setWork(state, bytes);
}

} // namespace vek::bench
