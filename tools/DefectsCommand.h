// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `defects`: the camera's defect pixel correction.
void addDefectsCommand(CLI::App& app);

} // namespace vek::tools
