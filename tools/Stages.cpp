// SPDX-License-Identifier: Apache-2.0
#include "Stages.h"

#include "Errors.h"
#include "LibraryRows.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vek::tools {

namespace {

// No change.
constexpr unsigned short kUnityGamma = 100;
constexpr unsigned short kUnitySaturation = 100;

void require(int status, const char* stage) {
    if (status != VEK_OK) {
        throw CFailure(fmt::format("the library refused the {}: {}", stage, status));
    }
}

/// The samples of a frame without the one behind it, at the stages' depth.
std::vector<std::uint8_t> bytesOf(const SRawFrame& frame) {
    return std::visit(
        [&](const auto& samples) {
            const auto end = samples.begin() + static_cast<std::ptrdiff_t>(std::size_t{frame.width} * frame.height);
            std::vector<std::uint8_t> bytes;
            bytes.reserve(samples.size());
            std::transform(samples.begin(), end, std::back_inserter(bytes), [&](unsigned sample) {
                return static_cast<std::uint8_t>(sample >> (frame.depth - kStagesDepth));
            });
            return bytes;
        },
        frame.samples);
}

void balance(VekCam_Handle handle, const SBalance& balance, SRawFrame& frame, void* image) {
    const auto& [r, gr, gb, b] = balance.gains;
    require(VekCam_SetWhiteBalanceMode(handle, balance.mode), "white balance");
    require(VekCam_SetWhiteBalanceGain(handle, r, gr, gb, b), "white balance");
    require(VekCam_WhiteBalance(handle, frame.width, frame.height, frame.width, frame.colorArray, image, kStagesDepth),
            "white balance");
}

void applyRawGamma(VekCam_Handle handle, unsigned short gamma, SRawFrame& frame, void* image) {
    for (const unsigned char channel : {VEK_GAMMA_R, VEK_GAMMA_GR, VEK_GAMMA_GB, VEK_GAMMA_B}) {
        require(VekCam_SetGammaMode(handle, channel, VEK_GAMMA_CURVE, gamma, 0, 0, nullptr, kStagesDepth),
                "raw tone curves");
    }
    require(VekCam_RawColorGamma(handle, frame.width, frame.height, frame.colorArray, image, kStagesDepth),
            "raw tone curves");
}

void turn(VekCam_Handle handle, unsigned char mirror, unsigned char rotation, SRawFrame& frame, void* image) {
    unsigned long width = frame.width;
    unsigned long height = frame.height;
    require(VekCam_MirrorRotation(handle, mirror, rotation, &width, &height, &frame.colorArray, image),
            "mirror and rotation");
    frame.width = static_cast<std::uint32_t>(width);
    frame.height = static_cast<std::uint32_t>(height);
}

void applyColours(VekCam_Handle handle, const SStages& stages, const SImage& image, void* rows) {
    if (stages.matrix) {
        require(VekCam_SetColorMatrix(handle, VEK_COLOR_MATRIX_CUSTOM, stages.matrix->data()), "colour matrix");
    }
    if (stages.hue || stages.saturation) {
        require(VekCam_SetHueSaturationMode(handle, 1, stages.hue.value_or(short{0}),
                                            stages.saturation.value_or(kUnitySaturation)),
                "hue and saturation");
    }
    if (stages.suppressHigh) {
        require(VekCam_SetHighChromaSuppression(handle, stages.suppressHigh->start, stages.suppressHigh->slope),
                "chroma suppression");
    }
    if (stages.suppressLow) {
        require(VekCam_SetLowChromaSuppression(handle, stages.suppressLow->start, stages.suppressLow->slope),
                "chroma suppression");
    }
    require(
        VekCam_HueSaturationColorMatrix(handle, image.width, image.height, VEK_DESTINATION_BGR24, rows, kStagesDepth),
        "colour matrix");
}

} // namespace

void checkStages(const SStages& stages, const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                 unsigned short colorArray, bool greyPicture) {
    if (!format.isRaw() && stages.onRaw()) {
        const char* const option = stages.balance    ? "--wb"
                                   : stages.rawGamma ? "--raw-gamma"
                                   : stages.mirror   ? "--mirror"
                                                     : "--rotate";
        throw CBadArguments(
            fmt::format("{} needs a raw or mono frame: format {} is colour already", option, format.name));
    }
    if (colorArray == VEK_COLOR_ARRAY_MONO && (stages.balance || stages.rawGamma)) {
        throw CBadArguments(
            fmt::format("{} needs a Bayer frame: this one is mono", stages.balance ? "--wb" : "--raw-gamma"));
    }
    if (greyPicture && stages.onColour()) {
        const char* const option = stages.matrix         ? "--matrix"
                                   : stages.hue          ? "--hue"
                                   : stages.saturation   ? "--saturation"
                                   : stages.suppressHigh ? "--suppress-high"
                                                         : "--suppress-low";
        throw CBadArguments(fmt::format("{} needs a colour picture: {} is grey", option,
                                        colorArray == VEK_COLOR_ARRAY_MONO ? "a mono frame" : "that of method mono"));
    }
    // The library names the colour array of the turned frame from whole cells. An odd size ends in half a cell, and
    // red and blue would change places.
    if (!greyPicture && (stages.mirror || stages.rotation) && (width % 2 != 0 || height % 2 != 0)) {
        throw CBadArguments(
            fmt::format("{} of a Bayer frame needs an even width and height", stages.mirror ? "--mirror" : "--rotate"));
    }
}

SRawFrame afterRawStages(const CLibraryHandle& library, const SStages& stages, const SRawFrame& frame) {
    SRawFrame result{frame.width, frame.height, frame.colorArray, kStagesDepth, {}};
    std::vector<std::uint8_t> bytes = bytesOf(frame);
    if (stages.balance) {
        balance(library.Get(), *stages.balance, result, bytes.data());
    }
    if (stages.rawGamma) {
        applyRawGamma(library.Get(), *stages.rawGamma, result, bytes.data());
    }
    if (stages.mirror || stages.rotation) {
        turn(library.Get(), stages.mirror.value_or(VEK_MIRROR_NONE), stages.rotation.value_or(VEK_ROTATION_NONE),
             result, bytes.data());
    }
    appendSpareSample(bytes, result.width);
    result.samples = std::move(bytes);
    return result;
}

void runPictureStages(const CLibraryHandle& library, const SStages& stages, SImage& image) {
    std::vector<std::uint8_t> rows = libraryRows<std::uint8_t>(image);
    const unsigned long format = image.channels == 1 ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_BGR24;
    if (stages.onColour()) {
        applyColours(library.Get(), stages, image, rows.data());
    }
    if (stages.onLuma()) {
        require(VekCam_SetGammaMode(library.Get(), VEK_GAMMA_Y, VEK_GAMMA_CURVE, stages.gamma.value_or(kUnityGamma),
                                    stages.brightness.value_or(short{0}), stages.contrast.value_or(0), nullptr,
                                    kStagesDepth),
                "luma curve");
        require(VekCam_BGRGamma(library.Get(), image.width, image.height, format, rows.data(), kStagesDepth),
                "luma curve");
    }
    if (stages.sharpness) {
        require(VekCam_SetSharpnessMode(library.Get(), 1, stages.sharpness->gain, stages.sharpness->coring),
                "sharpness");
        require(VekCam_Sharpness(library.Get(), image.width, image.height, format, rows.data(), kStagesDepth),
                "sharpness");
    }
    takeLibraryRows(rows, image);
}

} // namespace vek::tools
