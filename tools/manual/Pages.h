// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/manual/CommandTree.h"

#include <string>
#include <string_view>
#include <vector>

namespace vek::tools {

/// A file that the manual consists of.
struct SManualFile {
    std::string name; ///< as man1/vekcam.1
    std::string text;
};

/// What all pages say of themselves.
struct SEdition {
    std::string date;   ///< as 2026-05-03
    std::string source; ///< as VekCam 2.0.0
};

/// Pages of section 1: of the program and of each of its commands. description: the page in docs/ that describes it, in
/// Markdown. Its block "text synopsis" tells how the commands are called; a part under a title of the second level
/// belongs to the command of its first example, or to the program where it has none, and is left out where its example
/// is not one of the program. Tables of options are left out, too: the options themselves tell that. Throws
/// std::runtime_error where a command is missing in the synopsis.
std::vector<SManualFile> commandPages(const SCommand& program, std::string_view description, const SEdition& edition);

struct SHeaderFile {
    std::string name; ///< as VekTrgApi.h
    std::string text;
};

/// Pages of section 3: of each header, and of everything that it documents; what shares a comment shares a page, which
/// has all its names.
std::vector<SManualFile> headerPages(const std::vector<SHeaderFile>& headers, const SEdition& edition);

} // namespace vek::tools
