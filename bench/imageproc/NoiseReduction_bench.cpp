// SPDX-License-Identifier: Apache-2.0
#include "imageproc/NoiseReduction.h"

#include "Operations.h"
#include "imageproc/Stages.h"

#include <memory>

namespace vek::bench {
namespace {

template <class T>
SOperation easy(const char* name, unsigned short colorArray) {
    return {name, kBits<T>, 2.0 * sizeof(T), [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CNoiseReduction>(table);
                return inPlaceJob(CPicture<T>(input, 1),
                                  [=](T* image) { process(*module, input.size, colorArray, image, VEK_NOISE_EASY); });
            }};
}

/// Reads frame and dark frame, writes the frame.
template <class T>
SOperation complex(const char* name, unsigned short colorArray) {
    return {name, kBits<T>, 3.0 * sizeof(T),
            [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CNoiseReduction>(table);
                storeDark<T>(*module, input.size, colorArray);
                return inPlaceJob(CPicture<T>(input, 1), [=](T* image) {
                    process(*module, input.size, colorArray, image, VEK_NOISE_COMPLEX);
                });
            },
            colorArray == VEK_COLOR_ARRAY_MONO};
}

template <class T>
Operations ofSamples() {
    return {easy<T>("easy noise filter mono", VEK_COLOR_ARRAY_MONO),
            easy<T>("easy noise filter Bayer", VEK_COLOR_ARRAY_RGGB),
            complex<T>("dark subtraction with repair", VEK_COLOR_ARRAY_RGGB),
            complex<T>("dark subtraction with repair, mono", VEK_COLOR_ARRAY_MONO)};
}

} // namespace

Operations noiseReductionOperations() {
    return joined(ofSamples<std::uint8_t>(), ofSamples<std::uint16_t>());
}

} // namespace vek::bench
