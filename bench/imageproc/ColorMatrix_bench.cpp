// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorMatrix.h"

#include "Frame.h"
#include "VekTrgApi.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

constexpr short kMatrix[12] = {150, -30, -20, 0, -25, 160, -35, 0, -10, -40, 150, 0};

/// noise: samples without any order, the worst case for the branches.
template <class T>
void registerFor(const char* operation, unsigned long pixelFormat, std::size_t samples, bool noise = false) {
    const std::size_t bytes = kWidth * kHeight * samples * sizeof(T);
    registerTiers(operation, sizeof(T), 2 * bytes, [=](benchmark::State& state, const rows::SRowTable& table) {
        CColorMatrix module(table);
        module.SetColorMatrix(VEK_COLOR_MATRIX_CUSTOM, kMatrix);
        const std::vector<T> picture = noise ? makeSamples<T>(kWidth * kHeight * samples) : makePicture<T>(samples);
        measureInPlace(state, picture, [&](T* image) {
            if constexpr (sizeof(T) == 1) {
                module.ProcessB(kWidth, kHeight, 0, pixelFormat, image, 8);
            } else {
                module.ProcessW(kWidth, kHeight, 0, pixelFormat, image, 12);
            }
        });
    });
}

const bool kRegistered = [] {
    registerFor<std::uint8_t>("colour matrix BGR", VEK_DESTINATION_BGR24, 3);
    registerFor<std::uint16_t>("colour matrix BGR", VEK_DESTINATION_BGR48, 3);
    registerFor<std::uint8_t>("colour matrix BGRX", VEK_DESTINATION_BGRX32, 4);
    registerFor<std::uint16_t>("colour matrix BGRX", VEK_DESTINATION_BGRX64, 4);
    registerFor<std::uint8_t>("colour matrix BGR noise", VEK_DESTINATION_BGR24, 3, true);
    registerFor<std::uint16_t>("colour matrix BGR noise", VEK_DESTINATION_BGR48, 3, true);
    return true;
}();

} // namespace
} // namespace vek::bench
