// SPDX-License-Identifier: Apache-2.0
#include "InfoCommand.h"

#include "CameraInfo.h"
#include "CameraSource.h"
#include "Errors.h"
#include "LibraryHandle.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cstdio>
#include <memory>

namespace vek::tools {

namespace {

struct SInfoArguments {
    SCameraChoice camera;
    bool json = false;
};

void printInfo(const CCamera& camera, bool json) {
    const SCameraInfo info = readCameraInfo(camera.Fd(), camera.Name());
    // The library has to take the descriptor as well, as it will in an application.
    const CLibraryHandle handle(camera.Fd());
    std::fputs((json ? jsonOf(info) : textOf(info)).c_str(), stdout);
}

void info(const SInfoArguments& arguments) {
    const SCameraChoice& choice = arguments.camera;
    if (choice.simulated(false)) {
        printInfo(CCamera(std::make_shared<sim::CSimulatedDriver>(choice.modelName())), arguments.json);
        return;
    }
    try {
        printInfo(CCamera(choice.device, O_NONBLOCK), arguments.json);
    } catch (const CFailure& failure) {
        if (choice.deviceOption->count() > 0) {
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
    command->add_flag("--json", arguments->json, "Print a JSON object")->disable_flag_override();
    command->callback([arguments] { info(*arguments); });
}

} // namespace vek::tools
