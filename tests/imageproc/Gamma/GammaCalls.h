// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "imageproc/Gamma/GammaModel.h"
#include "imageproc/IGamma.h"

#include <cstdint>

namespace vek::test {

using GammaPtr = ModulePtr<IGamma, kModuleGamma>;

inline GammaPtr makeGamma() {
    return GammaPtr(static_cast<IGamma*>(CreateVekImageProc(kModuleGamma)));
}

inline unsigned long callSetGamma(IGamma& module, const SGammaSetting& s, const void* table) {
    return module.SetMode(s.channel, s.mode, s.gamma, s.brightness, s.contrast, table, s.bits);
}

// The image operations by sample type.
inline unsigned long callRawGamma(IGamma& module, const SGammaCall& c, std::uint8_t* image) {
    return module.ProcColorRawB(c.width, c.height, c.lineBytes, static_cast<std::uint16_t>(c.selector), image);
}
inline unsigned long callRawGamma(IGamma& module, const SGammaCall& c, std::uint16_t* image) {
    return module.ProcColorRawW(c.width, c.height, c.lineBytes, static_cast<std::uint16_t>(c.selector), image);
}
inline unsigned long callPixelGamma(IGamma& module, const SGammaCall& c, std::uint8_t* image) {
    return module.ProcBGROrGrayB(c.width, c.height, c.lineBytes, c.selector, image);
}
inline unsigned long callPixelGamma(IGamma& module, const SGammaCall& c, std::uint16_t* image) {
    return module.ProcBGROrGrayW(c.width, c.height, c.lineBytes, c.selector, image);
}

} // namespace vek::test
