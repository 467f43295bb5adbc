// SPDX-License-Identifier: Apache-2.0
#include "Errors.h"

#include <system_error>

namespace vek::tools {

std::string oneLine(std::string_view text) {
    std::string line(text);
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) {
        line.pop_back();
    }
    for (char& c : line) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\t') {
            c = ' ';
        } else if (byte < 0x20 || byte == 0x7F) {
            c = '?';
        }
    }
    return line;
}

std::string systemMessage(int error) {
    return std::generic_category().message(error);
}

} // namespace vek::tools
