// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ChromaSuppress.h"
#include "imageproc/ColorMatrix.h"
#include "imageproc/Gamma.h"
#include "imageproc/NoiseReduction.h"
#include "imageproc/ShadingCorrection.h"
#include "imageproc/Sharpness.h"
#include "imageproc/WB.h"

namespace vek {

/// What a handle's stages were set to when a plan was made.
struct SHandleStages {
    SNoiseStage noise; ///< its mode is the description's
    SShadingStage shading;
    SWBStage balance; ///< with the tables of bytes
    SRawGammaStage rawGamma;
    SColorMatrixStage matrix;
    SChromaSuppressStage suppression;
    SLumaGammaStage lumaGamma;
    SSharpnessStage sharpness;
};

} // namespace vek
