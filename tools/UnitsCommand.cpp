// SPDX-License-Identifier: Apache-2.0
#include "UnitsCommand.h"

#include "CameraInfo.h"
#include "CameraSource.h"
#include "Errors.h"
#include "LibraryHandle.h"
#include "Options.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
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

/// The library's conversions on one camera.
class CConverter {
public:
    explicit CConverter(VekCam_Handle camera) : mCamera(camera) {}

    unsigned long Clocks(float seconds) const {
        unsigned long clocks = 0;
        mvExpect(VekCam_GetExposureClockFromTime(mCamera, seconds, &clocks), 1);
        return clocks;
    }
    float Seconds(unsigned long clocks) const {
        float seconds = 0;
        mvExpect(VekCam_GetExposureTimeFromClock(mCamera, clocks, &seconds), 1);
        return seconds;
    }
    float Decibels(unsigned short gain) const {
        float decibels = 0;
        mvExpect(VekCam_GetGainDBFromSettingValue(mCamera, gain, &decibels), VEK_OK);
        return decibels;
    }
    /// The setting value whose gain is nearest; curves rise, but not evenly, and have no formula for the way back here.
    unsigned short NearestGain(float decibels) const {
        unsigned short nearest = MinGain();
        for (unsigned value = nearest; value <= MaxGain(); ++value) {
            const auto candidate = static_cast<unsigned short>(value);
            if (std::abs(Decibels(candidate) - decibels) < std::abs(Decibels(nearest) - decibels)) {
                nearest = candidate;
            }
        }
        return nearest;
    }
    unsigned short DigitalGain(float times) const {
        unsigned short value = 0;
        mvExpect(VekCam_GetDigitalGainSettingValueFromGainTimes(mCamera, times, &value), 1);
        return value;
    }
    float DigitalTimes(unsigned short value) const {
        float times = 0;
        mvExpect(VekCam_GetDigitalGainTimesFromSettingValue(mCamera, value, &times), 1);
        return times;
    }
    /// Nothing: the camera has no blanking setting.
    std::optional<unsigned long> VBlank(float fps) const {
        unsigned long lines = 0;
        return VekCam_GetVBlankFromFPS(mCamera, fps, &lines) == VEK_OK ? std::optional(lines) : std::nullopt;
    }
    /// Limits of gain as a fresh handle has them.
    unsigned short MinGain() const {
        unsigned short gain = 0;
        mvExpect(VekCam_GetAGCMinGain(mCamera, &gain), 1);
        return gain;
    }
    unsigned short MaxGain() const {
        unsigned short gain = 0;
        mvExpect(VekCam_GetAGCMaxGain(mCamera, &gain), 1);
        return gain;
    }

private:
    static void mvExpect(int status, int done) {
        if (status != done) {
            throw CFailure(fmt::format("the library refused a conversion: {}", status));
        }
    }

    VekCam_Handle mCamera;
};

nlohmann::ordered_json exposureJson(unsigned long clocks, float seconds) {
    return {{"clocks", clocks}, {"seconds", seconds}};
}

nlohmann::ordered_json rangesOf(const CConverter& convert, unsigned long maxShort) {
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
nlohmann::ordered_json conversionsOf(const CConverter& convert, const SUnitsArguments& arguments) {
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

std::string textOf(const nlohmann::ordered_json& json) {
    std::string text;
    const auto line = [&text](std::string_view name, const std::string& value) {
        text += fmt::format("{:<26}{}\n", name, value);
    };
    const auto field = [](const nlohmann::ordered_json& object, const char* key) { return numberText(object.at(key)); };
    const nlohmann::ordered_json& ranges = json.at("ranges");
    const auto exposure = [&](const char* which) {
        const nlohmann::ordered_json& limit = ranges.at("exposure").at(which);
        return fmt::format("{} clocks = {} s", field(limit, "clocks"), field(limit, "seconds"));
    };
    line("camera", json.at("camera").get<std::string>());
    line("shortest exposure", exposure("min"));
    line("longest, frame rate kept", exposure("maxShort"));
    line("longest exposure", exposure("max"));
    const nlohmann::ordered_json& gain = ranges.at("gain");
    line("gain", fmt::format("{} .. {} = {} .. {} dB", field(gain.at("min"), "value"), field(gain.at("max"), "value"),
                             field(gain.at("min"), "dB"), field(gain.at("max"), "dB")));
    const nlohmann::ordered_json& digital = ranges.at("digitalGain");
    line("digital gain",
         fmt::format("{} .. {} = {} .. {} times", field(digital.at("min"), "value"), field(digital.at("max"), "value"),
                     field(digital.at("min"), "times"), field(digital.at("max"), "times")));

    const nlohmann::ordered_json& conversions = json.at("conversions");
    const auto found = [&](const char* key) { return conversions.contains(key) ? &conversions.at(key) : nullptr; };
    if (const auto* const c = found("exposureTime")) {
        line("exposure time", fmt::format("{} s -> {} clocks -> {} s", field(*c, "seconds"), field(*c, "clocks"),
                                          field(*c, "backSeconds")));
    }
    if (const auto* const c = found("exposureClocks")) {
        line("exposure clocks", fmt::format("{} clocks -> {} s -> {} clocks", field(*c, "clocks"), field(*c, "seconds"),
                                            field(*c, "backClocks")));
    }
    if (const auto* const c = found("gain")) {
        line("gain value", fmt::format("{} -> {} dB", field(*c, "value"), field(*c, "dB")));
    }
    if (const auto* const c = found("gainDb")) {
        line("gain from decibels",
             fmt::format("{} dB -> {} -> {} dB", field(*c, "dB"), field(*c, "value"), field(*c, "backDb")));
    }
    if (const auto* const c = found("digitalGain")) {
        line("digital gain value",
             fmt::format("{} -> {} times -> {}", field(*c, "value"), field(*c, "times"), field(*c, "backValue")));
    }
    if (const auto* const c = found("digitalTimes")) {
        line("digital gain factor",
             fmt::format("{} times -> {} -> {} times", field(*c, "times"), field(*c, "value"), field(*c, "backTimes")));
    }
    if (const auto* const c = found("fps")) {
        line("frame rate",
             c->at("vBlankLines").is_null()
                 ? fmt::format("{} frames/s: no blanking setting", field(*c, "fps"))
                 : fmt::format("{} frames/s -> {} lines of blanking", field(*c, "fps"), field(*c, "vBlankLines")));
    }
    return text;
}

void units(const SUnitsArguments& arguments) {
    const bool simulated = arguments.camera.simulated(true);
    const CCamera camera = simulated ? CCamera(std::make_shared<sim::CSimulatedDriver>(arguments.camera.modelName()))
                                     : CCamera(arguments.camera.device);
    const SCameraInfo info = readCameraInfo(camera.Fd(), camera.Name());
    const CLibraryHandle handle(camera.Fd());
    const CConverter convert(handle.Get());
    nlohmann::ordered_json json;
    json["camera"] = camera.Name();
    json["ranges"] = rangesOf(convert, static_cast<std::uint32_t>(info.maxShortExposureClocks));
    json["conversions"] = conversionsOf(convert, arguments);
    std::fputs((arguments.json ? json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n"
                               : textOf(json))
                   .c_str(),
               stdout);
}

} // namespace

void addUnitsCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("units", "Convert between a camera's units and seconds, decibels and factors");
    const auto arguments = std::make_shared<SUnitsArguments>();
    const auto value16 = range(0, std::numeric_limits<unsigned short>::max());

    addCameraOptions(*command, arguments->camera, "");
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
    command->add_flag("--json", arguments->json, "Print a JSON object")->disable_flag_override();
    command->callback([arguments] { units(*arguments); });
}

} // namespace vek::tools
