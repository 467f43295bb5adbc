// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

constexpr unsigned long kNoiseOff = 0;
constexpr unsigned long kNoiseEasy = 1;
constexpr unsigned long kNoiseComplex = 2;
constexpr unsigned long kNoiseStore = 0x80000000UL;

/// One call of the noise reduction, the image aside.
struct SNoiseCall {
    unsigned long width = 0; ///< pixels
    unsigned long height = 0;
    unsigned long pitch = 0; ///< bytes; 0: derived
    unsigned short colorArray = 0;
    unsigned short bits = 0;
    unsigned long mode = 0;
};

/// What a module holds: the dark frame as bytes, with the padding between its rows and 0 behind the last one, and the
/// call that stored it.
struct SNoiseModel {
    bool held = false;
    std::vector<std::uint8_t> bytes;
    unsigned long width = 0;
    unsigned long height = 0;
    unsigned long pitch = 0;
    unsigned short colorArray = 0;
};

/// Bytes from row to row, which the depth decides where they are derived.
unsigned long modelPitch(const SNoiseCall& call, std::size_t sampleBytes = 0);
/// Bytes from the image's start to the end of its last row.
std::size_t modelExtent(const SNoiseCall& call, std::size_t sampleBytes);
/// The median of values in any order; the mean of the two in the middle, its half cut off, of an even number.
std::uint16_t modelMedian(std::vector<std::uint16_t> values);
/// Subtracted samples below this one are repaired where the live ones were not; depths up to 31 bits.
std::uint32_t modelSaturation(unsigned bits, std::size_t sampleBytes);
/// image may be null. Images whose copies need 2^63 bytes and more are without memory.
template <class T>
unsigned long modelNoiseReduction(SNoiseModel* model, const SNoiseCall& call, T* image);

extern template unsigned long modelNoiseReduction(SNoiseModel*, const SNoiseCall&, std::uint8_t*);
extern template unsigned long modelNoiseReduction(SNoiseModel*, const SNoiseCall&, std::uint16_t*);

} // namespace vek::test
