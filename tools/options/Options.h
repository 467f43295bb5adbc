// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/names/Names.h"

#include "sim/ValueText.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace vek::tools {

using namespace client;

/// Largest values of a camera's gain setting and of its other controls.
inline constexpr std::uint64_t kMaxGain = std::numeric_limits<unsigned short>::max();
inline constexpr std::uint64_t kMaxControl = std::numeric_limits<std::int32_t>::max();

// The name of a check, which nothing else has a use for, lists the words that its option takes, "mono, rggb": they are
// what a shell offers. So do names in small letters between bars in what stands for the option's value.

/// Check of an option that takes a name out of a table, or the number of its code.
inline CLI::Validator isNameOf(std::span<const SName> names) {
    return CLI::Validator(
        [names](std::string& text) {
            return findCode(names, text) ? std::string() : '"' + text + "\" is none of: " + nameList(names);
        },
        "", nameList(names));
}

/// The same for a table whose numbers are told, too.
inline CLI::Validator isCodeOf(std::span<const SName> names) {
    return CLI::Validator(
        [names](std::string& text) {
            return findCode(names, text) ? std::string() : sim::codeComplaint(text, nameList(names), numberList(names));
        },
        "", nameList(names));
}

/// Check of a file to write, by a function that tells what is wrong with its path, if anything.
inline CLI::Validator isOutput(std::string (*complaint)(const std::string&)) {
    return CLI::Validator([complaint](std::string& text) { return complaint(text); }, "");
}

/// Check of an option that takes a text of some form; complaint: what is said about another text.
inline CLI::Validator isText(bool (*fits)(std::string_view), const std::string& complaint) {
    return CLI::Validator(
        [fits, complaint](std::string& text) { return fits(text) ? std::string() : '"' + text + "\" " + complaint; },
        "");
}

// Checks of numbers, to be given to transform, not to check: they leave a text that the command line's own conversion,
// for which a 0 in front makes octal, takes as they did.

template <class T>
CLI::Validator wholeRange(T low, T high) {
    const std::string lowest = std::to_string(low);
    const std::string highest = std::to_string(high);
    return CLI::Validator(
        [=](std::string& text) {
            const std::optional<T> value = sim::readWhole<T>(text, low, high);
            std::string complaint = value ? std::string() : sim::wholeComplaint(text, lowest, highest);
            text = value ? std::to_string(*value) : text;
            return complaint;
        },
        lowest + ".." + highest);
}

/// A whole number, low to high.
inline CLI::Validator range(std::uint64_t low, std::uint64_t high) {
    return wholeRange<std::uint64_t>(low, high);
}

/// The same where it may be negative.
inline CLI::Validator signedRange(std::int64_t low, std::int64_t high) {
    return wholeRange<std::int64_t>(low, high);
}

/// Any number, low to high.
inline CLI::Validator numberRange(double low, double high) {
    return CLI::Validator(
        [=](std::string& text) {
            return sim::readNumber(text, low, high) ? std::string() : sim::numberComplaint(text, low, high);
        },
        sim::plainText(low) + ".." + sim::plainText(high));
}

/// One of a few whole numbers, rising.
inline CLI::Validator oneOf(const std::vector<unsigned>& numbers) {
    return CLI::Validator(
        [=](std::string& text) {
            const std::optional<unsigned> value = sim::readWhole<unsigned>(text, numbers.front(), numbers.back());
            const bool taken = value && std::find(numbers.begin(), numbers.end(), *value) != numbers.end();
            std::string complaint = taken ? "" : fmt::format("\"{}\" is neither {}", text, fmt::join(numbers, " nor "));
            text = taken ? std::to_string(*value) : text;
            return complaint;
        },
        fmt::format("{}", fmt::join(numbers, "|")));
}

/// Numbers with commas between; empty for another text.
inline std::vector<double> decimals(std::string_view text) {
    constexpr double kLargest = std::numeric_limits<double>::max();
    std::vector<double> numbers;
    for (const std::string_view part : sim::splitText(text, ',')) {
        const std::optional<double> number = sim::readNumber(part, -kLargest, kLargest);
        if (!number) {
            return {};
        }
        numbers.push_back(*number);
    }
    return numbers;
}

/// Adds an option whose text a parser turns into value; complaint: what is said about a text that it refuses.
template <class T>
CLI::Option* addParsedOption(CLI::App& command, const char* name, std::optional<T>& value,
                             std::optional<T> (*parsed)(std::string_view), const std::string& complaint,
                             const std::string& help) {
    const auto check = [parsed, complaint](std::string& text) {
        return parsed(text) ? std::string() : '"' + text + "\" " + complaint;
    };
    return command
        .add_option_function<std::string>(
            name, [&value, parsed](const std::string& text) { value = parsed(text); }, help)
        ->check(CLI::Validator(check, ""));
}

/// Adds --json.
inline void addJson(CLI::App& command, bool& json) {
    command.add_flag("--json", json, "Print a JSON object")->disable_flag_override();
}

/// Help text in lines of a terminal's width, broken at blanks.
inline std::string wrapped(std::string_view text) {
    constexpr std::size_t kWidth = 77;
    std::string lines;
    std::size_t lineLength = 0;
    for (const std::string_view word : sim::splitText(text, ' ')) {
        const bool fits = lineLength + 1 + word.size() <= kWidth;
        lines += lines.empty() ? "" : fits ? " " : "\n";
        lines += word;
        lineLength = lineLength == 0 || !fits ? word.size() : lineLength + 1 + word.size();
    }
    return lines;
}

/// None of the options goes with another one, where there is one.
inline void excludeAll(std::span<CLI::Option* const> options, CLI::Option* excluded) {
    for (CLI::Option* const option : options) {
        if (excluded != nullptr) {
            option->excludes(excluded);
        }
    }
}

} // namespace vek::tools
