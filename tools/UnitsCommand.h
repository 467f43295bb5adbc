// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `units`: a camera's own units and physical ones, both ways.
void addUnitsCommand(CLI::App& app);

} // namespace vek::tools
