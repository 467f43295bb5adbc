// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/SimulatedDriver.h"

#include <memory>
#include <string>

namespace vek::tools {

/// Model that is taken when none is named.
inline constexpr const char* kDefaultModel = "global-1m";

/// The simulation's model names, separated by ", ".
std::string modelList();
bool isModel(const std::string& name);

/// A simulated camera behind a descriptor of this process, taken away again at the end.
class CSimulatedCamera {
public:
    /// Throws CFailure when the system has no descriptor left.
    explicit CSimulatedCamera(std::shared_ptr<sim::CSimulatedDriver> driver);
    ~CSimulatedCamera();
    CSimulatedCamera(const CSimulatedCamera&) = delete;
    CSimulatedCamera& operator=(const CSimulatedCamera&) = delete;

    int Fd() const { return mFd; }
    /// For messages and printed texts.
    const std::string& Name() const { return mName; }

private:
    std::string mName;
    int mFd;
};

} // namespace vek::tools
