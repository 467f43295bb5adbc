// SPDX-License-Identifier: Apache-2.0
#include "TextOutput.h"

#include "Errors.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>

namespace vek::tools {

void writeText(const std::string& path, const std::string& text) {
    if (path == "-") {
        std::fputs(text.c_str(), stdout);
        return;
    }
    writeBytes(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

void writeBytes(const std::string& path, std::span<const std::uint8_t> bytes) {
    std::FILE* const file = std::fopen(path.c_str(), "we");
    if (file == nullptr) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const int writeError = errno;
    if (const bool closed = std::fclose(file) == 0; !written || !closed) {
        throw CFailure(fmt::format("{}: cannot write: {}", path, systemMessage(written ? errno : writeError)));
    }
}

} // namespace vek::tools
