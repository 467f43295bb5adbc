// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/Roff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdint>

namespace vek::tools {

namespace {

bool isLetter(char letter) {
    return std::isalpha(static_cast<unsigned char>(letter)) != 0;
}

bool isOfWord(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '-' || letter == '_';
}

/// The character that begins at a place of UTF-8 text, as roff names it; takes what belongs to it.
std::string wideCharacter(std::string_view text, std::size_t& at) {
    const auto first = static_cast<unsigned char>(text[at++]);
    std::uint32_t code = first >= 0xF0 ? first & 7U : first >= 0xE0 ? first & 15U : first & 31U;
    while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U) {
        code = code << 6U | (static_cast<unsigned char>(text[at++]) & 63U);
    }
    return fmt::format("\\[u{:04X}]", code);
}

/// One character, or what stands for it in roff.
std::string escaped(std::string_view text, std::size_t& at, bool isCode) {
    const char letter = text[at];
    if ((static_cast<unsigned char>(letter) & 0x80U) != 0) {
        return wideCharacter(text, at);
    }
    ++at;
    switch (letter) {
    case '\\':
        return "\\e";
    case '`':
        return "\\(ga";
    case '^':
        return "\\(ha";
    case '~':
        return "\\(ti";
    case '-':
        return isCode ? "\\-" : "-";
    case '\'':
        return isCode ? "\\(aq" : "'";
    case '"':
        return "\\(dq";
    default:
        return {letter};
    }
}

/// Where an option that begins here ends: --name, -n; the same place where none does.
std::size_t optionEnd(std::string_view text, std::size_t at) {
    const bool begins = at == 0 || !(isOfWord(text[at - 1]) || text[at - 1] == '/');
    if (!begins || text[at] != '-') {
        return at;
    }
    std::size_t end = at + 1;
    const bool isLong = end < text.size() && text[end] == '-';
    end += isLong ? 1 : 0;
    if (end >= text.size() || !isLetter(text[end])) {
        return at;
    }
    while (end < text.size() && isOfWord(text[end])) {
        ++end;
    }
    const std::size_t letters = end - at - (isLong ? 2 : 1);
    return isLong || letters == 1 ? end : at;
}

/// The same of a name of the library's functions.
std::size_t functionEnd(std::string_view text, std::size_t at) {
    const std::string_view rest = text.substr(at);
    const bool begins = at == 0 || !isOfWord(text[at - 1]);
    if (!begins || (rest.rfind("VekCam_", 0) != 0 && rest.rfind("VekChain_", 0) != 0)) {
        return at;
    }
    return at + static_cast<std::size_t>(std::find_if_not(rest.begin(), rest.end(), isOfWord) - rest.begin());
}

/// A line that begins with one of these is an order to roff.
bool isOrder(std::string_view line) {
    return !line.empty() && (line[0] == '.' || line[0] == '\'');
}

/// Bold or slanted from its first letter on.
bool isMarked(std::string_view word) {
    return word.rfind("\\fB", 0) == 0 || word.rfind("\\fI", 0) == 0;
}

bool beginsSentence(std::string_view text) {
    text.remove_prefix(isMarked(text) ? 3 : 0);
    return !text.empty() && std::isupper(static_cast<unsigned char>(text[0])) != 0;
}

std::string argument(std::string_view text) {
    return fmt::format("\"{}\"", text);
}

} // namespace

std::string roffCode(std::string_view text) {
    std::string roff;
    for (std::size_t at = 0; at < text.size();) {
        roff += escaped(text, at, true);
    }
    return roff;
}

std::string roffText(std::string_view text) {
    std::string roff;
    for (std::size_t at = 0; at < text.size();) {
        if (const std::size_t end = text[at] == '`' ? text.find('`', at + 1) : text.npos; end != text.npos) {
            roff += "\\fB" + roffCode(text.substr(at + 1, end - at - 1)) + "\\fR";
            at = end + 1;
        } else if (const std::size_t close = text[at] == '[' ? text.find("](", at) : text.npos;
                   close != text.npos && text.find(')', close) != text.npos) {
            roff += roffText(text.substr(at + 1, close - at - 1));
            at = text.find(')', close) + 1;
            // A place on another page is told by that page, one on this page is not far.
            const std::string_view target = text.substr(close + 2, at - close - 3);
            const std::string_view page = target.substr(0, target.find('#'));
            roff += page.empty() ? "" : " (" + roffCode(page) + ")";
        } else if (text.substr(at, 2) == "**") {
            at += 2;
        } else if (const std::size_t option = std::max(optionEnd(text, at), functionEnd(text, at)); option != at) {
            roff += "\\fB" + roffCode(text.substr(at, option - at)) + "\\fR";
            at = option;
        } else {
            // A minus sign, or a dash that stands alone as standard input and output.
            const bool isMinus = text[at] == '-' && (at == 0 || !isOfWord(text[at - 1]));
            roff += escaped(text, at, isMinus);
        }
    }
    return roff;
}

CRoffPage::CRoffPage(std::string_view title, std::string_view section, std::string_view date, std::string_view source) {
    std::string upper(title);
    if (section != "3") { // names of C keep their letters
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    }
    // Blanks stay as wide as they are.
    mText =
        fmt::format(".TH {} {} {} {}\n.ad l\n", argument(roffCode(upper)), section, argument(date), argument(source));
}

void CRoffPage::Section(std::string_view title) {
    mText += ".SH " + argument(title) + "\n";
    mHeaded = true;
}

void CRoffPage::Subsection(std::string_view title) {
    mText += ".SS " + argument(title) + "\n";
    mHeaded = true;
}

void CRoffPage::Paragraph(std::string_view text) {
    mText += mHeaded ? "" : ".PP\n";
    Flow(text);
}

void CRoffPage::Tagged(std::string_view tag, std::string_view text) {
    mText += fmt::format(".TP\n{}{}\n", isOrder(tag) ? "\\&" : "", tag);
    Flow(text.empty() ? "\\&" : text);
}

void CRoffPage::Continued(std::string_view text) {
    mText += ".IP\n";
    Flow(text);
}

void CRoffPage::Bullet(std::string_view text) {
    mText += ".IP \\(bu 2\n";
    Flow(text);
}

void CRoffPage::Lines(std::string_view text) {
    mText += std::string(mHeaded ? "" : ".PP\n") + ".in +4n\n.EX\n";
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        mText += (isOrder(line) ? "\\&" : "") + roffCode(line) + "\n";
    }
    mText += ".EE\n.in\n";
    mHeaded = false;
}

void CRoffPage::Usage(std::string_view front, std::string_view rest) {
    mText += ".SY " + argument(front) + "\n";
    Flow(rest.empty() ? "\\&" : rest);
    mText += ".YS\n";
}

void CRoffPage::Prototype(std::string_view text) {
    mText += std::string(mHeaded ? "" : ".PP\n") + ".nf\n" + std::string(text) + "\n.fi\n";
    mHeaded = false;
}

/// Breaks lines behind sentences, which is where roff wants them, and where they get long.
void CRoffPage::Flow(std::string_view text) {
    constexpr std::size_t kLongest = 78;
    std::string line;
    const auto end = [&] {
        mText += (isOrder(line) ? "\\&" : "") + line + "\n";
        line.clear();
    };
    while (!text.empty()) {
        const std::size_t blank = text.find_first_of(" \n");
        const std::string_view word = text.substr(0, blank);
        text.remove_prefix(blank == text.npos ? text.size() : blank + 1);
        if (word.empty()) {
            continue;
        }
        if (!line.empty() && line.size() + 1 + word.size() > kLongest) {
            end();
        }
        // Names stay whole.
        line += line.empty() ? "" : " ";
        line += isMarked(word) ? "\\%" : "";
        line += word;
        const bool isSentence = word.ends_with('.') && beginsSentence(text);
        if (isSentence) {
            end();
        }
    }
    if (!line.empty()) {
        end();
    }
    mHeaded = false;
}

} // namespace vek::tools
