// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vek::tools {

/// A part of a page in Markdown, of what the pages in docs/ use of it.
struct SBlock {
    enum class EKind : unsigned char { Heading, Paragraph, Item, Code, Table };
    EKind kind;
    unsigned level = 0;                         ///< of a heading: 1 to 6
    std::string text;                           ///< in one line; of code its lines
    std::string info;                           ///< of code, behind the mark: "sh"
    std::vector<std::vector<std::string>> rows; ///< of a table, its head first
};

std::vector<SBlock> readMarkdown(std::string_view page);

} // namespace vek::tools
