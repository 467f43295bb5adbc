// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Errors.h"

#include "formats/TransferFormats.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
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

using Warn = std::function<void(std::string)>; ///< takes one line about what is odd and no failure

/// An open file of raw frames, each frameBytes long: rows without padding, words little-endian. The padding behind the
/// last row of a file may be missing.
class CFrameInput {
public:
    /// choice: its frame is of no account. The format outlives the object. Throws as readFrame does; what kind of file
    /// a pipe delivers shows when it is read.
    CFrameInput(const SFrameChoice& choice, const STransferFormat& format, std::uint32_t width, std::uint32_t height);
    ~CFrameInput();
    CFrameInput(const CFrameInput&) = delete;
    CFrameInput& operator=(const CFrameInput&) = delete;

    /// For messages.
    const std::string& Name() const;
    /// A file tells its length; a pipe at its end only, which may never come.
    bool IsRegular() const;
    /// Whole frames and bytes behind them that are there, of a pipe those that were read.
    std::uint64_t Held() const;
    std::uint64_t Rest() const;
    /// The same in words: "3 frames of 100 bytes and 5 bytes more".
    std::string Content() const;

    /// A frame, counted from 0; of a pipe in rising order. Nothing where the file ends before. Throws CFailure.
    std::optional<std::vector<std::uint8_t>> Read(std::uint64_t frame);
    /// Throws CFailure: why a frame is not there.
    [[noreturn]] void ThrowMissing(std::uint64_t frame) const;

private:
    struct SFile;

    std::unique_ptr<SFile> mFile;
};

/// What is odd about a frame's words: that many of them are above the format's range. Empty where nothing is.
std::string wordsComplaint(std::span<const std::uint8_t> bytes, const STransferFormat& format);

/// Whether a regular file begins as TIFF files, and so DNG files, do. False where it cannot be read.
bool beginsAsTiff(const std::string& path);

/// Reads a frame: frameBytes of them, rows without padding, words little-endian. A file that is too short is refused
/// before it is read, a pipe when it ends. The padding behind the last row of a file may be missing.
/// warn: called with one line about what is odd and no failure: a file that holds more than was asked for, words above
/// the format's range. Throws CFailure, COtherKind for what is another kind of file, CMisfit, which names the settings
/// "src-stride" and "byte-order", where the format has longer rows or no words.
std::vector<std::uint8_t> readFrame(const SFrameChoice& choice, const STransferFormat& format, std::uint32_t width,
                                    std::uint32_t height, const Warn& warn);

} // namespace vek::client
