// SPDX-License-Identifier: Apache-2.0
#include "sim/ValueText.h"

#include <algorithm>
#include <array>
#include <limits>

namespace vek::sim {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsSign(char c) {
    return c == '+' || c == '-';
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view WithoutSign(std::string_view text) {
    return text.substr(!text.empty() && IsSign(text.front()) ? 1 : 0);
}

/// What from_chars makes of a number without a plus sign. complete: it took all of the text.
std::errc FromChars(std::string_view text, double& value, bool& complete) {
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, value);
    complete = !text.empty() && result.ptr == end;
    return result.ec;
}

std::string Complaint(std::string_view text, bool outOfRange, std::string_view kind, const std::string& low,
                      const std::string& high) {
    const std::string quoted = '"' + std::string(text) + '"';
    if (outOfRange) {
        return quoted + " is out of range: " + low + " to " + high + " is needed";
    }
    const std::string_view digits = WithoutSign(text);
    const bool hexadecimal = digits.size() > 1 && digits[0] == '0' && Lower(digits[1]) == 'x';
    return quoted + ": a " + (hexadecimal ? "decimal " : "") + std::string(kind) + " is needed, " + low + " to " + high;
}

} // namespace

bool IsWholeText(std::string_view text) {
    const std::string_view digits = WithoutSign(text);
    return !digits.empty() && std::all_of(digits.begin(), digits.end(), IsDigit);
}

bool IsNumberText(std::string_view text) {
    const std::string_view digits = WithoutSign(text);
    double value = 0;
    bool complete = false;
    const std::errc error = FromChars(digits, value, complete);
    // Infinity and what is no number begin with a letter.
    return complete && error != std::errc::invalid_argument && (IsDigit(digits.front()) || digits.front() == '.');
}

std::string_view WithoutPlus(std::string_view text) {
    return text.starts_with('+') ? text.substr(1) : text;
}

std::optional<double> ReadNumber(std::string_view text, double low, double high) {
    double value = 0;
    bool complete = false;
    const bool read = IsNumberText(text) && FromChars(WithoutPlus(text), value, complete) == std::errc();
    return read && value >= low && value <= high ? std::optional(value) : std::nullopt;
}

std::string PlainText(double number) {
    std::array<char, std::numeric_limits<double>::max_exponent10 + 20> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return {text.data(), result.ptr};
}

std::string WholeComplaint(std::string_view text, const std::string& low, const std::string& high) {
    return Complaint(text, IsWholeText(text), "whole number", low, high);
}

std::string NumberComplaint(std::string_view text, double low, double high) {
    return Complaint(text, IsNumberText(text), "number", PlainText(low), PlainText(high));
}

std::optional<unsigned> ReadCode(std::string_view text) {
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && Lower(text[1]) == 'x';
    const std::string_view digits = text.substr(hexadecimal ? 2 : 0);
    unsigned code = 0;
    const char* const end = digits.data() + digits.size();
    const std::from_chars_result result = std::from_chars(digits.data(), end, code, hexadecimal ? 16 : 10);
    return !digits.empty() && result.ec == std::errc() && result.ptr == end ? std::optional(code) : std::nullopt;
}

std::string CodeComplaint(std::string_view text, const std::string& names, unsigned low, unsigned high) {
    return '"' + std::string(text) + "\" is none of: " + names + "; nor a number of " + std::to_string(low) + " to " +
           std::to_string(high);
}

bool IsName(std::string_view text, std::string_view name) {
    return std::equal(name.begin(), name.end(), text.begin(), text.end(), [](char a, char b) { return a == Lower(b); });
}

std::vector<std::string_view> SplitText(std::string_view text, char mark) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t end = text.find(mark);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

} // namespace vek::sim
