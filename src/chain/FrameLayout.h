// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"
#include "formats/TransferFormats.h"

#include <cstddef>

namespace vek {

/// A raw frame in memory and the crop that a picture is made of.
struct SFrameLayout {
    const STransferFormat* format = nullptr; ///< raw or mono
    bool isSwapped = false;                  ///< words are big-endian
    unsigned short depth = 8;                ///< bits of a sample
    std::size_t pitch = 0;                   ///< bytes
    std::size_t bytes = 0;                   ///< from the frame's first byte to the crop's last one
    unsigned long cropX = 0;
    unsigned long cropY = 0;
    unsigned long width = 0;       ///< of the crop, pixels
    unsigned long height = 0;      ///< of the crop, rows
    unsigned short colorArray = 0; ///< of the crop
    unsigned place = 0;            ///< of the crop's first pixel in the frame's cell, 2 x (row mod 2) + (column mod 2)

    /// Whether samples are words, once they are unpacked.
    bool IsOfWords() const { return depth > 8; }
    /// Bytes from the row's first one to its crop's group.
    std::size_t CropBytes() const { return cropX / format->groupPixels * format->groupBytes; }
    /// Pixels of that group in front of the crop.
    unsigned long LeadPixels() const { return cropX % format->groupPixels; }
};

/// Throws SRefusal.
SFrameLayout frameLayout(const VekChainFrame& frame);

/// Bayer array of a crop whose first pixel has a place in the cell, or mono.
unsigned short shiftedColorArray(unsigned short colorArray, unsigned place);

} // namespace vek
