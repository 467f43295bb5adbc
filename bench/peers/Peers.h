// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Operation.h"

#include <string>
#include <vector>

namespace vek::bench {

/// Another library that the machine has. docs/performance.md tells in what its functions differ.
struct SLibrary {
    std::string version; ///< its name, too
    Peers peers;
};

// Each exists in builds that found the library.
SLibrary openCv(); ///< On one thread from now on.
SLibrary libYuv();
SLibrary libDc1394();

/// All that this build knows.
std::vector<SLibrary> peerLibraries();

} // namespace vek::bench
