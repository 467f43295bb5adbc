// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Measurement.h"
#include "Names.h"
#include "SimulatedCamera.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>

#include <cstdint>
#include <limits>
#include <string>

namespace vek::tools {

/// Largest values of a camera's gain setting and of its other controls.
inline constexpr std::uint64_t kMaxGain = std::numeric_limits<unsigned short>::max();
inline constexpr std::uint64_t kMaxControl = std::numeric_limits<std::int32_t>::max();

/// Check of an option that takes a code's number or name out of a table.
inline CLI::Validator isNameOf(std::span<const SName> names) {
    return CLI::Validator(
        [names](std::string& text) {
            return findCode(names, text) ? std::string() : '"' + text + "\" is none of: " + nameList(names);
        },
        "");
}

/// The same for transfer formats.
inline CLI::Validator isTransferFormat() {
    return CLI::Validator(
        [](std::string& text) {
            return findTransferFormat(text) != nullptr ? std::string()
                                                       : '"' + text + "\" is none of: " + transferFormatList();
        },
        "");
}

/// Check of a simulated camera model's name. Nothing at all is fine: an option may have an optional value.
inline CLI::Validator isSimulatedModel() {
    return CLI::Validator(
        [](std::string& text) {
            return text.empty() || isModel(text) ? std::string() : '"' + text + "\" is none of: " + modelList();
        },
        "");
}

/// Check of an option that takes a text of some form; complaint: what is said about another text.
inline CLI::Validator isText(bool (*fits)(std::string_view), const std::string& complaint) {
    return CLI::Validator(
        [fits, complaint](std::string& text) { return fits(text) ? std::string() : '"' + text + "\" " + complaint; },
        "");
}

/// The same for a region.
inline CLI::Validator isRegion() {
    return isText([](std::string_view text) { return parsedRegion(text).has_value(); },
                  "is no region X,Y,W,H of one pixel or more");
}

/// Check of a whole number, low to high.
inline CLI::Validator range(std::uint64_t low, std::uint64_t high) {
    CLI::Validator check = CLI::Range(low, high);
    return check.description(std::to_string(low) + ".." + std::to_string(high));
}

} // namespace vek::tools
