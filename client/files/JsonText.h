// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace vek::client {

/// A JSON value as a text of several lines. Strings may hold any bytes, as paths do: what is no UTF-8 is replaced.
inline std::string jsonText(const nlohmann::ordered_json& json) {
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace vek::client
