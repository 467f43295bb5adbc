// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vek::client {

/// Whole numbers of bytes bytes, 1 to 8, the lowest byte first.
inline void putLittle(std::uint8_t* to, std::uint64_t value, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i) {
        to[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

inline std::uint64_t getLittle(const std::uint8_t* from, std::size_t bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        value |= std::uint64_t{from[i]} << (8 * i);
    }
    return value;
}

inline void appendLittle(std::vector<std::uint8_t>& to, std::uint64_t value, std::size_t bytes) {
    to.resize(to.size() + bytes);
    putLittle(to.data() + to.size() - bytes, value, bytes);
}

/// The highest byte first.
inline void appendBig(std::vector<std::uint8_t>& to, std::uint64_t value, std::size_t bytes) {
    for (std::size_t i = bytes; i-- > 0;) {
        to.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

} // namespace vek::client
