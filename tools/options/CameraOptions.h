// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/Camera.h"

#include "tools/simulation/SimulatedCamera.h"

#include <CLI/App.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace vek::tools {

/// Which camera a command works on: a device or a simulated one.
struct SCameraChoice {
    std::string device;
    CLI::Option* deviceOption = nullptr;
    CLI::Option* simulatedOption = nullptr;
    std::string model;
    bool simulatedByDefault = false;

    bool Simulated() const { return simulatedOption->count() > 0 || (simulatedByDefault && device.empty()); }
};

/// Adds --device and --sim. Without either, a command takes defaultDevice, or a simulated camera where that is empty.
void addCameraOptions(CLI::App& command, SCameraChoice& choice, const std::string& defaultDevice = "");

/// Adds --sim [MODEL]; what: the help's first words. model stays empty where no model is named.
CLI::Option* addModelOption(CLI::App& command, std::string& model, const std::string& what);
/// Check of a simulated camera model's name. Nothing at all is fine: an option may have an optional value.
CLI::Validator isSimulatedModel();

/// Adds --width, --height, --hot, --no-noise and --seed. excluded: an option that none of them goes with, or null.
void addSimulatedSetup(CLI::App& command, SSimulatedSetup& setup, CLI::Option* excluded);
/// The same without --width and --height.
void addSimulatedSensor(CLI::App& command, SSimulatedSetup& setup, CLI::Option* excluded);
/// Sides of a simulated sensor, pixels: smaller charts show nothing any more, larger sensors only take time.
inline constexpr unsigned kSmallestSimulatedSide = 64;
inline constexpr unsigned kLargestSimulatedSide = 8192;
/// Adds --light, which is what the words say that it shines on. excluded: an option that it does not go with, or null.
void addLight(CLI::App& command, float& light, const std::string& what, CLI::Option* excluded);
/// Adds --seed, whose words tell of what.
CLI::Option* addSeed(CLI::App& command, std::uint64_t& seed, const std::string& what);

/// Opens the camera of a choice: the device, or what the driver stands for where a simulated one is meant, which is
/// always ready. Throws CFailure.
std::unique_ptr<client::ICamera> openCamera(const SCameraChoice& choice, std::shared_ptr<sim::CSimulatedDriver> driver,
                                            client::EUnready unready = client::EUnready::Wait);
/// The same with the simulated model as it is.
std::unique_ptr<client::ICamera> openCamera(const SCameraChoice& choice,
                                            client::EUnready unready = client::EUnready::Wait);

} // namespace vek::tools
