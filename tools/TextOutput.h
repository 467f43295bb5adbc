// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vek::tools {

/// Writes a text file; "-" is standard output. Throws CFailure.
void writeText(const std::string& path, const std::string& text);

/// Writes a file of bytes. Throws CFailure.
void writeBytes(const std::string& path, std::span<const std::uint8_t> bytes);

} // namespace vek::tools
