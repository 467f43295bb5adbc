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

} // namespace vek::tools
