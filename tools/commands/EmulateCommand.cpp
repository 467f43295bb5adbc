// SPDX-License-Identifier: Apache-2.0
#include "client/files/InputFile.h"
#include "client/files/OutputPath.h"
#include "client/frames/FrameFiles.h"
#include "client/names/Names.h"
#include "client/recording/Recording.h"

#include "emulator/Emulation.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/simulation/SimulatedCamera.h"
#include "tools/text/Messages.h"

#include "sim/Scene.h"

#include <fmt/format.h>

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

namespace vek::tools {

namespace {

constexpr const char* kNodeStart = "/dev/video";
constexpr unsigned kMostNodes = 64;

struct SEmulateArguments {
    std::string model;
    std::string format;
    std::optional<std::pair<unsigned, unsigned>> size;
    std::string colorArray;
    std::optional<std::vector<sim::SRoi>> regions;
    std::string scene;
    std::string images;
    std::string play;
    float light = 1;
    SSimulatedSetup sensor;
    std::optional<double> rate;
    std::string pace;
    std::optional<unsigned> ring;
    unsigned controlDelay = 0;
    std::string faults;
    bool multiPlanar = false;
    std::string node = std::string(kNodeStart) + '0';
    emulator::SEmulation emulation;
};

/// As many whole numbers as there is room for, with marks between.
template <std::size_t N>
std::optional<std::array<unsigned, N>> wholeNumbers(std::string_view text, char mark) {
    const std::vector<std::string_view> parts = sim::splitText(text, mark);
    std::array<unsigned, N> numbers{};
    for (std::size_t i = 0; i < N && parts.size() == N; ++i) {
        const auto number = sim::readWhole<unsigned>(parts[i], 0, sim::kMaxSensorSide);
        if (!number) {
            return std::nullopt;
        }
        numbers[i] = *number;
    }
    return parts.size() == N ? std::optional(numbers) : std::nullopt;
}

std::optional<std::pair<unsigned, unsigned>> sensorSize(std::string_view text) {
    const auto sides = wholeNumbers<2>(text, 'x');
    const auto fits = [](unsigned side) { return side >= sim::kMinSensorSide; };
    return sides && fits((*sides)[0]) && fits((*sides)[1]) ? std::optional(std::pair((*sides)[0], (*sides)[1]))
                                                           : std::nullopt;
}

std::optional<std::vector<sim::SRoi>> parsedRegions(std::string_view text) {
    std::vector<sim::SRoi> regions;
    for (const std::string_view part : sim::splitText(text, ':')) {
        const auto area = wholeNumbers<4>(part, ',');
        if (!area) {
            return std::nullopt;
        }
        regions.push_back({true, {(*area)[0], (*area)[1], (*area)[2], (*area)[3]}});
    }
    return regions;
}

/// Pictures in front of the lens, one after the other and again from the first. A frame is made once for each look of
/// the camera.
class CPictureFrames {
public:
    CPictureFrames(sim::CSimulatedDriver& camera, const std::vector<std::string>& files) : mCamera(camera) {
        const sim::SSensorConfig sensor = camera.Sensor();
        for (const std::string& file : files) {
            mScenes.push_back(sim::CScene::FromPng(file, sensor.width, sensor.height));
        }
    }

    std::vector<std::uint8_t> Frame(std::uint64_t number) {
        const std::size_t index = number % mScenes.size();
        const auto key = std::tuple(index, mCamera.TransferFormat(), mCamera.Width(), mCamera.Height(),
                                    mCamera.ExposureValue(), mCamera.GainValue());
        constexpr std::size_t kMostKept = 256;
        if (mFrames.size() > kMostKept) {
            mFrames.clear();
        }
        const auto [frame, isNew] = mFrames.try_emplace(key);
        if (isNew) {
            mCamera.SetScene(mScenes[index]);
            frame->second = mCamera.CaptureFrame();
        }
        return frame->second;
    }

private:
    sim::CSimulatedDriver& mCamera;
    std::vector<sim::CScene> mScenes;
    std::map<std::tuple<std::size_t, unsigned long, unsigned, unsigned, std::uint32_t, std::uint16_t>,
             std::vector<std::uint8_t>>
        mFrames;
};

/// A camera whose sensor has the size of a recording's frames, and that begins with their format.
std::shared_ptr<sim::CSimulatedDriver> cameraOf(const CRecording& recording, const SEmulateArguments& arguments) {
    const SRecordingForm& form = recording.Form();
    const bool sent = findTransferFormat(form.format->name) != nullptr;
    const auto fits = [](std::uint32_t side) { return side >= sim::kMinSensorSide && side <= sim::kMaxSensorSide; };
    if (!sent || !fits(form.width) || !fits(form.height) || recording.Count() == 0) {
        throw CFailure(fmt::format("{}: no frames that the camera could send: {} of {} x {}, {}", recording.Path(),
                                   recording.Count(), form.width, form.height, form.format->name));
    }
    const sim::SCameraModel& model = modelNamed(arguments.model);
    sim::SSensorConfig sensor = sensorOf(model, arguments.sensor);
    sensor.width = form.width;
    sensor.height = form.height;
    if (form.colorArray >= 1 && form.colorArray <= sim::kColorArrayNames.size()) {
        sensor.colorArray = form.colorArray;
    }
    auto camera = std::make_shared<sim::CSimulatedDriver>(model, sensor);
    camera->SetTransferFormat(form.format->code);
    return camera;
}

/// The frames of a recording, again from the first behind the last; those of the sensor where the program has chosen
/// another format.
sim::FrameSource framesOf(const std::shared_ptr<const CRecording>& recording, sim::CSimulatedDriver& camera) {
    return [recording, &camera](std::uint64_t number) {
        const SRecordingForm& form = recording->Form();
        const bool same = camera.TransferFormat() == form.format->code && camera.Width() == form.width &&
                          camera.Height() == form.height;
        return same ? recording->Read(number % recording->Count()) : camera.CaptureFrame();
    };
}

std::shared_ptr<sim::CSimulatedDriver> cameraOf(const SEmulateArguments& arguments) {
    const sim::SCameraModel& model = modelNamed(arguments.model);
    SSimulatedSetup setup = arguments.sensor;
    if (arguments.size) {
        setup.width = arguments.size->first;
        setup.height = arguments.size->second;
    }
    sim::SSensorConfig sensor = sensorOf(model, setup);
    sensor.lightLevel = arguments.light;
    if (const auto code = colorArrayGiven(arguments.colorArray)) {
        sensor.colorArray = static_cast<int>(*code);
    }
    auto camera = arguments.scene.empty()
                      ? std::make_shared<sim::CSimulatedDriver>(model, sensor)
                      : std::make_shared<sim::CSimulatedDriver>(
                            model, sensor, sim::CScene::FromPng(arguments.scene, sensor.width, sensor.height));
    if (!arguments.format.empty()) {
        camera->SetTransferFormat(findTransferFormat(arguments.format)->code);
    }
    if (arguments.regions) {
        try {
            camera->SetRois(*arguments.regions);
        } catch (const std::invalid_argument& error) {
            throw CBadArguments(fmt::format("--regions: {}: the camera has {} x {} pixels; regions: {} at most",
                                            error.what(), sensor.width, sensor.height, model.maxRoiCount));
        }
    }
    return camera;
}

sim::SFaultScript faultsOf(const std::string& path) {
    constexpr std::size_t kMost = 1 << 24;
    try {
        return path.empty() ? sim::SFaultScript() : sim::parseFaultScript(readWholeFile(path, kMost, "fault script"));
    } catch (const std::invalid_argument& error) {
        throw CFailure(path + ": " + error.what());
    }
}

std::optional<unsigned> nodeNumber(std::string_view path) {
    const std::string_view start = kNodeStart;
    if (!path.starts_with(start) || path.ends_with('+')) {
        return std::nullopt;
    }
    const auto number = sim::readWhole<unsigned>(path.substr(start.size()), 0, kMostNodes - 1);
    return number && path.substr(start.size()) == std::to_string(*number) ? number : std::nullopt;
}

bool isNode(std::string_view path) {
    return nodeNumber(path).has_value();
}

void runEmulation(const SEmulateArguments& arguments) {
    emulator::SEmulation emulation = arguments.emulation;
    emulation.node = *nodeNumber(arguments.node);
    const auto recording = arguments.play.empty() ? nullptr : std::make_shared<const CRecording>(arguments.play);
    emulation.camera = recording ? cameraOf(*recording, arguments) : cameraOf(arguments);
    sim::SNodeSetup& setup = emulation.setup;
    setup.pace = !emulation.trigger.empty()   ? sim::EPace::Trigger
                 : arguments.pace == "reader" ? sim::EPace::Reader
                                              : sim::EPace::Free;
    setup.framesPerSecond = arguments.rate.value_or(0);
    setup.controlDelay = arguments.controlDelay;
    constexpr unsigned kUsualRing = 4;
    setup.ring = arguments.ring.value_or(kUsualRing);
    setup.multiPlanar = arguments.multiPlanar;
    setup.faults = faultsOf(arguments.faults);
    if (recording) {
        setup.source = framesOf(recording, *emulation.camera);
        setup.ring = arguments.ring.value_or(0);
    }
    if (!arguments.images.empty()) {
        const std::vector<std::string> files = expandedPaths(std::span(&arguments.images, 1));
        auto frames = std::make_shared<CPictureFrames>(*emulation.camera, files);
        setup.source = [frames](std::uint64_t number) { return frames->Frame(number); };
        setup.ring = 0;
    }
    try {
        throw CExit(emulator::emulate(emulation));
    } catch (const emulator::CRefusal& refusal) {
        complain(refusal.what());
        throw CExit(refusal.Code());
    }
}

} // namespace

void addEmulateCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "emulate", "Run a program on a camera that it takes for one of the system's: vekcam emulate [OPTION...]\n"
                   "-- PROGRAM [ARGUMENT...]");
    const auto arguments = std::make_shared<SEmulateArguments>();
    emulator::SEmulation& emulation = arguments->emulation;
    command->add_option("PROGRAM", emulation.program, "What is to be run, and its arguments, behind --")
        ->required()
        ->type_name("");
    command->add_option("-m,--model", arguments->model, fmt::format("{} or one of:\n{}", kDefaultModel, modelList()))
        ->type_name("MODEL")
        ->check(isSimulatedModel());
    addFormat(
        *command, arguments->format,
        wrapped(fmt::format(
            "Transfer format that the camera begins with, number or name: {}; raw at the sensor's depth by default",
            formatGroups())));
    addParsedOption<std::pair<unsigned, unsigned>>(
        *command, "--size", arguments->size, sensorSize,
        fmt::format("is no WIDTHxHEIGHT of {} to {} pixels", sim::kMinSensorSide, sim::kMaxSensorSide),
        "Pixels of the sensor; the model's by default")
        ->type_name("WIDTHxHEIGHT");
    addColorArray(*command, arguments->colorArray, "; the model's by default");
    addParsedOption<std::vector<sim::SRoi>>(*command, "--regions", arguments->regions, parsedRegions,
                                            "is no X,Y,WIDTH,HEIGHT:X,Y,WIDTH,HEIGHT...",
                                            "Regions that the camera delivers; the whole frame by default")
        ->type_name("X,Y,WIDTH,HEIGHT:...");
    CLI::Option* const scene = command->add_option("--scene", arguments->scene,
                                                   "A PNG file that the camera looks at; a test chart by default");
    scene->type_name("FILE");
    command
        ->add_option("--images", arguments->images,
                     "PNG files that the camera looks at one after the other, by a pattern of their names")
        ->type_name("PATTERN")
        ->excludes(scene);
    CLI::Option* const play = command->add_option("--play", arguments->play,
                                                  "A recording whose frames are sent, in its format, again and again");
    play->type_name("FOLDER");
    for (const char* const other : {"--format", "--size", "--colour-array", "--regions", "--scene", "--images"}) {
        play->excludes(command->get_option(other));
    }
    addLight(*command, arguments->light, "Light on the scene", nullptr);
    addSimulatedSensor(*command, arguments->sensor, nullptr);
    constexpr double kMostRate = 100000;
    command->add_option("--fps", arguments->rate, "Frames a second; as many as the camera can by default")
        ->transform(numberRange(0.001, kMostRate));
    CLI::Option* const trigger =
        command->add_option("--trigger", emulation.trigger,
                            "A FIFO of which each line makes the camera send a frame; made where there is none");
    trigger->type_name("FIFO");
    command
        ->add_option("--pace", arguments->pace,
                     "When a frame is sent: free, at the camera's own rate, whether it is taken or not (the\n"
                     "default), or reader, when the program asks for one")
        ->type_name("free|reader")
        ->check(CLI::IsMember({"free", "reader"}))
        ->excludes(trigger);
    command
        ->add_option("--ring", arguments->ring,
                     "Different frames that are made, then sent again and again; 0: each is a new one; 4 by default")
        ->transform(range(0, 10000));
    command
        ->add_option("--control-delay", arguments->controlDelay,
                     "Frames that are sent after exposure or gain was set and do not show it yet")
        ->capture_default_str()
        ->transform(range(0, 100));
    command->add_option("--faults", arguments->faults, "A script of what goes wrong, and when: docs/emulate.md")
        ->type_name("FILE");
    command->add_option("--node", arguments->node, "Where the program finds the camera, /dev/video0 to /dev/video63")
        ->capture_default_str()
        ->type_name("FILE")
        ->check(isText(isNode, "is none of /dev/video0 to /dev/video63"));
    command->add_option("--name", emulation.setup.card, "What the driver calls the camera; the model's name by default")
        ->type_name("TEXT");
    command
        ->add_flag("--multi-planar", arguments->multiPlanar, "A driver of the multi-planar interface, with one plane")
        ->disable_flag_override();
    command
        ->add_option("--log", emulation.log,
                     "Lines of JSON to write: each frame that was sent, with the CRC-32 of its bytes, and the totals")
        ->type_name("FILE");
    command
        ->add_option("--report", emulation.report,
                     "What became of all frames, and the processor's time, to write as a JSON object")
        ->type_name("FILE");
    command->callback([arguments] { runEmulation(*arguments); });
}

} // namespace vek::tools
