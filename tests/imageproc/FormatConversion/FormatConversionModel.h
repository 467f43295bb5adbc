// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace vek::test {

/// One conversion of a frame to bytes, the buffers aside.
struct SConversion {
    unsigned long width = 0;     ///< pixels
    unsigned long height = 0;    ///< rows
    unsigned long srcPitch = 0;  ///< samples, of packed data bytes; 0: rows without padding
    unsigned long outFormat = 1; ///< 1, 4 or 8
};

/// Source samples of a transfer format.
enum class Element { Bytes, Words, Packed10, Packed12, None };
Element modelElement(unsigned long transferFormat);
/// Low bits of a source sample that are dropped.
int modelShift(unsigned long transferFormat);
/// 1, 3 or 4; 0 for other output formats.
unsigned long modelPixelBytes(unsigned long outFormat);

/// Bytes from the start of the source to the end of the last sample that is read.
std::size_t modelSourceBytes(const SConversion& call, Element element);
/// Bytes from row to row of the output where none are asked for.
unsigned long modelOutputPitch(const SConversion& call, Element element);
/// Bytes from the start of the output to the end of its last pixel, a fourth byte included.
std::size_t modelOutputBytes(const SConversion& call, Element element, unsigned long dstPitch);

/// Naive conversions, a pixel at a time. dstPitch may be null, else it is used or set as the element's rule says.
/// Src: bytes or words. A shift below 0 is to the left.
template <class Src>
void modelBitShift(const SConversion& call, const Src* src, unsigned long* dstPitch, std::uint8_t* dst, long shift);
extern template void modelBitShift(const SConversion&, const std::uint8_t*, unsigned long*, std::uint8_t*, long);
extern template void modelBitShift(const SConversion&, const std::uint16_t*, unsigned long*, std::uint8_t*, long);

/// The upper 8 of srcBits.
void modelUnpack(const SConversion& call, const std::uint8_t* src, unsigned long* dstPitch, std::uint8_t* dst,
                 unsigned srcBits);

/// False, and nothing touched, where the transfer format or the output format is refused.
bool modelConvGray(const SConversion& call, unsigned long transferFormat, const std::uint8_t* src,
                   unsigned long* dstPitch, std::uint8_t* dst);

/// Transfer formats 10 (bytes) and 11 (8 bytes a pixel); others do nothing.
void modelConvBgr(const SConversion& call, unsigned long transferFormat, const std::uint8_t* src, std::uint8_t* dst);
std::size_t modelBgrSourceBytes(const SConversion& call, unsigned long transferFormat);

} // namespace vek::test
