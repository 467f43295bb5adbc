// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `demo`: the library at work on a simulated camera, with pictures to look at.
void addDemoCommand(CLI::App& app);

} // namespace vek::tools
