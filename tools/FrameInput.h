// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Image.h"
#include "Names.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vek::tools {

/// The bytes of a row: the last byte of a packed one is filled up, a group of YCrCb pixels that is cut off ends early.
constexpr std::uint64_t rowBytes(const STransferFormat& format, std::uint32_t width) {
    const std::uint64_t bits = static_cast<std::uint64_t>(width) * format.MemoryBits();
    return (bits + (format.IsPacked() ? 7U : 0U)) / 8;
}

/// The bytes of one frame.
constexpr std::uint64_t frameBytes(const STransferFormat& format, std::uint32_t width, std::uint32_t height) {
    return rowBytes(format, width) * height;
}

/// Depth at which the library works on a format: samples in words have at most 12 bits, so 14 and 16 are shifted down;
/// it unpacks, and turns colour formats into pictures, at 8 bits.
constexpr unsigned short libraryDepth(const STransferFormat& format) {
    if (format.layout != ELayout::Bytes && format.layout != ELayout::Words) {
        return 8;
    }
    return format.depth < 12 ? format.depth : static_cast<unsigned short>(12);
}

/// Which frame of a file a command works on.
struct SFrameChoice {
    std::string path;                   ///< "-" is standard input
    std::uint64_t offset = 0;           ///< bytes in front of the first frame
    std::optional<std::uint64_t> frame; ///< counted from 0; the first one when nobody asked for any
    bool force = false;                 ///< the file is raw whatever it looks like
};

/// Help text of the option for SFrameChoice::force.
inline constexpr const char* kForceHelp =
    "Take the file as raw even if it begins as a PNG, TIFF, JPEG, ELF, ZIP or text file\ndoes";

/// Reads a frame: frameBytes of them. A file that is too short is refused before it is read, a pipe when it ends.
/// Warns of a file that holds more than was asked for, and of words above the format's range. Throws CFailure, also
/// for what is another kind of file.
std::vector<std::uint8_t> readFrame(const SFrameChoice& choice, const STransferFormat& format, std::uint32_t width,
                                    std::uint32_t height);

/// Makes a frame of transferred bytes (frameBytes of them) of a format of bytes or words (little-endian). Samples above
/// the format's range count as its largest.
SRawFrame rawFrame(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height, unsigned short colorArray);

} // namespace vek::tools
