// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "imageproc/ColorInterpolation/DemosaicModel.h"
#include "imageproc/IColorInterpolation.h"

#include <cstdint>

namespace vek::test {

using ColorInterpolationPtr = ModulePtr<IColorInterpolation, kModuleColorInterpolation>;

inline ColorInterpolationPtr makeColorInterpolation() {
    return ColorInterpolationPtr(static_cast<IColorInterpolation*>(CreateVekImageProc(kModuleColorInterpolation)));
}

// The four operations by sample type; the short ones derive both pitches.
inline unsigned long callLong(IColorInterpolation& module, const SDemosaicCall& c, std::uint8_t* src,
                              std::uint8_t* dst) {
    return module.ColorInterporationB(c.width, c.height, c.srcPitch, src, c.dstPitch, dst, c.method, c.colorArray,
                                      c.channels);
}
inline unsigned long callLong(IColorInterpolation& module, const SDemosaicCall& c, std::uint16_t* src,
                              std::uint16_t* dst) {
    return module.ColorInterporationW(c.width, c.height, c.srcPitch, src, c.dstPitch, dst, c.method, c.colorArray,
                                      c.channels);
}
inline unsigned long callShort(IColorInterpolation& module, const SDemosaicCall& c, std::uint8_t* src,
                               std::uint8_t* dst) {
    return module.ColorInterporationB(c.width, c.height, src, dst, c.method, c.colorArray, c.channels);
}
inline unsigned long callShort(IColorInterpolation& module, const SDemosaicCall& c, std::uint16_t* src,
                               std::uint16_t* dst) {
    return module.ColorInterporationW(c.width, c.height, src, dst, c.method, c.colorArray, c.channels);
}

} // namespace vek::test
