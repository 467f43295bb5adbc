// SPDX-License-Identifier: Apache-2.0
#include "client/files/JsonText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <vector>

namespace vek::client {

nlohmann::ordered_json parsedJson(std::string_view text) {
    using Event = nlohmann::ordered_json::parse_event_t;
    constexpr std::size_t kDeepest = 64; // functions that walk through a value call themselves
    std::vector<std::set<std::string>> names;
    const auto watch = [&](int, Event event, nlohmann::ordered_json& value) {
        if (event == Event::object_start || event == Event::array_start) {
            names.emplace_back();
        } else if (event == Event::object_end || event == Event::array_end) {
            names.pop_back();
        } else if (event == Event::key && !names.back().insert(value.get<std::string>()).second) {
            throw CFailure(fmt::format("\"{}\" stands there twice", value.get<std::string>()));
        }
        if (names.size() > kDeepest) {
            throw CFailure(fmt::format("lists and objects are nested more than {} deep", kDeepest));
        }
        return true;
    };
    try {
        return nlohmann::ordered_json::parse(text, watch);
    } catch (const nlohmann::json::parse_error& error) {
        // Counted from 1, the one behind the last where the text breaks off.
        const std::string_view before = text.substr(0, std::max<std::size_t>(error.byte, 1) - 1);
        const auto line = std::count(before.begin(), before.end(), '\n') + 1;
        const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1; // npos + 1 is 0
        throw CFailure(fmt::format("line {}, column {}: {}", line, column,
                                   error.byte > text.size() ? "the file breaks off" : "this is no JSON"));
    } catch (const nlohmann::json::exception&) {
        throw CFailure("a number in it is too large");
    }
}

} // namespace vek::client
