// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Status.h"
#include "imageproc/NoiseReduction/NoiseReductionModel.h"
#include "support/ModelCheck.h"

#include <ostream>

namespace vek::test {

inline std::ostream& operator<<(std::ostream& out, const SNoiseCall& call) {
    return out << "mode " << call.mode << ", " << call.width << " x " << call.height << ", pitch " << call.pitch
               << ", colour array " << call.colorArray << ", bits " << call.bits;
}

template <class T>
unsigned long runModel(SNoiseModel* model, const SNoiseCall& call, T* image, bool) {
    return modelNoiseReduction(model, call, image);
}

using CNoiseReductionCheck = CModelCheck<SNoiseCall, SNoiseModel>;

} // namespace vek::test
