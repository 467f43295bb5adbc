// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/TransferFormats.h"
#include "imageproc/Band.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

// Transferred images to bytes. Destination pixels have 1 byte of grey, or blue, green and red in 3 or 4 bytes, of which
// the fourth is left as it was. Buffers are not null where there are pixels.

/// Conversion of one layout as a stage. Its images are of bytes on both sides, words are pairs of them.
struct SFormatConversionStage {
    ELayout layout = ELayout::Bytes; ///< all but YCrCb
    unsigned depth = 8;              ///< bits of a packed sample, 10 or 12, or of a blue-green-red one, 8 or 10
    int shift = 0;                   ///< to the right, -31 .. 31, at least 0 for packed ones; not of blue-green-red
    unsigned pixelBytes = 1;         ///< of the destination: 1, 3 or 4; 1 for packed ones

    STraits Traits(const SFrame& frame) const;
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<unsigned char>& band) const;
};

/// Samples of bytes or words shifted right (shift above 0) or left (below 0, modulo 32), of which the low 8 bits are
/// kept, in every channel. dstPitch: may be null; a number there is the output's pitch in bytes, 0 receives the one
/// that is used: the bytes of a row rounded up to a multiple of 4.
void imageBitShift(const rows::SRowTable& kernels, ELayout layout, const SImage<const unsigned char>& src,
                   unsigned long* dstPitch, unsigned pixelBytes, unsigned char* dst, long shift);

/// The upper 8 bits of packed pixels of srcBits (10 or 12), a byte each. Output rows are a byte a pixel; dstPitch: may
/// be null, else it receives that.
void imageUnpackAndBitShift(const rows::SRowTable& kernels, const SImage<const unsigned char>& src, unsigned srcBits,
                            unsigned long* dstPitch, unsigned char* dst);

/// Frames of a raw or mono format. Packed ones become a byte a pixel, whatever pixelBytes is.
void convGrayToBGRImage(const rows::SRowTable& kernels, const STransferFormat& format,
                        const SImage<const unsigned char>& src, unsigned long* dstPitch, unsigned pixelBytes,
                        unsigned char* dst);

/// Frames of a blue-green-red format, rows without padding on either side.
void convBGRToBGR(const rows::SRowTable& kernels, const STransferFormat& format, unsigned long pixels,
                  const unsigned char* src, unsigned pixelBytes, unsigned char* dst);

} // namespace vek
