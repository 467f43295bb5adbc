// SPDX-License-Identifier: Apache-2.0
#include "imageproc/AveragePixel/AverageModel.h"

#include <algorithm>

namespace vek::test {

namespace {

unsigned long cutEnd(unsigned long start, unsigned long length, unsigned long size) {
    return length > size || start > size - length ? size : start + length;
}

std::uint64_t rowBytes(const SAverageCall& call) {
    const unsigned bits = packedBits(call.transferFormat);
    if (bits != 0) {
        return call.pitch != 0 ? call.pitch : (call.width * bits + 7) / 8;
    }
    return (call.pitch != 0 ? call.pitch : call.width) * (call.transferFormat == 0 ? 1 : 2);
}

/// Pixel number column of a row, bit by bit.
unsigned packedPixel(const std::uint8_t* row, std::uint64_t column, unsigned bits) {
    unsigned value = 0;
    for (unsigned i = 0; i < bits; ++i) {
        const std::uint64_t bit = column * bits + i;
        value |= ((row[bit / 8] >> (bit % 8)) & 1U) << i;
    }
    return value;
}

} // namespace

unsigned packedBits(unsigned long transferFormat) {
    return transferFormat == 2 ? 10 : transferFormat == 4 ? 12 : 0;
}

SReach modelReach(const SAverageCall& call) {
    const unsigned long xEnd = cutEnd(call.x, call.w, call.width);
    const unsigned long yEnd = cutEnd(call.y, call.h, call.height);
    if (call.x >= xEnd || call.y >= yEnd) {
        return {0, 0};
    }
    const unsigned bits = packedBits(call.transferFormat);
    const std::uint64_t row = rowBytes(call);
    const std::uint64_t sample = call.transferFormat == 0 ? 1 : 2;
    const std::uint64_t left = bits != 0 ? 0 : call.x * sample;
    const std::uint64_t right = bits != 0 ? ((xEnd - call.x) * bits + 7) / 8 : xEnd * sample;
    return {call.y * row + left, (yEnd - 1) * row + right};
}

std::array<float, 4> modelAverage(const SAverageCall& call, const std::uint8_t* src) {
    const unsigned long xEnd = cutEnd(call.x, call.w, call.width);
    const unsigned long yEnd = cutEnd(call.y, call.h, call.height);
    const unsigned bits = packedBits(call.transferFormat);
    std::uint64_t sums[4] = {};
    std::uint64_t counts[4] = {};
    if (call.x < xEnd) {
        for (unsigned long r = call.y; r < yEnd; ++r) {
            const std::uint8_t* const row = src + r * rowBytes(call);
            for (unsigned long c = call.x; c < xEnd; ++c) {
                std::uint64_t value = 0;
                if (bits != 0) {
                    value = packedPixel(row, c - call.x, bits);
                } else if (call.transferFormat == 0) {
                    value = row[c];
                } else {
                    value = row[2 * c] + 256U * row[2 * c + 1];
                }
                sums[2 * (r % 2) + c % 2] += value;
                counts[2 * (r % 2) + c % 2] += 1;
            }
        }
    }
    if (call.colorMode == 1) {
        for (int k = 1; k < 4; ++k) {
            sums[0] += sums[k];
            counts[0] += counts[k];
            sums[k] = counts[k] = 0;
        }
    }
    std::array<float, 4> average{};
    for (std::size_t k = 0; k < 4; ++k) {
        average[k] = counts[k] == 0 ? 0.0F : static_cast<float>(sums[k]) / static_cast<float>(counts[k]);
    }
    return average;
}

std::string describe(const SAverageCall& c) {
    return "format " + std::to_string(c.transferFormat) + " mode " + std::to_string(c.colorMode) + ", " +
           std::to_string(c.width) + " x " + std::to_string(c.height) + " pitch " + std::to_string(c.pitch) +
           ", region " + std::to_string(c.x) + " " + std::to_string(c.y) + " " + std::to_string(c.w) + " " +
           std::to_string(c.h);
}

std::string describe(const float* means) {
    return std::to_string(means[0]) + ' ' + std::to_string(means[1]) + ' ' + std::to_string(means[2]) + ' ' +
           std::to_string(means[3]);
}

} // namespace vek::test
