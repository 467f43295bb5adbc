// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ChromaSuppress.h"
#include "imageproc/ColorMatrix.h"
#include "imageproc/Gamma.h"
#include "imageproc/NoiseReduction.h"
#include "imageproc/ShadingCorrection.h"
#include "imageproc/Sharpness.h"
#include "imageproc/WB.h"

#include <memory>

namespace vek {

/// What a handle's stages were set to when a plan was made.
struct SHandleStages {
    // In an order that leaves few gaps: the curves stand on cache lines.
    SLumaGammaStage lumaGamma;
    SRawGammaStage rawGamma;
    SColorMatrixStage matrix;
    std::shared_ptr<const SDarkFrame> dark; ///< of noise reduction
    SShadingStage shading;
    SWBStage balance; ///< with the tables of bytes
    SSharpnessStage sharpness;
    SChromaSuppressStage suppression;
};

} // namespace vek
