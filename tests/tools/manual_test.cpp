// SPDX-License-Identifier: Apache-2.0
// What the build makes of the program's options, of docs/vekcam.md and of the headers.
#include "tests/support/Files.h"
#include "tools/manual/Markdown.h"
#include "tools/manual/Pages.h"
#include "tools/manual/Parts.h"
#include "tools/manual/Roff.h"

#include "Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

namespace vek::test {

namespace {

using tools::CRoffPage;
using tools::partsOf;
using tools::roffCode;
using tools::roffText;

const std::string kManual = VEKCAM_MANUAL;

std::string textOf(const std::string& name) {
    const std::vector<std::uint8_t> bytes = readFile(kManual + "/" + name);
    return {bytes.begin(), bytes.end()};
}

std::string pageOf(const Arguments& command) {
    return textOf("man1/vekcam" + (command.empty() ? "" : "-" + command.front()) + ".1");
}

/// What --help lists of a command.
struct SHelpLists {
    Arguments options;
    Arguments commands;
    Arguments exitCodes;
};

SHelpLists helpOf(Arguments command) {
    command.push_back("--help");
    SHelpLists lists;
    bool isCommand = false;
    for (const std::string& line : partsOf(printed(command), "\n")) {
        isCommand = line == "Subcommands:" || (isCommand && !line.empty());
        if (line.rfind("  ", 0) != 0 || line.rfind("   ", 0) == 0) {
            continue;
        }
        const std::string names = line.substr(2, line.find(' ', 2) - 2);
        if (names[0] == '-') {
            for (const std::string& name : partsOf(names, ",")) {
                lists.options.push_back(name);
            }
        } else if (isCommand) {
            lists.commands.push_back(partsOf(names, ",").front());
        }
    }
    return lists;
}

/// The words that bash's completion offers for options of a command.
std::set<std::string> offeredByBash(const std::string& text, const std::string& path) {
    const std::size_t begin = text.find("            '" + path + "') words='");
    EXPECT_NE(begin, text.npos) << path;
    const std::size_t words = text.find("words='", begin) + 7;
    const Arguments all = partsOf(std::string_view(text).substr(words, text.find('\'', words) - words), " ");
    return {all.begin(), all.end()};
}

/// The part of zsh's completion that is about a command.
std::string zshFunction(const std::string& text, std::string path) {
    std::replace(path.begin(), path.end(), '/', '_');
    const std::size_t begin = text.find("\n_vekcam" + path + "() {");
    EXPECT_NE(begin, text.npos) << path;
    return text.substr(begin, text.find("\n}\n", begin) - begin);
}

void checkCommand(const Arguments& command) {
    const SHelpLists help = helpOf(command);
    ASSERT_FALSE(help.options.empty()) << commandLine(command);
    std::string path;
    for (const std::string& word : command) {
        path += "/" + word;
    }
    const std::string page = pageOf(command);
    const std::set<std::string> bash = offeredByBash(textOf("completion/vekcam"), path);
    const std::string zsh = zshFunction(textOf("completion/_vekcam"), path);
    const std::string fish = textOf("completion/vekcam.fish");
    for (const std::string& option : help.options) {
        expectPart(page, "\\fB" + roffCode(option) + "\\fR");
        EXPECT_EQ(bash.count(option), 1U) << path << " " << option;
        const std::string fronts = " '){,*";
        const bool isInZsh =
            std::any_of(fronts.begin(), fronts.end(), [&](char front) { return zsh.find(front + option) != zsh.npos; });
        EXPECT_TRUE(isInZsh) << path << " " << option;
        const bool isLong = option.rfind("--", 0) == 0;
        const std::string name = isLong ? " -l " + option.substr(2) : " -s " + option.substr(1);
        const std::string start = "complete -c vekcam -n '__vekcam_at \"" + path + "\"'";
        const Arguments lines = partsOf(fish, "\n");
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                                [&](const std::string& line) {
                                    return line.rfind(start, 0) == 0 && (line + " ").find(name + " ") != line.npos;
                                }))
            << path << " " << option;
    }
    for (const std::string& sub : help.commands) {
        Arguments below = command;
        below.push_back(sub);
        checkCommand(below);
    }
}

TEST(Manual, HasEveryCommandAndOptionOfTheHelp) {
    checkCommand({});
    const SHelpLists help = helpOf({});
    EXPECT_GE(help.commands.size(), 17U);
    for (const std::string& command : help.commands) {
        expectPart(pageOf({}), "\\fBvekcam\\-" + command + "\\fR(1)");
    }
}

/// Options of a command and of those below it.
std::set<std::string> optionsOf(const Arguments& command) {
    const SHelpLists help = helpOf(command);
    std::set<std::string> options(help.options.begin(), help.options.end());
    for (const std::string& sub : help.commands) {
        Arguments below = command;
        below.push_back(sub);
        options.merge(optionsOf(below));
    }
    return options;
}

TEST(Manual, SynopsesNameOptionsThatExist) {
    std::size_t named = 0;
    for (const std::string& command : helpOf({}).commands) {
        const std::set<std::string> options = optionsOf({command});
        const std::string page = pageOf({command});
        const std::size_t begin = page.find(".SH \"SYNOPSIS\"");
        const std::string synopsis = page.substr(begin, page.find(".SH", begin + 1) - begin);
        const std::string mark = "\\fB\\-";
        for (std::size_t at = synopsis.find(mark); at != synopsis.npos; at = synopsis.find(mark, at + 1)) {
            std::string option = synopsis.substr(at + 3, synopsis.find("\\fR", at) - at - 3);
            option.erase(std::remove(option.begin(), option.end(), '\\'), option.end());
            // Two dashes alone stand in front of another program.
            EXPECT_TRUE(option == "--" || options.count(option) == 1) << command << " " << option;
            ++named;
        }
    }
    EXPECT_GT(named, 200U);
}

TEST(Manual, TellsTheExitCodesOfTheHelp) {
    const std::string page = pageOf({});
    const std::string status = page.substr(page.find(".SH \"EXIT STATUS\""));
    for (int code = 0; code <= 14; ++code) {
        const std::string number = std::to_string(code);
        expectPart(status, ".TP\n" + number + "\n");
        expectPart(printed({"--help"}), " " + number + " ");
    }
    EXPECT_EQ(status.find(".TP\n15\n"), status.npos);
}

TEST(Manual, SaysNothingTwiceOnAPage) {
    for (const auto& file : std::filesystem::directory_iterator(kManual + "/man1")) {
        std::map<std::string, int> entries;
        const std::string page = textOf("man1/" + file.path().filename().string());
        const Arguments parts = partsOf(page, "\n.");
        for (const std::string& part : parts) {
            // A few words may come again, and the names of options that are told of elsewhere.
            if (part.size() > 60 && part.rfind("PP\nAs of ", 0) != 0) {
                EXPECT_EQ(++entries[part], 1) << file.path().filename() << ": " << part;
            }
        }
    }
}

TEST(Manual, HasOrdersThatRoffKnows) {
    const std::set<std::string> known = {".TH", ".ad", ".SH", ".SS", ".PP", ".TP", ".IP", ".SY",
                                         ".YS", ".in", ".EX", ".EE", ".nf", ".fi", ".so"};
    for (const char* const section : {"man1", "man3"}) {
        for (const auto& file : std::filesystem::directory_iterator(kManual + "/" + section)) {
            const std::string name = section + ("/" + file.path().filename().string());
            for (const std::string& line : partsOf(textOf(name), "\n")) {
                EXPECT_EQ(line.rfind('\'', 0), line.npos) << name;
                if (line.rfind('.', 0) == 0) {
                    EXPECT_EQ(known.count(line.substr(0, 3)), 1U) << name << ": " << line;
                }
                for (std::size_t at = line.find('\\'); at != line.npos; at = line.find('\\', at + 2)) {
                    EXPECT_NE(std::string("fe(-&~[%").find(line[at + 1]), std::string::npos) << name << ": " << line;
                }
            }
        }
    }
}

TEST(Manual, HasAPageForEveryFunctionOfTheHeaders) {
    for (const char* const header : {"VekTrgApi", "VekTrgChain"}) {
        const std::vector<std::uint8_t> bytes = readFile(VEKCAM_INCLUDE + std::string("/") + header + ".h");
        const std::string text(bytes.begin(), bytes.end());
        std::size_t functions = 0;
        for (std::string line : partsOf(text, "\n")) {
            const std::size_t open = line.find('(');
            if (line.rfind("VEK_API ", 0) != 0 || open == line.npos) {
                continue;
            }
            ++functions;
            const std::size_t begin = line.find_last_of(" *", open) + 1;
            const std::string name = line.substr(begin, open - begin);
            std::string page = textOf("man3/" + name + ".3");
            if (page.rfind(".so ", 0) == 0) {
                page = textOf(page.substr(4, page.size() - 5));
            }
            for (const std::string& part : {name + "(", "#include <" + std::string(header) + ".h>"}) {
                expectPart(page, roffCode(part));
            }
            for (const char* const title : {"NAME", "SYNOPSIS", "DESCRIPTION", "SEE ALSO"}) {
                expectPart(page, std::string(".SH \"") + title + "\"\n");
            }
            EXPECT_EQ(page.find("\\-\n.SH"), page.npos) << name << ": no summary";
        }
        EXPECT_GE(functions, 11U) << header;
    }
}

TEST(Roff, WritesLettersThatItWouldTakeForOrders) {
    EXPECT_EQ(roffCode("a\\b -c 'd' `e` ~^"), "a\\eb \\-c \\(aqd\\(aq \\(gae\\(ga \\(ti\\(ha");
    EXPECT_EQ(roffText("\xC2\xB5 \xE2\x82\xAC"), "\\[u00B5] \\[u20AC]");
    CRoffPage page("a-b", "1", "2026-05-03", "Product 1");
    page.Section("NAME");
    page.Paragraph(roffText(".first 'second"));
    page.Paragraph(roffText("'quoted"));
    page.Lines(".in a file\n\\n");
    EXPECT_EQ(page.Text(), ".TH \"A\\-B\" 1 \"2026-05-03\" \"Product 1\"\n.ad l\n.SH \"NAME\"\n"
                           "\\&.first 'second\n.PP\n\\&'quoted\n.PP\n.in +4n\n.EX\n\\&.in a file\n\\en\n.EE\n.in\n");
}

TEST(Roff, NoBrokenLineBeginsAsAnOrder) {
    CRoffPage page("a", "1", "", "");
    page.Paragraph(std::string(77, 'x') + " .png");
    expectPart(page.Text(), "x\n\\&.png\n");
    CRoffPage sentences("a", "1", "", "");
    sentences.Paragraph("One. Two e.g. three.");
    expectPart(sentences.Text(), ".PP\nOne.\nTwo e.g. three.\n");
}

TEST(Roff, MarksOptionsCodeAndFunctions) {
    EXPECT_EQ(roffText("with --dry-run, -n or (-o), by `-x y`"),
              "with \\fB\\-\\-dry\\-run\\fR, \\fB\\-n\\fR or (\\fB\\-o\\fR), by \\fB\\-x y\\fR");
    EXPECT_EQ(roffText("8-bit, a - b, -8 to 8, -wide"), "8-bit, a \\- b, \\-8 to 8, \\-wide");
    EXPECT_EQ(roffText("[this](other.md#there), [that](#here) and [0]"), "this (other.md), that and [0]");
    EXPECT_EQ(roffText("VekCam_Open, not MyVekCam_Open"), "\\fBVekCam_Open\\fR, not MyVekCam_Open");
}

TEST(Markdown, ReadsWhatThePagesUse) {
    const auto blocks =
        tools::readMarkdown("# Title\n\ntext\ngoes on\n\n* one\n  more\n* two\n\n| a | b |\n| --- | --- |\n"
                            "| `x\\|y` | 2 |\n\n```sh\n# no title\n\nrun\n```\n");
    using EKind = tools::SBlock::EKind;
    ASSERT_EQ(blocks.size(), 6U);
    EXPECT_EQ(blocks[0].kind, EKind::Heading);
    EXPECT_EQ(blocks[0].text, "Title");
    EXPECT_EQ(blocks[1].text, "text goes on");
    EXPECT_EQ(blocks[2].kind, EKind::Item);
    EXPECT_EQ(blocks[2].text, "one more");
    EXPECT_EQ(blocks[4].kind, EKind::Table);
    EXPECT_EQ(blocks[4].rows, (std::vector<std::vector<std::string>>{{"a", "b"}, {"`x|y`", "2"}}));
    EXPECT_EQ(blocks[5].info, "sh");
    EXPECT_EQ(blocks[5].text, "# no title\n\nrun\n");
}

TEST(HeaderPages, TakeCommentsApart) {
    const char* const header = R"(/* SPDX-License-Identifier: Apache-2.0 */
#ifndef A_H
#define A_H

/**
 * A: what it is.
 *
 * Rules:
 *  - One that is
 *    long.
 *
 *  what   how
 *  -----  ----------
 *  first  well
 *         enough
 *
 *     a(1);
 */

#ifdef __cplusplus
extern "C" {
#endif

/** Kinds. */
enum EKind {
    KIND_A = 1, /**< the first */
    KIND_B      /**< the last */
};

/*
 * Part one. Nothing is kept.
 */

/**
 * Sets a value. It stays.
 *  value, other: 0 .. 9,
 *      in steps.
 * Returns 0; -1 for others.
 */
VEK_API int SetA(int value, const enum EKind *other);
VEK_API int GetA(void);
#endif
)";
    const auto files = tools::headerPages(
        {{"A.h", header}, {"B.h", "/**\n * B: more.\n */\n\n/** Sees SetA. */\nVEK_API void B1(void);\n"}},
        {"2026-05-03", "Product 1"});
    std::map<std::string, std::string> pages;
    for (const tools::SManualFile& file : files) {
        pages[file.name] = file.text;
    }
    ASSERT_EQ(pages.size(), 6U);
    EXPECT_EQ(pages["man3/GetA.3"], ".so man3/SetA.3\n");
    const std::string& page = pages["man3/SetA.3"];
    expectPart(page, "SetA, GetA \\- sets a value\n");
    expectPart(page, "\\fBint SetA(int \\fIvalue\\fB, const enum EKind *\\fIother\\fB);\\fR\n");
    expectPart(page, "\\fBint GetA(void);\\fR\n");
    expectPart(page, ".SH \"DESCRIPTION\"\nSets a value.\nIt stays.\n.TP\n\\fIvalue, other\\fR\n0 .. 9, in steps.\n");
    expectPart(page, ".SH \"RETURN VALUE\"\nReturns 0; \\-1 for others.\n");
    expectPart(page, ".SH \"NOTES\"\nPart one.\nNothing is kept.\n");
    expectPart(page, ".SH \"SEE ALSO\"\n\\%\\fBA\\fR(3), \\%\\fBEKind\\fR(3)\n");
    expectPart(pages["man3/EKind.3"],
               ".SH \"VALUES\"\n.TP\n\\fBKIND_A = 1\\fR\nthe first.\n.TP\n\\fBKIND_B\\fR\nthe last.\n");
    const std::string& overview = pages["man3/A.3"];
    expectPart(overview, "A \\- what it is\n");
    expectPart(overview, ".IP \\(bu 2\nOne that is long.\n");
    expectPart(overview, ".TP\nfirst\nhow: well enough.\n");
    expectPart(overview, ".EX\na(1);\n");
    expectPart(pages["man3/B1.3"], ".SH \"SEE ALSO\"\n\\%\\fBB\\fR(3), \\%\\fBSetA\\fR(3)\n");
    expectPart(overview, ".SH \"SEE ALSO\"\n\\%\\fBB\\fR(3)\n");
    expectPart(overview, "\\fBSetA\\fR(3), \\fBGetA\\fR(3)\nSets a value.\n");
}

} // namespace

} // namespace vek::test
