// SPDX-License-Identifier: Apache-2.0
// What the command line is like, as plain texts: read from the parser that takes it, so that --help, manual pages and
// completion say the same.
#pragma once

#include <CLI/App.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace vek::tools {

/// What stands behind an option, or in the place of an argument.
enum class EValue : unsigned char { None, Any, Words, File, Folder, Program };

struct SOption {
    std::vector<std::string> names; ///< with their dashes, short ones first; of an argument empty
    std::string value;              ///< how its value is called; of an option without one empty
    bool valueMayBeMissing = false;
    bool repeats = false;
    bool required = false;
    std::string help;               ///< in one line
    std::string range;              ///< of numbers: "1..100"; may be empty
    std::string byDefault;          ///< may be empty
    std::vector<std::string> needs; ///< other options
    std::vector<std::string> excludes;
    std::string group; ///< title above it in the help
    EValue kind = EValue::None;
    std::vector<std::string> words; ///< what it takes; those that end in = or : are continued
};

struct SCommand {
    std::string name;
    std::vector<std::string> aliases;
    std::string help;   ///< in one line
    std::string footer; ///< in one line; may be empty
    std::vector<SOption> arguments;
    std::vector<SOption> options;
    std::vector<SCommand> commands;
};

/// Reads a program or a command of it. What the help hides is left out.
SCommand readCommand(CLI::App& app);

/// A help text's first statement, for a line of a list.
std::string shortHelp(std::string_view help);

} // namespace vek::tools
