// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace vek::tools {

/// Lines of a name and a value each.
class CColumns {
public:
    /// nameWidth: characters of the first column.
    explicit CColumns(std::size_t nameWidth) : mNameWidth(nameWidth) {}

    void Add(std::string_view name, std::string_view value) {
        mText += fmt::format("{:<{}}{}\n", name, mNameWidth, value);
    }
    const std::string& Text() const { return mText; }

private:
    std::size_t mNameWidth;
    std::string mText;
};

} // namespace vek::tools
