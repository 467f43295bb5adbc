// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/Markdown.h"
#include "tools/manual/Pages.h"
#include "tools/manual/Parts.h"
#include "tools/manual/Roff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <span>
#include <stdexcept>

namespace vek::tools {

namespace {

using EKind = SBlock::EKind;

bool isUpper(char letter) {
    return std::isupper(static_cast<unsigned char>(letter)) != 0;
}

bool isLower(char letter) {
    return std::islower(static_cast<unsigned char>(letter)) != 0;
}

std::string bold(std::string_view text) {
    return "\\fB" + roffCode(text) + "\\fR";
}

std::string italic(std::string_view text) {
    return "\\fI" + roffCode(text) + "\\fR";
}

std::string pageName(const SCommand& program, const SCommand& command) {
    return program.name + "-" + command.name;
}

/// A part of the description, under a title of the second level.
struct SPart {
    std::string title;
    std::vector<SBlock> blocks;
};

/// The description, taken apart.
struct SDescription {
    std::vector<std::string> synopsis; ///< ways to call the program, each in one line
    SPart front;                       ///< in front of the first part
    std::vector<SPart> parts;
};

SDescription readDescription(std::string_view page) {
    SDescription description;
    for (SBlock& block : readMarkdown(page)) {
        if (block.kind == EKind::Code && block.info == "text synopsis") {
            for (const std::string& line : partsOf(block.text, "\n")) {
                if (line.rfind(' ', 0) != 0 && !line.empty()) {
                    description.synopsis.push_back(line);
                } else if (!line.empty()) {
                    description.synopsis.back() += line.substr(line.find_first_not_of(' ') - 1);
                }
            }
        } else if (block.kind == EKind::Heading && block.level == 2) {
            description.parts.push_back({block.text, {}});
        } else if (block.kind != EKind::Heading || block.level != 1) {
            SPart& part = description.parts.empty() ? description.front : description.parts.back();
            part.blocks.push_back(std::move(block));
        }
    }
    return description;
}

const SCommand* findCommand(const SCommand& parent, std::string_view name) {
    const auto found = std::find_if(parent.commands.begin(), parent.commands.end(), [&](const SCommand& command) {
        return command.name == name ||
               std::find(command.aliases.begin(), command.aliases.end(), name) != command.aliases.end();
    });
    return found == parent.commands.end() ? nullptr : &*found;
}

/// The words of a command line that name a command: "vekcam calibrate flat"; empty where it is not one of the program.
std::string commandIn(const SCommand& program, const std::string& line) {
    std::string words;
    const SCommand* command = &program;
    for (const std::string& word : partsOf(line, " ")) {
        if (words.empty()) {
            if (word != program.name) {
                return "";
            }
            words = word;
        } else if (const SCommand* const next = findCommand(*command, word); next != nullptr) {
            words += " " + word;
            command = next;
        } else {
            break;
        }
    }
    return command == &program ? "" : words;
}

/// The command that examples between two blocks run first. hasExample: whether there are any.
std::string commandOf(const SCommand& program, std::span<const SBlock> blocks, bool& hasExample) {
    hasExample = false;
    for (const SBlock& block : blocks) {
        if (block.kind == EKind::Code && block.info == "sh") {
            hasExample = true;
            for (const std::string& line : partsOf(block.text, "\n")) {
                if (std::string words = commandIn(program, line); !words.empty()) {
                    return words;
                }
            }
        } else if (block.kind == EKind::Paragraph && block.text.rfind('`', 0) == 0) {
            if (std::string words = commandIn(program, block.text.substr(1)); !words.empty()) {
                return words;
            }
        }
    }
    return "";
}

/// Writes blocks into a page, and keeps the examples for its end.
class CDescriptionWriter {
public:
    CDescriptionWriter(const SCommand& program, CRoffPage& page) : mProgram(program), mPage(page) {}

    /// title: above the part; empty: none.
    void Write(const SPart& part, const std::string& title) {
        mTitle = title;
        mPending = title;
        for (std::size_t i = 0; i < part.blocks.size(); ++i) {
            const SBlock& block = part.blocks[i];
            if (block.kind == EKind::Heading) {
                mTitle = mPending = block.text;
                mCommand.clear();
            }
            if (i == 0 || block.kind == EKind::Heading) {
                bool hasExample = false;
                mCommand = commandOf(mProgram, std::span(part.blocks).subspan(i), hasExample);
                mBegins = true;
            }
            WriteBlock(block);
        }
    }

    void WriteExamples() {
        if (!mExamples.empty()) {
            mPage.Section("EXAMPLES");
        }
        for (const auto& [title, lines] : mExamples) {
            if (!title.empty()) {
                mPage.Paragraph(roffText(title) + ":");
            }
            mPage.Lines(lines);
        }
    }

private:
    /// A title is written once something stands below it.
    void WriteTitle() {
        if (!mPending.empty()) {
            mPage.Subsection(roffCode(mPending));
            mPending.clear();
        }
    }

    void WriteBlock(const SBlock& block) {
        switch (block.kind) {
        case EKind::Heading:
            return;
        case EKind::Paragraph: {
            WriteTitle();
            // What stands behind an example may go on as if the command had been named.
            const bool goesOn = mBegins && !mCommand.empty() && isLower(block.text[0]);
            mPage.Paragraph((goesOn ? bold(mCommand) + " " : "") + roffText(block.text));
            mBegins = false;
            return;
        }
        case EKind::Item:
            WriteTitle();
            mPage.Bullet(roffText(block.text));
            return;
        case EKind::Table:
            if (block.rows.front().front() != "option") {
                WriteTitle();
                WriteTable(block.rows);
            }
            return;
        case EKind::Code:
            if (block.info == "sh") {
                mExamples.emplace_back(mTitle, Broken(block.text));
            } else if (block.info == "text" && !mExamples.empty() && mExamples.back().first == mTitle) {
                mExamples.back().second += "\n" + block.text;
            } else {
                WriteTitle();
                mPage.Lines(block.text);
            }
            return;
        }
    }

    /// The first column is a tag, the others follow, with their titles where there are several.
    void WriteTable(const std::vector<std::vector<std::string>>& rows) {
        for (std::size_t row = 1; row < rows.size(); ++row) {
            std::string text;
            for (std::size_t column = 1; column < rows[row].size(); ++column) {
                const std::string& cell = rows[row][column];
                if (!cell.empty()) {
                    text += text.empty() ? "" : "; ";
                    text += rows[0].size() > 2 ? rows[0][column] + ": " + cell : cell;
                }
            }
            mPage.Tagged(roffText(rows[row].front()), roffText(sentence(text)));
        }
    }

    /// Command lines that are too long for a terminal, broken as a shell takes them.
    static std::string Broken(const std::string& lines) {
        constexpr std::size_t kLongest = 68;
        std::string result;
        for (const std::string& line : partsOf(lines, "\n")) {
            std::string out;
            bool isQuoted = false;
            std::string word;
            const auto add = [&] {
                if (!out.empty() && out.size() + 1 + word.size() > kLongest) {
                    result += out + " \\\n";
                    out = "    " + word;
                } else {
                    out += (out.empty() ? "" : " ") + word;
                }
                word.clear();
            };
            for (std::size_t i = 0; i < line.size(); ++i) {
                isQuoted = isQuoted != (line[i] == '\'' || line[i] == '"');
                // An option keeps its value.
                const bool isOption = word.size() > 1 && word[0] == '-' && word.find(' ') == word.npos;
                const bool goesOn = isOption && i + 1 < line.size() && line[i + 1] != '-';
                if (line[i] == ' ' && !isQuoted && !goesOn) {
                    add();
                } else {
                    word += line[i];
                }
            }
            add();
            result += out + "\n";
        }
        return result.substr(0, result.size() - 1);
    }

    const SCommand& mProgram;
    CRoffPage& mPage;
    std::string mTitle;
    std::string mPending;
    std::string mCommand;
    bool mBegins = false;
    std::vector<std::pair<std::string, std::string>> mExamples; ///< with the titles above them
};

/// How something is called, behind the command's words: options bold, what stands for others slanted, and no line
/// broken within brackets.
std::string usageText(std::string_view text) {
    std::string roff;
    int depth = 0;
    bool isOption = false; // it stands in front
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        if (text[at] == '-' && (at == 0 || text[at - 1] == ' ' || text[at - 1] == '[' || text[at - 1] == '|')) {
            while (end < text.size() && (text[end] == '-' || isLower(text[end]) || std::isdigit(text[end]) != 0)) {
                ++end;
            }
            roff += bold(text.substr(at, end - at));
            isOption = true;
        } else if (isUpper(text[at])) {
            while (end < text.size() && (isUpper(text[end]) || std::isdigit(text[end]) != 0)) {
                ++end;
            }
            roff += italic(text.substr(at, end - at));
        } else {
            ++end;
            const bool keepsValue = isOption && isUpper(text.substr(end, 1).empty() ? ' ' : text[end]);
            isOption = false;
            depth += text[at] == '[' ? 1 : text[at] == ']' ? -1 : 0;
            roff += text[at] == ' ' && (depth > 0 || keepsValue) ? "\\~" : roffCode(text.substr(at, 1));
            // Three dots are no end of a sentence.
            roff += text[at] == ']' ? "\\&" : "";
        }
        at = end;
    }
    return roff;
}

void writeSynopsis(CRoffPage& page, const SCommand& program, const std::string& command,
                   const SDescription& description) {
    bool isThere = false;
    for (const std::string& line : description.synopsis) {
        const std::string words = commandIn(program, line);
        const bool isOwn =
            command.empty() ? words.empty() : (words + " ").rfind(program.name + " " + command + " ", 0) == 0;
        if (isOwn) {
            const std::string front = command.empty() ? program.name : words;
            // A few words in the first column may be apart from what follows.
            const std::size_t rest = line.find_first_not_of(' ', front.size());
            page.Usage(roffCode(front), rest == line.npos ? "" : usageText(line.substr(rest)));
            isThere = true;
        }
    }
    if (!isThere) {
        throw std::runtime_error("no synopsis of " + program.name + " " + command);
    }
}

std::string optionTag(const SOption& option) {
    std::string tag;
    for (const std::string& name : option.names) {
        tag += (tag.empty() ? "" : ", ") + bold(name);
    }
    if (option.value.empty()) {
        return tag;
    }
    std::string value = usageText(option.value);
    value = option.valueMayBeMissing ? "[" + value + "]" : value;
    return tag + (tag.empty() ? "" : " ") + value + (option.repeats ? " ..." : "");
}

/// The first long name, or the only one.
std::string longName(const SOption& option) {
    const auto found = std::find_if(option.names.begin(), option.names.end(),
                                    [](const std::string& name) { return name.rfind("--", 0) == 0; });
    return found == option.names.end() ? option.names.front() : *found;
}

std::string optionText(const SOption& option) {
    std::string text = roffText(sentence(option.help));
    const auto add = [&](const std::string& more) { text += " " + more; };
    if (option.required) {
        add("Required.");
    }
    if (const std::size_t dots = option.range.find(".."); dots != option.range.npos) {
        add(usageText(option.value) +
            roffText(" is " + option.range.substr(0, dots) + " to " + option.range.substr(dots + 2) + "."));
    }
    if (!option.byDefault.empty()) {
        add("Default: " + roffCode(option.byDefault) + ".");
    }
    if (!option.needs.empty()) {
        add(roffText(fmt::format("Needs {}.", fmt::join(option.needs, " and "))));
    }
    if (!option.excludes.empty()) {
        add(roffText(fmt::format("Does not go with {}.", fmt::join(option.excludes, ", "))));
    }
    return text;
}

/// Writes options, and keeps in mind which ones: those of a command that are the same as another's are named only.
class COptionWriter {
public:
    explicit COptionWriter(CRoffPage& page) : mPage(page) {}

    /// words: of the command: "vekcam calibrate flat"; title: of each group under a title of its own, not the first.
    void Write(const SCommand& command, const std::string& words, bool titled) {
        std::map<std::string, std::vector<std::string>> known; // by the words of the command that has them
        for (const SOption& argument : command.arguments) {
            WriteOne(argument, words, known);
        }
        // In the help, too, groups come in the order of their first options.
        std::vector<std::string> groups;
        for (const SOption& option : command.options) {
            if (std::find(groups.begin(), groups.end(), option.group) == groups.end()) {
                groups.push_back(option.group);
            }
        }
        for (const std::string& group : groups) {
            if (titled && group != groups.front()) {
                mPage.Subsection(roffCode(group));
            }
            for (const SOption& option : command.options) {
                if (option.group == group) {
                    WriteOne(option, words, known);
                }
            }
        }
        for (const auto& [owner, tags] : known) {
            mPage.Paragraph(fmt::format("As of {}: {}.", bold(owner), fmt::join(tags, ", ")));
        }
    }

private:
    void WriteOne(const SOption& option, const std::string& words,
                  std::map<std::string, std::vector<std::string>>& known) {
        const std::string tag = optionTag(option);
        const auto [place, isNew] = mSeen.try_emplace(tag + optionText(option), words);
        if (isNew) {
            mPage.Tagged(tag, optionText(option));
        } else {
            known[place->second].push_back(option.names.empty() ? tag : bold(longName(option)));
        }
    }

    CRoffPage& mPage;
    std::map<std::string, std::string> mSeen;
};

/// "Exit codes: 0 same, 1 different" without the first words.
std::string exitCodes(const SCommand& command) {
    const std::string_view start = "Exit codes: ";
    return command.footer.rfind(start, 0) == 0 ? command.footer.substr(start.size()) : command.footer;
}

void writeSeeAlso(CRoffPage& page, const std::vector<std::string>& names) {
    page.Section("SEE ALSO");
    std::string text;
    for (const std::string& name : names) {
        const std::size_t bracket = name.find('(');
        text += (text.empty() ? "" : ", ") + bold(name.substr(0, bracket)) + name.substr(bracket);
    }
    page.Paragraph(text);
}

/// The pages of other parts of the documentation that blocks point to.
std::set<std::string> linkedPages(const std::vector<const SPart*>& parts) {
    std::set<std::string> pages;
    for (const SPart* const part : parts) {
        for (const SBlock& block : part->blocks) {
            for (std::size_t at = block.text.find("]("); at != block.text.npos; at = block.text.find("](", at + 1)) {
                const std::string target = block.text.substr(at + 2, block.text.find_first_of(")#", at) - at - 2);
                if (target.ends_with(".md") && target.find('/') == target.npos) {
                    pages.insert(target);
                }
            }
        }
    }
    return pages;
}

void writeLinkedPages(CRoffPage& page, const std::vector<const SPart*>& parts) {
    const std::set<std::string> pages = linkedPages(parts);
    if (!pages.empty()) {
        std::string names;
        for (const std::string& name : pages) {
            names += (names.empty() ? "" : ", ") + italic(name);
        }
        page.Paragraph("Of the documentation in the sources: " + names + ".");
    }
}

/// The help's statement as the line by which pages are looked up.
std::string summaryOf(const SCommand& command) {
    std::string text = command.help.substr(0, command.help.find(": "));
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text.ends_with('.') ? text.substr(0, text.size() - 1) : text;
}

void writeName(CRoffPage& page, const std::string& name, const SCommand& command) {
    page.Section("NAME");
    page.Paragraph(roffCode(name) + " \\- " + roffText(summaryOf(command)));
}

SManualFile commandPage(const SCommand& program, const SCommand& command, const SDescription& description,
                        const std::vector<const SPart*>& parts, const SEdition& edition) {
    const std::string name = pageName(program, command);
    CRoffPage page(name, "1", edition.date, edition.source);
    writeName(page, name, command);
    page.Section("SYNOPSIS");
    writeSynopsis(page, program, command.name, description);
    page.Section("DESCRIPTION");
    CDescriptionWriter writer(program, page);
    for (const SPart* const part : parts) {
        writer.Write(*part, part == parts.front() ? "" : part->title);
    }
    const std::string words = program.name + " " + command.name;
    COptionWriter options(page);
    if (command.commands.empty()) {
        page.Section("OPTIONS");
        options.Write(command, words, true);
    } else {
        page.Section("COMMANDS");
        for (const SCommand& sub : command.commands) {
            std::string title = words + " " + sub.name;
            for (const std::string& alias : sub.aliases) {
                title += ", " + alias;
            }
            page.Subsection(roffCode(title));
            page.Paragraph(roffText(sentence(sub.help)));
            options.Write(sub, words + " " + sub.name, false);
            if (!sub.footer.empty()) {
                page.Paragraph("Exit status: " + roffText(exitCodes(sub)));
            }
        }
    }
    page.Section("EXIT STATUS");
    page.Paragraph(command.footer.empty() ? "That of " + bold(program.name) + "(1)." : roffText(exitCodes(command)));
    writer.WriteExamples();
    writeSeeAlso(page, {program.name + "(1)"});
    writeLinkedPages(page, parts);
    return {fmt::format("man1/{}.1", name), page.Text()};
}

SManualFile programPage(const SCommand& program, const SDescription& description,
                        const std::vector<const SPart*>& parts, const SEdition& edition) {
    CRoffPage page(program.name, "1", edition.date, edition.source);
    writeName(page, program.name, program);
    page.Section("SYNOPSIS");
    page.Usage(program.name, usageText("COMMAND [ARGUMENT...]"));
    writeSynopsis(page, program, "", description);
    page.Section("DESCRIPTION");
    CDescriptionWriter writer(program, page);
    writer.Write(description.front, "");
    page.Section("COMMANDS");
    std::vector<std::string> others;
    for (const SCommand& command : program.commands) {
        const std::string name = pageName(program, command);
        page.Tagged(bold(name) + "(1)", roffText(sentence(command.help)));
        others.push_back(name + "(1)");
    }
    page.Section("OPTIONS");
    COptionWriter(page).Write(program, program.name, true);
    for (const SPart* const part : parts) {
        std::string title = part->title;
        std::transform(title.begin(), title.end(), title.begin(),
                       [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
        page.Section(title == "EXIT CODES" ? "EXIT STATUS" : title);
        writer.Write(*part, "");
    }
    writer.WriteExamples();
    others.push_back("VekTrgApi(3)");
    writeSeeAlso(page, others);
    return {fmt::format("man1/{}.1", program.name), page.Text()};
}

} // namespace

std::vector<SManualFile> commandPages(const SCommand& program, std::string_view description, const SEdition& edition) {
    const SDescription parts = readDescription(description);
    std::map<std::string, std::vector<const SPart*>> byCommand; // by its name; "": of the program
    for (const SPart& part : parts.parts) {
        bool hasExample = false;
        const std::string words = commandOf(program, part.blocks, hasExample);
        if (!words.empty() || !hasExample) {
            byCommand[words.empty() ? "" : partsOf(words, " ")[1]].push_back(&part);
        }
    }
    std::vector<SManualFile> files = {programPage(program, parts, byCommand[""], edition)};
    for (const SCommand& command : program.commands) {
        files.push_back(commandPage(program, command, parts, byCommand[command.name], edition));
    }
    return files;
}

} // namespace vek::tools
