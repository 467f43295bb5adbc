// SPDX-License-Identifier: Apache-2.0
#include "imageproc/WB.h"

#include "Frame.h"
#include "VekTrgApi.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace vek::bench {
namespace {

// R, Gr, Gb, B; no colour passes unchanged.
constexpr unsigned short kGains[] = {256, 140, 140, 217};

template <class T>
void registerFor(const char* operation, unsigned char mode) {
    const std::size_t bytes = kWidth * kHeight * sizeof(T);
    registerTiers(operation, sizeof(T), 2 * bytes, [mode](benchmark::State& state, const rows::SRowTable& table) {
        CWB module(table);
        module.SetWBMode(mode);
        module.SetWBGain(kGains);
        measureInPlace(state, makePicture<T>(1), [&](T* image) {
            if constexpr (sizeof(T) == 1) {
                module.WBProcB(kWidth, kHeight, 0, VEK_COLOR_ARRAY_RGGB, image, 8);
            } else {
                module.WBProcW(kWidth, kHeight, 0, VEK_COLOR_ARRAY_RGGB, image, 12);
            }
        });
    });
}

const bool kRegistered = [] {
    registerFor<std::uint8_t>("white balance", VEK_WB_MANUAL);
    registerFor<std::uint16_t>("white balance", VEK_WB_MANUAL);
    registerFor<std::uint8_t>("white balance, automatic", VEK_WB_AUTO);
    registerFor<std::uint16_t>("white balance, automatic", VEK_WB_AUTO);
    return true;
}();

} // namespace
} // namespace vek::bench
