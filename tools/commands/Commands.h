// SPDX-License-Identifier: Apache-2.0
// The commands. CommandList.inc has VEKCAM_COMMAND(Name) for each, in the order of the help; CMakeLists.txt makes it.
// commands/NameCommand.cpp defines the command's function.
#pragma once

#include <CLI/App.hpp>

namespace vek::tools {

// Each adds a command to the program. The command runs when the arguments are parsed; it throws what client/Errors.h
// tells, or CExit.
#define VEKCAM_COMMAND(name) void add##name##Command(CLI::App& app);
#include "CommandList.inc"
#undef VEKCAM_COMMAND

/// The whole program: what it is, its version, exit codes and commands.
void describeProgram(CLI::App& app);

/// Adds colour to calibrate.
void addCalibrateColor(CLI::App& calibrate);

} // namespace vek::tools
