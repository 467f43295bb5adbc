// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/camera/FrameGrabber.h"
#include "client/files/OutputFile.h"
#include "client/files/OutputPath.h"
#include "client/names/Names.h"
#include "client/stages/Calibration.h"

#include "tools/commands/CalibrateFrames.h"
#include "tools/commands/Commands.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"
#include "tools/text/ProgressBar.h"

#include <fmt/format.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vek::tools {

namespace {

struct SCalibrateArguments : SCalibrationInput {
    std::optional<unsigned> frames;
    std::string output;
    std::string raw;
    std::optional<std::int32_t> exposure;
    std::optional<std::int32_t> gain;
    float light = 1;
};

/// withSettings: exposure and gain are known.
CColumns summary(const SCalibration& calibration, bool withSettings) {
    const SCalibrationLevels levels = levelsOf(calibration);
    CColumns lines(12);
    lines.Add("camera", oneLine(calibration.camera));
    lines.Add("frames",
              fmt::format("{} of {} x {} pixels, {}, {}", calibration.frames, calibration.mean.width,
                          calibration.mean.height, calibration.format->name, colorArrayName(calibration.colorArray)));
    if (withSettings) {
        lines.Add("exposure", fmt::format("{} exposure clocks", calibration.exposureClocks));
        lines.Add("gain", fmt::format("{} (setting value)", calibration.gain));
    }
    lines.Add("level", fmt::format("{:.2f}, from {:.2f} to {:.2f}", levels.mean, levels.low, levels.high));
    lines.Add("saturated", fmt::format("{} pixels", levels.saturated));
    return lines;
}

/// The mean of a camera's frames. openFiles: makes ready to write, and returns the file of the last frame, or null.
SCalibration calibrationOfCamera(const SCalibrateArguments& arguments, bool dark, const STransferFormat& format,
                                 const std::function<COutputFile*()>& openFiles) {
    constexpr unsigned kFrames = 16;
    const auto camera = openCamera(
        arguments.camera, arguments.camera.Simulated() ? makeDriver(arguments, dark, arguments.light) : nullptr);
    setExposureAndGain(*camera, arguments.exposure, arguments.gain);
    CFrameGrabber grabber(*camera, format);
    COutputFile* const rawFile = openFiles();
    const unsigned frames = arguments.frames.value_or(kFrames);
    CProgressBar progress(frames);
    SCalibration calibration =
        takenCalibration(*camera, grabber, dark ? "dark" : "flat", frames, [&] { progress.Advance(); });
    if (rawFile != nullptr) {
        rawFile->Write(grabber.Bytes());
    }
    return calibration;
}

SCalibration calibrationOfFiles(const SCalibrateArguments& arguments, bool dark,
                                const std::function<COutputFile*()>& openFiles) {
    CAlikeFrames frames(arguments, arguments.files, arguments.frames);
    openFiles();
    const STransferredFrame& form = frames.Form();
    CFrameMean mean(*form.format, form.width, form.height);
    CProgressBar progress(frames.Count().value_or(1));
    while (const std::optional<STransferredFrame> frame = frames.Next()) {
        mean.Add(frame->bytes);
        progress.Advance();
    }
    SCalibration calibration;
    calibration.kind = dark ? "dark" : "flat";
    calibration.camera = frames.Source();
    calibration.format = form.format;
    calibration.colorArray = form.colorArray;
    calibration.frames = mean.Frames();
    calibration.exposureClocks = arguments.exposure.value_or(0);
    calibration.gain = arguments.gain.value_or(0);
    calibration.mean = mean.Image();
    return calibration;
}

void calibrate(const SCalibrateArguments& arguments, bool dark) {
    checkInput(arguments);
    const bool fromFiles = arguments.FromFiles();
    const STransferFormat* const format =
        fromFiles ? nullptr : &calibrationFormat(arguments.format.empty() ? "raw8" : arguments.format);
    const std::string description = descriptionPath(arguments.output);

    // Where nothing can be written it shows before the frames are taken.
    COutputFiles files(fromFiles ? expandedPaths(arguments.files) : std::vector<std::string>());
    COutputFile* meanFile = nullptr;
    COutputFile* descriptionFile = nullptr;
    const auto openFiles = [&] {
        meanFile = &files.Open(arguments.output);
        descriptionFile = &files.Open(description);
        return arguments.raw.empty() ? nullptr : &files.Open(arguments.raw);
    };
    const SCalibration calibration = fromFiles ? calibrationOfFiles(arguments, dark, openFiles)
                                               : calibrationOfCamera(arguments, dark, *format, openFiles);
    writeCalibration(*meanFile, *descriptionFile, calibration);
    CColumns lines = summary(calibration, !fromFiles || arguments.exposure || arguments.gain);
    lines.Add("written", arguments.output + ", " + description);
    if (!arguments.raw.empty()) {
        lines.Add("last frame", fmt::format("{}: -W {} -H {} -f {} -a {}", arguments.raw, calibration.mean.width,
                                            calibration.mean.height, calibration.format->name,
                                            colorArrayName(calibration.colorArray)));
    }
    files.Publish();
    if (!isStandardOutput(arguments.raw)) {
        print(lines.Text());
    }
}

void addKind(CLI::App& command, const char* name, const char* help, bool dark) {
    CLI::App* const kind = command.add_subcommand(name, help);
    const auto arguments = std::make_shared<SCalibrateArguments>();

    addCalibrationInput(*kind, *arguments, true,
                        "Transfer format, of the depth of the frames to be corrected; raw8 of cameras by default");
    CLI::Option* const device = kind->get_option("--device");
    kind->add_option("-o,--output", arguments->output,
                     "PNG file for the mean of the frames, 16 bits; FILE.json beside it tells how\nthey were taken")
        ->type_name("FILE.png")
        ->required();
    kind->add_option("-n,--frames", arguments->frames,
                     "Frames to take the mean of: 16 of a camera by default, all of files")
        ->transform(range(1, kMostCalibrationFrames));
    kind->add_option("--exposure", arguments->exposure,
                     "Exposure clocks; the camera's current ones by default. Of files they are noted only")
        ->transform(range(0, kMaxControl));
    kind->add_option("--gain", arguments->gain,
                     "Gain setting value; the camera's current one by default. Of files it is noted only")
        ->transform(range(0, kMaxGain));
    kind->add_option("--raw", arguments->raw,
                     "Keep the last frame as the camera sent it, for `vekcam convert`; - writes it to\nstandard "
                     "output, and nothing else")
        ->type_name("FILE")
        ->check(isOutput(bytesComplaint));
    if (!dark) {
        addLight(*kind, arguments->light, "Light on the simulated white surface", device);
    }
    kind->callback([arguments, dark] { calibrate(*arguments, dark); });
}

} // namespace

void addCalibrateCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "calibrate", "Take the frames that corrections are made from; measure black level, noise, delays and colours");
    command->require_subcommand(1);
    addBlackKind(*command);
    addKind(*command, "dark", "Take dark frames, the lens capped, for `vekcam convert --noise complex`", true);
    addKind(*command, "flat", "Take frames of an even white surface for `vekcam convert --shading`", false);
    addNoiseKind(*command);
    addDelayKind(*command);
    addCalibrateColor(*command);
}

} // namespace vek::tools
