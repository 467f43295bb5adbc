// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace vek {

class IChromaSuppress;
class IColorInterpolation;
class IColorMatrix;
class IFlip;
class IGamma;
class IMultiROIImage;
class INoiseReduction;
class ISharpness;
class IShadingCorrection;
class IWB;

/// Type ids of the image processing modules.
enum EModuleType : unsigned long {
    kModuleSharpness = 0x10,
    kModuleGamma = 0x20,
    kModuleColorMatrix = 0x30,
    kModuleChromaSuppress = 0x31,
    kModuleColorInterpolation = 0x40,
    kModuleFlip = 0x50,
    kModuleWB = 0x60,
    kModuleNoiseReduction = 0x70,
    kModuleMultiROIImage = 0xA0,
    kModuleShadingCorrection = 0xB0
};

/// Makes a module with its own defaults and returns a pointer to its interface, which the caller owns and ends with
/// DestroyVekImageProc; null for a type id that has no module. Throws std::bad_alloc.
void* CreateVekImageProc(unsigned long type);

/// Ends a module made by CreateVekImageProc(type), with the clean-up of its own class: the interfaces have no
/// virtual destructor, the type id stands in for one. Null is ignored.
void DestroyVekImageProc(unsigned long type, void* module) noexcept;

template <class Interface, EModuleType Type>
struct SModuleDeleter {
    void operator()(Interface* module) const noexcept { DestroyVekImageProc(Type, static_cast<void*>(module)); }
};
/// Owner of one module. As large as a pointer.
template <class Interface, EModuleType Type>
using ModulePtr = std::unique_ptr<Interface, SModuleDeleter<Interface, Type>>;

} // namespace vek
