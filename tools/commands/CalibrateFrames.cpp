// SPDX-License-Identifier: Apache-2.0
#include "tools/commands/CalibrateFrames.h"

#include "client/Errors.h"
#include "client/files/OutputFile.h"
#include "client/files/OutputPath.h"
#include "client/names/Names.h"
#include "client/stages/Calibration.h"

#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <utility>

namespace vek::tools {

namespace {

constexpr const char* kFileOptions[] = {"--colour-array", "--profile",    "--src-offset",
                                        "--src-stride",   "--byte-order", "--force"};
constexpr const char* kCameraOptions[] = {"--device", "--sim", "--hot", "--no-noise", "--seed", "--light", "--raw"};

bool isGiven(const CLI::App& command, const char* name) {
    const CLI::Option* const option = command.get_option_no_throw(name);
    return option != nullptr && option->count() > 0;
}

SFrameSteps stepsOf(std::optional<std::uint64_t> most) {
    SFrameSteps steps;
    steps.last = most ? std::optional(*most - 1) : std::nullopt;
    return steps;
}

} // namespace

void addCalibrationInput(CLI::App& command, SCalibrationInput& input, bool withDevice, const std::string& format) {
    input.command = &command;
    command
        .add_option(
            "FILES", input.files,
            wrapped("Raw files, with any number of frames each, or DNG files; without them a camera's frames are "
                    "taken. Patterns in quotes (\"dark*.raw\") stand for files, frame2 before frame10; - is "
                    "standard input"))
        ->type_name("");
    CLI::Option* device = nullptr;
    if (withDevice) {
        addCameraOptions(command, input.camera);
        device = command.get_option("--device");
    } else {
        input.camera.simulatedByDefault = true;
        input.camera.simulatedOption = addModelOption(command, input.camera.model, "A simulated camera");
    }
    CLI::Option* const sides[] = {
        command.add_option("-W,--width", input.width, "Pixels of a row, of raw files or of the simulated sensor")
            ->transform(range(1, 65535)),
        command.add_option("-H,--height", input.height, "Rows, of raw files or of the simulated sensor")
            ->transform(range(1, 65535))};
    excludeAll(sides, device);
    addFormat(command, input.format, wrapped(format + ": " + sampledFormats()));
    addColorArray(command, input.colorArray, "; of raw files");
    addProfile(command, input.profile);
    addFrameReading(command, input.reading, nullptr);
    addSimulatedSensor(command, input.setup, device);
}

void checkInput(const SCalibrationInput& input) {
    if (input.FromFiles()) {
        for (const char* const option : kCameraOptions) {
            if (isGiven(*input.command, option)) {
                throw CBadArguments(fmt::format("{} is of cameras, and does not go with files", option));
            }
        }
        return;
    }
    for (const char* const option : kFileOptions) {
        const bool describes = std::string_view(option) == "--profile"; // goes into a profile that is written
        if (!describes && isGiven(*input.command, option)) {
            throw CBadArguments(fmt::format("{} is of files, and none is named", option));
        }
    }
    for (const auto& [option, side] : {std::pair{"--width", input.width}, {"--height", input.height}}) {
        if (side != 0 && (side < kSmallestSimulatedSide || side > kLargestSimulatedSide)) {
            throw CBadArguments(fmt::format("{}: {} is no side of a simulated sensor: {} to {}", option, side,
                                            kSmallestSimulatedSide, kLargestSimulatedSide));
        }
    }
}

const STransferFormat& calibrationFormat(const std::string& name) {
    const STransferFormat& format = *findTransferFormat(name);
    if (!canBeCalibrated(format)) {
        throw CBadArguments(
            fmt::format("format {} cannot be calibrated: neither raw nor mono, or packed", format.name));
    }
    return format;
}

sim::SSensorConfig sensorOf(const SCalibrationInput& input) {
    SSimulatedSetup setup = input.setup;
    setup.width = input.width != 0 ? std::optional(input.width) : std::nullopt;
    setup.height = input.height != 0 ? std::optional(input.height) : std::nullopt;
    return sensorOf(modelNamed(input.camera.model), setup);
}

std::shared_ptr<sim::CSimulatedDriver> makeDriver(const SCalibrationInput& input, bool dark, float light) {
    sim::SSensorConfig sensor = sensorOf(input);
    sensor.lightLevel = light;
    auto driver = std::make_shared<sim::CSimulatedDriver>(modelNamed(input.camera.model), sensor);
    driver->SetLensCap(dark);
    if (!dark) {
        driver->SetScene(sim::CScene::Flat(sensor.width, sensor.height, 1.0F));
    }
    return driver;
}

CAlikeFrames::CAlikeFrames(const SCalibrationInput& input, std::span<const std::string> files,
                           std::optional<std::uint64_t> most)
    : mFiles(
          expandedPaths(files), stepsOf(most), input.reading,
          [&](const std::string& path) { return FormOf(input, path); }, warn) {
    std::optional<SSeriesFrame> first = mFiles.Next();
    if (!first) {
        throw CFailure("no frame is there");
    }
    if (first->tags) {
        mSource = first->tags->cameraModel;
        calibrationFormat(std::string(first->frame.format->name));
    } else if (mSource.empty()) {
        mSource = first->path == "-" ? "standard input" : first->path;
    }
    mForm = std::move(first->frame);
}

SRawForm CAlikeFrames::FormOf(const SCalibrationInput& input, const std::string& path) {
    std::uint32_t width = input.width;
    std::uint32_t height = input.height;
    std::string formatName = input.format;
    std::string colorArray = input.colorArray;
    SFrameChoice file = input.reading;
    file.path = path;
    const CChosenFrame chosen(nullptr, {width, height, formatName, colorArray}, input.profile, file);
    const std::optional<SProfile>& profile = chosen.Profile();
    if (profile && profile->cameraModel && mSource.empty()) {
        mSource = *profile->cameraModel;
    }
    const STransferredFrame& form = chosen.Form();
    if (findTransferFormat(form.format->name) == nullptr) {
        throw CBadArguments(
            fmt::format("format {} cannot be calibrated: neither raw nor mono, or packed", form.format->name));
    }
    const STransferFormat& format = calibrationFormat(std::string(form.format->name));
    return {&format, form.width, form.height, form.colorArray};
}

std::optional<STransferredFrame> CAlikeFrames::Next() {
    if (std::exchange(mFirst, false)) {
        return mForm;
    }
    std::optional<SSeriesFrame> next = mFiles.Next();
    if (!next) {
        return std::nullopt;
    }
    const STransferredFrame& frame = next->frame;
    if (frame.format != mForm.format || frame.width != mForm.width || frame.height != mForm.height ||
        frame.colorArray != mForm.colorArray) {
        throw CFailure(fmt::format("{}: {} x {} pixels, {}, {}: the frames before have {} x {}, {}, {}", next->path,
                                   frame.width, frame.height, frame.format->name, colorArrayName(frame.colorArray),
                                   mForm.width, mForm.height, mForm.format->name, colorArrayName(mForm.colorArray)));
    }
    return std::move(next->frame);
}

SProfile profileFor(const SCalibrationInput& input, const std::string& output, const STransferredFrame& form) {
    std::optional<SProfile> profile;
    if (!input.profile.empty()) {
        profile = readProfile(input.profile);
    }
    if (!profile) {
        profile = readProfileIfThere(output);
    }
    if (!profile && input.FromFiles()) {
        const std::optional<std::string> sidecar = sidecarOf(expandedPaths(input.files).front());
        profile = sidecar ? readProfileIfThere(*sidecar) : std::nullopt;
    }
    SProfile completed = std::move(profile).value_or(SProfile());
    completed.width = completed.width.value_or(form.width);
    completed.height = completed.height.value_or(form.height);
    completed.format = completed.format != nullptr ? completed.format : form.format;
    completed.colorArray = completed.colorArray.value_or(form.colorArray);
    return completed;
}

void writeProfile(COutputFile& output, const std::string& path, const SProfile& profile) {
    if (const std::vector<std::string> complaints = misfits(profile); !complaints.empty()) {
        throw CFailure(fmt::format("{}: {}", path, complaints.front()));
    }
    output.Write(profileText(profile, folderOf(path)));
}

void addProfileOutput(CLI::App& command, std::string& output, const std::string& what) {
    command
        .add_option("-o,--output", output,
                    wrapped(what +
                            " into a camera profile: that of --profile with this member anew, without it the one "
                            "that lies there already or beside the first file, or a new one"))
        ->type_name("FILE.json");
}

std::string framesText(std::uint64_t count, const STransferredFrame& form) {
    return fmt::format("{} of {} x {} pixels, {}, {}", count, form.width, form.height, form.format->name,
                       colorArrayName(form.colorArray));
}

} // namespace vek::tools
