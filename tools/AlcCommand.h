// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `alc`: automatic luminance control on a camera, step by step.
void addAlcCommand(CLI::App& app);

} // namespace vek::tools
