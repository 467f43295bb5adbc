// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/develop/Development.h"
#include "client/stages/Stages.h"

#include <CLI/App.hpp>

#include <optional>
#include <string>

namespace vek::tools {

/// How a picture is developed, as it was typed: what a text may be depends on the frame, or on whether the library's
/// stages run instead.
struct SDevelopTexts {
    std::optional<std::string> black;
    std::optional<std::string> white;
    std::optional<std::string> balance;
    std::optional<std::string> matrix;
    std::optional<client::SToneCurve> tone;
    std::string stops;
    std::string highlights;
};

/// Adds --black to --highlights. texts stays where it is while the command lives.
void addDevelopOptions(CLI::App& command, SDevelopTexts& texts);

/// A level of --black or --white, a whole number that samples of a format can have; nothing where none was given.
/// Throws CBadArguments.
std::optional<unsigned> checkedLevel(const char* option, const std::optional<std::string>& text,
                                     const STransferFormat& format);

/// What was typed, for frames of a format. Throws CBadArguments.
client::SDevelopmentChoices developmentChoices(const SDevelopTexts& texts, const STransferFormat& format);

/// The white balance and the matrix that were typed, for the library's stages. cause: the option that has them run.
/// Throws CBadArguments for what these do not have, other options of a development among it.
void takeStages(const SDevelopTexts& texts, const std::string& cause, client::SStages& stages);

} // namespace vek::tools
