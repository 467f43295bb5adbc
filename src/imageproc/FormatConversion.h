// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/rows/RowTable.h"

namespace vek {

// Transferred images to bytes. Output formats are VEK_DESTINATION_MONO8, BGR24 and BGRX32; the fourth byte of a pixel
// is left as it was. Buffers are not null where there are pixels.

/// Samples shifted right (shift above 0) or left (below 0, modulo 32), of which the low 8 bits are kept, in every
/// channel. srcPitch: samples from row to row, 0: width. dstPitch: may be null; a number there is the output's pitch in
/// bytes, 0 receives the one that is used: the bytes of a row rounded up to a multiple of 4.
template <class Src, class Dst>
void ImageBitShift(const rows::SRowTable& rows, unsigned long width, unsigned long height, unsigned long srcPitch,
                   const Src* src, unsigned long* dstPitch, unsigned long outFormat, Dst* dst, long shift);
extern template void ImageBitShift(const rows::SRowTable&, unsigned long, unsigned long, unsigned long,
                                   const unsigned char*, unsigned long*, unsigned long, unsigned char*, long);
extern template void ImageBitShift(const rows::SRowTable&, unsigned long, unsigned long, unsigned long,
                                   const unsigned short*, unsigned long*, unsigned long, unsigned char*, long);

/// The upper dstBits of packed pixels of srcBits (10 or 12), a byte each, whatever outFormat is. srcPitch: bytes from
/// row to row, 0: rows without padding. Output rows are width bytes; dstPitch: may be null, else it receives width.
void ImageUnpackAndBitShift(const rows::SRowTable& rows, unsigned long width, unsigned long height,
                            unsigned long srcPitch, const unsigned char* src, unsigned long* dstPitch,
                            unsigned long outFormat, unsigned char* dst, long srcBits, long dstBits);

/// Raw and mono transfer formats, packed ones included. False, and nothing touched, for other formats of either side.
bool ConvGrayToBGRImage(const rows::SRowTable& rows, unsigned long width, unsigned long height, unsigned long srcPitch,
                        unsigned long transferFormat, const void* src, unsigned long* dstPitch, unsigned long outFormat,
                        unsigned char* dst);

/// VEK_TRANSFER_BGR8 and VEK_TRANSFER_BGR10 (8 bytes a pixel), rows without padding on either side.
void ConvBGRToBGR(unsigned long width, unsigned long height, unsigned long transferFormat, const void* src,
                  unsigned long outFormat, unsigned char* dst);

} // namespace vek
