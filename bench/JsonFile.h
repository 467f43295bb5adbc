// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Runner.h"

#include <string>
#include <vector>

namespace vek::bench {

/// Writes what was measured, and on what: version, date, processor, caches, compiler, peers. A row for each operation,
/// depth and size holds ns per pixel by tier and content, and by peer. Throws std::runtime_error when the file cannot
/// be written.
void writeJson(const std::string& path, const std::vector<SMeasurement>& measurements,
               const std::vector<std::string>& peers);

} // namespace vek::bench
