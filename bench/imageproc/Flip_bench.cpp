// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Flip.h"

#include "Operations.h"
#include "Picture.h"
#include "VekTrgApi.h"
#include "imageproc/Stages.h"

#include <memory>
#include <vector>

namespace vek::bench {
namespace {

/// Of raw images, in place, as the export does it: a quarter turn takes the detour over a buffer.
template <class T>
SOperation raw(const char* name, unsigned char mirror, unsigned char rotation) {
    return {name, kBits<T>, 2.0 * sizeof(T), [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CFlip>(table);
                const auto image = std::make_shared<std::vector<T>>(makeImage(CPicture<T>(input, 1)));
                // Nothing is restored: what a call leaves is as hard as the picture.
                const auto run = [=] {
                    unsigned long width = input.size.width;
                    unsigned long height = input.size.height;
                    unsigned short colorArray = VEK_COLOR_ARRAY_RGGB;
                    if constexpr (kBytes<T>) {
                        module->FlipRawB(mirror, rotation, &width, &height, image->data(), image->data(), &colorArray);
                    } else {
                        module->FlipRawW(mirror, rotation, &width, &height, image->data(), image->data(), &colorArray);
                    }
                };
                return SJob{run, {}};
            }};
}

/// Of blue-green-red images, from one to another.
template <class T>
SOperation color(const char* name, unsigned char mirror, unsigned char rotation) {
    return {name, kBits<T>, 6.0 * sizeof(T),
            [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CFlip>(table);
                return conversionJob<T>(CPicture<T>(input, 3), input.size.Pixels() * 3, [=](T* src, T* dst) {
                    unsigned long width = input.size.width;
                    unsigned long height = input.size.height;
                    if constexpr (kBytes<T>) {
                        module->FlipBGRB(mirror, rotation, &width, &height, src, dst, 3);
                    } else {
                        module->FlipBGRW(mirror, rotation, &width, &height, src, dst, 3);
                    }
                });
            },
            true};
}

template <class T>
Operations ofSamples() {
    constexpr unsigned char both = VEK_MIRROR_HORIZONTAL | VEK_MIRROR_VERTICAL;
    return {raw<T>("mirror H", VEK_MIRROR_HORIZONTAL, VEK_ROTATION_NONE),
            raw<T>("mirror HV", both, VEK_ROTATION_NONE),
            raw<T>("mirror V", VEK_MIRROR_VERTICAL, VEK_ROTATION_NONE),
            raw<T>("rotation", VEK_MIRROR_NONE, VEK_ROTATION_CLOCKWISE),
            color<T>("mirror H BGR", VEK_MIRROR_HORIZONTAL, VEK_ROTATION_NONE),
            color<T>("rotation BGR", VEK_MIRROR_NONE, VEK_ROTATION_CLOCKWISE)};
}

} // namespace

Operations flipOperations() {
    return joined(ofSamples<std::uint8_t>(), ofSamples<std::uint16_t>());
}

} // namespace vek::bench
