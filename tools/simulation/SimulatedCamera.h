// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/Camera.h"

#include "sim/CameraModel.h"
#include "sim/SimulatedDriver.h"
#include "sim/node/VideoNode.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vek::tools {

/// Model that is taken when none is named.
inline constexpr const char* kDefaultModel = "global-1m";

/// The simulation's model names, separated by ", ".
std::string modelList();
bool isModel(const std::string& name);
/// The model of a name, the default one of an empty name.
const sim::SCameraModel& modelNamed(const std::string& name);

/// What is asked of a simulated sensor.
struct SSimulatedSetup {
    std::optional<unsigned> width;  ///< pixels; the model's by default
    std::optional<unsigned> height; ///< rows; the model's by default
    unsigned hot = 0;               ///< hot pixels
    bool noNoise = false;           ///< no noise and no fixed pattern but the hot pixels
    std::uint64_t seed = 1;         ///< of the noise and of the hot pixels' places
};

sim::SSensorConfig sensorOf(const sim::SCameraModel& model, const SSimulatedSetup& setup);

/// A simulated camera behind a descriptor of this process, taken away again at the end.
class CSimulatedCamera : public client::ICamera {
public:
    /// Throws CFailure when the system has no descriptor left.
    explicit CSimulatedCamera(std::shared_ptr<sim::CSimulatedDriver> driver);
    explicit CSimulatedCamera(std::shared_ptr<sim::CVideoNode> node);
    ~CSimulatedCamera() override;
    CSimulatedCamera(const CSimulatedCamera&) = delete;
    CSimulatedCamera& operator=(const CSimulatedCamera&) = delete;

    int Fd() const override { return mFd; }
    const std::string& Name() const override { return mName; }

private:
    void RequireOpen() const;

    std::string mName;
    int mFd;
};

} // namespace vek::tools
