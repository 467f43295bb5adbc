// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Flip.h"

#include "Frame.h"
#include "VekTrgApi.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace vek::bench {
namespace {

struct STransform {
    const char* inPlace; ///< of raw images, the way of the export; rotations take the detour over a buffer
    const char* colour;  ///< of blue-green-red images, from one to another
    unsigned char mirror;
    unsigned char rotation;
};
constexpr STransform kTransforms[] = {
    {"mirror h", "mirror h BGR", VEK_MIRROR_HORIZONTAL, VEK_ROTATION_NONE},
    {"mirror v", nullptr, VEK_MIRROR_VERTICAL, VEK_ROTATION_NONE},
    {"mirror hv", nullptr, VEK_MIRROR_HORIZONTAL | VEK_MIRROR_VERTICAL, VEK_ROTATION_NONE},
    {"rotate", "rotate BGR", VEK_MIRROR_NONE, VEK_ROTATION_CLOCKWISE},
};

template <class T>
void flipInPlace(benchmark::State& state, const rows::SRowTable& table, const STransform& transform) {
    CFlip module(table);
    std::vector<T> image = makeSamples<T>(kWidth * kHeight);
    unsigned long width = kWidth;
    unsigned long height = kHeight;
    unsigned short colorArray = VEK_COLOR_ARRAY_RGGB;
    for (auto _ : state) {
        if constexpr (sizeof(T) == 1) {
            module.FlipRawB(transform.mirror, transform.rotation, &width, &height, image.data(), image.data(),
                            &colorArray);
        } else {
            module.FlipRawW(transform.mirror, transform.rotation, &width, &height, image.data(), image.data(),
                            &colorArray);
        }
        benchmark::ClobberMemory();
    }
}

template <class T>
void flipColour(benchmark::State& state, const rows::SRowTable& table, const STransform& transform) {
    CFlip module(table);
    std::vector<T> src = makeSamples<T>(kWidth * kHeight * 3);
    std::vector<T> dst(src.size());
    for (auto _ : state) {
        unsigned long width = kWidth;
        unsigned long height = kHeight;
        if constexpr (sizeof(T) == 1) {
            module.FlipBGRB(transform.mirror, transform.rotation, &width, &height, src.data(), dst.data(), 3);
        } else {
            module.FlipBGRW(transform.mirror, transform.rotation, &width, &height, src.data(), dst.data(), 3);
        }
        benchmark::ClobberMemory();
    }
}

template <class T>
void registerFor(const STransform& transform) {
    const std::size_t bytes = kWidth * kHeight * sizeof(T);
    registerTiers(transform.inPlace, sizeof(T), 2 * bytes,
                  [transform](benchmark::State& state, const rows::SRowTable& table) {
                      flipInPlace<T>(state, table, transform);
                  });
    if (transform.colour != nullptr) {
        registerTiers(transform.colour, sizeof(T), 2 * 3 * bytes,
                      [transform](benchmark::State& state, const rows::SRowTable& table) {
                          flipColour<T>(state, table, transform);
                      });
    }
}

const bool kRegistered = [] {
    for (const STransform& transform : kTransforms) {
        registerFor<std::uint8_t>(transform);
        registerFor<std::uint16_t>(transform);
    }
    return true;
}();

} // namespace
} // namespace vek::bench
