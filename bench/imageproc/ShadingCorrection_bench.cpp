// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ShadingCorrection.h"

#include "Frame.h"
#include "VekTrgApi.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

template <class T>
void process(CShadingCorrection& module, T* image) {
    if constexpr (sizeof(T) == 1) {
        module.ProcessB(kWidth, kHeight, 0, image, 8);
    } else {
        module.ProcessW(kWidth, kHeight, 0, image, 12);
    }
}

/// The mean is read and written, too.
template <class T>
void registerCalibration() {
    const std::size_t bytes = kWidth * kHeight * (sizeof(T) + 2 * sizeof(double));
    registerTiers("shading calibration", sizeof(T), bytes, [](benchmark::State& state, const rows::SRowTable& table) {
        CShadingCorrection module(table);
        module.SetMode(VEK_SHADING_CALIBRATE_GAIN);
        std::vector<T> picture = makePicture<T>(1);
        for (auto _ : state) {
            process(module, picture.data());
            benchmark::ClobberMemory();
        }
    });
}

/// Reads frame and map, writes the frame.
template <class T>
void registerCorrection(const char* operation, unsigned long calibrate, unsigned long correct) {
    const std::size_t bytes = kWidth * kHeight * (2 * sizeof(T) + sizeof(int));
    registerTiers(operation, sizeof(T), bytes, [=](benchmark::State& state, const rows::SRowTable& table) {
        CShadingCorrection module(table);
        module.SetColorArray(VEK_COLOR_ARRAY_RGGB);
        std::vector<T> picture = makePicture<T>(1);
        module.SetMode(calibrate);
        process(module, picture.data());
        module.SetMode(correct);
        std::vector<T> first = picture;
        process(module, first.data()); // makes the map
        measureInPlace(state, picture, [&](T* image) { process(module, image); });
    });
}

const bool kRegistered = [] {
    registerCalibration<std::uint8_t>();
    registerCalibration<std::uint16_t>();
    registerCorrection<std::uint8_t>("shading gain", VEK_SHADING_CALIBRATE_GAIN, VEK_SHADING_GAIN);
    registerCorrection<std::uint16_t>("shading gain", VEK_SHADING_CALIBRATE_GAIN, VEK_SHADING_GAIN);
    registerCorrection<std::uint8_t>("shading offset", VEK_SHADING_CALIBRATE_OFFSET, VEK_SHADING_OFFSET);
    registerCorrection<std::uint16_t>("shading offset", VEK_SHADING_CALIBRATE_OFFSET, VEK_SHADING_OFFSET);
    return true;
}();

} // namespace
} // namespace vek::bench
