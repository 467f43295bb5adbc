// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/camera/FrameGrabber.h"
#include "client/files/OutputFile.h"
#include "client/files/OutputPath.h"
#include "client/names/Names.h"
#include "client/stages/Calibration.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"
#include "tools/text/ProgressBar.h"

#include <fmt/format.h>

#include <memory>
#include <optional>

namespace vek::tools {

namespace {

struct SCalibrateArguments {
    SCameraChoice camera;
    std::string format = "raw8";
    unsigned frames = 16;
    std::string output;
    std::string raw;
    std::optional<std::int32_t> exposure;
    std::optional<std::int32_t> gain;
    SSimulatedSetup setup;
    float light = 1;
};

/// A camera with the lens capped, or in front of an even white surface.
std::shared_ptr<sim::CSimulatedDriver> makeDriver(const SCalibrateArguments& arguments, bool dark) {
    const sim::SCameraModel& model = modelNamed(arguments.camera.model);
    sim::SSensorConfig sensor = sensorOf(model, arguments.setup);
    sensor.lightLevel = arguments.light;
    auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensor);
    driver->SetLensCap(dark);
    if (!dark) {
        driver->SetScene(sim::CScene::Flat(sensor.width, sensor.height, 1.0F));
    }
    return driver;
}

CColumns summary(const SCalibration& calibration) {
    const SCalibrationLevels levels = levelsOf(calibration);
    CColumns lines(12);
    lines.Add("camera", calibration.camera);
    lines.Add("frames",
              fmt::format("{} of {} x {} pixels, {}, {}", calibration.frames, calibration.mean.width,
                          calibration.mean.height, calibration.format->name, colorArrayName(calibration.colorArray)));
    lines.Add("exposure", fmt::format("{} exposure clocks", calibration.exposureClocks));
    lines.Add("gain", fmt::format("{} (setting value)", calibration.gain));
    lines.Add("level", fmt::format("{:.2f}, from {:.2f} to {:.2f}", levels.mean, levels.low, levels.high));
    lines.Add("saturated", fmt::format("{} pixels", levels.saturated));
    return lines;
}

void calibrate(const SCalibrateArguments& arguments, bool dark) {
    const STransferFormat& format = *findTransferFormat(arguments.format);
    if (!canBeCalibrated(format)) {
        throw CBadArguments(
            fmt::format("format {} cannot be calibrated: neither raw nor mono, or packed", format.name));
    }
    const std::string description = descriptionPath(arguments.output);
    const auto camera =
        openCamera(arguments.camera, arguments.camera.Simulated() ? makeDriver(arguments, dark) : nullptr);
    setExposureAndGain(*camera, arguments.exposure, arguments.gain);
    CFrameGrabber grabber(*camera, format);

    // Where nothing can be written it shows before the frames are taken.
    COutputFiles files;
    COutputFile& meanFile = files.Open(arguments.output);
    COutputFile& descriptionFile = files.Open(description);
    COutputFile* const rawFile = arguments.raw.empty() ? nullptr : &files.Open(arguments.raw);

    const SCalibration calibration = [&] {
        CProgressBar progress(arguments.frames);
        return takenCalibration(*camera, grabber, dark ? "dark" : "flat", arguments.frames,
                                [&] { progress.Advance(); });
    }();
    writeCalibration(meanFile, descriptionFile, calibration);
    CColumns lines = summary(calibration);
    lines.Add("written", arguments.output + ", " + description);
    if (rawFile != nullptr) {
        rawFile->Write(grabber.Bytes());
        lines.Add("last frame", fmt::format("{}: -W {} -H {} -f {} -a {}", arguments.raw, grabber.Width(),
                                            grabber.Height(), format.name, colorArrayName(calibration.colorArray)));
    }
    files.Publish();
    if (!isStandardOutput(arguments.raw)) {
        print(lines.Text());
    }
}

void addKind(CLI::App& command, const char* name, const char* help, bool dark) {
    CLI::App* const kind = command.add_subcommand(name, help);
    const auto arguments = std::make_shared<SCalibrateArguments>();

    addCameraOptions(*kind, arguments->camera);
    CLI::Option* const device = kind->get_option("--device");
    kind->add_option("-o,--output", arguments->output,
                     "PNG file for the mean of the frames, 16 bits; FILE.json beside it tells how\nthey were taken")
        ->type_name("FILE.png")
        ->required();
    kind->add_option("-n,--frames", arguments->frames, "Frames to take the mean of")
        ->capture_default_str()
        ->transform(range(1, kMostCalibrationFrames));
    addFormat(*kind, arguments->format,
              wrapped("Transfer format, of the depth of the frames to be corrected: " + sampledFormats()))
        ->capture_default_str();
    kind->add_option("--exposure", arguments->exposure, "Exposure clocks; the camera's current ones by default")
        ->transform(range(0, kMaxControl));
    kind->add_option("--gain", arguments->gain, "Gain setting value; the camera's current one by default")
        ->transform(range(0, kMaxGain));
    kind->add_option("--raw", arguments->raw,
                     "Keep the last frame as the camera sent it, for `vekcam convert`; - writes it to\nstandard "
                     "output, and nothing else")
        ->type_name("FILE")
        ->check(isOutput(bytesComplaint));
    addSimulatedSetup(*kind, arguments->setup, device);
    if (!dark) {
        addLight(*kind, arguments->light, "Light on the simulated white surface", device);
    }
    kind->callback([arguments, dark] { calibrate(*arguments, dark); });
}

} // namespace

void addCalibrateCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("calibrate", "Take the frames that corrections are made from");
    command->require_subcommand(1);
    addKind(*command, "dark", "Take dark frames, the lens capped, for `vekcam convert --noise complex`", true);
    addKind(*command, "flat", "Take frames of an even white surface for `vekcam convert --shading`", false);
}

} // namespace vek::tools
