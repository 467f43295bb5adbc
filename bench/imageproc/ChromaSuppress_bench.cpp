// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ChromaSuppress.h"

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
        CChromaSuppress module(table);
        // Both parts at work, the middle third of the range left alone.
        constexpr unsigned range = sizeof(T) == 1 ? 256 : 4096;
        module.SetLowStartLevel(static_cast<unsigned short>(range / 3));
        module.SetLowSlope(static_cast<unsigned short>(16384 * 4 / range));
        module.SetHighStartLevel(static_cast<unsigned short>(2 * range / 3));
        module.SetHighSlope(static_cast<unsigned short>(16384 * 4 / range));
        const std::vector<T> picture = noise ? makeSamples<T>(kWidth * kHeight * samples) : makePicture<T>(samples);
        measureInPlace(state, picture, [&](T* image) {
            if constexpr (sizeof(T) == 1) {
                module.ProcessB(kWidth, kHeight, 0, pixelFormat, image);
            } else {
                module.ProcessW(kWidth, kHeight, 0, pixelFormat, image);
            }
        });
    });
}

const bool kRegistered = [] {
    registerFor<std::uint8_t>("chroma suppression BGR", VEK_DESTINATION_BGR24, 3);
    registerFor<std::uint16_t>("chroma suppression BGR", VEK_DESTINATION_BGR48, 3);
    registerFor<std::uint8_t>("chroma suppression BGRX", VEK_DESTINATION_BGRX32, 4);
    registerFor<std::uint16_t>("chroma suppression BGRX", VEK_DESTINATION_BGRX64, 4);
    registerFor<std::uint8_t>("chroma suppression BGR noise", VEK_DESTINATION_BGR24, 3, true);
    registerFor<std::uint16_t>("chroma suppression BGR noise", VEK_DESTINATION_BGR48, 3, true);
    return true;
}();

} // namespace
} // namespace vek::bench
