// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/TransferFormats.h"
#include "imageproc/Band.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

// Transferred images to bytes. Output formats are VEK_DESTINATION_MONO8, BGR24 and BGRX32; the fourth byte of a pixel
// is left as it was. Buffers are not null where there are pixels.

/// Conversion of one layout as a stage. Its images are of bytes on both sides, words are pairs of them.
struct SFormatConversionStage {
    ELayout layout = ELayout::Bytes; ///< all but YCrCb
    unsigned depth = 8;              ///< bits of a packed sample, 10 or 12, or of a blue-green-red one, 8 or 10
    int shift = 0;                   ///< to the right, -31 .. 31, at least 0 for packed ones; not of blue-green-red
    unsigned pixelBytes = 1;         ///< of the destination: 1, 3 or 4; 1 for packed ones

    STraits Traits(const SFrame& frame) const;
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<unsigned char>& band) const;
};

/// Samples shifted right (shift above 0) or left (below 0, modulo 32), of which the low 8 bits are kept, in every
/// channel. srcPitch: samples from row to row, 0: width. dstPitch: may be null; a number there is the output's pitch in
/// bytes, 0 receives the one that is used: the bytes of a row rounded up to a multiple of 4.
template <class Src>
void imageBitShift(const rows::SRowTable& kernels, unsigned long width, unsigned long height, unsigned long srcPitch,
                   const Src* src, unsigned long* dstPitch, unsigned long outFormat, unsigned char* dst, long shift);
extern template void imageBitShift(const rows::SRowTable&, unsigned long, unsigned long, unsigned long,
                                   const unsigned char*, unsigned long*, unsigned long, unsigned char*, long);
extern template void imageBitShift(const rows::SRowTable&, unsigned long, unsigned long, unsigned long,
                                   const unsigned short*, unsigned long*, unsigned long, unsigned char*, long);

/// The upper dstBits of packed pixels of srcBits (10 or 12), a byte each. srcPitch: bytes from row to row, 0: rows
/// without padding. Output rows are width bytes; dstPitch: may be null, else it receives width.
void imageUnpackAndBitShift(const rows::SRowTable& kernels, unsigned long width, unsigned long height,
                            unsigned long srcPitch, const unsigned char* src, unsigned long* dstPitch,
                            unsigned char* dst, long srcBits, long dstBits);

/// Raw and mono transfer formats. Packed ones become a byte a pixel, whatever outFormat is. False, and nothing touched,
/// for other formats of either side.
bool convGrayToBGRImage(const rows::SRowTable& kernels, unsigned long width, unsigned long height,
                        unsigned long srcPitch, unsigned long transferFormat, const void* src, unsigned long* dstPitch,
                        unsigned long outFormat, unsigned char* dst);

/// VEK_TRANSFER_BGR8 and VEK_TRANSFER_BGR10 (8 bytes a pixel), rows without padding on either side.
void convBGRToBGR(const rows::SRowTable& kernels, unsigned long width, unsigned long height,
                  unsigned long transferFormat, const void* src, unsigned long outFormat, unsigned char* dst);

} // namespace vek
