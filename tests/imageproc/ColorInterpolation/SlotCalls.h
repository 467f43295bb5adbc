// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ColorInterpolation/DemosaicModel.h"
#include "imageproc/IColorInterpolation.h"
#include "imageproc/ModuleTest.h"

namespace vek::test {

using ColorInterpolationPtr = ModulePtr<IColorInterpolation, kModuleColorInterpolation>;
constexpr auto makeColorInterpolation = makeModule<IColorInterpolation, kModuleColorInterpolation>;

// The four operations by sample type; the short ones derive both pitches.
template <class T>
unsigned long callLong(IColorInterpolation& module, const SDemosaicCall& c, T* src, T* dst) {
    if constexpr (sizeof(T) == 1) {
        return module.ColorInterporationB(c.width, c.height, c.srcPitch, src, c.dstPitch, dst, c.method, c.colorArray,
                                          c.channels);
    } else {
        return module.ColorInterporationW(c.width, c.height, c.srcPitch, src, c.dstPitch, dst, c.method, c.colorArray,
                                          c.channels);
    }
}
template <class T>
unsigned long callShort(IColorInterpolation& module, const SDemosaicCall& c, T* src, T* dst) {
    if constexpr (sizeof(T) == 1) {
        return module.ColorInterporationB(c.width, c.height, src, dst, c.method, c.colorArray, c.channels);
    } else {
        return module.ColorInterporationW(c.width, c.height, src, dst, c.method, c.colorArray, c.channels);
    }
}

} // namespace vek::test
