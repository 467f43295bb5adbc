// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vek::tools {

/// The parts of a text between marks.
inline std::vector<std::string> partsOf(std::string_view text, std::string_view mark) {
    std::vector<std::string> parts;
    for (std::size_t end = 0; end != text.npos;) {
        end = text.find(mark);
        parts.emplace_back(text.substr(0, end));
        text.remove_prefix(end == text.npos ? text.size() : end + mark.size());
    }
    return parts;
}

/// A text without what is blank at its ends.
inline std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \n");
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(" \n") - first + 1);
}

/// A text that ends as a sentence does.
inline std::string sentence(const std::string& text) {
    return text.empty() || text.ends_with('.') ? text : text + ".";
}

} // namespace vek::tools
