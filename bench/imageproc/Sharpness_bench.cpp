// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Sharpness.h"

#include "Frame.h"
#include "VekTrgApi.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

/// noise: samples without any order, the worst case for the branches.
template <class T>
void registerFor(const char* operation, unsigned long pixelFormat, std::size_t samples, bool noise = false) {
    const std::size_t bytes = kWidth * kHeight * samples * sizeof(T);
    registerTiers(operation, sizeof(T), 2 * bytes, [=](benchmark::State& state, const rows::SRowTable& table) {
        CSharpness module(table);
        module.SetMode(1, 80, sizeof(T) == 1 ? 8 : 128); // the same part of the range
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
    registerFor<std::uint8_t>("sharpness grey", VEK_DESTINATION_MONO8, 1);
    registerFor<std::uint16_t>("sharpness grey", VEK_DESTINATION_MONO12, 1);
    registerFor<std::uint8_t>("sharpness BGR", VEK_DESTINATION_BGR24, 3);
    registerFor<std::uint16_t>("sharpness BGR", VEK_DESTINATION_BGR48, 3);
    registerFor<std::uint8_t>("sharpness BGRX", VEK_DESTINATION_BGRX32, 4);
    registerFor<std::uint16_t>("sharpness BGRX", VEK_DESTINATION_BGRX64, 4);
    registerFor<std::uint8_t>("sharpness BGR noise", VEK_DESTINATION_BGR24, 3, true);
    registerFor<std::uint16_t>("sharpness BGR noise", VEK_DESTINATION_BGR48, 3, true);
    return true;
}();

} // namespace
} // namespace vek::bench
