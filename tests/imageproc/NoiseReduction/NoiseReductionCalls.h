// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "imageproc/INoiseReduction.h"
#include "imageproc/NoiseReduction/NoiseReductionModel.h"

#include <cstdint>

namespace vek::test {

using NoiseReductionPtr = ModulePtr<INoiseReduction, kModuleNoiseReduction>;

inline NoiseReductionPtr makeNoiseReduction() {
    return NoiseReductionPtr(static_cast<INoiseReduction*>(CreateVekImageProc(kModuleNoiseReduction)));
}

// The operation by sample type.
inline unsigned long callNoiseReduction(INoiseReduction& module, const SNoiseCall& c, std::uint8_t* image) {
    return module.NRProcB(c.width, c.height, c.linePitch, c.colorArray, image, c.bits, c.mode);
}
inline unsigned long callNoiseReduction(INoiseReduction& module, const SNoiseCall& c, std::uint16_t* image) {
    return module.NRProcW(c.width, c.height, c.linePitch, c.colorArray, image, c.bits, c.mode);
}

} // namespace vek::test
