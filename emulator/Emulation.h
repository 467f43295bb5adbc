// SPDX-License-Identifier: Apache-2.0
// Starts programs on an emulated camera.
#pragma once

#include "sim/node/VideoNode.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace vek::emulator {

struct SEmulation {
    std::shared_ptr<sim::CSimulatedDriver> camera;
    sim::SNodeSetup setup;
    unsigned node = 0;                ///< N of /dev/videoN
    std::string trigger;              ///< FIFO of which each line sends a frame; empty: none
    std::string log;                  ///< file for a line of JSON for each frame that was sent; empty: none
    std::string report;               ///< file for what became of the frames in all, as JSON; empty: none
    std::vector<std::string> program; ///< and its arguments
};

/// A program that cannot be started on the camera: why, and the exit code that a shell would have for it.
class CRefusal : public std::runtime_error {
public:
    CRefusal(int code, const std::string& message) : std::runtime_error(message), mCode(code) {}
    int Code() const { return mCode; }

private:
    int mCode;
};

/// Runs a program on the camera, which is there as long as the program. Its exit code; 128 and its number for a signal
/// that ended it. Throws CRefusal, and std::runtime_error where the system refuses something.
int emulate(const SEmulation& emulation);

} // namespace vek::emulator
