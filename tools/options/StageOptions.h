// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/stages/Corrections.h"
#include "client/stages/Stages.h"

#include <CLI/App.hpp>

namespace vek::tools {

/// Adds the options of the image stages, --wb to --sharpness. stages stays where it is while the command lives.
void addStageOptions(CLI::App& command, client::SStages& stages);

/// Adds --noise, --dark and --shading. corrections stays where it is while the command lives.
void addCorrectionOptions(CLI::App& command, client::SCorrections& corrections);

} // namespace vek::tools
