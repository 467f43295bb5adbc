// SPDX-License-Identifier: Apache-2.0
// What people type: options of a command, lines of a script. Numbers are decimal in every locale, leading zeros
// included; a sign may stand in front, and nothing else may stand around them.
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vek::sim {

/// True for digits behind an optional sign, however many.
bool isWholeText(std::string_view text);
/// True for a number with or without a point and an exponent, however large; not for infinity and what is no number.
bool isNumberText(std::string_view text);

/// text less a plus sign in front, which from_chars does not take.
std::string_view withoutPlus(std::string_view text);

/// A whole number, low to high; nothing for another text.
template <std::integral T>
std::optional<T> readWhole(std::string_view text, T low, T high) {
    text = isWholeText(text) ? withoutPlus(text) : std::string_view();
    T value = 0;
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && value >= low && value <= high ? std::optional(value) : std::nullopt;
}

/// A number, low to high; nothing for another text.
std::optional<double> readNumber(std::string_view text, double low, double high);

/// A number as people write it: digits, a point where it has to be, no exponent.
std::string plainText(double number);

/// What is wrong with a text of which a reader above makes nothing, and what is needed instead.
std::string wholeComplaint(std::string_view text, const std::string& low, const std::string& high);
std::string numberComplaint(std::string_view text, double low, double high);

/// The number of a code, decimal or hexadecimal behind 0x, without a sign; nothing for another text.
std::optional<unsigned> readCode(std::string_view text);

/// What is wrong with a text that is no code of a table. names: what the codes are called; numbers: all of them, in
/// words.
std::string codeComplaint(std::string_view text, const std::string& names, const std::string& numbers);

/// Whether a text is a name, which is lower case already, with any case of its letters.
bool isName(std::string_view text, std::string_view name);

/// The parts of a text between marks, empty ones included; one part where there is no mark.
std::vector<std::string_view> splitText(std::string_view text, char mark);

} // namespace vek::sim
