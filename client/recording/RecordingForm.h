// SPDX-License-Identifier: Apache-2.0
// recording.json: what the frames of a recording are, and what became of it.
#pragma once

#include "formats/TransferFormats.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace vek::client {

// The files of a recording, which is a folder.
inline constexpr std::string_view kFramesName = "frames.raw";
inline constexpr std::string_view kIndexName = "index.bin";
inline constexpr std::string_view kRecordingName = "recording.json";

/// Frames begin at multiples of it: pages, and blocks of disks.
inline constexpr std::uint64_t kFrameAlignment = 4096;

/// The frames of a recording, all alike.
struct SRecordingForm {
    const STransferFormat* format = nullptr;
    std::uint32_t width = 0;       ///< pixels
    std::uint32_t height = 0;      ///< rows
    unsigned short colorArray = 0; ///< enum VekColorArray, of the pixels
    std::uint32_t fourCc = 0;      ///< V4L2_PIX_FMT_...; 0: unknown
    std::uint64_t pitch = 0;       ///< bytes from row to row; 0: rows without padding

    /// Bytes from row to row, and of a frame.
    std::uint64_t PitchBytes() const;
    std::uint64_t FrameBytes() const;
    /// From frame to frame in frames.raw: FrameBytes up to the next multiple of kFrameAlignment.
    std::uint64_t Stride() const;
    bool operator==(const SRecordingForm&) const = default;
};

/// What a recording tells of itself beside its frames. Values that nobody here interprets are JSON.
struct SRecordingNotes {                 // NOLINT(bugprone-exception-escape): its move is its members' own
    std::string tool = {};               ///< that wrote it, with its version
    nlohmann::ordered_json device = {};  ///< name, card, bus, serial number; null: not known
    nlohmann::ordered_json profile = {}; ///< the camera's profile as its file has it, paths absolute; null: none
    nlohmann::ordered_json account = {}; ///< what became of the frames that the camera sent; null while it is recorded
    std::string clock = {};              ///< of the time stamps, in words: "monotonic", "copied", "unknown"
    std::string started = {};            ///< ISO 8601, UTC
    std::string ended = {};              ///< empty while it is recorded
    std::string why = {};                ///< what ended it, in words; empty while it is recorded
};

/// recording.json.
struct SRecordingText { // NOLINT(bugprone-exception-escape): its move is its members' own
    SRecordingForm form = {};
    SRecordingNotes notes = {};
    bool complete = false;    ///< it was ended in order
    std::uint64_t frames = 0; ///< that it holds, where it is complete
};

std::string recordingText(const SRecordingText& recording);
/// Throws CFailure, which names no file, for a text that is none, with values of another kind or out of their range.
SRecordingText parsedRecording(std::string_view text);

} // namespace vek::client
