// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/Markdown.h"

#include "tools/manual/Parts.h"

#include <algorithm>

namespace vek::tools {

namespace {

/// The cells between the bars of a table's line; a bar behind a backslash is a part of its cell.
std::vector<std::string> cellsOf(std::string_view line) {
    std::vector<std::string> cells(1);
    line = trimmed(line);
    line.remove_prefix(1);
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\\' && line.substr(i + 1, 1) == "|") {
            cells.back() += line[++i];
        } else if (line[i] == '|') {
            cells.emplace_back();
        } else {
            cells.back() += line[i];
        }
    }
    cells.pop_back(); // behind the last bar
    for (std::string& cell : cells) {
        cell = std::string(trimmed(cell));
    }
    return cells;
}

} // namespace

std::vector<SBlock> readMarkdown(std::string_view page) {
    using EKind = SBlock::EKind;
    std::vector<SBlock> blocks;
    bool joins = false; // the next line of text goes on with the last block
    bool isCode = false;
    for (const std::string& line : partsOf(page, "\n")) {
        const std::string_view text = trimmed(line);
        if (text.rfind("```", 0) == 0) {
            if (!isCode) {
                blocks.push_back({EKind::Code, 0, "", std::string(text.substr(3)), {}});
            }
            isCode = !isCode;
            joins = false;
        } else if (isCode) {
            blocks.back().text += line;
            blocks.back().text += '\n';
        } else if (text.empty()) {
            joins = false;
        } else if (text[0] == '#') {
            const auto level = static_cast<unsigned>(text.find_first_not_of('#'));
            blocks.push_back({EKind::Heading, level, std::string(trimmed(text.substr(level))), "", {}});
            joins = false;
        } else if (text[0] == '|') {
            if (!joins || blocks.back().kind != EKind::Table) {
                blocks.push_back({EKind::Table, 0, "", "", {}});
            }
            if (text.find_first_not_of("|-: ") != text.npos) {
                blocks.back().rows.push_back(cellsOf(text));
            }
            joins = true;
        } else if (text.rfind("* ", 0) == 0 || text.rfind("- ", 0) == 0) {
            blocks.push_back({EKind::Item, 0, std::string(text.substr(2)), "", {}});
            joins = true;
        } else if (joins) {
            blocks.back().text += ' ';
            blocks.back().text += text;
        } else {
            blocks.push_back({EKind::Paragraph, 0, std::string(text), "", {}});
            joins = true;
        }
    }
    return blocks;
}

} // namespace vek::tools
