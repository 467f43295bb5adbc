// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/recording/Recording.h"
#include "client/stages/LibraryHandle.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/Options.h"
#include "tools/text/CameraText.h"
#include "tools/text/Messages.h"
#include "tools/text/ProgressBar.h"
#include "tools/text/RecordingText.h"

#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

namespace vek::tools {

namespace {

struct SInfoArguments {
    SCameraChoice camera;
    std::string recording;
    bool check = false;
    bool json = false;
};

void recordingInfo(const SInfoArguments& arguments) {
    if (arguments.camera.Simulated() || arguments.camera.deviceOption->count() > 0) {
        throw CBadArguments("a recording goes neither with --device nor with --sim");
    }
    const CRecording recording(arguments.recording);
    std::vector<SRecordingDamage> damages = recording.Damages();
    if (arguments.check) {
        CProgressBar progress(recording.Count());
        damages = recording.Check([&] { progress.Advance(); });
    }
    print(arguments.json ? recordingJson(recording, damages, arguments.check)
                         : recordingLines(recording, damages, arguments.check));
    if (arguments.check && !damages.empty()) {
        throw CFailure(fmt::format("{}: {}{}", arguments.recording, damageText(damages.front()),
                                   damages.size() > 1 ? fmt::format(", and {} more", damages.size() - 1) : ""));
    }
}

void info(const SInfoArguments& arguments) {
    if (!arguments.recording.empty()) {
        recordingInfo(arguments);
        return;
    }
    if (arguments.check) {
        throw CBadArguments("--check is of a recording");
    }
    const SCameraChoice& choice = arguments.camera;
    try {
        const auto camera = openCamera(choice, EUnready::Return);
        const SCameraInfo info = readCameraInfo(*camera);
        // The library has to take the descriptor as well, as it will in an application.
        const CLibraryHandle handle(camera->Fd());
        print(arguments.json ? cameraJson(info) : cameraText(info));
    } catch (const CFailure& failure) {
        if (choice.Simulated() || choice.deviceOption->count() > 0) {
            throw;
        }
        throw CFailure(fmt::format("{}; --device names another node, --sim takes a simulated camera", failure.what()));
    }
}

} // namespace

void addInfoCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("info", "Tell what a camera says about itself, or what a recording holds");
    const auto arguments = std::make_shared<SInfoArguments>();

    command->add_option("RECORDING", arguments->recording, "A recording of \"vekcam record\" instead")
        ->type_name("FOLDER");
    command
        ->add_flag("--check", arguments->check,
                   "Read all of its frames; exit code 1 where one is not as it was written, or missing")
        ->disable_flag_override();
    addCameraOptions(*command, arguments->camera, "/dev/video0");
    addJson(*command, arguments->json);
    command->callback([arguments] { info(*arguments); });
}

} // namespace vek::tools
