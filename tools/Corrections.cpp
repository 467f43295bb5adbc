// SPDX-License-Identifier: Apache-2.0
#include "Corrections.h"

#include "Errors.h"
#include "Options.h"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

namespace vek::tools {

namespace {

constexpr SName kNoiseModes[] = {{VEK_NOISE_EASY, "easy"}, {VEK_NOISE_COMPLEX, "complex"}};

void require(int status, const char* correction) {
    if (status != VEK_OK) {
        throw CFailure(fmt::format("the library refused the {}: {}", correction, status));
    }
}

/// image: a frame's samples, or as many of the same form.
template <class T>
void reduceNoise(VekCam_Handle handle, unsigned long mode, const SRawFrame& frame, T* image) {
    require(VekCam_NoiseReduction(handle, mode, frame.width, frame.height, frame.width * sizeof(T), frame.colorArray,
                                  image, frame.depth),
            mode == VEK_NOISE_STORE_DARK ? "dark frame" : "noise reduction");
}

template <class T>
void shade(VekCam_Handle handle, unsigned long mode, const SRawFrame& frame, T* image) {
    require(VekCam_SetShadingCorrectionMode(handle, mode), "shading correction");
    require(VekCam_ShadingCorrection(handle, frame.width, frame.height, frame.width * sizeof(T), image, frame.depth),
            "shading correction");
}

/// Mean of a square of a quarter of the shorter side in the image's centre, the fraction cut off.
template <class T>
int centreMean(const SRawFrame& frame, const std::vector<T>& samples) {
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

void addCorrectionOptions(CLI::App& command, SCorrections& corrections) {
    const char* const group = "Corrections of raw frames, in front of the image stages; at the frame's depth";
    CLI::Option* const noise = command.add_option_function<std::string>(
        "--noise",
        [&corrections](const std::string& text) {
            corrections.noise = static_cast<unsigned char>(*findCode(kNoiseModes, text));
        },
        "Noise reduction: easy takes pixels down that are brighter than their\n"
        "neighbourhood, complex subtracts the frame of --dark and repairs saturated pixels");
    noise->check(isNameOf(kNoiseModes))->type_name("easy|complex")->group(group);
    command
        .add_option("--dark", corrections.darkPath,
                    "Dark frame, written by `vekcam calibrate dark`, for --noise complex")
        ->type_name("FILE.png")
        ->needs(noise)
        ->group(group);
    command
        .add_option("--shading", corrections.shadingPath,
                    "Flat frame, written by `vekcam calibrate flat`: each pixel is multiplied so that\n"
                    "such a frame becomes as bright as its centre everywhere")
        ->type_name("FILE.png")
        ->group(group);
}

void checkCorrections(const SCorrections& corrections, const STransferFormat& format, std::uint32_t width,
                      std::uint32_t height, unsigned short colorArray) {
    if (corrections.any() && !format.IsRaw()) {
        throw CBadArguments(fmt::format("{} needs a raw or mono frame: format {} is colour already",
                                        corrections.noise ? "--noise" : "--shading", format.name));
    }
    const bool complex = corrections.noise == VEK_NOISE_COMPLEX;
    if (complex != !corrections.darkPath.empty()) {
        throw CBadArguments(complex ? "--noise complex needs --dark" : "--dark goes with --noise complex");
    }
    if (corrections.noise == VEK_NOISE_EASY) {
        const bool mono = colorArray == VEK_COLOR_ARRAY_MONO;
        if (mono && (width < 2 || height < 2)) {
            throw CBadArguments("--noise easy needs 2 x 2 pixels or more");
        }
        if (!mono && (width < 4 || height < 4)) {
            throw CBadArguments("--noise easy of a Bayer frame needs 4 x 4 pixels or more");
        }
    }
    for (const std::string& path : {corrections.darkPath, corrections.shadingPath}) {
        if (!path.empty()) {
            descriptionPath(path);
        }
    }
}

void correct(const CLibraryHandle& library, const SCorrections& corrections, const STransferFormat& format,
             SRawFrame& frame) {
    const auto calibration = [&](const std::string& path, const char* kind) {
        SCalibration read = readCalibration(path, kind);
        requireMatch(read, path, format, frame.width, frame.height, frame.colorArray);
        return read;
    };
    std::visit(
        [&]<class T>(std::vector<T>& samples) {
            if (corrections.noise == VEK_NOISE_COMPLEX) {
                std::vector<T> dark = samplesAtDepth<T>(calibration(corrections.darkPath, "dark"), frame.depth);
                reduceNoise(library.Get(), VEK_NOISE_STORE_DARK, frame, dark.data());
            }
            if (corrections.noise) {
                reduceNoise(library.Get(), *corrections.noise, frame, samples.data());
            }
            if (!corrections.shadingPath.empty()) {
                std::vector<T> flat = samplesAtDepth<T>(calibration(corrections.shadingPath, "flat"), frame.depth);
                // A handle without a camera measures each place of the 2 x 2 cell for itself: one target makes the four
                // of a mono frame alike.
                const bool mono = frame.colorArray == VEK_COLOR_ARRAY_MONO;
                require(VekCam_SetShadingCorrectionTarget(library.Get(), mono ? centreMean(frame, flat) : 0),
                        "shading correction");
                shade(library.Get(), VEK_SHADING_CALIBRATE_GAIN, frame, flat.data());
                shade(library.Get(), VEK_SHADING_GAIN, frame, samples.data());
            }
            samples.pop_back(); // the spare one has to follow the others
            appendSpareSample(samples, frame.width);
        },
        frame.samples);
}

} // namespace vek::tools
