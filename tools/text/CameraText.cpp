// SPDX-License-Identifier: Apache-2.0
#include "tools/text/CameraText.h"

#include "client/files/JsonText.h"
#include "client/names/Names.h"
#include "client/stages/LibraryHandle.h"

#include "tools/text/Columns.h"

#include <fmt/format.h>

namespace vek::tools {

using namespace client;

namespace {

std::string hexOf(int pixelFormat) {
    return fmt::format("0x{:08X}", static_cast<unsigned>(pixelFormat));
}

nlohmann::ordered_json codeAndName(unsigned code, std::string_view name) {
    return {{"code", code}, {"name", name}};
}

} // namespace

std::string cameraText(const SCameraInfo& info) {
    CColumns lines(22);
    lines.Add("camera", info.source);
    lines.Add("library version", fmt::format("{}", libraryVersion()));
    lines.Add("image", fmt::format("{} x {} pixels", info.width, info.height));
    lines.Add("colour array", fmt::format("{} ({})", colorArrayName(info.colorArray), info.colorArray));
    if (info.sensorColorArray != info.colorArray) {
        lines.Add("sensor colour array",
                  fmt::format("{} ({})", colorArrayName(info.sensorColorArray), info.sensorColorArray));
    }
    lines.Add("transfer format", fmt::format("{} ({})", transferFormatName(info.transferFormat), info.transferFormat));
    lines.Add("bits per pixel", fmt::format("{}{}", info.bitsPerPixel, info.bitsPerPixel == 0 ? " (packed)" : ""));
    lines.Add("pixel format", fmt::format("{} ({})", pixelFormatName(info.pixelFormat), hexOf(info.pixelFormat)));
    lines.Add("raw image size", fmt::format("{} bytes", info.rawImageSize));
    lines.Add("binning codes", fmt::format("horizontal {}, vertical {}", info.binningH, info.binningV));
    lines.Add("clock", fmt::format("{} Hz", info.clockHz));
    lines.Add("line length", fmt::format("{} clocks", info.lineClocks));
    lines.Add("frame length", fmt::format("{} lines", info.frameLines));
    lines.Add("vertical blanking", info.vBlankLines ? fmt::format("{} lines", *info.vBlankLines) : "not available");
    lines.Add("gain", fmt::format("{} (setting value)", info.gain));
    lines.Add("exposure", fmt::format("{} exposure clocks", info.exposureClocks));
    lines.Add("max short exposure", fmt::format("{} exposure clocks", info.maxShortExposureClocks));
    return lines.Text();
}

std::string cameraJson(const SCameraInfo& info) {
    nlohmann::ordered_json json;
    json["camera"] = info.source;
    json["libraryVersion"] = libraryVersion();
    json["width"] = info.width;
    json["height"] = info.height;
    json["colorArray"] = codeAndName(info.colorArray, colorArrayName(info.colorArray));
    json["sensorColorArray"] = codeAndName(info.sensorColorArray, colorArrayName(info.sensorColorArray));
    json["transferFormat"] = codeAndName(info.transferFormat, transferFormatName(info.transferFormat));
    json["bitsPerPixel"] = info.bitsPerPixel;
    json["pixelFormat"] = {{"value", hexOf(info.pixelFormat)}, {"name", pixelFormatName(info.pixelFormat)}};
    json["rawImageSize"] = info.rawImageSize;
    json["binning"] = {{"horizontal", info.binningH}, {"vertical", info.binningV}};
    json["clockHz"] = info.clockHz;
    json["lineClocks"] = info.lineClocks;
    json["frameLines"] = info.frameLines;
    json["vBlankLines"] = info.vBlankLines ? nlohmann::ordered_json(*info.vBlankLines) : nlohmann::ordered_json();
    json["gain"] = info.gain;
    json["exposureClocks"] = info.exposureClocks;
    json["maxShortExposureClocks"] = info.maxShortExposureClocks;
    return jsonText(json);
}

} // namespace vek::tools
