// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Errors.h"

#include "formats/TransferFormats.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vek::client {

/// Which frame of a file a command works on.
struct SFrameChoice {
    std::string path;                        ///< "-" is standard input
    std::uint64_t offset = 0;                ///< bytes in front of the first frame
    std::uint64_t pitch = 0;                 ///< bytes from row to row; 0: rows without padding
    bool bigEndian = false;                  ///< words have their high byte first
    std::optional<std::uint64_t> frame = {}; ///< counted from 0; the first one when nobody asked for any
    bool force = false;                      ///< the file is raw whatever it looks like
};

/// A file that is no raw frame but a picture, an archive or text; SFrameChoice::force takes it all the same.
class COtherKind : public CFailure {
public:
    using CFailure::CFailure;
};

/// Reads a frame: frameBytes of them, rows without padding, words little-endian. A file that is too short is refused
/// before it is read, a pipe when it ends. The padding behind the last row of a file may be missing.
/// warn: called with one line about what is odd and no failure: a file that holds more than was asked for, words above
/// the format's range. Throws CFailure, COtherKind for what is another kind of file, CMisfit, which names the settings
/// "src-stride" and "byte-order", where the format has longer rows or no words.
std::vector<std::uint8_t> readFrame(const SFrameChoice& choice, const STransferFormat& format, std::uint32_t width,
                                    std::uint32_t height, const std::function<void(std::string)>& warn);

} // namespace vek::client
