// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Status.h"
#include "imageproc/ShadingCorrection/ShadingModel.h"
#include "support/ModelCheck.h"

#include <ostream>

namespace vek::test {

inline std::ostream& operator<<(std::ostream& out, const SShadingCall& call) {
    return out << call.width << " x " << call.height << ", pitch " << call.pitch << ", bits " << call.bits;
}

/// Depths beyond a sample: results beyond it are cut or limited, but one of them throughout.
inline bool hasSecondResult(const SShadingCall& call, std::size_t sampleBytes) {
    return call.bits > 8 * sampleBytes;
}

template <class T>
unsigned long runModel(SShadingModel* model, const SShadingCall& call, T* image, bool second) {
    return modelShading(model, call, image, second ? Beyond::Limited : Beyond::Cut);
}

using CShadingCheck = CModelCheck<SShadingCall, SShadingModel>;

} // namespace vek::test
