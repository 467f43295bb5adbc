// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

using SampleTypes = ::testing::Types<std::uint8_t, std::uint16_t>;

constexpr Flush kFlushes[] = {Flush::Left, Flush::Right};

constexpr const char* sideName(Flush flush) {
    return flush == Flush::Left ? "left" : "right";
}

/// No image of samples of type T.
template <class T>
constexpr T* kNoImage = nullptr;

/// Of two functions, one for bytes and one for words, that for samples of type T.
template <class T, class Bytes, class Words>
constexpr auto bySample(Bytes bytes, Words words) {
    if constexpr (sizeof(T) == 1) {
        return bytes;
    } else {
        return words;
    }
}

} // namespace vek::test
