// SPDX-License-Identifier: Apache-2.0
#include "client/camera/CameraInfo.h"
#include "client/camera/UnitConverter.h"
#include "client/files/JsonText.h"
#include "client/stages/LibraryHandle.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <limits>
#include <memory>
#include <optional>

namespace vek::tools {

namespace {

struct SUnitsArguments {
    SCameraChoice camera;
    std::optional<float> exposureTime;
    std::optional<std::uint32_t> exposureClocks;
    std::optional<unsigned short> gain;
    std::optional<float> gainDb;
    std::optional<unsigned short> digitalGain;
    std::optional<float> digitalTimes;
    std::optional<float> fps;
    bool json = false;
};

nlohmann::ordered_json exposureJson(unsigned long clocks, float seconds) {
    return {{"clocks", clocks}, {"seconds", seconds}};
}

nlohmann::ordered_json rangesOf(const CUnitConverter& convert, unsigned long maxShort) {
    // Factors and times that every camera limits.
    constexpr float kLargeFactor = 1000;
    const unsigned long maxLong = convert.Clocks(std::numeric_limits<float>::max());
    const unsigned short maxDigital = convert.DigitalGain(kLargeFactor);
    nlohmann::ordered_json ranges;
    ranges["exposure"] = {{"min", exposureJson(1, convert.Seconds(1))},
                          {"maxShort", exposureJson(maxShort, convert.Seconds(maxShort))},
                          {"max", exposureJson(maxLong, convert.Seconds(maxLong))}};
    ranges["gain"] = {{"min", {{"value", convert.MinGain()}, {"dB", convert.Decibels(convert.MinGain())}}},
                      {"max", {{"value", convert.MaxGain()}, {"dB", convert.Decibels(convert.MaxGain())}}}};
    ranges["digitalGain"] = {{"min", {{"value", 0}, {"times", convert.DigitalTimes(0)}}},
                             {"max", {{"value", maxDigital}, {"times", convert.DigitalTimes(maxDigital)}}}};
    return ranges;
}

/// One object for each conversion that was asked for: what was given, what it gives, and the way back.
nlohmann::ordered_json conversionsOf(const CUnitConverter& convert, const SUnitsArguments& arguments) {
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    if (arguments.exposureTime) {
        const unsigned long clocks = convert.Clocks(*arguments.exposureTime);
        json["exposureTime"] = {
            {"seconds", *arguments.exposureTime}, {"clocks", clocks}, {"backSeconds", convert.Seconds(clocks)}};
    }
    if (arguments.exposureClocks) {
        const float seconds = convert.Seconds(*arguments.exposureClocks);
        json["exposureClocks"] = {
            {"clocks", *arguments.exposureClocks}, {"seconds", seconds}, {"backClocks", convert.Clocks(seconds)}};
    }
    if (arguments.gain) {
        json["gain"] = {{"value", *arguments.gain}, {"dB", convert.Decibels(*arguments.gain)}};
    }
    if (arguments.gainDb) {
        const unsigned short value = convert.NearestGain(*arguments.gainDb);
        json["gainDb"] = {{"dB", *arguments.gainDb}, {"value", value}, {"backDb", convert.Decibels(value)}};
    }
    if (arguments.digitalGain) {
        const float times = convert.DigitalTimes(*arguments.digitalGain);
        json["digitalGain"] = {
            {"value", *arguments.digitalGain}, {"times", times}, {"backValue", convert.DigitalGain(times)}};
    }
    if (arguments.digitalTimes) {
        const unsigned short value = convert.DigitalGain(*arguments.digitalTimes);
        json["digitalTimes"] = {
            {"times", *arguments.digitalTimes}, {"value", value}, {"backTimes", convert.DigitalTimes(value)}};
    }
    if (arguments.fps) {
        const std::optional<unsigned long> lines = convert.VBlank(*arguments.fps);
        json["fps"] = {{"fps", *arguments.fps},
                       {"vBlankLines", lines ? nlohmann::ordered_json(*lines) : nlohmann::ordered_json()}};
    }
    return json;
}

std::string numberText(const nlohmann::ordered_json& number) {
    return number.is_number_float() ? fmt::format("{:.6g}", number.get<double>()) : number.dump();
}

std::string unitsText(const nlohmann::ordered_json& json) {
    CColumns lines(26);
    const auto field = [](const nlohmann::ordered_json& object, const char* key) { return numberText(object.at(key)); };
    const nlohmann::ordered_json& ranges = json.at("ranges");
    const auto exposure = [&](const char* which) {
        const nlohmann::ordered_json& limit = ranges.at("exposure").at(which);
        return fmt::format("{} clocks = {} s", field(limit, "clocks"), field(limit, "seconds"));
    };
    lines.Add("camera", json.at("camera").get<std::string>());
    lines.Add("shortest exposure", exposure("min"));
    lines.Add("longest, frame rate kept", exposure("maxShort"));
    lines.Add("longest exposure", exposure("max"));
    const nlohmann::ordered_json& gain = ranges.at("gain");
    lines.Add("gain",
              fmt::format("{} .. {} = {} .. {} dB", field(gain.at("min"), "value"), field(gain.at("max"), "value"),
                          field(gain.at("min"), "dB"), field(gain.at("max"), "dB")));
    const nlohmann::ordered_json& digital = ranges.at("digitalGain");
    lines.Add("digital gain", fmt::format("{} .. {} = {} .. {} times", field(digital.at("min"), "value"),
                                          field(digital.at("max"), "value"), field(digital.at("min"), "times"),
                                          field(digital.at("max"), "times")));

    const nlohmann::ordered_json& conversions = json.at("conversions");
    const auto found = [&](const char* key) { return conversions.contains(key) ? &conversions.at(key) : nullptr; };
    if (const auto* const c = found("exposureTime")) {
        lines.Add("exposure time", fmt::format("{} s -> {} clocks -> {} s", field(*c, "seconds"), field(*c, "clocks"),
                                               field(*c, "backSeconds")));
    }
    if (const auto* const c = found("exposureClocks")) {
        lines.Add("exposure clocks", fmt::format("{} clocks -> {} s -> {} clocks", field(*c, "clocks"),
                                                 field(*c, "seconds"), field(*c, "backClocks")));
    }
    if (const auto* const c = found("gain")) {
        lines.Add("gain value", fmt::format("{} -> {} dB", field(*c, "value"), field(*c, "dB")));
    }
    if (const auto* const c = found("gainDb")) {
        lines.Add("gain from decibels",
                  fmt::format("{} dB -> {} -> {} dB", field(*c, "dB"), field(*c, "value"), field(*c, "backDb")));
    }
    if (const auto* const c = found("digitalGain")) {
        lines.Add("digital gain value",
                  fmt::format("{} -> {} times -> {}", field(*c, "value"), field(*c, "times"), field(*c, "backValue")));
    }
    if (const auto* const c = found("digitalTimes")) {
        lines.Add("digital gain factor", fmt::format("{} times -> {} -> {} times", field(*c, "times"),
                                                     field(*c, "value"), field(*c, "backTimes")));
    }
    if (const auto* const c = found("fps")) {
        lines.Add("frame rate",
                  c->at("vBlankLines").is_null()
                      ? fmt::format("{} frames/s: no blanking setting", field(*c, "fps"))
                      : fmt::format("{} frames/s -> {} lines of blanking", field(*c, "fps"), field(*c, "vBlankLines")));
    }
    return lines.Text();
}

void units(const SUnitsArguments& arguments) {
    const auto camera = openCamera(arguments.camera);
    const SCameraInfo info = readCameraInfo(*camera);
    const CLibraryHandle handle(camera->Fd());
    const CUnitConverter convert(handle.Get());
    nlohmann::ordered_json json;
    json["camera"] = camera->Name();
    json["ranges"] = rangesOf(convert, static_cast<std::uint32_t>(info.maxShortExposureClocks));
    json["conversions"] = conversionsOf(convert, arguments);
    print(arguments.json ? jsonText(json) : unitsText(json));
}

} // namespace

void addUnitsCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("units", "Convert between a camera's units and seconds, decibels and factors");
    const auto arguments = std::make_shared<SUnitsArguments>();
    const auto value16 = range(0, std::numeric_limits<unsigned short>::max());

    addCameraOptions(*command, arguments->camera);
    command->add_option("--exposure-time", arguments->exposureTime, "Seconds, to exposure clocks and back")
        ->transform(numberRange(0.0, 1e6));
    command->add_option("--exposure-clocks", arguments->exposureClocks, "Exposure clocks, to seconds and back")
        ->transform(range(0, std::numeric_limits<std::uint32_t>::max()));
    command->add_option("--gain", arguments->gain, "Gain setting value, to decibels")->transform(value16);
    command->add_option("--gain-db", arguments->gainDb, "Decibels, to the nearest gain setting value and back")
        ->transform(numberRange(-1000.0, 1000.0));
    command->add_option("--digital-gain", arguments->digitalGain, "Digital gain setting value, to a factor and back")
        ->transform(value16);
    command->add_option("--digital-times", arguments->digitalTimes, "Digital gain factor, to a setting value and back")
        ->transform(numberRange(0.0, 1000.0));
    command->add_option("--fps", arguments->fps, "Frames per second, to lines of vertical blanking")
        ->transform(numberRange(0.001, 1e6));
    addJson(*command, arguments->json);
    command->callback([arguments] { units(*arguments); });
}

} // namespace vek::tools
