// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/stages/LibraryHandle.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/Options.h"
#include "tools/text/CameraText.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <memory>

namespace vek::tools {

namespace {

struct SInfoArguments {
    SCameraChoice camera;
    bool json = false;
};

void info(const SInfoArguments& arguments) {
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
    CLI::App* const command = app.add_subcommand("info", "Tell what a camera says about itself");
    const auto arguments = std::make_shared<SInfoArguments>();

    addCameraOptions(*command, arguments->camera, "/dev/video0");
    addJson(*command, arguments->json);
    command->callback([arguments] { info(*arguments); });
}

} // namespace vek::tools
