// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/IShadingCorrection.h"
#include "imageproc/ModuleTest.h"
#include "imageproc/ShadingCorrection/ShadingModel.h"

namespace vek::test {

using ShadingPtr = ModulePtr<IShadingCorrection, kModuleShadingCorrection>;
constexpr auto makeShading = makeModule<IShadingCorrection, kModuleShadingCorrection>;

template <class T>
unsigned long callShading(IShadingCorrection& module, const SShadingCall& c, T* image) {
    return (module.*bySample<T>(&IShadingCorrection::ProcessB, &IShadingCorrection::ProcessW))(c.width, c.height,
                                                                                               c.pitch, image, c.bits);
}

} // namespace vek::test
