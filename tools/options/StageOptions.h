// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/stages/Corrections.h"
#include "client/stages/Stages.h"

#include <CLI/App.hpp>

#include <array>
#include <optional>
#include <string_view>

namespace vek::tools {

/// White balance of the library's stage: "auto", three factors, or four by colour slot; nothing for another text.
std::optional<client::SBalance> parsedBalance(std::string_view text);
/// Colour matrix of the library's stage: 9 or 12 numbers; nothing for another text.
std::optional<std::array<short, 12>> parsedMatrix(std::string_view text);

/// Adds the options of the image stages, --raw-gamma to --sharpness. stages stays where it is while the command lives.
void addStageOptions(CLI::App& command, client::SStages& stages);

/// Adds --noise, --dark and --shading. corrections stays where it is while the command lives.
void addCorrectionOptions(CLI::App& command, client::SCorrections& corrections);

} // namespace vek::tools
