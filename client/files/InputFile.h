// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vek::client {

/// Reads a file as it is; "-" is standard input. most: bytes that a file of this kind can have a use for; kind: its
/// name in words, "setting file". Throws CFailure, also for more bytes than that.
std::string readWholeFile(const std::string& path, std::size_t most, std::string_view kind);

/// Throws CFailure where a file cannot be opened to be read; "-" is standard input.
void requireReadable(const std::string& path);

/// Whether a path leads to a regular file.
bool isRegularFile(const std::string& path);
/// The name of a file without folder and ending; of "-" "stdin".
std::string stemOf(const std::string& path);

} // namespace vek::client
