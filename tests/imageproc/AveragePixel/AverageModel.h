// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vek::test {

/// One measurement, the buffer aside.
struct SAverageCall {
    unsigned long width = 0; ///< pixels
    unsigned long height = 0;
    unsigned long pitch = 0; ///< samples, for packed data bytes
    unsigned short colorMode = 0;
    unsigned long transferFormat = 0;
    unsigned long x = 0;
    unsigned long y = 0;
    unsigned long w = 0;
    unsigned long h = 0;
};

/// 10 or 12 for packed data, else 0.
unsigned packedBits(unsigned long transferFormat);

/// Bytes that the measurement may read, as offsets from the image's start: first, and the one behind the last.
/// Equal for an empty region.
struct SReach {
    std::uint64_t first;
    std::uint64_t end;
};
SReach modelReach(const SAverageCall& call);

/// The four means of a good call, one pixel after the other.
std::array<float, 4> modelAverage(const SAverageCall& call, const std::uint8_t* src);

std::string describe(const SAverageCall& call);
std::string describe(const float* means);

} // namespace vek::test
