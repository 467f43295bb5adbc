// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

namespace vek::test {

/// Images, tables and files as tests write them down.
using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;

} // namespace vek::test
