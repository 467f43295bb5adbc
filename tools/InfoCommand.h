// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `info`: what a camera tells about itself.
void addInfoCommand(CLI::App& app);

} // namespace vek::tools
