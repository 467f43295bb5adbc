// SPDX-License-Identifier: Apache-2.0
// Comments of the public headers are written by rules: a statement of what there is; parameters, "name: text", one
// blank in; what a function gives, from "Returns" on. Lists begin with a dash, examples are four blanks in.
#include "tools/manual/Pages.h"
#include "tools/manual/Parts.h"
#include "tools/manual/Roff.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <set>

namespace vek::tools {

namespace {

using Lines = std::vector<std::string>;

bool isOfName(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_';
}

std::size_t indentOf(std::string_view line) {
    const std::size_t indent = line.find_first_not_of(' ');
    return indent == line.npos ? line.size() : indent;
}

/// Texts in one line, blanks once.
std::string joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += text.empty() ? "" : " ";
        text += trimmed(line);
    }
    return text;
}

/// The lines of a comment without its marks.
Lines linesOfComment(std::string_view comment) {
    comment.remove_prefix(comment.rfind("/**", 0) == 0 ? 3 : 2);
    comment.remove_suffix(2);
    Lines lines;
    for (std::string_view line : partsOf(comment, "\n")) {
        const std::size_t star = line.find_first_not_of(' ');
        if (!lines.empty() && star != line.npos && line[star] == '*') {
            line.remove_prefix(star + 1);
        }
        line = line.rfind(' ', 0) == 0 ? line.substr(1) : line;
        lines.emplace_back(line.substr(0, line.find_last_not_of(' ') + 1));
    }
    while (!lines.empty() && lines.front().empty()) {
        lines.erase(lines.begin());
    }
    while (!lines.empty() && lines.back().empty()) {
        lines.pop_back();
    }
    return lines;
}

enum class EDeclared : unsigned char { Function, Table, Type, Macro };

struct SDeclaration {
    EDeclared kind = EDeclared::Function;
    std::string name;
    std::string text; ///< as in the header, without what only compilers need
};

/// Declarations that one comment documents, in the part of the header that another one is above.
struct SEntry {
    Lines comment;
    Lines partComment;
    std::vector<SDeclaration> declarations;
};

struct SHeader {
    Lines comment;
    std::vector<SEntry> entries;
};

void removeAll(std::string& text, std::string_view part) {
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part)) {
        text.erase(at, part.size());
    }
}

/// The identifier that ends at a place.
std::string nameBefore(std::string_view text, std::size_t end) {
    while (end > 0 && !isOfName(text[end - 1])) {
        --end;
    }
    std::size_t begin = end;
    while (begin > 0 && isOfName(text[begin - 1])) {
        --begin;
    }
    return std::string(text.substr(begin, end - begin));
}

SDeclaration declarationOf(std::string text) {
    SDeclaration declaration;
    removeAll(text, "VEK_API ");
    const std::size_t brace = text.find('{');
    if (text.rfind("#define", 0) == 0) {
        declaration.kind = EDeclared::Macro;
        declaration.name = nameBefore(text, text.find(' ', 8));
    } else if (text.rfind("enum", 0) == 0) {
        declaration.kind = EDeclared::Type;
        // One without a name goes by that of its first value.
        declaration.name =
            nameBefore(text, brace) == "enum" ? nameBefore(text, text.find('=')) : nameBefore(text, brace);
    } else if (text.rfind("typedef", 0) == 0) {
        declaration.kind = EDeclared::Type;
        declaration.name = nameBefore(text, text.size());
    } else if (text.find('(') == text.npos) {
        declaration.kind = EDeclared::Table;
        declaration.name = nameBefore(text, text.find('['));
    } else {
        removeAll(text, "static inline ");
        text = std::string(trimmed(text.substr(0, text.find('{'))));
        text += text.ends_with(';') ? "" : ";";
        declaration.name = nameBefore(text, text.find('('));
    }
    declaration.text = text;
    return declaration;
}

/// A declaration that begins at a place of the text; moves on behind it.
std::string takeDeclaration(std::string_view text, std::size_t& at) {
    const std::size_t begin = at;
    if (text[at] == '#') {
        at = text.find('\n', at);
        return std::string(text.substr(begin, at - begin));
    }
    // Definitions end with a brace in the first column, of types with a semicolon behind it.
    const std::size_t semicolon = text.find(';', at);
    const std::size_t brace = text.find('{', at);
    std::size_t end = semicolon;
    if (brace < semicolon) {
        const std::size_t lineEnd = text.find('\n', brace);
        const bool isOneLine = text.find('}', brace) < lineEnd;
        end = isOneLine ? text.find(';', brace) : text.find("\n}", brace) + 1;
        end = isOneLine || text.rfind("static", at) == at ? end : text.find(';', end);
    }
    at = end + 1;
    return std::string(text.substr(begin, at - begin));
}

SHeader readHeader(std::string_view text) {
    SHeader header;
    Lines partComment;
    bool isDocumented = false; // what comes next belongs to the last entry
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == '\n') {
            isDocumented = false;
            ++at;
        } else if (text.substr(at, 2) == "/*") {
            const std::size_t end = text.find("*/", at) + 2;
            const Lines comment = linesOfComment(text.substr(at, end - at));
            const bool isDocumentation = text.substr(at, 3) == "/**";
            at = end + 1;
            if (isDocumentation && text.substr(at, 1) == "\n" && header.comment.empty()) {
                header.comment = comment;
            } else if (isDocumentation) {
                header.entries.push_back({comment, partComment, {}});
                isDocumented = true;
            } else if (comment.front().rfind("SPDX", 0) != 0) {
                partComment = comment;
            }
        } else if (isDocumented && (text[at] != '#' || text.substr(at, 7) == "#define")) {
            header.entries.back().declarations.push_back(declarationOf(takeDeclaration(text, at)));
            at = std::min(text.size(), at + 1);
        } else {
            at = std::min(text.size(), text.find('\n', at)) + 1;
        }
    }
    return header;
}

/// A comment, taken apart.
struct SComment {
    std::string summary;
    Lines paragraphs; ///< lines that begin with a mark are no running text: '-' a list, ' ' an example, '|' a table
    std::vector<std::pair<std::string, Lines>> parameters; ///< paragraphs of each
    Lines results;
};

/// Where a statement of what is returned begins in running text; behind the text where there is none.
std::size_t findReturns(const std::string& text) {
    if (text.rfind("Returns ", 0) == 0) {
        return 0;
    }
    const std::size_t at = text.find(". Returns ");
    return at == text.npos ? text.size() : at + 2;
}

/// "width, height: pixels": the names; empty for another line.
std::string parameterIn(std::string_view line) {
    const std::size_t colon = line.find(": ");
    const bool isName = colon != line.npos &&
                        std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon),
                                    [](char letter) { return isOfName(letter) || letter == ',' || letter == ' '; });
    const std::string_view names = isName ? line.substr(0, colon) : std::string_view();
    if (names.empty() || std::isdigit(static_cast<unsigned char>(names[0])) != 0) {
        return "";
    }
    // Words without a comma between them are no names.
    for (std::size_t at = names.find(' '); at != names.npos; at = names.find(' ', at + 1)) {
        if (at == 0 || names[at - 1] != ',') {
            return "";
        }
    }
    return std::string(names);
}

/// Columns of a table begin where its rule, dashes below the titles, does.
std::vector<std::size_t> columnsOf(std::string_view rule) {
    std::vector<std::size_t> columns;
    for (std::size_t i = 0; i < rule.size(); ++i) {
        if (rule[i] == '-' && (i == 0 || rule[i - 1] == ' ')) {
            columns.push_back(i);
        }
    }
    return columns;
}

bool isRule(std::string_view line) {
    return line.find("---") != line.npos && line.find_first_not_of("- ") == line.npos;
}

/// Reads a table whose rule is the second line from here on, into lines "tag|title: text; title: text".
void takeTable(const Lines& comment, std::size_t& at, Lines& paragraphs) {
    const std::vector<std::size_t> columns = columnsOf(comment[at + 1]);
    const auto cell = [&](const std::string& line, std::size_t column) {
        const std::size_t begin = std::min(columns[column], line.size());
        const std::size_t end = column + 1 < columns.size() ? columns[column + 1] : line.npos;
        return std::string(trimmed(std::string_view(line).substr(begin, end - begin)));
    };
    std::vector<Lines> rows;
    const std::string& titles = comment[at];
    for (at += 2; at < comment.size() && !comment[at].empty(); ++at) {
        const std::string tag = cell(comment[at], 0);
        const bool goesOn = !rows.empty() && (tag.empty() || rows.back()[0].ends_with(','));
        if (!goesOn) {
            rows.emplace_back(columns.size());
        }
        for (std::size_t column = 0; column < columns.size(); ++column) {
            std::string& whole = rows.back()[column];
            const std::string more = cell(comment[at], column);
            whole += (whole.empty() || more.empty() ? "" : " ") + more;
        }
    }
    for (const Lines& row : rows) {
        std::string line = "|" + row[0] + "|";
        for (std::size_t column = 1; column < columns.size(); ++column) {
            line += (column > 1 ? "; " : "") + cell(titles, column) + ": " + row[column];
        }
        paragraphs.push_back(line + ".");
    }
}

SComment readComment(const Lines& lines) {
    SComment comment;
    Lines* target = &comment.paragraphs;
    bool begins = true; // a paragraph
    bool isExample = false;
    const auto put = [&](const std::string& text) {
        if (begins) {
            target->emplace_back();
        }
        std::string& last = target->back();
        last += last.empty() || last.ends_with('\n') ? "" : " ";
        last += text;
        begins = false;
    };
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string& line = lines[i];
        const std::size_t indent = indentOf(line);
        const std::string text(trimmed(line));
        if (text.empty()) {
            begins = true;
            if (isExample && i + 1 < lines.size() && indentOf(lines[i + 1]) >= 4) {
                target->back() += "\n";
                begins = false;
            }
        } else if (i + 1 < lines.size() && isRule(lines[i + 1])) {
            takeTable(lines, i, *target);
            begins = true;
        } else if (indent >= 4 && (isExample || (begins && i > 0)) && target == &comment.paragraphs) {
            isExample = true;
            if (begins) {
                target->push_back(" ");
                begins = false;
            }
            target->back() += line.substr(4) + "\n";
        } else if (const std::string names = indent == 1 ? parameterIn(text) : ""; !names.empty()) {
            comment.parameters.push_back({names, {}});
            target = &comment.parameters.back().second;
            begins = true;
            put(text.substr(names.size() + 2));
        } else if (indent == 1 && text.rfind("- ", 0) == 0) {
            begins = true;
            put(text);
        } else {
            if (indent == 0 && target != &comment.paragraphs && target != &comment.results) {
                target = &comment.paragraphs;
                begins = true;
            }
            // Parameters tell of values, each from a line of its own on.
            const bool isValue = indent > 1 && text.rfind("VEK_", 0) == 0 && !parameterIn(text).empty();
            begins = begins || isValue;
            put(text);
            isExample = false;
        }
        isExample = isExample && indent >= 4;
    }
    // What is returned comes last, at the end of a paragraph or of a line's text.
    const auto takeResults = [&](Lines& paragraphs) {
        for (std::size_t i = 0; i < paragraphs.size(); ++i) {
            const std::size_t at = findReturns(paragraphs[i]);
            if (at < paragraphs[i].size()) {
                comment.results.push_back(paragraphs[i].substr(at));
                comment.results.insert(comment.results.end(), paragraphs.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                                       paragraphs.end());
                paragraphs.resize(i + 1);
                paragraphs[i] = std::string(trimmed(paragraphs[i].substr(0, at)));
                if (paragraphs[i].empty()) {
                    paragraphs.pop_back();
                }
            }
        }
    };
    takeResults(comment.paragraphs);
    for (auto& [names, paragraphs] : comment.parameters) {
        takeResults(paragraphs);
    }
    if (!comment.paragraphs.empty()) {
        const std::string& first = comment.paragraphs.front();
        // Two dots between numbers end nothing.
        std::size_t stop = first.find(". ");
        while (stop != first.npos && first[stop - 1] == '.') {
            stop = first.find(". ", stop + 1);
        }
        const std::size_t end = std::min({stop, first.find(": "), first.find("; ")});
        comment.summary = first.substr(0, end);
        if (comment.summary.ends_with('.')) {
            comment.summary.pop_back();
        }
    }
    return comment;
}

void writeParagraphs(CRoffPage& page, const Lines& paragraphs) {
    for (const std::string& paragraph : paragraphs) {
        if (paragraph.empty()) {
            continue;
        }
        if (paragraph[0] == ' ') {
            page.Lines(std::string_view(paragraph).substr(1));
        } else if (paragraph[0] == '|') {
            const std::size_t end = paragraph.find('|', 1);
            page.Tagged(roffText(paragraph.substr(1, end - 1)), roffText(paragraph.substr(end + 1)));
        } else if (paragraph.rfind("- ", 0) == 0) {
            page.Bullet(roffText(paragraph.substr(2)));
        } else {
            page.Paragraph(roffText(paragraph));
        }
    }
}

/// "int f(int a, void *b);" with all but the parameters' names bold, lines broken between parameters.
std::string prototype(const std::string& declaration) {
    constexpr std::size_t kLongest = 72;
    const std::string text = joined(partsOf(declaration, "\n"));
    const std::size_t open = text.find('(');
    std::string line = text.substr(0, open + 1);
    std::string roff = "\\fB" + roffCode(line);
    const Lines parameters = partsOf(std::string_view(text).substr(open + 1, text.rfind(')') - open - 1), ", ");
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const std::string& parameter = parameters[i];
        const std::string end = i + 1 < parameters.size() ? "," : ");";
        if (line.size() + 1 + parameter.size() + end.size() > kLongest) {
            line = "    ";
            roff += "\n\\fB    ";
        } else if (i > 0) {
            line += " ";
            roff += " ";
        }
        line += parameter + end;
        const std::string name = nameBefore(parameter, parameter.size());
        const std::string type = name == "void" ? name : parameter.substr(0, parameter.size() - name.size());
        roff += roffCode(type) + (name == "void" ? "" : "\\fI" + roffCode(name) + "\\fB") + end;
    }
    return roff + "\\fR";
}

/// A member of a type: its declaration and what is said of it, in front of it or behind.
struct SMember {
    std::string text;
    std::string comment;
};

std::vector<SMember> membersOf(std::string_view body, char end) {
    std::vector<SMember> members;
    std::string front;
    std::string text;
    const auto finish = [&] {
        if (!trimmed(text).empty()) {
            members.push_back({joined(partsOf(text, "\n")), front});
        }
        text.clear();
        front.clear();
    };
    int depth = 0;
    for (std::size_t at = 0; at < body.size();) {
        if (body.substr(at, 2) == "/*") {
            const std::size_t close = body.find("*/", at) + 2;
            const bool isBehind = body.substr(at, 4) == "/**<";
            std::string_view comment = body.substr(at + (isBehind ? 4 : 3), close - at - (isBehind ? 6 : 5));
            const std::string said = joined(partsOf(comment, "\n"));
            at = close;
            if (isBehind) {
                finish(); // the last member has no mark behind it
                members.back().comment = said;
            } else {
                front = said;
            }
            continue;
        }
        depth += body[at] == '(' ? 1 : body[at] == ')' ? -1 : 0;
        if (body[at] == end && depth == 0) {
            finish();
        } else {
            text += body[at];
        }
        ++at;
    }
    finish();
    return members;
}

void writeMembers(CRoffPage& page, const SDeclaration& declaration) {
    const std::size_t open = declaration.text.find('{');
    if (open == declaration.text.npos) {
        return;
    }
    const bool isEnum = declaration.text.rfind("enum", 0) == 0;
    page.Section(isEnum ? "VALUES" : "MEMBERS");
    const std::string_view body =
        std::string_view(declaration.text).substr(open + 1, declaration.text.rfind('}') - open - 1);
    for (const SMember& member : membersOf(body, isEnum ? ',' : ';')) {
        page.Tagged("\\fB" + roffCode(member.text) + "\\fR",
                    member.comment.empty() ? "" : roffText(sentence(member.comment)));
    }
}

/// How a declaration stands in a synopsis: types without what is in them.
std::string synopsisOf(const SDeclaration& declaration) {
    if (declaration.kind == EDeclared::Function) {
        return prototype(declaration.text);
    }
    std::string text = declaration.text;
    if (const std::size_t open = text.find('{'); open != text.npos && text.find('\n') != text.npos) {
        text = text.substr(0, open) + "{ ... " + text.substr(text.rfind('}'));
    }
    return "\\fB" + roffCode(joined(partsOf(text, "\n"))) + "\\fR";
}

std::string shortName(const std::string& header) {
    return header.substr(0, header.find('.'));
}

/// Names in a text that have pages.
void collectNames(std::string_view text, const std::set<std::string>& all, std::set<std::string>& names) {
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && isOfName(text[end])) {
            ++end;
        }
        const std::string name(text.substr(at, end - at));
        if (all.count(name) != 0) {
            names.insert(name);
        }
        at = std::max(end, at + 1);
    }
}

void writeSeeAlso(CRoffPage& page, const std::set<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + ("\\fB" + roffCode(name) + "\\fR(3)");
    }
    page.Section("SEE ALSO");
    page.Paragraph(text);
}

class CHeaderWriter {
public:
    CHeaderWriter(const SHeaderFile& file, SEdition edition)
        : mName(file.name), mHeader(readHeader(file.text)), mEdition(std::move(edition)) {}

    /// Adds the names that have pages.
    void AddNames(std::set<std::string>& names) const {
        names.insert(shortName(mName));
        for (const SEntry& entry : mHeader.entries) {
            for (const SDeclaration& declaration : entry.declarations) {
                names.insert(declaration.name);
            }
        }
    }

    /// names: of all pages; headers: those of them that are about a header.
    std::vector<SManualFile> Files(const std::set<std::string>& names, const std::set<std::string>& headers) {
        mNames = names;
        mHeaders = headers;
        std::vector<SManualFile> files = {Overview()};
        for (const SEntry& entry : mHeader.entries) {
            const std::string& name = entry.declarations.front().name;
            files.push_back({fmt::format("man3/{}.3", name), EntryPage(entry)});
            for (std::size_t i = 1; i < entry.declarations.size(); ++i) {
                files.push_back(
                    {fmt::format("man3/{}.3", entry.declarations[i].name), fmt::format(".so man3/{}.3\n", name)});
            }
        }
        return files;
    }

private:
    CRoffPage Begun(const std::string& title, const std::string& names, const std::string& summary) const {
        CRoffPage page(title, "3", mEdition.date, mEdition.source);
        page.Section("NAME");
        page.Paragraph(roffCode(names) + " \\- " + roffText(summary));
        page.Section("LIBRARY");
        page.Paragraph("libVekTrgApi (\\fB\\-lVekTrgApi\\fR)");
        page.Section("SYNOPSIS");
        page.Prototype("\\fB#include <" + mName + ">\\fR");
        return page;
    }

    static std::string NamesOf(const SEntry& entry) {
        std::string names;
        for (const SDeclaration& declaration : entry.declarations) {
            names += (names.empty() ? "" : ", ") + declaration.name;
        }
        return names;
    }

    static std::string SummaryOf(const SComment& comment) {
        std::string summary = comment.summary;
        // A name keeps its letters.
        const bool isWord = summary.size() > 1 && std::isupper(static_cast<unsigned char>(summary[1])) == 0 &&
                            summary.rfind("GenICam", 0) != 0;
        summary[0] = isWord ? static_cast<char>(std::tolower(static_cast<unsigned char>(summary[0]))) : summary[0];
        return summary;
    }

    SManualFile Overview() const {
        const SComment comment = readComment(mHeader.comment);
        // "VekTrgApi: control and ...": the name stands in front already.
        const std::string& first = comment.paragraphs.front();
        const std::string summary =
            first.substr(first.find(": ") + 2, first.find_first_of(".,") - first.find(": ") - 2);
        CRoffPage page = Begun(shortName(mName), shortName(mName), summary);
        page.Section("DESCRIPTION");
        writeParagraphs(page, comment.paragraphs);
        const std::pair<const char*, std::vector<EDeclared>> sections[] = {
            {"FUNCTIONS", {EDeclared::Function}},
            {"TABLES", {EDeclared::Table}},
            {"TYPES AND CONSTANTS", {EDeclared::Type, EDeclared::Macro}}};
        for (const auto& [title, kinds] : sections) {
            const auto isIn = [&kinds = kinds](const SEntry& entry) {
                return std::find(kinds.begin(), kinds.end(), entry.declarations.front().kind) != kinds.end();
            };
            if (std::none_of(mHeader.entries.begin(), mHeader.entries.end(), isIn)) {
                continue;
            }
            page.Section(title);
            for (const SEntry& entry : mHeader.entries) {
                if (isIn(entry)) {
                    std::string tag;
                    for (const SDeclaration& declaration : entry.declarations) {
                        tag += (tag.empty() ? "" : ", ") + ("\\fB" + roffCode(declaration.name) + "\\fR(3)");
                    }
                    page.Tagged(tag, roffText(readComment(entry.comment).summary + "."));
                }
            }
        }
        std::set<std::string> names;
        for (const std::string& line : mHeader.comment) {
            collectNames(line, mNames, names);
        }
        names.insert(mHeaders.begin(), mHeaders.end());
        names.erase(shortName(mName));
        if (!names.empty()) {
            writeSeeAlso(page, names);
        }
        return {fmt::format("man3/{}.3", shortName(mName)), page.Text()};
    }

    std::string EntryPage(const SEntry& entry) const {
        const SComment comment = readComment(entry.comment);
        CRoffPage page = Begun(entry.declarations.front().name, NamesOf(entry), SummaryOf(comment));
        for (const SDeclaration& declaration : entry.declarations) {
            page.Prototype(synopsisOf(declaration));
        }
        page.Section("DESCRIPTION");
        writeParagraphs(page, comment.paragraphs);
        for (const auto& [names, paragraphs] : comment.parameters) {
            page.Tagged("\\fI" + roffCode(names) + "\\fR", paragraphs.empty() ? "" : roffText(paragraphs.front()));
            for (std::size_t i = 1; i < paragraphs.size(); ++i) {
                page.Continued(roffText(paragraphs[i]));
            }
        }
        for (const SDeclaration& declaration : entry.declarations) {
            writeMembers(page, declaration);
        }
        if (!comment.results.empty()) {
            page.Section("RETURN VALUE");
            writeParagraphs(page, comment.results);
        }
        if (entry.declarations.front().kind == EDeclared::Function && !entry.partComment.empty()) {
            const SComment part = readComment(entry.partComment);
            // A title alone says nothing more.
            if (part.paragraphs.size() > 1 || part.paragraphs.front() != part.summary + ".") {
                page.Section("NOTES");
                writeParagraphs(page, part.paragraphs);
                writeParagraphs(page, part.results);
            }
        }
        std::set<std::string> names = {shortName(mName)};
        for (const std::string& line : entry.comment) {
            collectNames(line, mNames, names);
        }
        for (const SDeclaration& declaration : entry.declarations) {
            collectNames(declaration.text, mNames, names);
        }
        for (const SDeclaration& declaration : entry.declarations) {
            names.erase(declaration.name);
        }
        writeSeeAlso(page, names);
        return page.Text();
    }

    std::string mName;
    SHeader mHeader;
    SEdition mEdition;
    std::set<std::string> mNames;
    std::set<std::string> mHeaders;
};

} // namespace

std::vector<SManualFile> headerPages(const std::vector<SHeaderFile>& headers, const SEdition& edition) {
    std::vector<CHeaderWriter> writers;
    std::set<std::string> names;
    std::set<std::string> overviews;
    writers.reserve(headers.size());
    for (const SHeaderFile& header : headers) {
        overviews.insert(shortName(header.name));
        writers.emplace_back(header, edition).AddNames(names);
    }
    std::vector<SManualFile> files;
    for (CHeaderWriter& writer : writers) {
        const std::vector<SManualFile> own = writer.Files(names, overviews);
        files.insert(files.end(), own.begin(), own.end());
    }
    return files;
}

} // namespace vek::tools
