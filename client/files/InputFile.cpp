// SPDX-License-Identifier: Apache-2.0
#include "client/files/InputFile.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace vek::client {

std::string readWholeFile(const std::string& path, std::size_t most, std::string_view kind) {
    const FilePointer file(path == "-" ? stdin : std::fopen(path.c_str(), "re"));
    if (file == nullptr) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    // Memory grows with what really comes, and stops one byte behind the most.
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    std::string text;
    std::size_t got = 0;
    do {
        const std::size_t piece = std::min(kPiece, most + 1 - text.size());
        const std::size_t before = text.size();
        text.resize(before + piece);
        got = std::fread(text.data() + before, 1, piece, file.get());
        text.resize(before + got);
    } while (got > 0 && text.size() <= most);
    if (std::ferror(file.get()) != 0) {
        throw CFailure(fmt::format("{}: cannot read: {}", path, systemMessage(errno)));
    }
    if (text.size() > most) {
        throw CFailure(fmt::format("{}: more than {} bytes: no {}", path, most, kind));
    }
    return text;
}

void requireReadable(const std::string& path) {
    if (path != "-" && access(path.c_str(), R_OK) != 0) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
}

bool isRegularFile(const std::string& path) {
    std::error_code none;
    return std::filesystem::is_regular_file(path, none);
}

std::string stemOf(const std::string& path) {
    return path == "-" ? "stdin" : std::filesystem::path(path).stem().string();
}

} // namespace vek::client
