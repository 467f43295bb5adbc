// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Operation.h"
#include "Picture.h"
#include "VekTrgApi.h"
#include "imageproc/ColorInterpolation.h"
#include "imageproc/ColorMatrix.h"
#include "imageproc/Gamma.h"
#include "imageproc/NoiseReduction.h"
#include "imageproc/ShadingCorrection.h"
#include "imageproc/Sharpness.h"
#include "imageproc/WB.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// The settings that stages are measured with, and the module functions by sample type: alone and in the chain alike.

namespace vek::bench {

template <class T>
constexpr bool kBytes = sizeof(T) == 1;

template <class T>
constexpr unsigned long kBgr = kBytes<T> ? VEK_DESTINATION_BGR24 : VEK_DESTINATION_BGR48;
template <class T>
constexpr unsigned long kBgrx = kBytes<T> ? VEK_DESTINATION_BGRX32 : VEK_DESTINATION_BGRX64;

template <class T>
void process(CNoiseReduction& module, SSize size, unsigned short colorArray, T* image, unsigned long mode) {
    if constexpr (kBytes<T>) {
        module.NRProcB(size.width, size.height, 0, colorArray, image, kDepth<T>, mode);
    } else {
        module.NRProcW(size.width, size.height, 0, colorArray, image, kDepth<T>, mode);
    }
}

/// A dark frame of a few levels.
template <class T>
void storeDark(CNoiseReduction& module, SSize size, unsigned short colorArray) {
    std::vector<T> dark = makeImage(CPicture<T>({size, EContent::Noise}, 1));
    for (T& sample : dark) {
        sample = static_cast<T>(sample >> (kDepth<T> - 3));
    }
    process(module, size, colorArray, dark.data(), VEK_NOISE_STORE_DARK);
}

template <class T>
void process(CShadingCorrection& module, SSize size, T* image) {
    if constexpr (kBytes<T>) {
        module.ProcessB(size.width, size.height, 0, image, kDepth<T>);
    } else {
        module.ProcessW(size.width, size.height, 0, image, kDepth<T>);
    }
}

/// Calibrates with the picture; the first corrected frame makes the map.
template <class T>
void calibrate(CShadingCorrection& module, SSize size, unsigned long calibrating, unsigned long correcting) {
    module.SetColorArray(VEK_COLOR_ARRAY_RGGB);
    std::vector<T> picture = makeImage(CPicture<T>({size}, 1));
    module.SetMode(calibrating);
    process(module, size, picture.data());
    module.SetMode(correcting);
    process(module, size, picture.data());
}

/// Gains that leave no colour unchanged.
inline void setBalance(CWB& module, unsigned char mode) {
    constexpr unsigned short gains[] = {256, 140, 140, 217}; // R, Gr, Gb, B
    module.SetWBMode(mode);
    module.SetWBGain(gains);
}

template <class T>
void process(CWB& module, SSize size, T* image) {
    if constexpr (kBytes<T>) {
        module.WBProcB(size.width, size.height, 0, VEK_COLOR_ARRAY_RGGB, image, kDepth<T>);
    } else {
        module.WBProcW(size.width, size.height, 0, VEK_COLOR_ARRAY_RGGB, image, kDepth<T>);
    }
}

template <class T>
void setCurves(CGamma& module) {
    for (const unsigned char channel : {VEK_GAMMA_Y, VEK_GAMMA_R, VEK_GAMMA_GR, VEK_GAMMA_GB, VEK_GAMMA_B}) {
        module.SetMode(channel, VEK_GAMMA_CURVE, 220, 0, 0, nullptr, kDepth<T>);
    }
}

template <class T>
void processRaw(CGamma& module, SSize size, T* image) {
    if constexpr (kBytes<T>) {
        module.ProcColorRawB(size.width, size.height, 0, VEK_COLOR_ARRAY_RGGB, image);
    } else {
        module.ProcColorRawW(size.width, size.height, 0, VEK_COLOR_ARRAY_RGGB, image);
    }
}

template <class T>
void interpolate(CColorInterpolation& module, SSize size, T* src, T* dst, unsigned char method,
                 unsigned short colorArray, unsigned short channels) {
    if constexpr (kBytes<T>) {
        module.ColorInterporationB(size.width, size.height, src, dst, method, colorArray, channels);
    } else {
        module.ColorInterporationW(size.width, size.height, src, dst, method, colorArray, channels);
    }
}

inline void setMatrix(CColorMatrix& module) {
    constexpr short matrix[12] = {150, -30, -20, 0, -25, 160, -35, 0, -10, -40, 150, 0};
    module.SetColorMatrix(VEK_COLOR_MATRIX_CUSTOM, matrix);
}

template <class T>
void setSharpness(CSharpness& module) {
    module.SetMode(1, 80, kBytes<T> ? 8 : 128); // the same part of the range
}

/// A stage on colour images.
template <class Module, class T>
void process(Module& module, SSize size, unsigned long pixelFormat, T* image) {
    if constexpr (kBytes<T>) {
        module.ProcessB(size.width, size.height, 0, pixelFormat, image, kDepth<T>);
    } else {
        module.ProcessW(size.width, size.height, 0, pixelFormat, image, kDepth<T>);
    }
}

/// A stage on colour images as an operation, set up by set(module). Without being asked for, pixels of three samples
/// are measured.
template <class T, class Module, class Set>
SOperation colorOperation(const char* name, unsigned long pixelFormat, std::size_t samples, Set set) {
    return {name, kBits<T>, static_cast<double>(2 * samples * sizeof(T)),
            [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<Module>(table);
                set(*module);
                return inPlaceJob(CPicture<T>(input, samples),
                                  [=](T* image) { process(*module, input.size, pixelFormat, image); });
            },
            samples != 3};
}

} // namespace vek::bench
