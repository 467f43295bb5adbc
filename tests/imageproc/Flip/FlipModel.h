// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace vek::test {

/// The one of eight transforms that a mirror and a rotation code mean: 0 none, 1 horizontal, 2 vertical, 3 both, 4
/// clockwise, 5 counter-clockwise, 6 and 7 the same after a horizontal mirror; codes above 7 do nothing either.
unsigned modelFlipTransform(unsigned mirror, unsigned rotation);

/// Bayer phase of the result.
unsigned short modelFlipColorArray(unsigned transform, unsigned short colorArray);

/// What a call with these samples a pixel gives, and whether it exchanges width and height.
unsigned long modelFlipStatus(unsigned transform, unsigned samples);
bool modelFlipTurns(unsigned transform);

/// Samples of the destination from its start to the end of the last one that is written, for another buffer than the
/// source.
std::size_t modelFlipReach(unsigned transform, std::size_t width, std::size_t height, unsigned samples);

/// Moves every pixel of src to its place in dst; the same buffer is allowed. width and height are the source's.
template <class T>
void modelFlip(unsigned transform, std::size_t width, std::size_t height, unsigned samples, const T* src, T* dst);

extern template void modelFlip(unsigned, std::size_t, std::size_t, unsigned, const std::uint8_t*, std::uint8_t*);
extern template void modelFlip(unsigned, std::size_t, std::size_t, unsigned, const std::uint16_t*, std::uint16_t*);

} // namespace vek::test
