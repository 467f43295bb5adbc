// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Errors.h"

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace vek::client {

/// A JSON value as a text of several lines. Strings may hold any bytes, as paths do: what is no UTF-8 is replaced.
inline std::string jsonText(const nlohmann::ordered_json& json) {
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

/// The same on one line.
inline std::string jsonLine(const nlohmann::ordered_json& json) {
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

/// A JSON text as a value; members stay in their order. Throws CFailure, which tells line and column, and names no
/// file, for another text, for a name that one object has twice, and where values are nested beyond all use.
nlohmann::ordered_json parsedJson(std::string_view text);

} // namespace vek::client
