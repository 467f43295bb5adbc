// SPDX-License-Identifier: Apache-2.0
#include "client/stages/Stages.h"

#include "client/Errors.h"
#include "client/settings/HandleSettings.h"
#include "client/stages/LibraryRows.h"
#include "formats/ColorArrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vek::client {

namespace {

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

void setBalance(VekCam_Handle handle, const SBalance& balance) {
    const auto& [r, gr, gb, b] = balance.gains;
    requireOk(VekCam_SetWhiteBalanceMode(handle, balance.mode), "white balance");
    requireOk(VekCam_SetWhiteBalanceGain(handle, r, gr, gb, b), "white balance");
}

void setRawGamma(VekCam_Handle handle, unsigned short gamma) {
    for (const unsigned char channel : {VEK_GAMMA_R, VEK_GAMMA_GR, VEK_GAMMA_GB, VEK_GAMMA_B}) {
        requireOk(VekCam_SetGammaMode(handle, channel, VEK_GAMMA_CURVE, gamma, 0, 0, nullptr, kStagesDepth),
                  "raw tone curves");
    }
}

void turn(VekCam_Handle handle, const SStages& stages, SRawFrame& frame, void* image) {
    unsigned long width = frame.width;
    unsigned long height = frame.height;
    requireOk(VekCam_MirrorRotation(handle, stages.mirror.value_or(VEK_MIRROR_NONE),
                                    stages.rotation.value_or(VEK_ROTATION_NONE), &width, &height, &frame.colorArray,
                                    image),
              "mirror and rotation");
    frame.width = static_cast<std::uint32_t>(width);
    frame.height = static_cast<std::uint32_t>(height);
}

void setColors(VekCam_Handle handle, const SStages& stages) {
    if (stages.matrix) {
        requireOk(VekCam_SetColorMatrix(handle, VEK_COLOR_MATRIX_CUSTOM, stages.matrix->data()), "colour matrix");
    }
    if (stages.hue || stages.saturation) {
        unsigned char mode = 0;
        short hue = 0;
        unsigned short saturation = 0;
        requireOk(VekCam_GetHueSaturationMode(handle, &mode, &hue, &saturation), "hue and saturation");
        requireOk(
            VekCam_SetHueSaturationMode(handle, 1, stages.hue.value_or(hue), stages.saturation.value_or(saturation)),
            "hue and saturation");
    }
    if (stages.suppressHigh) {
        requireOk(VekCam_SetHighChromaSuppression(handle, stages.suppressHigh->start, stages.suppressHigh->slope),
                  "chroma suppression");
    }
    if (stages.suppressLow) {
        requireOk(VekCam_SetLowChromaSuppression(handle, stages.suppressLow->start, stages.suppressLow->slope),
                  "chroma suppression");
    }
}

/// What the options leave open stays as the handle has it: changing nothing, unless a setting file was read.
void setLumaCurve(VekCam_Handle handle, const SStages& stages) {
    unsigned char mode = 0;
    unsigned short gamma = 0;
    short brightness = 0;
    unsigned short contrast = 0;
    unsigned short bits = 12; // the contrast as a word
    requireOk(VekCam_GetGammaMode(handle, VEK_GAMMA_Y, &mode, &gamma, &brightness, &contrast, nullptr, &bits),
              "luma curve");
    mode = mode == VEK_GAMMA_NEGATIVE ? mode : static_cast<unsigned char>(VEK_GAMMA_CURVE);
    requireOk(VekCam_SetGammaMode(handle, VEK_GAMMA_Y, mode, stages.gamma.value_or(gamma),
                                  stages.brightness.value_or(brightness), stages.contrast.value_or(contrast), nullptr,
                                  kStagesDepth),
              "luma curve");
}

} // namespace

std::optional<SFileStages> readFileStages(const CLibraryHandle& library, const std::string& path) {
    if (!readSettingFile(library.Get(), path)) {
        return std::nullopt;
    }
    const SettingValues values = handleSettings(library.Get());
    const auto on = [&values](std::string_view key) { return values[*findSetting(key)] != 0; };
    SFileStages stages;
    stages.balance = on("WBMode");
    stages.rawGamma = on("GammaModeR") || on("GammaModeGr") || on("GammaModeGb") || on("GammaModeB");
    stages.color = on("HueSaturationMode") || on("SuppressionHigh") || on("SuppressionLow");
    stages.luma = on("GammaModeY");
    stages.sharpness = on("SharpnessMode");
    return stages;
}

SFileStages stagesForFrame(const SFileStages& stages, unsigned short colorArray, bool grayPicture) {
    SFileStages result = stages;
    const bool bayer = isBayer(colorArray);
    result.balance = stages.balance && bayer;
    result.rawGamma = stages.rawGamma && bayer;
    result.color = stages.color && !grayPicture;
    return result;
}

void checkStages(const SStages& stages, const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                 unsigned short colorArray, bool grayPicture) {
    if (!format.IsRaw() && stages.OnRaw()) {
        const char* const setting = stages.balance    ? "wb"
                                    : stages.rawGamma ? "raw-gamma"
                                    : stages.mirror   ? "mirror"
                                                      : "rotate";
        throw CMisfit(fmt::format("<{}> needs a raw or mono frame: format {} is colour already", setting, format.name));
    }
    if (colorArray == VEK_COLOR_ARRAY_MONO && (stages.balance || stages.rawGamma)) {
        throw CMisfit(fmt::format("<{}> needs a Bayer frame: this one is mono", stages.balance ? "wb" : "raw-gamma"));
    }
    if (grayPicture && stages.OnColor()) {
        const char* const setting = stages.matrix         ? "matrix"
                                    : stages.hue          ? "hue"
                                    : stages.saturation   ? "saturation"
                                    : stages.suppressHigh ? "suppress-high"
                                                          : "suppress-low";
        throw CMisfit(fmt::format("<{}> needs a colour picture: {} is grey", setting,
                                  colorArray == VEK_COLOR_ARRAY_MONO ? "a mono frame" : "that of method mono"));
    }
    // The library names the colour array of the turned frame from whole cells. An odd size ends in half a cell, and
    // red and blue would change places.
    if (!grayPicture && (stages.mirror || stages.rotation) && (width % 2 != 0 || height % 2 != 0)) {
        throw CMisfit(
            fmt::format("<{}> of a Bayer frame needs an even width and height", stages.mirror ? "mirror" : "rotate"));
    }
}

void setStages(const CLibraryHandle& library, const SStages& stages) {
    if (stages.balance) {
        setBalance(library.Get(), *stages.balance);
    }
    if (stages.rawGamma) {
        setRawGamma(library.Get(), *stages.rawGamma);
    }
    setColors(library.Get(), stages);
    if (stages.OnLuma()) {
        setLumaCurve(library.Get(), stages);
    }
    if (stages.sharpness) {
        requireOk(VekCam_SetSharpnessMode(library.Get(), 1, stages.sharpness->gain, stages.sharpness->coring),
                  "sharpness");
    }
}

SRawFrame afterRawStages(const CLibraryHandle& library, const SStages& stages, const SRawFrame& frame) {
    SRawFrame result{frame.width, frame.height, frame.colorArray, kStagesDepth, {}};
    std::vector<std::uint8_t> bytes = bytesOf(frame);
    const unsigned running = stages.ChainStages();
    if ((running & VEK_CHAIN_WHITE_BALANCE) != 0) {
        requireOk(VekCam_WhiteBalance(library.Get(), frame.width, frame.height, frame.width, frame.colorArray,
                                      bytes.data(), kStagesDepth),
                  "white balance");
    }
    if ((running & VEK_CHAIN_RAW_GAMMA) != 0) {
        requireOk(VekCam_RawColorGamma(library.Get(), frame.width, frame.height, frame.colorArray, bytes.data(),
                                       kStagesDepth),
                  "raw tone curves");
    }
    if (stages.mirror || stages.rotation) {
        turn(library.Get(), stages, result, bytes.data());
    }
    appendSpareSample(bytes, result.width);
    result.samples = std::move(bytes);
    return result;
}

SRawFrame turnedFrame(const CLibraryHandle& library, const SStages& stages, const SRawFrame& frame) {
    // A cell tells what becomes of the colours: the library names the array of every size by that of a whole one.
    std::uint8_t cell[2 * 2] = {};
    SRawFrame turned{2, 2, frame.colorArray, kStagesDepth, {}};
    turn(library.Get(), stages, turned, cell);
    const bool quarter = stages.rotation.value_or(VEK_ROTATION_NONE) != VEK_ROTATION_NONE;
    turned.width = quarter ? frame.height : frame.width;
    turned.height = quarter ? frame.width : frame.height;
    return turned;
}

void runPictureStages(const CLibraryHandle& library, const SStages& stages, SImage& image) {
    std::vector<std::uint8_t> rows = libraryRows<std::uint8_t>(image);
    const unsigned long format = image.channels == 1 ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_BGR24;
    const unsigned running = stages.ChainStages();
    const auto run = [&](unsigned stage, auto function, const char* name) {
        if ((running & stage) != 0) {
            requireOk(function(library.Get(), image.width, image.height, format, rows.data(), kStagesDepth), name);
        }
    };
    run(VEK_CHAIN_COLOR_MATRIX, VekCam_HueSaturationColorMatrix, "colour matrix");
    run(VEK_CHAIN_LUMA_GAMMA, VekCam_BGRGamma, "luma curve");
    run(VEK_CHAIN_SHARPNESS, VekCam_Sharpness, "sharpness");
    takeLibraryRows(rows, image);
}

} // namespace vek::client
