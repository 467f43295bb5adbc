// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/camera/FrameGrabber.h"
#include "client/files/JsonText.h"
#include "client/files/OutputFile.h"
#include "client/names/Names.h"
#include "client/stages/BlackMeter.h"
#include "client/stages/Calibration.h"

#include "tools/commands/CalibrateFrames.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"
#include "tools/text/ProgressBar.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

namespace vek::tools {

namespace {

struct SBlackArguments : SCalibrationInput {
    std::optional<unsigned> frames;
    std::optional<std::int32_t> exposure;
    std::optional<std::int32_t> gain;
    std::string output;
    bool json = false;
};

/// What was measured, of whose frames.
struct SBlackReport {
    std::string source;
    STransferredFrame form; ///< without bytes
    SBlackMeasurement measurement;
};

SBlackReport blackOfFiles(const SBlackArguments& arguments) {
    CAlikeFrames frames(arguments, arguments.files, arguments.frames);
    const STransferredFrame& form = frames.Form();
    CBlackMeter meter(*form.format, form.width, form.height, form.colorArray);
    CProgressBar progress(frames.Count().value_or(1));
    while (const std::optional<STransferredFrame> frame = frames.Next()) {
        meter.Add(frame->bytes);
        progress.Advance();
    }
    return {frames.Source(), {form.format, form.width, form.height, form.colorArray, {}}, meter.Result()};
}

SBlackReport blackOfCamera(const SBlackArguments& arguments) {
    constexpr unsigned kFrames = 16;
    const STransferFormat& format = calibrationFormat(arguments.format.empty() ? "raw8" : arguments.format);
    const auto camera =
        openCamera(arguments.camera, arguments.camera.Simulated() ? makeDriver(arguments, true, 1) : nullptr);
    setExposureAndGain(*camera, arguments.exposure, arguments.gain);
    CFrameGrabber grabber(*camera, format);
    const auto colorArray = format.IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO) : grabber.ColorArray();
    CBlackMeter meter(format, grabber.Width(), grabber.Height(), colorArray);
    const unsigned frames = arguments.frames.value_or(kFrames);
    CProgressBar progress(frames);
    for (unsigned i = 0; i < frames; ++i) {
        meter.Add(grabber.Next());
        progress.Advance();
    }
    return {camera->Name(), {&format, grabber.Width(), grabber.Height(), colorArray, {}}, meter.Result()};
}

std::string linesText(double deviation, double noise, const std::vector<SOddLine>& odd) {
    constexpr std::size_t kShown = 5;
    std::string text = fmt::format("differ by {:.3f} DN, noise alone {:.3f}", deviation, noise);
    for (std::size_t i = 0; i < std::min(kShown, odd.size()); ++i) {
        text += fmt::format("{} {}: {:+.2f}", i == 0 ? "; odd:" : ",", odd[i].index, odd[i].deviation);
    }
    return text + (odd.size() > kShown ? fmt::format(" and {} more", odd.size() - kShown) : "");
}

std::string reportText(const SBlackReport& report) {
    const SBlackMeasurement& measurement = report.measurement;
    CColumns lines(12);
    lines.Add("source", oneLine(report.source));
    lines.Add("frames", framesText(measurement.frames, report.form));
    for (const SBlackPlace& place : measurement.places) {
        lines.Add(place.name.empty() ? "black" : fmt::format("black {}", place.name),
                  fmt::format("{:.3f} +- {:.3f} DN, {}pattern {:.3f}", place.level, place.error,
                              place.noise ? fmt::format("temporal noise {:.3f}, ", *place.noise) : "", place.pattern));
    }
    lines.Add("rows", linesText(measurement.rowDeviation, measurement.rowNoise, measurement.rows));
    lines.Add("columns", linesText(measurement.columnDeviation, measurement.columnNoise, measurement.columns));
    return lines.Text();
}

nlohmann::ordered_json linesJson(double deviation, double noise, const std::vector<SOddLine>& odd) {
    nlohmann::ordered_json json = {
        {"deviation", deviation}, {"noise", noise}, {"odd", nlohmann::ordered_json::array()}};
    for (const SOddLine& line : odd) {
        json["odd"].push_back({{"index", line.index}, {"deviation", line.deviation}});
    }
    return json;
}

std::string reportJson(const SBlackReport& report) {
    const SBlackMeasurement& measurement = report.measurement;
    nlohmann::ordered_json json;
    json["source"] = report.source;
    json["frames"] = measurement.frames;
    json["width"] = report.form.width;
    json["height"] = report.form.height;
    json["format"] = report.form.format->name;
    json["colorArray"] = colorArrayName(report.form.colorArray);
    for (const SBlackPlace& place : measurement.places) {
        nlohmann::ordered_json values = {{"level", place.level}, {"error", place.error}};
        values["noise"] = place.noise ? nlohmann::ordered_json(*place.noise) : nlohmann::ordered_json();
        values["pattern"] = place.pattern;
        json["black"][place.name.empty() ? "mono" : std::string(place.name)] = values;
    }
    json["rows"] = linesJson(measurement.rowDeviation, measurement.rowNoise, measurement.rows);
    json["columns"] = linesJson(measurement.columnDeviation, measurement.columnNoise, measurement.columns);
    json["doubts"] = measurement.doubts;
    return jsonText(json);
}

void calibrateBlack(const SBlackArguments& arguments) {
    checkInput(arguments);
    // Where nothing can be written it shows before the frames are taken.
    COutputFiles files(expandedPaths(arguments.files));
    COutputFile* const output = arguments.output.empty() ? nullptr : &files.Open(arguments.output);
    const SBlackReport report = arguments.FromFiles() ? blackOfFiles(arguments) : blackOfCamera(arguments);
    for (const std::string& doubt : report.measurement.doubts) {
        warn(doubt);
    }
    if (output != nullptr) {
        SProfile profile = profileFor(arguments, arguments.output, report.form);
        profile.blackLevel = report.measurement.Levels();
        writeProfile(*output, arguments.output, profile);
    }
    files.Publish();
    if (!isStandardOutput(arguments.output)) {
        print(arguments.json ? reportJson(report) : reportText(report));
    }
}

} // namespace

void addBlackKind(CLI::App& command) {
    CLI::App* const kind = command.add_subcommand("black", "Measure the black level, the lens capped");
    const auto arguments = std::make_shared<SBlackArguments>();
    addCalibrationInput(*kind, *arguments, true, "Transfer format, raw8 of cameras by default");
    addProfileOutput(*kind, arguments->output, "Write BlackLevel");
    kind->add_option("-n,--frames", arguments->frames, "Frames to take: 16 of a camera by default, all of files")
        ->transform(range(1, kMostCalibrationFrames));
    kind->add_option("--exposure", arguments->exposure, "Exposure clocks of a camera; its current ones by default")
        ->transform(range(0, kMaxControl));
    kind->add_option("--gain", arguments->gain, "Gain setting value of a camera; its current one by default")
        ->transform(range(0, kMaxGain));
    addJson(*kind, arguments->json);
    kind->callback([arguments] { calibrateBlack(*arguments); });
}

} // namespace vek::tools
