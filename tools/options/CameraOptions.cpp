// SPDX-License-Identifier: Apache-2.0
#include "tools/options/CameraOptions.h"

#include "tools/options/Options.h"

#include <fmt/format.h>

#include <limits>
#include <utility>

namespace vek::tools {

void addCameraOptions(CLI::App& command, SCameraChoice& choice, const std::string& defaultDevice) {
    choice.device = defaultDevice;
    choice.simulatedByDefault = defaultDevice.empty();
    CLI::Option* const device = command.add_option("-d,--device", choice.device, "The camera's Video4Linux2 node");
    choice.deviceOption = device;
    device->type_name("FILE")->default_str(choice.device);
    choice.simulatedOption =
        addModelOption(command, choice.model,
                       choice.simulatedByDefault ? "A simulated camera (the default)" : "A simulated camera instead");
    choice.simulatedOption->excludes(device);
}

CLI::Validator isSimulatedModel() {
    return CLI::Validator(
        [](std::string& text) {
            return text.empty() || isModel(text) ? std::string() : '"' + text + "\" is none of: " + modelList();
        },
        "", modelList());
}

CLI::Option* addModelOption(CLI::App& command, std::string& model, const std::string& what) {
    return command
        .add_option("-s,--sim", model, fmt::format("{}, {} or one of:\n{}", what, kDefaultModel, modelList()))
        ->type_name("[MODEL]")
        ->expected(0, 1)
        ->check(isSimulatedModel());
}

void addSimulatedSetup(CLI::App& command, SSimulatedSetup& setup, CLI::Option* excluded) {
    const auto side = range(kSmallestSimulatedSide, kLargestSimulatedSide);
    CLI::Option* const options[] = {
        command.add_option("--width", setup.width, "Pixels of a row of the simulated sensor; the model's by default")
            ->transform(side),
        command.add_option("--height", setup.height, "Rows of the simulated sensor; the model's by default")
            ->transform(side)};
    excludeAll(options, excluded);
    addSimulatedSensor(command, setup, excluded);
}

void addSimulatedSensor(CLI::App& command, SSimulatedSetup& setup, CLI::Option* excluded) {
    // The smallest sensor holds all hot pixels.
    CLI::Option* const options[] = {
        command.add_option("--hot", setup.hot, "Hot pixels that the simulated sensor has")
            ->capture_default_str()
            ->transform(range(0, 1000)),
        command
            .add_flag("--no-noise", setup.noNoise,
                      "A perfect simulated sensor: no noise, no fixed pattern but hot pixels")
            ->disable_flag_override(),
        addSeed(command, setup.seed, "Seed of the sensor's noise and of the hot pixels' places")};
    excludeAll(options, excluded);
}

void addLight(CLI::App& command, float& light, const std::string& what, CLI::Option* excluded) {
    CLI::Option* const option = command.add_option("--light", light, what + ", 1 is normal");
    option->capture_default_str()->transform(numberRange(0, sim::kMaxLightLevel));
    excludeAll({&option, 1}, excluded);
}

CLI::Option* addSeed(CLI::App& command, std::uint64_t& seed, const std::string& what) {
    constexpr std::uint64_t kMaxSeed = std::numeric_limits<std::uint64_t>::max();
    return command.add_option("--seed", seed, what)->capture_default_str()->transform(range(0, kMaxSeed));
}

std::unique_ptr<client::ICamera> openCamera(const SCameraChoice& choice, std::shared_ptr<sim::CSimulatedDriver> driver,
                                            client::EUnready unready) {
    if (choice.Simulated()) {
        return std::make_unique<CSimulatedCamera>(std::move(driver));
    }
    return std::make_unique<client::CDeviceCamera>(choice.device, unready);
}

std::unique_ptr<client::ICamera> openCamera(const SCameraChoice& choice, client::EUnready unready) {
    return openCamera(choice,
                      choice.Simulated() ? std::make_shared<sim::CSimulatedDriver>(modelNamed(choice.model)) : nullptr,
                      unready);
}

} // namespace vek::tools
