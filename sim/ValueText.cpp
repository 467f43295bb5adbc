// SPDX-License-Identifier: Apache-2.0
#include "sim/ValueText.h"

#include <algorithm>
#include <array>
#include <limits>

namespace vek::sim {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isSign(char c) {
    return c == '+' || c == '-';
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view withoutSign(std::string_view text) {
    return text.substr(!text.empty() && isSign(text.front()) ? 1 : 0);
}

/// What from_chars makes of a number without a plus sign. complete: it took all of the text.
std::errc fromChars(std::string_view text, double& value, bool& complete) {
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, value);
    complete = !text.empty() && result.ptr == end;
    return result.ec;
}

std::string complaint(std::string_view text, bool outOfRange, std::string_view kind, const std::string& low,
                      const std::string& high) {
    const std::string quoted = '"' + std::string(text) + '"';
    if (outOfRange) {
        return quoted + " is out of range: " + low + " to " + high + " is needed";
    }
    const std::string_view digits = withoutSign(text);
    const bool hexadecimal = digits.size() > 1 && digits[0] == '0' && lower(digits[1]) == 'x';
    return quoted + ": a " + (hexadecimal ? "decimal " : "") + std::string(kind) + " is needed, " + low + " to " + high;
}

} // namespace

bool isWholeText(std::string_view text) {
    const std::string_view digits = withoutSign(text);
    return !digits.empty() && std::all_of(digits.begin(), digits.end(), isDigit);
}

bool isNumberText(std::string_view text) {
    const std::string_view digits = withoutSign(text);
    double value = 0;
    bool complete = false;
    const std::errc error = fromChars(digits, value, complete);
    // Infinity and what is no number begin with a letter.
    return complete && error != std::errc::invalid_argument && (isDigit(digits.front()) || digits.front() == '.');
}

std::string_view withoutPlus(std::string_view text) {
    return text.starts_with('+') ? text.substr(1) : text;
}

std::optional<double> readNumber(std::string_view text, double low, double high) {
    double value = 0;
    bool complete = false;
    const bool read = isNumberText(text) && fromChars(withoutPlus(text), value, complete) == std::errc();
    return read && value >= low && value <= high ? std::optional(value) : std::nullopt;
}

std::string plainText(double number) {
    std::array<char, std::numeric_limits<double>::max_exponent10 + 20> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return {text.data(), result.ptr};
}

std::string wholeComplaint(std::string_view text, const std::string& low, const std::string& high) {
    return complaint(text, isWholeText(text), "whole number", low, high);
}

std::string numberComplaint(std::string_view text, double low, double high) {
    return complaint(text, isNumberText(text), "number", plainText(low), plainText(high));
}

std::optional<unsigned> readCode(std::string_view text) {
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && lower(text[1]) == 'x';
    const std::string_view digits = text.substr(hexadecimal ? 2 : 0);
    unsigned code = 0;
    const char* const end = digits.data() + digits.size();
    const std::from_chars_result result = std::from_chars(digits.data(), end, code, hexadecimal ? 16 : 10);
    return !digits.empty() && result.ec == std::errc() && result.ptr == end ? std::optional(code) : std::nullopt;
}

std::string codeComplaint(std::string_view text, const std::string& names, const std::string& numbers) {
    return '"' + std::string(text) + "\" is none of: " + names + "; nor a number of " + numbers;
}

bool isName(std::string_view text, std::string_view name) {
    return std::equal(name.begin(), name.end(), text.begin(), text.end(), [](char a, char b) { return a == lower(b); });
}

std::vector<std::string_view> splitText(std::string_view text, char mark) {
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
