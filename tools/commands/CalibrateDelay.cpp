// SPDX-License-Identifier: Apache-2.0
// calibrate delay: frames from setting a control to the first one that shows it.
#include "client/Errors.h"
#include "client/capture/CameraControls.h"
#include "client/capture/ControlDelay.h"
#include "client/files/JsonText.h"
#include "client/stages/OrderedRun.h"
#include "client/statistics/FrameGlance.h"

#include "tools/commands/CalibrateFrames.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/LiveOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vek::tools {

namespace {

struct SDelayArguments {
    SLiveOptions live;
    unsigned rounds = 6;
    std::string profile;
    std::string output;
    bool json = false;
};

/// What a control may be set to.
std::pair<std::int32_t, std::int32_t> limitsOf(const std::vector<SCameraControl>& controls, const char* name) {
    static constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    const SCameraControl* const control = findControl(controls, name);
    if (control == nullptr || control->readOnly) {
        throw CFailure(fmt::format("the camera has no {} to be set", name));
    }
    const auto within = [](std::int64_t value) {
        return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 1, kMost));
    };
    return {within(control->minimum.value_or(1)), within(control->maximum.value_or(kMost))};
}

std::vector<SDelayMeasurement> measureDelays(const SDelayArguments& arguments, const SLiveCamera& live,
                                             STransferredFrame& form) {
    SCaptureSetup setup = captureSetup(arguments.live, live, 1, nullptr);
    setup.queue = 2;
    CCapture capture(live.camera, setup);
    const SVideoFormat& video = capture.Format();
    form.format = video.format;
    form.width = video.width;
    form.height = video.height;
    form.colorArray = video.colorArray;
    const std::vector<SCameraControl> controls = cameraControls(*live.camera);
    const auto levelOf = [&](const CFrameLease& lease) {
        const SFrameGlance glance = glanceOf(lease.Bytes(), *video.format, video.width, video.height);
        return std::pair(glance.level, glance.clipped);
    };
    std::vector<SDelayMeasurement> measurements;
    // Its thread waits for signals: one of them ends the measurement, and the camera is left as it was.
    runInOrder(1,
               {[&]() -> std::shared_ptr<void> {
                    for (const auto& [setting, name] :
                         {std::pair{EFrameSetting::Exposure, "exposure"}, {EFrameSetting::Gain, "gain"}}) {
                        const auto [least, most] = limitsOf(controls, name);
                        measurements.push_back(measuredDelay(capture, setting, least, most, arguments.rounds, levelOf));
                    }
                    return nullptr;
                },
                [](void*) {}, [](void*) { return true; }, [&] { capture.End(); }});
    return measurements;
}

void calibrateDelay(const SDelayArguments& arguments) {
    COutputFiles files(std::vector<std::string>{});
    COutputFile* const output = arguments.output.empty() ? nullptr : &files.Open(arguments.output);
    const SLiveCamera live = openLive(arguments.live);
    STransferredFrame form;
    const std::vector<SDelayMeasurement> measurements = measureDelays(arguments, live, form);
    if (output != nullptr) {
        SCalibrationInput input;
        input.profile = arguments.profile;
        SProfile profile = profileFor(input, arguments.output, form);
        for (const SDelayMeasurement& measurement : measurements) {
            replaceNamed(profile.controlDelays, &SControlDelay::control, {measurement.control, measurement.frames});
        }
        writeProfile(*output, arguments.output, profile);
        files.Publish();
    }
    if (arguments.json) {
        nlohmann::ordered_json json = nlohmann::ordered_json::object();
        for (const SDelayMeasurement& measurement : measurements) {
            json[measurement.control] = {{"frames", measurement.frames},
                                         {"rounds", measurement.rounds},
                                         {"from", measurement.low},
                                         {"to", measurement.high},
                                         {"levels", {measurement.lowLevel, measurement.highLevel}}};
        }
        print(jsonLine(json));
        return;
    }
    CColumns lines(12);
    lines.Add("camera", oneLine(live.camera->Name()));
    for (const SDelayMeasurement& measurement : measurements) {
        lines.Add(measurement.control,
                  fmt::format("{} frames (rounds: {}; {} to {}, {:.1f} to {:.1f} %)", measurement.frames,
                              fmt::join(measurement.rounds, " "), measurement.low, measurement.high,
                              100 * measurement.lowLevel, 100 * measurement.highLevel));
    }
    if (output != nullptr) {
        lines.Add("written", arguments.output);
    }
    print(lines.Text());
}

} // namespace

void addDelayKind(CLI::App& command) {
    CLI::App* const kind = command.add_subcommand(
        "delay", "Measure how many frames pass until one shows an exposure or a gain that was set");
    const auto arguments = std::make_shared<SDelayArguments>();
    addLiveOptions(*kind, arguments->live);
    kind->add_option("--rounds", arguments->rounds, "Steps of each control")
        ->capture_default_str()
        ->transform(range(2, 100));
    addProfile(*kind, arguments->profile);
    addProfileOutput(*kind, arguments->output, "Write controlDelay");
    addJson(*kind, arguments->json);
    kind->callback([arguments] { calibrateDelay(*arguments); });
}

} // namespace vek::tools
