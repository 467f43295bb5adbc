// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

/// The pixels as one bit stream, the least significant bit first.
inline std::vector<std::uint8_t> packStream(const std::vector<std::uint16_t>& pixels, unsigned bits) {
    std::vector<std::uint8_t> bytes((pixels.size() * bits + 7) / 8);
    for (std::size_t i = 0; i < pixels.size() * bits; ++i) {
        if ((pixels[i / bits] >> (i % bits) & 1) != 0) {
            bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] | 1U << (i % 8));
        }
    }
    return bytes;
}

} // namespace vek::test
