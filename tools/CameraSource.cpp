// SPDX-License-Identifier: Apache-2.0
#include "CameraSource.h"

#include "CameraInfo.h"
#include "Errors.h"
#include "Options.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>

namespace vek::tools {

bool SCameraChoice::simulated(bool withoutOptions) const {
    return simulatedOption->count() > 0 || (withoutOptions && device.empty());
}

std::string SCameraChoice::modelName() const {
    return model.empty() ? kDefaultModel : model;
}

void addCameraOptions(CLI::App& command, SCameraChoice& choice, const std::string& defaultDevice) {
    choice.device = defaultDevice;
    CLI::Option* const device = command.add_option("-d,--device", choice.device, "The camera's Video4Linux2 node");
    choice.deviceOption = device;
    device->type_name("FILE")->default_str(choice.device);
    choice.simulatedOption =
        addModelOption(command, choice.model,
                       defaultDevice.empty() ? "A simulated camera (the default)" : "A simulated camera instead");
    choice.simulatedOption->excludes(device);
}

CCamera::CCamera(const std::string& device, int flags)
    : mName(device), mDevice(open(device.c_str(), O_RDWR | O_CLOEXEC | flags)) {
    if (!mDevice.IsOpen()) {
        throw CFailure(fmt::format("{}: cannot open: {}", device, systemMessage(errno)));
    }
    requireTriggerCamera(mDevice.Get(), device);
}

CCamera::CCamera(std::shared_ptr<sim::CSimulatedDriver> driver) {
    mSimulated.emplace(std::move(driver));
    mName = mSimulated->Name();
}

} // namespace vek::tools
