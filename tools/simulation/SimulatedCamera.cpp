// SPDX-License-Identifier: Apache-2.0
#include "tools/simulation/SimulatedCamera.h"

#include "client/Errors.h"
#include "client/names/Names.h"

#include "sim/CameraModel.h"
#include "sim/SimulatedDevice.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace vek::tools {

namespace {

/// Hot pixels at different places, of a fifth to nine tenths of the full well, however short the exposure.
std::vector<sim::SHotPixel> randomHotPixels(const sim::SSensorConfig& sensor, unsigned count, std::uint64_t seed) {
    // Numbers of the engine itself: the library's distributions differ from one to the other.
    std::mt19937_64 random(seed);
    std::vector<sim::SHotPixel> pixels;
    std::set<std::pair<unsigned, unsigned>> taken;
    while (pixels.size() < count) {
        const auto x = static_cast<unsigned>(random() % sensor.width);
        const auto y = static_cast<unsigned>(random() % sensor.height);
        const float part = 0.2F + 0.7F * static_cast<float>(random() % 1024) / 1024.0F;
        if (taken.insert({x, y}).second) {
            pixels.push_back({x, y, 0.0F, part * sensor.fullWellElectrons});
        }
    }
    return pixels;
}

} // namespace

std::string modelList() {
    std::vector<client::SName> names;
    for (const sim::SCameraModel& model : sim::cameraModels()) {
        names.push_back({model.productId, model.name});
    }
    return client::nameList(names);
}

bool isModel(const std::string& name) {
    const auto& models = sim::cameraModels();
    return std::any_of(models.begin(), models.end(),
                       [&](const sim::SCameraModel& model) { return model.name == name; });
}

const sim::SCameraModel& modelNamed(const std::string& name) {
    return sim::findCameraModel(name.empty() ? kDefaultModel : name);
}

sim::SSensorConfig sensorOf(const sim::SCameraModel& model, const SSimulatedSetup& setup) {
    sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
    sensor.width = setup.width.value_or(sensor.width);
    sensor.height = setup.height.value_or(sensor.height);
    sensor.seed = setup.seed;
    sensor.hotPixels = randomHotPixels(sensor, setup.hot, setup.seed);
    if (setup.noNoise) {
        sensor.photonNoise = false;
        sensor.readNoiseElectrons = 0;
        sensor.photoResponseSpread = 0;
        sensor.darkCurrentSpread = 0;
    }
    return sensor;
}

CSimulatedCamera::CSimulatedCamera(std::shared_ptr<sim::CSimulatedDriver> driver)
    : mName("simulated camera " + std::string(driver->Model().name)), mFd(sim::openSimulatedCamera(std::move(driver))) {
    RequireOpen();
}

CSimulatedCamera::CSimulatedCamera(std::shared_ptr<sim::CVideoNode> node)
    : mName("simulated camera " + std::string(node->Camera()->Model().name)),
      mFd(sim::openSimulatedCamera(std::move(node))) {
    RequireOpen();
}

void CSimulatedCamera::RequireOpen() const {
    if (mFd < 0) {
        throw client::CFailure(mName + ": cannot open: " + client::systemMessage(errno));
    }
}

CSimulatedCamera::~CSimulatedCamera() {
    sim::closeSimulatedCamera(mFd);
}

} // namespace vek::tools
