// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `calibrate`: takes the frames that corrections are made from.
void addCalibrateCommand(CLI::App& app);

} // namespace vek::tools
