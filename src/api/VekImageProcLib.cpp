// SPDX-License-Identifier: Apache-2.0
#include "api/VekImageProcLib.h"

#include "imageproc/ChromaSuppress.h"
#include "imageproc/ColorInterpolation.h"
#include "imageproc/ColorMatrix.h"
#include "imageproc/Flip.h"
#include "imageproc/Gamma.h"
#include "imageproc/MultiROIImage.h"
#include "imageproc/NoiseReduction.h"
#include "imageproc/ShadingCorrection.h"
#include "imageproc/Sharpness.h"
#include "imageproc/WB.h"
#include "imageproc/rows/RowDispatch.h"

#include <type_traits>

namespace vek {

namespace {

struct SModuleType {
    unsigned long type;
    void* (*create)();
    void (*destroy)(void*) noexcept;
};

/// A module, which gets the row kernels if it takes them.
template <class Interface, class Module>
constexpr SModuleType moduleType(EModuleType type) {
    return {type,
            [] {
                if constexpr (std::is_constructible_v<Module, const rows::SRowTable&>) {
                    return static_cast<void*>(static_cast<Interface*>(new Module(rows::bestTable())));
                } else {
                    return static_cast<void*>(static_cast<Interface*>(new Module));
                }
            },
            [](void* module) noexcept { delete static_cast<Module*>(static_cast<Interface*>(module)); }};
}

constexpr SModuleType kModules[] = {
    moduleType<ISharpness, CSharpness>(kModuleSharpness),
    moduleType<IGamma, CGamma>(kModuleGamma),
    moduleType<IColorMatrix, CColorMatrix>(kModuleColorMatrix),
    moduleType<IChromaSuppress, CChromaSuppress>(kModuleChromaSuppress),
    moduleType<IColorInterpolation, CColorInterpolation>(kModuleColorInterpolation),
    moduleType<IFlip, CFlip>(kModuleFlip),
    moduleType<IWB, CWB>(kModuleWB),
    moduleType<INoiseReduction, CNoiseReduction>(kModuleNoiseReduction),
    moduleType<IMultiROIImage, CMultiROIImage>(kModuleMultiROIImage),
    moduleType<IShadingCorrection, CShadingCorrection>(kModuleShadingCorrection),
};

const SModuleType* findModule(unsigned long type) {
    for (const SModuleType& module : kModules) {
        if (module.type == type) {
            return &module;
        }
    }
    return nullptr;
}

} // namespace

void* CreateVekImageProc(unsigned long type) {
    const SModuleType* const module = findModule(type);
    return module != nullptr ? module->create() : nullptr;
}

void DestroyVekImageProc(unsigned long type, void* module) noexcept {
    const SModuleType* const known = findModule(type);
    if (module != nullptr && known != nullptr) {
        known->destroy(module);
    }
}

} // namespace vek
