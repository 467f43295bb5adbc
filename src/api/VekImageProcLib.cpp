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

namespace vek {

namespace {

struct SModuleType {
    unsigned long type;
    void* (*create)();
    void (*destroy)(void*) noexcept;
};

/// A module whose constructor takes the row kernels.
template <class Interface, class Module>
constexpr SModuleType moduleWithRows(EModuleType type) {
    return {type, [] { return static_cast<void*>(static_cast<Interface*>(new Module(rows::bestTable()))); },
            [](void* module) noexcept { delete static_cast<Module*>(static_cast<Interface*>(module)); }};
}

/// A module that has no use for them.
template <class Interface, class Module>
constexpr SModuleType moduleWithoutRows(EModuleType type) {
    return {type, [] { return static_cast<void*>(static_cast<Interface*>(new Module)); },
            [](void* module) noexcept { delete static_cast<Module*>(static_cast<Interface*>(module)); }};
}

constexpr SModuleType kModules[] = {
    moduleWithRows<ISharpness, CSharpness>(kModuleSharpness),
    moduleWithRows<IGamma, CGamma>(kModuleGamma),
    moduleWithRows<IColorMatrix, CColorMatrix>(kModuleColorMatrix),
    moduleWithRows<IChromaSuppress, CChromaSuppress>(kModuleChromaSuppress),
    moduleWithRows<IColorInterpolation, CColorInterpolation>(kModuleColorInterpolation),
    moduleWithRows<IFlip, CFlip>(kModuleFlip),
    moduleWithRows<IWB, CWB>(kModuleWB),
    moduleWithRows<INoiseReduction, CNoiseReduction>(kModuleNoiseReduction),
    moduleWithoutRows<IMultiROIImage, CMultiROIImage>(kModuleMultiROIImage),
    moduleWithRows<IShadingCorrection, CShadingCorrection>(kModuleShadingCorrection),
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
