// SPDX-License-Identifier: Apache-2.0
#include "InfoCommand.h"

#include "CameraInfo.h"
#include "Descriptor.h"
#include "Errors.h"
#include "LibraryHandle.h"
#include "Options.h"
#include "SimulatedCamera.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <memory>

namespace vek::tools {

namespace {

struct SInfoArguments {
    std::string device = "/dev/video0";
    bool simulated = false;
    std::string model;
    bool json = false;
};

void printInfo(int fd, const std::string& source, bool json) {
    const SCameraInfo info = readCameraInfo(fd, source);
    // The library has to take the descriptor as well, as it will in an application.
    const CLibraryHandle handle(fd);
    std::fputs((json ? jsonOf(info) : textOf(info)).c_str(), stdout);
}

void info(const SInfoArguments& arguments) {
    if (arguments.simulated) {
        const std::string model = arguments.model.empty() ? kDefaultModel : arguments.model;
        const CSimulatedCamera camera(std::make_shared<sim::CSimulatedDriver>(model));
        printInfo(camera.Fd(), camera.Name(), arguments.json);
        return;
    }
    const CDescriptor device(open(arguments.device.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (!device.IsOpen()) {
        throw CFailure(fmt::format("{}: cannot open: {}", arguments.device, systemMessage(errno)));
    }
    printInfo(device.Get(), arguments.device, arguments.json);
}

} // namespace

void addInfoCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("info", "Tell what a camera says about itself");
    const auto arguments = std::make_shared<SInfoArguments>();

    CLI::Option* const device = command->add_option("-d,--device", arguments->device, "The camera's Video4Linux2 node");
    device->type_name("FILE")->default_str(arguments->device);
    CLI::Option* const simulated = command->add_option("-s,--sim", arguments->model,
                                                       "A simulated camera instead, " + std::string(kDefaultModel) +
                                                           " or one of:\n" + modelList());
    simulated->type_name("[MODEL]")->expected(0, 1)->check(isSimulatedModel())->excludes(device);
    command->add_flag("--json", arguments->json, "Print a JSON object")->disable_flag_override();
    command->callback([arguments, simulated] {
        arguments->simulated = simulated->count() > 0;
        info(*arguments);
    });
}

} // namespace vek::tools
