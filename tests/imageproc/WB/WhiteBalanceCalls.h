// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "imageproc/IWB.h"
#include "imageproc/WB/WhiteBalanceModel.h"

#include <cstdint>

namespace vek::test {

using WhiteBalancePtr = ModulePtr<IWB, kModuleWB>;

inline WhiteBalancePtr makeWhiteBalance() {
    return WhiteBalancePtr(static_cast<IWB*>(CreateVekImageProc(kModuleWB)));
}

// The image operation by sample type.
inline unsigned long callWhiteBalance(IWB& module, const SWhiteBalanceCall& c, std::uint8_t* image) {
    return module.WBProcB(c.width, c.height, c.lineBytes, c.colorArray, image, c.bits);
}
inline unsigned long callWhiteBalance(IWB& module, const SWhiteBalanceCall& c, std::uint16_t* image) {
    return module.WBProcW(c.width, c.height, c.lineBytes, c.colorArray, image, c.bits);
}

} // namespace vek::test
