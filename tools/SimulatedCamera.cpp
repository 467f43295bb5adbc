// SPDX-License-Identifier: Apache-2.0
#include "SimulatedCamera.h"

#include "Errors.h"

#include "sim/CameraModel.h"
#include "sim/SimulatedDevice.h"

#include <algorithm>
#include <cerrno>

namespace vek::tools {

std::string modelList() {
    std::string list;
    for (const sim::SCameraModel& model : sim::CameraModels()) {
        list += list.empty() ? "" : ", ";
        list += model.name;
    }
    return list;
}

bool isModel(const std::string& name) {
    const auto& models = sim::CameraModels();
    return std::any_of(models.begin(), models.end(),
                       [&](const sim::SCameraModel& model) { return model.name == name; });
}

CSimulatedCamera::CSimulatedCamera(std::shared_ptr<sim::CSimulatedDriver> driver)
    : mName("simulated camera " + std::string(driver->Model().name)), mFd(sim::OpenSimulatedCamera(std::move(driver))) {
    if (mFd < 0) {
        throw CFailure(mName + ": cannot open: " + systemMessage(errno));
    }
}

CSimulatedCamera::~CSimulatedCamera() {
    sim::CloseSimulatedCamera(mFd);
}

} // namespace vek::tools
