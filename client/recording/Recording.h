// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/recording/FrameRecord.h"
#include "client/recording/RecordingForm.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vek::client {

/// Whether a path leads to a folder with a recording.json.
bool isRecording(const std::string& path);

/// What is wrong with a recording.
struct SRecordingDamage {
    enum class EKind : unsigned char {
        NotEnded,      ///< recording.json says that it was not ended in order
        BeingWritten,  ///< a program writes it now
        IndexMissing,  ///< there is no index.bin
        IndexCut,      ///< index.bin ends inside a record
        IndexShort,    ///< index.bin has fewer records than recording.json says
        IndexLong,     ///< index.bin has more records than recording.json says
        FramesMissing, ///< there is no frames.raw
        Hole,          ///< records that were never written, in front of others
        RecordDamaged, ///< records that are no good by their own CRC
        RecordAstray,  ///< records of other places
        RecordUnfit,   ///< records of frames of another size
        FrameCut,      ///< frames.raw ends in front of the frame's end
        FrameZero,     ///< the frame is zeros, its CRC another: its data never reached the disk
        FrameDamaged,  ///< the frame's CRC or hash is another
        FrameUnread    ///< the disk does not give it
    };
    EKind kind = EKind::NotEnded;
    std::uint64_t first = 0; ///< place of the first frame or record that is affected
    std::uint64_t count = 0; ///< how many in a row; 0: it is not of frames
    bool operator==(const SRecordingDamage&) const = default;
};
/// One line, without the recording's name.
std::string damageText(const SRecordingDamage& damage);

/// A recording that is read. Frames are those with a good record and all of their bytes, in the order of their places;
/// opening it does not read them. Several threads may call its const methods.
class CRecording {
public:
    /// Throws CFailure for what is no recording, a damaged recording.json, and files that cannot be read.
    explicit CRecording(const std::string& path);
    ~CRecording();
    CRecording(const CRecording&) = delete;
    CRecording& operator=(const CRecording&) = delete;

    const std::string& Path() const;
    const SRecordingForm& Form() const;
    const SRecordingText& Text() const;
    /// What opening it has shown, by kind and place.
    const std::vector<SRecordingDamage>& Damages() const;

    std::uint64_t Count() const;
    /// Of frame i, below Count.
    const SFrameMeta& Meta(std::uint64_t i) const;
    const SFrameRecord& Record(std::uint64_t i) const;
    /// Its bytes as they lie in frames.raw, mapped; not checked. Stays as long as the recording. A file that someone
    /// cuts off meanwhile, or a disk that fails, ends the program here, not in Read.
    std::span<const std::uint8_t> Frame(std::uint64_t i) const;
    /// A copy of it, padding of rows left out, checked by its CRC. Throws CFailure, which tells the frame and what is
    /// wrong.
    std::vector<std::uint8_t> Read(std::uint64_t i) const;

    /// Reads all frames and tells what is wrong with the recording; empty: nothing is. step: called for each frame.
    std::vector<SRecordingDamage> Check(const std::function<void()>& step = nullptr) const;

private:
    struct SFiles;

    std::unique_ptr<SFiles> mFiles;
};

} // namespace vek::client
