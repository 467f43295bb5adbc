// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "common/Status.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/SampleTypes.h"

#include <vector>

namespace vek::test {

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
