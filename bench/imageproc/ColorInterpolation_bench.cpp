// SPDX-License-Identifier: Apache-2.0
#include "imageproc/ColorInterpolation.h"

#include "Operations.h"
#include "formats/DemosaicMethods.h"
#include "imageproc/Stages.h"

#include <memory>
#include <string>

namespace vek::bench {
namespace {

struct SMethod {
    std::string name;
    unsigned char code;
};
const SMethod kGray = {"grey to BGR", VEK_DEMOSAIC_MONO};
const SMethod kFourSamples = {"demosaic BilinearSimple BGRX", VEK_DEMOSAIC_BILINEAR_SIMPLE};

template <class T>
SOperation demosaic(const SMethod& method, unsigned short channels, bool extra = false) {
    return {method.name, kBits<T>, static_cast<double>((1U + channels) * sizeof(T)),
            [=, code = method.code](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CColorInterpolation>(table);
                return conversionJob<T>(CPicture<T>(input, 1), input.size.Pixels() * channels, [=](T* src, T* dst) {
                    interpolate(*module, input.size, src, dst, code, VEK_COLOR_ARRAY_RGGB, channels);
                });
            },
            extra};
}

/// halfSamples: bytes of a pixel of the frame, doubled.
SOperation decode(const char* name, unsigned short colorArray, unsigned halfSamples, unsigned char method,
                  bool extra = false) {
    const unsigned short channels = method == VEK_DEMOSAIC_MONO ? 1 : 3;
    return {name, 8, halfSamples / 2.0 + channels,
            [=](const rows::SRowTable& table, SInput input) {
                using Byte = std::uint8_t;
                const auto module = std::make_shared<CColorInterpolation>(table);
                const SSize bytes = {input.size.width * halfSamples / 2, input.size.height};
                const CPicture<Byte> picture({bytes, input.content}, 1);
                return conversionJob<Byte>(picture, input.size.Pixels() * channels, [=](Byte* src, Byte* dst) {
                    interpolate(*module, input.size, src, dst, method, colorArray, channels);
                });
            },
            extra};
}

} // namespace

Operations colorInterpolationOperations() {
    Operations operations;
    for (const SDemosaicMethod& known : kDemosaicMethods) {
        if (known.code == VEK_DEMOSAIC_MONO) {
            continue;
        }
        const SMethod method = {"demosaic " + std::string(known.title), known.code};
        operations.push_back(demosaic<std::uint8_t>(method, 3));
        operations.push_back(demosaic<std::uint16_t>(method, 3));
    }
    operations.push_back(demosaic<std::uint8_t>(kGray, 3, true));
    operations.push_back(demosaic<std::uint16_t>(kGray, 3, true));
    operations.push_back(demosaic<std::uint8_t>(kFourSamples, 4, true));
    operations.push_back(demosaic<std::uint16_t>(kFourSamples, 4, true));
    constexpr unsigned char any = VEK_DEMOSAIC_NEAREST_NEIGHBOR;
    operations.push_back(decode("YCrCb 4:2:2 to BGR", VEK_COLOR_ARRAY_YCRCB422, 4, any));
    operations.push_back(decode("YCrCb 4:4:4 to BGR", VEK_COLOR_ARRAY_YCRCB444, 6, any));
    operations.push_back(decode("YCrCb 4:1:1 to BGR", VEK_COLOR_ARRAY_YCRCB411, 3, any));
    operations.push_back(decode("YCrCb 4:2:2 BT.709 to BGR", VEK_COLOR_ARRAY_YCRCB422_BT709, 4, any, true));
    operations.push_back(decode("YCrCb 4:2:2 to grey", VEK_COLOR_ARRAY_YCRCB422, 4, VEK_DEMOSAIC_MONO, true));
    return operations;
}

} // namespace vek::bench
