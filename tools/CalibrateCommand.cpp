// SPDX-License-Identifier: Apache-2.0
#include "CalibrateCommand.h"

#include "Calibration.h"
#include "CameraSource.h"
#include "Errors.h"
#include "FrameGrabber.h"
#include "LightSteps.h"
#include "Options.h"
#include "OutputFile.h"
#include "ProgressBar.h"

#include <fmt/format.h>

#include <linux/videodev2.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>

namespace vek::tools {

namespace {

// Sums of samples of 16 bits stay within 32 bits.
constexpr std::uint64_t kMostFrames = 1000;

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
    const sim::SCameraModel& model = sim::FindCameraModel(arguments.camera.modelName());
    sim::SSensorConfig sensor = sensorOf(model, arguments.setup);
    sensor.lightLevel = arguments.light;
    auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensor);
    driver->SetLensCap(dark);
    if (!dark) {
        driver->SetScene(sim::CScene::Flat(sensor.width, sensor.height, 1.0F));
    }
    return driver;
}

/// Adds a frame's samples; those above the format's range count as its largest.
void addFrame(std::vector<std::uint32_t>& sums, std::span<const std::uint8_t> bytes, const STransferFormat& format) {
    const unsigned largest = maxSample(format.depth);
    for (std::size_t i = 0; i < sums.size(); ++i) {
        unsigned sample = bytes[i];
        if (format.layout == ELayout::Words) {
            sample = bytes[2 * i] + 256U * bytes[2 * i + 1];
        }
        sums[i] += std::min(sample, largest);
    }
}

std::string summary(const SCalibration& calibration) {
    const std::vector<std::uint16_t>& mean = calibration.mean.samples;
    const double scale = 1U << (16 - calibration.format->depth);
    const auto [low, high] = std::minmax_element(mean.begin(), mean.end());
    const double sum = std::accumulate(mean.begin(), mean.end(), 0.0);
    const double saturated = maxSample(calibration.format->depth) * scale;
    std::string text;
    const auto line = [&text](std::string_view name, const std::string& value) {
        text += fmt::format("{:<12}{}\n", name, value);
    };
    line("camera", calibration.camera);
    line("frames",
         fmt::format("{} of {} x {} pixels, {}, {}", calibration.frames, calibration.mean.width,
                     calibration.mean.height, calibration.format->name, colorArrayName(calibration.colorArray)));
    line("exposure", fmt::format("{} exposure clocks", calibration.exposureClocks));
    line("gain", fmt::format("{} (setting value)", calibration.gain));
    line("level", fmt::format("{:.2f}, from {:.2f} to {:.2f}", sum / scale / static_cast<double>(mean.size()),
                              *low / scale, *high / scale));
    line("saturated", fmt::format("{} pixels", std::count_if(mean.begin(), mean.end(),
                                                             [=](std::uint16_t value) { return value >= saturated; })));
    return text;
}

void calibrate(const SCalibrateArguments& arguments, bool dark) {
    const STransferFormat& format = *findTransferFormat(arguments.format);
    if (format.layout != ELayout::Bytes && format.layout != ELayout::Words) {
        throw CBadArguments(
            fmt::format("format {} cannot be calibrated: neither raw nor mono, or packed", format.name));
    }
    const std::string description = descriptionPath(arguments.output);
    std::shared_ptr<sim::CSimulatedDriver> driver;
    if (arguments.camera.simulated(true)) {
        driver = makeDriver(arguments, dark);
    }
    const CCamera camera = driver ? CCamera(driver) : CCamera(arguments.camera.device);
    if (arguments.exposure) {
        setControl(camera.Fd(), camera.Name(), V4L2_CID_EXPOSURE, *arguments.exposure);
    }
    if (arguments.gain) {
        setControl(camera.Fd(), camera.Name(), V4L2_CID_GAIN, *arguments.gain);
    }
    CFrameGrabber grabber(camera.Fd(), camera.Name(), format);

    // Where nothing can be written it shows before the frames are taken.
    COutputFiles files;
    COutputFile& meanFile = files.Open(arguments.output);
    COutputFile& descriptionFile = files.Open(description);
    COutputFile* const rawFile = arguments.raw.empty() ? nullptr : &files.Open(arguments.raw);

    SCalibration calibration;
    calibration.kind = dark ? "dark" : "flat";
    calibration.camera = camera.Name();
    calibration.format = &format;
    calibration.colorArray = format.IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO) : grabber.ColorArray();
    calibration.frames = arguments.frames;
    calibration.exposureClocks = readControl(camera.Fd(), camera.Name(), V4L2_CID_EXPOSURE, "the exposure");
    calibration.gain = readControl(camera.Fd(), camera.Name(), V4L2_CID_GAIN, "the gain");
    calibration.mean = {grabber.Width(), grabber.Height(), 1, 16, {}};

    std::vector<std::uint32_t> sums(std::size_t{grabber.Width()} * grabber.Height());
    {
        CProgressBar progress(arguments.frames);
        for (unsigned i = 0; i < arguments.frames; ++i) {
            addFrame(sums, grabber.Next(), format);
            progress.Advance();
        }
    }
    calibration.mean.samples.reserve(sums.size());
    for (const std::uint32_t sum : sums) {
        const std::uint64_t scaled = std::uint64_t{sum} << (16 - format.depth);
        calibration.mean.samples.push_back(
            static_cast<std::uint16_t>((scaled + arguments.frames / 2) / arguments.frames));
    }
    writeCalibration(meanFile, descriptionFile, calibration);
    std::string text = summary(calibration) + fmt::format("{:<12}{}, {}\n", "written", arguments.output, description);
    if (rawFile != nullptr) {
        rawFile->Write(grabber.Bytes());
        text += fmt::format("{:<12}{}: -W {} -H {} -f {} -a {}\n", "last frame", arguments.raw, grabber.Width(),
                            grabber.Height(), format.name, colorArrayName(calibration.colorArray));
    }
    files.Publish();
    if (!isStandardOutput(arguments.raw)) {
        std::fputs(text.c_str(), stdout);
    }
}

void addKind(CLI::App& command, const char* name, const char* help, bool dark) {
    CLI::App* const kind = command.add_subcommand(name, help);
    const auto arguments = std::make_shared<SCalibrateArguments>();

    addCameraOptions(*kind, arguments->camera, "");
    CLI::Option* const device = kind->get_option("--device");
    kind->add_option("-o,--output", arguments->output,
                     "PNG file for the mean of the frames, 16 bits; FILE.json beside it tells how\nthey were taken")
        ->type_name("FILE.png")
        ->required();
    kind->add_option("-n,--frames", arguments->frames, "Frames to take the mean of")
        ->capture_default_str()
        ->transform(range(1, kMostFrames));
    kind->add_option("-f,--format", arguments->format,
                     "Transfer format, of the depth of the frames to be corrected: raw8, raw10,\nraw12, raw14, raw16, "
                     "mono8 to mono16")
        ->capture_default_str()
        ->check(isTransferFormat());
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
        kind->add_option("--light", arguments->light, "Light on the simulated white surface, 1 is normal")
            ->capture_default_str()
            ->transform(numberRange(0, kMaxLight))
            ->excludes(device);
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
