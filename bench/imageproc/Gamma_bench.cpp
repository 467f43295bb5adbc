// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Gamma.h"

#include "Frame.h"
#include "VekTrgApi.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

template <class T>
void setCurves(CGamma& module) {
    for (const unsigned char channel : {VEK_GAMMA_Y, VEK_GAMMA_R, VEK_GAMMA_GR, VEK_GAMMA_GB, VEK_GAMMA_B}) {
        module.SetMode(channel, VEK_GAMMA_CURVE, 220, 0, 0, nullptr, sizeof(T) == 1 ? 8 : 12);
    }
}

template <class T>
void registerRaw() {
    const std::size_t bytes = kWidth * kHeight * sizeof(T);
    registerTiers("raw curves", sizeof(T), 2 * bytes, [](benchmark::State& state, const rows::SRowTable& table) {
        CGamma module(table);
        setCurves<T>(module);
        measureInPlace(state, makePicture<T>(1), [&](T* image) {
            if constexpr (sizeof(T) == 1) {
                module.ProcColorRawB(kWidth, kHeight, 0, VEK_COLOR_ARRAY_RGGB, image);
            } else {
                module.ProcColorRawW(kWidth, kHeight, 0, VEK_COLOR_ARRAY_RGGB, image);
            }
        });
    });
}

/// samples: of a pixel in the buffer, touched: of these, the ones that lie in cache lines which are read and written.
/// Colour pixels of words stand twice their size apart, and what lies between them travels along; rows of grey words
/// take twice their size, too, but their second half is not touched.
template <class T>
void registerLuma(const char* operation, unsigned long pixelFormat, std::size_t samples, std::size_t touched) {
    const std::size_t bytes = kWidth * kHeight * touched * sizeof(T);
    registerTiers(operation, sizeof(T), 2 * bytes, [=](benchmark::State& state, const rows::SRowTable& table) {
        CGamma module(table);
        setCurves<T>(module);
        measureInPlace(state, makePicture<T>(samples), [&](T* image) {
            if constexpr (sizeof(T) == 1) {
                module.ProcBGROrGrayB(kWidth, kHeight, 0, pixelFormat, image);
            } else {
                module.ProcBGROrGrayW(kWidth, kHeight, 0, pixelFormat, image);
            }
        });
    });
}

const bool kRegistered = [] {
    registerRaw<std::uint8_t>();
    registerRaw<std::uint16_t>();
    registerLuma<std::uint8_t>("luma curve grey", VEK_DESTINATION_MONO8, 1, 1);
    registerLuma<std::uint16_t>("luma curve grey", VEK_DESTINATION_MONO12, 2, 1);
    registerLuma<std::uint8_t>("luma curve BGR", VEK_DESTINATION_BGR24, 3, 3);
    registerLuma<std::uint16_t>("luma curve BGR", VEK_DESTINATION_BGR48, 6, 6);
    registerLuma<std::uint8_t>("luma curve BGRX", VEK_DESTINATION_BGRX32, 4, 4);
    registerLuma<std::uint16_t>("luma curve BGRX", VEK_DESTINATION_BGRX64, 8, 8);
    return true;
}();

} // namespace
} // namespace vek::bench
