// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `measure`: mean levels of a region, from a file or a simulated camera.
void addMeasureCommand(CLI::App& app);

} // namespace vek::tools
