// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ChromaSuppress.h"

#include "Operations.h"
#include "imageproc/Stages.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace vek::bench {
namespace {

/// Limits below and above which an eighth of the picture's pixels lies each: a quarter is suppressed, slowly.
template <class T>
void setLimits(CChromaSuppress& module, const CPicture<T>& picture, std::size_t samples) {
    const std::vector<T>& band = picture.Band();
    std::vector<unsigned> luma(band.size() / samples);
    for (std::size_t i = 0; i < luma.size(); ++i) {
        const T* const pixel = &band[i * samples];
        luma[i] = static_cast<unsigned>(gpwB2Y[pixel[0]] + gpwG2Y[pixel[1]] + gpwR2Y[pixel[2]]);
    }
    std::vector<unsigned> sorted = luma;
    std::sort(sorted.begin(), sorted.end());
    const unsigned low = sorted[sorted.size() / 8];
    const unsigned high = sorted[sorted.size() * 7 / 8];
    const auto active = std::count_if(luma.begin(), luma.end(), [=](unsigned y) { return y < low || y > high; });
    const double share = static_cast<double>(active) / static_cast<double>(luma.size());
    if (share < 0.23 || share > 0.27) {
        std::fprintf(stderr, "chroma suppression: %.3f of the picture is suppressed, not a quarter\n", share);
        std::exit(1);
    }
    constexpr auto slope = static_cast<unsigned short>(16384 >> (kDepth<T> - 2)); // grey within a quarter of the range
    module.SetLowStartLevel(static_cast<unsigned short>(low));
    module.SetLowSlope(slope);
    module.SetHighStartLevel(static_cast<unsigned short>(high));
    module.SetHighSlope(slope);
}

template <class T>
SOperation operation(const char* name, unsigned long pixelFormat, std::size_t samples) {
    return {name, kBits<T>, static_cast<double>(2 * samples * sizeof(T)),
            [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CChromaSuppress>(table);
                setLimits(*module, CPicture<T>({input.size}, samples), samples);
                return inPlaceJob(CPicture<T>(input, samples), [=](T* image) {
                    if constexpr (kBytes<T>) {
                        module->ProcessB(input.size.width, input.size.height, 0, pixelFormat, image);
                    } else {
                        module->ProcessW(input.size.width, input.size.height, 0, pixelFormat, image);
                    }
                });
            },
            samples == 4};
}

template <class T>
Operations ofSamples() {
    return {operation<T>("chroma suppression BGR", kBgr<T>, 3), operation<T>("chroma suppression BGRX", kBgrx<T>, 4)};
}

} // namespace

Operations chromaSuppressOperations() {
    return joined(ofSamples<std::uint8_t>(), ofSamples<std::uint16_t>());
}

} // namespace vek::bench
