// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek {

class CLuminanceCtrl;
class IChromaSuppress;
class IColorMatrix;
class IGamma;
class ISharpness;
class IShadingCorrection;
class IWB;

/// What the setting file holds the settings of.
struct SSettingTargets {
    CLuminanceCtrl& luminance;
    IShadingCorrection& shading;
    IWB& whiteBalance;
    IGamma& gamma;
    IColorMatrix& colorMatrix;
    IChromaSuppress& chromaSuppress;
    ISharpness& sharpness;
};

// The setting file, a key, a blank and a decimal number a line: see VekCam_WriteSettingFile and VekCam_ReadSettingFile,
// whose results these are. Throw std::bad_alloc.
int writeSettingFile(const SSettingTargets& targets, const char* path);
int readSettingFile(const SSettingTargets& targets, const char* path);

} // namespace vek
