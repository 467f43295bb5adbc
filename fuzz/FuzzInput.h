// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vek::fuzz {

/// Reads settings and samples off a fuzzer's input; zeros once it has run out.
class CFuzzInput {
public:
    CFuzzInput(const std::uint8_t* data, std::size_t size) : mData(data), mSize(size) {}

    template <class T>
    T Take() {
        T value{};
        Fill(&value, sizeof value);
        return value;
    }
    /// 0 .. bound-1.
    std::size_t Below(std::size_t bound) { return Take<std::uint16_t>() % bound; }

    void Fill(void* to, std::size_t bytes) {
        const std::size_t given = std::min(bytes, mSize);
        if (given != 0) {
            std::memcpy(to, mData, given);
        }
        if (bytes != given) {
            std::memset(static_cast<std::uint8_t*>(to) + given, 0, bytes - given);
        }
        mData += given;
        mSize -= given;
    }

private:
    const std::uint8_t* mData;
    std::size_t mSize;
};

} // namespace vek::fuzz
