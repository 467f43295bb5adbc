// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Image.h"
#include "Names.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vek::tools {

/// Reads size bytes that start offset bytes into a file; "-" is standard input. A file that is too short is
/// refused before it is read, a pipe when it ends. Throws CFailure with the bytes needed and the bytes there.
std::vector<std::uint8_t> readBytes(const std::string& path, std::uint64_t offset, std::uint64_t size);

/// The bytes of one frame of a format that `convert` reads (STransferFormat::bytes is not 0).
constexpr std::uint64_t frameBytes(const STransferFormat& format, std::uint32_t width, std::uint32_t height) {
    return static_cast<std::uint64_t>(width) * height * format.bytes;
}

/// Depth that the library gets for a format: it takes no more than 12 bits, so 14 and 16 are shifted down.
constexpr unsigned short libraryDepth(const STransferFormat& format) {
    return format.depth < 12 ? format.depth : static_cast<unsigned short>(12);
}

/// Makes a frame of transferred bytes (frameBytes of them, words little-endian). Samples above the format's range
/// count as its largest.
SRawFrame rawFrame(std::span<const std::uint8_t> bytes, const STransferFormat& format, std::uint32_t width,
                   std::uint32_t height, unsigned short colorArray);

} // namespace vek::tools
