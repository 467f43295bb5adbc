// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "api/VekImageProcLib.h"
#include "common/Status.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/ImageLayout.h"
#include "support/SampleTypes.h"

#include <numeric>
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

/// Status of the stage for samples of type T, on a colour or grey image of a format.
template <class T, class Module>
unsigned long callStage(Module& module, const SInPlaceImage& image, unsigned long format, T* samples, unsigned bits) {
    return (module.*bySample<T>(&Module::ProcessB, &Module::ProcessW))(image.width, image.height, image.pitch, format,
                                                                       samples, static_cast<unsigned short>(bits));
}

/// All small numbers, those of pixel formats among them, and large ones that hold a format in their low bits.
inline std::vector<unsigned long> manyFormats() {
    std::vector<unsigned long> formats(1031);
    std::iota(formats.begin(), formats.end(), 0UL);
    formats.insert(formats.end(), {0x10004UL, 0x100000004UL, 0x100000001UL, 0x100000100UL, 1UL << 63, ~0UL});
    return formats;
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
