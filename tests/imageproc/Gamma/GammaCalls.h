// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/Gamma/GammaModel.h"
#include "imageproc/IGamma.h"
#include "imageproc/ModuleTest.h"

namespace vek::test {

using GammaPtr = ModulePtr<IGamma, kModuleGamma>;
constexpr auto makeGamma = makeModule<IGamma, kModuleGamma>;

inline unsigned long callSetGamma(IGamma& module, const SGammaSetting& s, const void* table) {
    return module.SetMode(s.channel, s.mode, s.gamma, s.brightness, s.contrast, table, s.bits);
}

template <class T>
unsigned long callGamma(IGamma& module, const SGammaCall& c, T* image) {
    if (c.raw) {
        return (module.*bySample<T>(&IGamma::ProcColorRawB, &IGamma::ProcColorRawW))(
            c.width, c.height, c.pitch, static_cast<std::uint16_t>(c.selector), image);
    }
    return (module.*bySample<T>(&IGamma::ProcBGROrGrayB, &IGamma::ProcBGROrGrayW))(c.width, c.height, c.pitch,
                                                                                   c.selector, image);
}

} // namespace vek::test
