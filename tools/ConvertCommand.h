// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `convert`: one raw frame of a file to a PNG picture.
void addConvertCommand(CLI::App& app);

} // namespace vek::tools
