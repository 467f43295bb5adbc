// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Stages.h"

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the options of the image stages, --wb to --sharpness. stages stays where it is while the command lives.
void addStageOptions(CLI::App& command, SStages& stages);

} // namespace vek::tools
