// SPDX-License-Identifier: Apache-2.0
#include "client/stages/Corrections.h"

#include "client/Errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

namespace vek::client {

namespace {

/// image: a frame's samples, or as many of the same form.
template <class T>
void reduceNoise(VekCam_Handle handle, unsigned long mode, const SRawFrame& frame, T* image) {
    requireOk(VekCam_NoiseReduction(handle, mode, frame.width, frame.height, frame.width * sizeof(T), frame.colorArray,
                                    image, frame.depth),
              mode == VEK_NOISE_STORE_DARK ? "dark frame" : "noise reduction");
}

void setShading(VekCam_Handle handle, unsigned long mode) {
    requireOk(VekCam_SetShadingCorrectionMode(handle, mode), "shading correction");
}

/// The same. While it calibrates, the image becomes the map.
template <class T>
void shade(VekCam_Handle handle, const SRawFrame& frame, T* image) {
    requireOk(VekCam_ShadingCorrection(handle, frame.width, frame.height, frame.width * sizeof(T), image, frame.depth),
              "shading correction");
}

/// Mean of a square of a quarter of the shorter side in the image's centre, the fraction cut off.
template <class T>
int centerMean(const SRawFrame& frame, const std::vector<T>& samples) {
    const std::size_t shorter = std::min(frame.width, frame.height);
    const std::size_t size = std::max<std::size_t>(shorter / 4, 1);
    const std::size_t left = (frame.width - size) / 2;
    const std::size_t top = (frame.height - size) / 2;
    std::uint64_t sum = 0;
    for (std::size_t y = top; y < top + size; ++y) {
        for (std::size_t x = left; x < left + size; ++x) {
            sum += samples[y * frame.width + x];
        }
    }
    return static_cast<int>(sum / (size * size));
}

} // namespace

std::vector<std::string> inputsOf(const SCorrections& corrections) {
    std::vector<std::string> inputs;
    for (const std::string& path : {corrections.darkPath, corrections.shadingPath}) {
        if (!path.empty()) {
            inputs.insert(inputs.end(), {path, descriptionPath(path)});
        }
    }
    return inputs;
}

void checkCorrections(const SCorrections& corrections, const STransferFormat& format, std::uint32_t width,
                      std::uint32_t height, unsigned short colorArray) {
    if (corrections.Any() && !format.IsRaw()) {
        throw CMisfit(fmt::format("<{}> needs a raw or mono frame: format {} is colour already",
                                  corrections.noise ? "noise" : "shading", format.name));
    }
    const bool complex = corrections.noise == VEK_NOISE_COMPLEX;
    if (complex != !corrections.darkPath.empty()) {
        throw CMisfit(complex ? "<noise> complex needs <dark>" : "<dark> goes with <noise> complex");
    }
    if (corrections.noise == VEK_NOISE_EASY) {
        const bool mono = colorArray == VEK_COLOR_ARRAY_MONO;
        if (mono && (width < 2 || height < 2)) {
            throw CMisfit("<noise> easy needs 2 x 2 pixels or more");
        }
        if (!mono && (width < 4 || height < 4)) {
            throw CMisfit("<noise> easy of a Bayer frame needs 4 x 4 pixels or more");
        }
    }
    inputsOf(corrections); // throws for a name that is none of a calibration
}

void setCorrections(const CLibraryHandle& library, const SCorrections& corrections, const STransferFormat& format,
                    const SRawFrame& frame) {
    const auto calibration = [&](const std::string& path, const char* kind) {
        SCalibration read = readCalibration(path, kind);
        requireMatch(read, path, format, frame.width, frame.height, frame.colorArray);
        return read;
    };
    const auto set = [&]<class T>(T) {
        if (corrections.noise == VEK_NOISE_COMPLEX) {
            std::vector<T> dark = samplesAtDepth<T>(calibration(corrections.darkPath, "dark"), frame.depth);
            reduceNoise(library.Get(), VEK_NOISE_STORE_DARK, frame, dark.data());
        }
        if (!corrections.shadingPath.empty()) {
            std::vector<T> flat = samplesAtDepth<T>(calibration(corrections.shadingPath, "flat"), frame.depth);
            // A handle without a camera measures each place of the 2 x 2 cell for itself: one target makes the four of
            // a mono frame alike.
            const bool mono = frame.colorArray == VEK_COLOR_ARRAY_MONO;
            requireOk(VekCam_SetShadingCorrectionTarget(library.Get(), mono ? centerMean(frame, flat) : 0),
                      "shading correction");
            setShading(library.Get(), VEK_SHADING_CALIBRATE_GAIN);
            shade(library.Get(), frame, flat.data());
            setShading(library.Get(), VEK_SHADING_GAIN);
        }
    };
    frame.depth == 8 ? set(std::uint8_t{}) : set(std::uint16_t{});
}

void correct(const CLibraryHandle& library, const SCorrections& corrections, SRawFrame& frame) {
    std::visit(
        [&](auto& samples) {
            if (corrections.noise) {
                reduceNoise(library.Get(), *corrections.noise, frame, samples.data());
            }
            if (!corrections.shadingPath.empty()) {
                shade(library.Get(), frame, samples.data());
            }
            samples.pop_back(); // the spare one has to follow the others
            appendSpareSample(samples, frame.width);
        },
        frame.samples);
}

} // namespace vek::client
