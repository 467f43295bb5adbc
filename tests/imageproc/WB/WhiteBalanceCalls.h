// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/IWB.h"
#include "imageproc/ModuleTest.h"
#include "imageproc/WB/WhiteBalanceModel.h"

namespace vek::test {

using WhiteBalancePtr = ModulePtr<IWB, kModuleWB>;
constexpr auto makeWhiteBalance = makeModule<IWB, kModuleWB>;

template <class T>
unsigned long callWhiteBalance(IWB& module, const SWhiteBalanceCall& c, T* image) {
    return (module.*bySample<T>(&IWB::WBProcB, &IWB::WBProcW))(c.width, c.height, c.pitch, c.colorArray, image, c.bits);
}

} // namespace vek::test
