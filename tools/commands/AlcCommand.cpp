// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/camera/LuminanceLoop.h"
#include "client/files/OutputFile.h"
#include "client/stages/LibraryHandle.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/LightSteps.h"
#include "tools/options/Options.h"
#include "tools/text/LuminanceReport.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

namespace vek::tools {

namespace {

struct SAlcArguments {
    SCameraChoice camera;
    std::string mode = "both";
    bool once = false;
    SLuminanceSettings settings;
    unsigned frames = 60;
    std::string region;
    float light = 1;
    std::string lightSteps;
    SSimulatedSetup setup;
    std::optional<std::int32_t> startExposure;
    std::optional<std::int32_t> startGain;
    std::string csv;
};

std::shared_ptr<sim::CSimulatedDriver> makeDriver(const SAlcArguments& arguments) {
    const sim::SCameraModel& model = modelNamed(arguments.camera.model);
    sim::SSensorConfig sensor = sensorOf(model, arguments.setup);
    sensor.lightLevel = arguments.light;
    return std::make_shared<sim::CSimulatedDriver>(model, sensor);
}

unsigned char checkedMode(const SAlcArguments& arguments) {
    const unsigned mode = *findCode(alcModes(), arguments.mode);
    return static_cast<unsigned char>(arguments.once && mode <= VEK_ALC_GAIN ? mode + VEK_ALC_GAIN : mode);
}

/// A run under one light after the other.
class CRun {
public:
    /// driver: of a simulated camera; null of a device.
    CRun(const SAlcArguments& arguments, const ICamera& camera, sim::CSimulatedDriver* driver)
        : mArguments(arguments), mDriver(driver), mGrabber(camera, *transferFormat(VEK_TRANSFER_RAW8)),
          mHandle(camera.Fd()), mLoop(mHandle.Get(), mGrabber, camera, arguments.settings,
                                      regionInside(arguments.region, mGrabber.Width(), mGrabber.Height())),
          mLight(arguments.light) {
        if (!arguments.lightSteps.empty()) {
            mLightSteps = *parsedLightSteps(arguments.lightSteps);
        }
    }

    /// report: null for none. Returns the texts on how the control settled, one for each light.
    std::vector<std::string> Run(CLuminanceReport* report) {
        // Where nothing can be written it shows before the frames are taken.
        COutputFiles files;
        COutputFile* const csv = mArguments.csv.empty() ? nullptr : &files.Open(mArguments.csv);
        std::vector<std::string> settlings;
        std::vector<SLuminanceStep> underOneLight;
        const unsigned target = mArguments.settings.target;
        for (unsigned frame = 0; frame < mArguments.frames; ++frame) {
            if (const SLightStep* const light = LightStep(frame); light != nullptr) {
                if (!underOneLight.empty()) {
                    settlings.push_back(Text(underOneLight));
                    underOneLight.clear();
                }
                mLight = light->light;
                mDriver->SetLightLevel(mLight);
            }
            SLuminanceStep step = mLoop.Step();
            if (mDriver != nullptr) {
                step.light = mLight;
            }
            if (report != nullptr) {
                report->Add(step);
            }
            mSteps.push_back(step);
            underOneLight.push_back(step);
            if (step.mode == VEK_ALC_OFF) {
                break;
            }
        }
        settlings.push_back(Text(underOneLight));
        if (csv != nullptr) {
            csv->Write(csvOf(mSteps, target));
        }
        files.Publish();
        return settlings;
    }

private:
    /// The light that begins with a frame; null where it stays.
    const SLightStep* LightStep(unsigned frame) const {
        const auto found = std::find_if(mLightSteps.begin(), mLightSteps.end(),
                                        [=](const SLightStep& step) { return step.frame == frame; });
        return found != mLightSteps.end() ? &*found : nullptr;
    }

    std::string Text(const std::vector<SLuminanceStep>& steps) const {
        const std::string text =
            settlingText(settlingOf(steps, mArguments.settings.target), mArguments.settings.target);
        return mLightSteps.empty() ? text : fmt::format("light {}: {}", mLight, text);
    }

    const SAlcArguments& mArguments;
    sim::CSimulatedDriver* mDriver; // null: a device
    CFrameGrabber mGrabber;
    CLibraryHandle mHandle;
    CLuminanceLoop mLoop;
    std::vector<SLightStep> mLightSteps;
    float mLight;
    std::vector<SLuminanceStep> mSteps;
};

void alc(const SAlcArguments& arguments) {
    std::shared_ptr<sim::CSimulatedDriver> driver;
    if (arguments.camera.Simulated()) {
        driver = makeDriver(arguments);
    }
    const auto camera = openCamera(arguments.camera, driver);
    // Before the library's handle: what the camera has then is where the control starts.
    setExposureAndGain(*camera, arguments.startExposure, arguments.startGain);
    CRun run(arguments, *camera, driver.get());
    if (isStandardOutput(arguments.csv)) {
        run.Run(nullptr); // the values alone
        return;
    }
    CLuminanceReport report(arguments.settings.target, outputIsLive());
    for (const std::string& text : run.Run(&report)) {
        print(text + '\n');
    }
}

} // namespace

void addAlcCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("alc", "Watch automatic luminance control settle on a camera");
    const auto arguments = std::make_shared<SAlcArguments>();
    SLuminanceSettings& settings = arguments->settings;

    addCameraOptions(*command, arguments->camera);
    CLI::Option* const device = command->get_option("--device");
    command
        ->add_option("-m,--mode", arguments->mode, "What is controlled, number 1 to 6 or name: " + nameList(alcModes()))
        ->capture_default_str()
        ->check(isCodeOf(alcModes()));
    command->add_flag("--once", arguments->once, "End when the level is reached: both becomes both-once and so on")
        ->disable_flag_override();
    command->add_option("-t,--target", settings.target, "Mean level to reach, of 8-bit samples")
        ->capture_default_str()
        ->transform(range(0, 255));
    command->add_option("-n,--frames", arguments->frames, "Frames to take; one-shot modes may end before")
        ->capture_default_str()
        ->transform(range(1, 100000));
    addRegion(*command, arguments->region, "Where the level is measured");
    addLight(*command, arguments->light, "Light on the simulated scene", device);
    command
        ->add_option("--light-steps", arguments->lightSteps,
                     "Light from these frames on, the first frame being 0: 30:4,60:0.5")
        ->type_name("FRAME:LIGHT,...")
        ->check(
            isText([](std::string_view text) { return parsedLightSteps(text).has_value(); },
                   "is not FRAME:LIGHT,... with whole, rising frames of 0 to 4294967295 and lights of 0 to 1000000"))
        ->excludes(device);
    command->add_option("--start-exposure", arguments->startExposure, "Exposure clocks of the first frame")
        ->transform(range(0, kMaxControl));
    command->add_option("--start-gain", arguments->startGain, "Gain setting value of the first frame")
        ->transform(range(0, kMaxGain));
    command->add_option("--min-gain", settings.minGain, "Smallest gain setting value")->transform(range(0, kMaxGain));
    command->add_option("--max-gain", settings.maxGain, "Largest gain setting value")->transform(range(0, kMaxGain));
    command->add_option("--min-exposure", settings.minExposure, "Fewest exposure clocks")
        ->transform(range(0, kMaxControl));
    command
        ->add_option("--max-exposure", settings.maxExposure,
                     "Most exposure clocks; 0, the default, is the longest exposure that keeps\nthe frame rate")
        ->transform(range(0, kMaxControl));
    addSeed(*command, arguments->setup.seed, "Seed of the simulated sensor's noise")->excludes(device);
    command
        ->add_option("--width", arguments->setup.width,
                     "Pixels of a row of the simulated sensor; the model's by default")
        ->transform(range(2, 8192))
        ->excludes(device);
    command->add_option("--height", arguments->setup.height, "Rows of the simulated sensor; the model's by default")
        ->transform(range(2, 8192))
        ->excludes(device);
    command->add_option("--csv", arguments->csv, "Write the steps as comma-separated values; - writes standard output")
        ->type_name("FILE");
    command->callback([arguments] {
        arguments->settings.mode = checkedMode(*arguments);
        alc(*arguments);
    });
}

} // namespace vek::tools
