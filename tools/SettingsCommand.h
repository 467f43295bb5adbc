// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the subcommand `settings`: files with a handle's settings.
void addSettingsCommand(CLI::App& app);

} // namespace vek::tools
