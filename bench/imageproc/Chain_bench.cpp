// SPDX-License-Identifier: Apache-2.0
// The stages that a raw frame passes on its way to a picture, one after the other on the whole frame.
#include "Operations.h"
#include "imageproc/Stages.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace vek::bench {
namespace {

using Byte = std::uint8_t;

struct SStages {
    explicit SStages(const rows::SRowTable& table)
        : noise(table), shading(table), balance(table), gamma(table), demosaic(table), matrix(table), sharpness(table) {
    }
    CNoiseReduction noise;
    CShadingCorrection shading;
    CWB balance;
    CGamma gamma;
    CColorInterpolation demosaic;
    CColorMatrix matrix;
    CSharpness sharpness;
};

SJob chain(const rows::SRowTable& table, SInput input) {
    const SSize size = input.size;
    const auto stages = std::make_shared<SStages>(table);
    storeDark<Byte>(stages->noise, size, VEK_COLOR_ARRAY_RGGB);
    calibrate<Byte>(stages->shading, size, VEK_SHADING_CALIBRATE_GAIN, VEK_SHADING_GAIN);
    setBalance(stages->balance, VEK_WB_MANUAL);
    setCurves<Byte>(stages->gamma);
    setMatrix(stages->matrix);
    setSharpness<Byte>(stages->sharpness);
    const auto bgr = std::make_shared<std::vector<Byte>>(size.Pixels() * 3);
    return inPlaceJob(CPicture<Byte>(input, 1), [=](Byte* raw) {
        process(stages->noise, size, VEK_COLOR_ARRAY_RGGB, raw, VEK_NOISE_COMPLEX);
        process(stages->shading, size, raw);
        process(stages->balance, size, raw);
        processRaw(stages->gamma, size, raw);
        interpolate(stages->demosaic, size, raw, bgr->data(), VEK_DEMOSAIC_BILINEAR_SIMPLE, VEK_COLOR_ARRAY_RGGB, 3);
        process(stages->matrix, size, kBgr<Byte>, bgr->data());
        process(stages->sharpness, size, kBgr<Byte>, bgr->data());
    });
}

} // namespace

Operations chainOperations() {
    // The sum of what the stages move: 3 + 4 + 2 + 2 + 4 + 6 + 6.
    return {{"chain", 8, 27, chain}};
}

} // namespace vek::bench
