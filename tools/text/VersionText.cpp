// SPDX-License-Identifier: Apache-2.0
#include "tools/text/VersionText.h"

#include "client/stages/LibraryHandle.h"

#include "VekTrgChain.h"

#include <fmt/format.h>

namespace vek::tools {

namespace {

/// "scalar, sse42, avx2; avx2 runs"
std::string kernels() {
    std::string names;
    std::string running;
    int runs = 0;
    for (std::uint32_t i = 0; const char* const name = VekChain_Tier(i, &runs); ++i) {
        names += (names.empty() ? "" : ", ") + std::string(name);
        running = runs != 0 ? name : running;
    }
    return names + "; " + running + " runs";
}

} // namespace

std::string versionText() {
    return fmt::format("vekcam {}, library version {}\nbuild: {}\ncompiler: {}\nrow kernels: {}", VEKCAM_VERSION,
                       client::libraryVersion(), VEKCAM_BUILD, VEKCAM_COMPILER, kernels());
}

} // namespace vek::tools
