// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vek::tools {

/// A text as roff prints it letter by letter, hyphens as the minus signs that they are in options and names.
std::string roffCode(std::string_view text);

/// Running text with the marks of Markdown: `code` and what looks like an option become bold, [text](target) text.
std::string roffText(std::string_view text);

/// Manual page, in the macros that every reader of manual pages knows.
class CRoffPage {
public:
    /// title: as vekcam-convert; section: as 1; date: as 2026-05-03; source: as VekCam 2.0.0.
    CRoffPage(std::string_view title, std::string_view section, std::string_view date, std::string_view source);

    void Section(std::string_view title);
    void Subsection(std::string_view title);
    /// Text below is roff, of roffCode and roffText, in one line or several.
    void Paragraph(std::string_view text);
    /// A paragraph with its tag in front of it, as options have it.
    void Tagged(std::string_view tag, std::string_view text);
    /// One more paragraph of the entry that Tagged began.
    void Continued(std::string_view text);
    void Bullet(std::string_view text);
    /// Lines as they are. Plain text, no roff.
    void Lines(std::string_view text);
    /// How something is called: what stands in front keeps its place beside further lines of the rest.
    void Usage(std::string_view front, std::string_view rest);
    /// Lines of roff, each on a line of its own.
    void Prototype(std::string_view text);

    const std::string& Text() const { return mText; }

private:
    void Flow(std::string_view text);

    std::string mText;
    bool mHeaded = false; ///< a title came last: no space in front of the first paragraph
};

} // namespace vek::tools
