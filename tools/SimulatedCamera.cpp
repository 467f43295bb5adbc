// SPDX-License-Identifier: Apache-2.0
#include "SimulatedCamera.h"

#include "Errors.h"
#include "Options.h"

#include "sim/CameraModel.h"
#include "sim/SimulatedDevice.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <set>
#include <utility>

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

const sim::SCameraModel& modelNamed(const std::string& name) {
    return sim::FindCameraModel(name.empty() ? kDefaultModel : name);
}

CLI::Option* addModelOption(CLI::App& command, std::string& model, const std::string& what) {
    return command
        .add_option("-s,--sim", model, fmt::format("{}, {} or one of:\n{}", what, kDefaultModel, modelList()))
        ->type_name("[MODEL]")
        ->expected(0, 1)
        ->check(isSimulatedModel());
}

void addSimulatedSetup(CLI::App& command, SSimulatedSetup& setup, CLI::Option* excluded) {
    // Smaller charts show nothing any more, and hold all hot pixels; larger sensors only take time.
    CLI::Option* const options[] = {
        command.add_option("--width", setup.width, "Pixels of a row of the simulated sensor; the model's by default")
            ->transform(range(64, 8192)),
        command.add_option("--height", setup.height, "Rows of the simulated sensor; the model's by default")
            ->transform(range(64, 8192)),
        command.add_option("--hot", setup.hot, "Hot pixels that the simulated sensor has")
            ->capture_default_str()
            ->transform(range(0, 1000)),
        command
            .add_flag("--no-noise", setup.noNoise,
                      "A perfect simulated sensor: no noise, no fixed pattern but hot pixels")
            ->disable_flag_override(),
        command.add_option("--seed", setup.seed, "Seed of the sensor's noise and of the hot pixels' places")
            ->capture_default_str()
            ->transform(range(0, kMaxSeed))};
    if (excluded != nullptr) {
        for (CLI::Option* const option : options) {
            option->excludes(excluded);
        }
    }
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
    : mName("simulated camera " + std::string(driver->Model().name)), mFd(sim::OpenSimulatedCamera(std::move(driver))) {
    if (mFd < 0) {
        throw CFailure(mName + ": cannot open: " + systemMessage(errno));
    }
}

CSimulatedCamera::~CSimulatedCamera() {
    sim::CloseSimulatedCamera(mFd);
}

} // namespace vek::tools
