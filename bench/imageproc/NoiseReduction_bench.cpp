// SPDX-License-Identifier: Apache-2.0
#include "imageproc/NoiseReduction.h"

#include "Frame.h"
#include "VekTrgApi.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

template <class T>
constexpr unsigned short kDepth = sizeof(T) == 1 ? 8 : 12;

template <class T>
void process(CNoiseReduction& module, unsigned short colorArray, T* image, unsigned long mode) {
    if constexpr (sizeof(T) == 1) {
        module.NRProcB(kWidth, kHeight, 0, colorArray, image, kDepth<T>, mode);
    } else {
        module.NRProcW(kWidth, kHeight, 0, colorArray, image, kDepth<T>, mode);
    }
}

template <class T>
void registerEasy(const char* operation, unsigned short colorArray) {
    const std::size_t bytes = kWidth * kHeight * sizeof(T);
    registerTiers(operation, sizeof(T), 2 * bytes, [colorArray](benchmark::State& state, const rows::SRowTable& table) {
        CNoiseReduction module(table);
        measureInPlace(state, makePicture<T>(1), [&](T* image) { process(module, colorArray, image, VEK_NOISE_EASY); });
    });
}

/// Reads frame and dark frame, writes the frame.
template <class T>
void registerComplex(const char* operation, unsigned short colorArray) {
    const std::size_t bytes = kWidth * kHeight * sizeof(T);
    registerTiers(operation, sizeof(T), 3 * bytes, [colorArray](benchmark::State& state, const rows::SRowTable& table) {
        CNoiseReduction module(table);
        // A dark frame of a few levels.
        std::vector<T> dark = makeSamples<T>(kWidth * kHeight);
        for (T& sample : dark) {
            sample = static_cast<T>(sample >> (kDepth<T> - 3));
        }
        process(module, colorArray, dark.data(), VEK_NOISE_STORE_DARK);
        measureInPlace(state, makePicture<T>(1),
                       [&](T* image) { process(module, colorArray, image, VEK_NOISE_COMPLEX); });
    });
}

const bool kRegistered = [] {
    registerEasy<std::uint8_t>("noise reduction easy, Bayer", VEK_COLOR_ARRAY_RGGB);
    registerEasy<std::uint16_t>("noise reduction easy, Bayer", VEK_COLOR_ARRAY_RGGB);
    registerEasy<std::uint8_t>("noise reduction easy, mono", VEK_COLOR_ARRAY_MONO);
    registerEasy<std::uint16_t>("noise reduction easy, mono", VEK_COLOR_ARRAY_MONO);
    registerComplex<std::uint8_t>("noise reduction complex, Bayer", VEK_COLOR_ARRAY_RGGB);
    registerComplex<std::uint16_t>("noise reduction complex, Bayer", VEK_COLOR_ARRAY_RGGB);
    registerComplex<std::uint8_t>("noise reduction complex, mono", VEK_COLOR_ARRAY_MONO);
    registerComplex<std::uint16_t>("noise reduction complex, mono", VEK_COLOR_ARRAY_MONO);
    return true;
}();

} // namespace
} // namespace vek::bench
