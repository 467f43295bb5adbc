// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/camera/Camera.h"

#include "sim/node/VideoNode.h"

#include <memory>
#include <optional>
#include <string>

namespace vek::tools {

/// How a simulated camera streams.
struct SSimulatedStream {
    std::optional<double> framesPerSecond; ///< nothing: a frame when one is asked for
    unsigned controlDelay = 0;             ///< frames
    std::string faults;                    ///< a script
    std::string faultsName;                ///< its file, for messages
};

/// Throws CFailure for a script that is none.
std::shared_ptr<sim::CVideoNode> makeStreamingNode(std::shared_ptr<sim::CSimulatedDriver> driver,
                                                   const SSimulatedStream& stream);

/// The camera behind a descriptor of this process. Throws CFailure.
std::shared_ptr<const client::ICamera> openNode(std::shared_ptr<sim::CVideoNode> node);
/// The same; null while it is unplugged.
std::shared_ptr<const client::ICamera> reopenNode(std::shared_ptr<sim::CVideoNode> node);

} // namespace vek::tools
