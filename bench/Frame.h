// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/rows/RowDispatch.h"

#include <benchmark/benchmark.h>

#include <algorithm>
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

/// Samples without any order, bytes or 12 bits in words: the worst case for branches and table lookups.
template <class T>
std::vector<T> makeSamples(std::size_t count) {
    std::vector<T> samples(count);
    std::uint32_t state = 1;
    for (T& sample : samples) {
        state = state * 1664525U + 1013904223U;
        sample = static_cast<T>(state >> (sizeof(T) == 1 ? 24 : 20));
    }
    return samples;
}

/// A picture as a camera takes it, bytes or 12 bits in words: brightness and colour change slowly, and there is noise
/// of a few levels. Branches that depend on samples are foretold as well as in practice.
template <class T>
std::vector<T> makePicture(std::size_t samplesPerPixel) {
    std::vector<T> picture = makeSamples<T>(kWidth * kHeight * samplesPerPixel);
    constexpr unsigned shift = sizeof(T) == 1 ? 0 : 4;
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const std::size_t pixel = i / samplesPerPixel;
        const std::size_t phase = (pixel % kWidth + 2 * (pixel / kWidth) + 340 * (i % samplesPerPixel)) / 4 % 512;
        const std::size_t level = phase < 256 ? phase : 511 - phase;
        const std::size_t sample = (level << shift) + (picture[i] >> 5);
        picture[i] = static_cast<T>(std::min<std::size_t>(sample, (256U << shift) - 1));
    }
    return picture;
}

/// Registers an operation: the copy of its traffic, then run(state, table) for each tier that the machine has.
/// bytes: read and written by one iteration.
template <class Run>
void registerTiers(const std::string& operation, std::size_t sampleBytes, std::size_t bytes, Run run) {
    benchmark::RegisterBenchmark(benchName(operation.c_str(), sampleBytes, "memcpy").c_str(),
                                 [=](benchmark::State& state) { copyTraffic(state, bytes); });
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        const rows::STier tier = rows::tier(i);
        if (tier.usable) {
            benchmark::RegisterBenchmark(benchName(operation.c_str(), sampleBytes, tier.table->name).c_str(),
                                         [=](benchmark::State& state) {
                                             run(state, *tier.table);
                                             setWork(state, bytes);
                                         });
        }
    }
}

/// Measures an operation that changes an image in place. Each iteration gets the samples anew, outside of the measured
/// time: what the operation left behind could be easier.
template <class T, class Work>
void measureInPlace(benchmark::State& state, const std::vector<T>& samples, Work work) {
    std::vector<T> image = samples;
    for (auto _ : state) {
        work(image.data());
        benchmark::ClobberMemory();
        state.PauseTiming();
        std::memcpy(image.data(), samples.data(), samples.size() * sizeof(T));
        state.ResumeTiming();
    }
}

} // namespace vek::bench
