// SPDX-License-Identifier: Apache-2.0
#include "chain/FrameLayout.h"

#include "chain/Refusal.h"
#include "formats/ColorArrays.h"
#include "formats/TransferFormats.h"

namespace vek {

namespace {

/// A side of the crop; 0 stands for all that is left.
unsigned long cropped(unsigned long whole, unsigned long start, unsigned long length, const char* reason) {
    require(start < whole && length <= whole - start, reason);
    return length != 0 ? length : whole - start;
}

} // namespace

unsigned short shiftedColorArray(unsigned short colorArray, unsigned place) {
    if (!isBayer(colorArray)) {
        return colorArray;
    }
    // RGGB, GRBG, GBRG and BGGR begin with the places 0, 1, 2 and 3 of RGGB: a shift by a place takes both apart.
    const unsigned first = colorArray - static_cast<unsigned>(VEK_COLOR_ARRAY_RGGB);
    return static_cast<unsigned short>(VEK_COLOR_ARRAY_RGGB + (first ^ place));
}

SFrameLayout frameLayout(const VekChainFrame& frame) {
    const STransferFormat* const format = chainFormat(frame.format);
    require(format != nullptr, "frame.format: no transfer format of this number");
    require(format->IsRaw(), "frame.format: neither raw nor mono");
    require(frame.byteOrder <= VEK_CHAIN_BIG_ENDIAN, "frame.byteOrder: neither little nor big");
    SFrameLayout layout;
    layout.format = format;
    layout.depth = format->depth;
    layout.isSwapped = frame.byteOrder == VEK_CHAIN_BIG_ENDIAN;
    require(!layout.isSwapped || format->layout == ELayout::Words, "frame.byteOrder: goes with formats of words alone");
    require(frame.width != 0, "frame.width: 0 pixels");
    require(frame.height != 0, "frame.height: 0 rows");
    const std::size_t dense = format->RowBytes(frame.width);
    require(frame.pitch == 0 || frame.pitch >= dense, "frame.pitch: shorter than a row");
    layout.pitch = frame.pitch != 0 ? frame.pitch : dense;
    layout.cropX = frame.cropX;
    layout.cropY = frame.cropY;
    layout.width = cropped(frame.width, frame.cropX, frame.cropWidth, "frame.cropX, cropWidth: beyond the frame");
    layout.height = cropped(frame.height, frame.cropY, frame.cropHeight, "frame.cropY, cropHeight: beyond the frame");
    const std::size_t lastRow = format->RowBytes(layout.cropX + layout.width);
    const bool tooLarge = __builtin_mul_overflow(layout.pitch, layout.cropY + layout.height - 1, &layout.bytes) ||
                          __builtin_add_overflow(layout.bytes, lastRow, &layout.bytes) || layout.bytes > PTRDIFF_MAX;
    require(!tooLarge, "frame: more bytes than memory can have");
    layout.place = 2 * (frame.cropY % 2) + frame.cropX % 2;
    if (format->IsMono()) {
        layout.colorArray = VEK_COLOR_ARRAY_MONO;
    } else {
        require(isRaw(frame.colorArray), "frame.colorArray: neither mono nor Bayer");
        layout.colorArray = shiftedColorArray(frame.colorArray, layout.place);
    }
    return layout;
}

} // namespace vek
