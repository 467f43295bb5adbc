// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"

#include <VekTrgApi.h>

#include <fmt/format.h>

#include <system_error>

namespace vek::client {

std::string CMisfit::Text(const std::function<std::string(std::string_view)>& nameOf) const {
    std::string text;
    std::string_view rest = what();
    for (;;) {
        const std::size_t open = rest.find('<');
        const std::size_t close = rest.find('>', open);
        if (open == std::string_view::npos || close == std::string_view::npos) {
            return text += rest;
        }
        text += rest.substr(0, open);
        text += nameOf(rest.substr(open + 1, close - open - 1));
        rest.remove_prefix(close + 1);
    }
}

std::string systemMessage(int error) {
    return std::generic_category().message(error);
}

void requireOk(int status, std::string_view what) {
    if (status != VEK_OK) {
        throw CFailure(fmt::format("the library refused the {}: {}", what, status));
    }
}

} // namespace vek::client
