// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "imageproc/IShadingCorrection.h"
#include "imageproc/ShadingCorrection/ShadingModel.h"

#include <cstdint>

namespace vek::test {

using ShadingPtr = ModulePtr<IShadingCorrection, kModuleShadingCorrection>;

inline ShadingPtr makeShading() {
    return ShadingPtr(static_cast<IShadingCorrection*>(CreateVekImageProc(kModuleShadingCorrection)));
}

// The operation by sample type.
inline unsigned long callShading(IShadingCorrection& module, const SShadingCall& c, std::uint8_t* image) {
    return module.ProcessB(c.width, c.height, c.linePitch, image, c.bits);
}
inline unsigned long callShading(IShadingCorrection& module, const SShadingCall& c, std::uint16_t* image) {
    return module.ProcessW(c.width, c.height, c.linePitch, image, c.bits);
}

} // namespace vek::test
