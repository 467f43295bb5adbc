// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Descriptor.h"
#include "SimulatedCamera.h"

#include <CLI/App.hpp>

#include <memory>
#include <optional>
#include <string>

namespace vek::tools {

/// Which camera a command works on: a device or a simulated one.
struct SCameraChoice {
    std::string device;
    CLI::Option* deviceOption = nullptr;
    CLI::Option* simulatedOption = nullptr;
    std::string model;

    bool simulated(bool withoutOptions) const;
    /// The simulated model's name, the default one when none was given.
    std::string modelName() const;
};

/// Adds --device and --sim. Without either, a command takes defaultDevice, or a simulated camera where that is empty.
void addCameraOptions(CLI::App& command, SCameraChoice& choice, const std::string& defaultDevice);

/// An open camera of either kind.
class CCamera {
public:
    /// A device. Throws CFailure when it cannot be opened or is no trigger camera. flags: of open, besides O_RDWR and
    /// O_CLOEXEC.
    explicit CCamera(const std::string& device, int flags = 0);
    explicit CCamera(std::shared_ptr<sim::CSimulatedDriver> driver);

    int Fd() const { return mSimulated ? mSimulated->Fd() : mDevice.Get(); }
    /// For messages and printed texts.
    const std::string& Name() const { return mName; }

private:
    std::string mName;
    CDescriptor mDevice;
    std::optional<CSimulatedCamera> mSimulated;
};

} // namespace vek::tools
