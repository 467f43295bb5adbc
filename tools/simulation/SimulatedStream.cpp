// SPDX-License-Identifier: Apache-2.0
#include "tools/simulation/SimulatedStream.h"

#include "client/Errors.h"

#include "tools/simulation/SimulatedCamera.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace vek::tools {

std::shared_ptr<sim::CVideoNode> makeStreamingNode(std::shared_ptr<sim::CSimulatedDriver> driver,
                                                   const SSimulatedStream& stream) {
    sim::SNodeSetup setup;
    setup.controlDelay = stream.controlDelay;
    if (stream.framesPerSecond) {
        setup.pace = sim::EPace::Free;
        setup.framesPerSecond = *stream.framesPerSecond;
    }
    try {
        setup.faults = sim::parseFaultScript(stream.faults);
    } catch (const std::invalid_argument& error) {
        throw client::CFailure(fmt::format("{}: {}", stream.faultsName, error.what()));
    }
    return std::make_shared<sim::CVideoNode>(std::move(driver), std::move(setup));
}

std::shared_ptr<const client::ICamera> openNode(std::shared_ptr<sim::CVideoNode> node) {
    return std::make_shared<CSimulatedCamera>(std::move(node));
}

std::shared_ptr<const client::ICamera> reopenNode(std::shared_ptr<sim::CVideoNode> node) {
    node->Advance(); // a cable that is due to be put back in
    return node->IsPlugged() ? openNode(std::move(node)) : nullptr;
}

} // namespace vek::tools
