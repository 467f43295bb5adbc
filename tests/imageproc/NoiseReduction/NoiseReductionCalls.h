// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/INoiseReduction.h"
#include "imageproc/ModuleTest.h"
#include "imageproc/NoiseReduction/NoiseReductionModel.h"

namespace vek::test {

using NoiseReductionPtr = ModulePtr<INoiseReduction, kModuleNoiseReduction>;
constexpr auto makeNoiseReduction = makeModule<INoiseReduction, kModuleNoiseReduction>;

template <class T>
unsigned long callNoiseReduction(INoiseReduction& module, const SNoiseCall& c, T* image) {
    return (module.*bySample<T>(&INoiseReduction::NRProcB, &INoiseReduction::NRProcW))(
        c.width, c.height, c.pitch, c.colorArray, image, c.bits, c.mode);
}

} // namespace vek::test
