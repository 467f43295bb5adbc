// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "common/Status.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/SampleTypes.h"

#include <vector>

namespace vek::test {

constexpr unsigned short kMono = 1;
constexpr unsigned short kRGGB = 2;
constexpr unsigned short kGRBG = 3;
constexpr unsigned short kGBRG = 4;
constexpr unsigned short kBGGR = 5;

/// A module as the factory makes it.
template <class Interface, EModuleType Type>
ModulePtr<Interface, Type> makeModule() {
    return ModulePtr<Interface, Type>(static_cast<Interface*>(CreateVekImageProc(Type)));
}

/// The kernels of each instruction set that this machine has.
inline std::vector<const rows::SRowTable*> usableTables() {
    std::vector<const rows::SRowTable*> tables;
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        if (rows::tier(i).usable) {
            tables.push_back(rows::tier(i).table);
        }
    }
    return tables;
}

} // namespace vek::test
