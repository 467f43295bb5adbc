// SPDX-License-Identifier: Apache-2.0
#include "Calibration.h"

#include "Errors.h"
#include "PngInput.h"
#include "PngOutput.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <fstream>

namespace vek::tools {

namespace {

constexpr std::string_view kEnding = ".png";

std::string formOf(const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                   unsigned short colorArray) {
    return fmt::format("{} x {}, {} bit, {}", width, height, format.depth, colorArrayName(colorArray));
}

} // namespace

std::string descriptionPath(const std::string& path) {
    if (path.size() <= kEnding.size() || !path.ends_with(kEnding)) {
        throw CBadArguments(fmt::format("{}: the name of a calibration ends in {}", path, kEnding));
    }
    return path.substr(0, path.size() - kEnding.size()) + ".json";
}

void writeCalibration(COutputFile& mean, COutputFile& description, const SCalibration& calibration) {
    nlohmann::ordered_json json;
    json["kind"] = calibration.kind;
    json["camera"] = calibration.camera;
    json["width"] = calibration.mean.width;
    json["height"] = calibration.mean.height;
    json["format"] = calibration.format->name;
    json["depth"] = calibration.format->depth;
    json["scale"] = 1U << (calibration.mean.depth - calibration.format->depth);
    json["colorArray"] = colorArrayName(calibration.colorArray);
    json["frames"] = calibration.frames;
    json["exposureClocks"] = calibration.exposureClocks;
    json["gain"] = calibration.gain;
    writePng(mean, calibration.mean, false);
    // A path may hold any bytes; JSON only takes UTF-8.
    description.Write(json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

SCalibration readCalibration(const std::string& path, const std::string& kind) {
    const std::string description = descriptionPath(path);
    std::ifstream file(description);
    if (!file) {
        throw CFailure(fmt::format("{}: cannot open: {}", description, systemMessage(errno)));
    }
    SCalibration calibration;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    try {
        const nlohmann::json json = nlohmann::json::parse(file);
        calibration.kind = json.at("kind").get<std::string>();
        calibration.camera = json.at("camera").get<std::string>();
        width = json.at("width").get<std::uint32_t>();
        height = json.at("height").get<std::uint32_t>();
        calibration.format = findTransferFormat(json.at("format").get<std::string>());
        calibration.colorArray = static_cast<unsigned short>(
            findCode(bayerColorArrays(), json.at("colorArray").get<std::string>()).value_or(0));
        calibration.frames = json.at("frames").get<unsigned>();
        calibration.exposureClocks = json.at("exposureClocks").get<std::int32_t>();
        calibration.gain = json.at("gain").get<std::int32_t>();
    } catch (const nlohmann::json::exception& error) {
        throw CFailure(fmt::format("{}: no description of a calibration: {}", description, error.what()));
    }
    if (calibration.format == nullptr || !calibration.format->isRaw() || calibration.colorArray == 0) {
        throw CFailure(fmt::format("{}: no description of a calibration: unknown format or colour array", description));
    }
    if (calibration.kind != kind) {
        throw CFailure(fmt::format("{}: a {} frame is needed, this one is {}", path, kind, calibration.kind));
    }
    calibration.mean = readGreyPng16(path);
    if (calibration.mean.width != width || calibration.mean.height != height) {
        throw CFailure(fmt::format("{}: {} x {} pixels, its description has {} x {}", path, calibration.mean.width,
                                   calibration.mean.height, width, height));
    }
    return calibration;
}

void requireMatch(const SCalibration& calibration, const std::string& path, const STransferFormat& format,
                  std::uint32_t width, std::uint32_t height, unsigned short colorArray) {
    const std::string made =
        formOf(*calibration.format, calibration.mean.width, calibration.mean.height, calibration.colorArray);
    const std::string given = formOf(format, width, height, colorArray);
    if (made != given) {
        throw CFailure(fmt::format("{}: made of frames of {}; this frame is {}", path, made, given));
    }
}

} // namespace vek::tools
