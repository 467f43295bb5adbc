// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vek::tools {

/// Writes a text file; "-" is standard output. Throws CFailure.
void writeText(const std::string& path, const std::string& text);

} // namespace vek::tools
