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
    std::shared_ptr<const SDarkFrame> dark; ///< of noise reduction
    SShadingStage shading;
    SWBStage balance; ///< with the tables of bytes
    SRawGammaStage rawGamma;
    SColorMatrixStage matrix;
    SChromaSuppressStage suppression;
    SLumaGammaStage lumaGamma;
    SSharpnessStage sharpness;
};

} // namespace vek
