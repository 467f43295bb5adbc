// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Errors.h"
#include "client/recording/FrameRecord.h"
#include "client/recording/RecordingForm.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace vek::client {

/// The file system has no room for another frame.
class CDiskFull : public CFailure {
public:
    using CFailure::CFailure;
};

struct SRecordingSetup { // NOLINT(bugprone-exception-escape): its move is its members' own
    SRecordingForm form = {};
    SRecordingNotes notes = {};
    bool force = false;                                      ///< takes the place of a recording that is there
    unsigned buffers = 16;                                   ///< frames that wait for the disk at most, 2 and more
    unsigned writers = 4;                                    ///< writes under way at once, 1 and more
    bool direct = true;                                      ///< past the page cache, where the file system can do that
    std::uint64_t allocationStep = std::uint64_t{256} << 20; ///< bytes that frames.raw grows by at once, at least
};

struct SRecordingCounts {
    std::uint64_t written = 0; ///< frames with their records
    std::uint64_t waiting = 0; ///< taken, and not written yet
    std::uint64_t refused = 0; ///< TryAdd found no buffer
    std::uint64_t failed = 0;  ///< taken, and not written: the disk was full, or failed
    unsigned mostWaiting = 0;
    std::uint64_t bytes = 0; ///< of the frames written
    bool direct = false;     ///< the page cache is passed by
    bool operator==(const SRecordingCounts&) const = default;
};

/// Writes a recording: frames are copied to aligned buffers and written by threads of its own, several at once. A
/// frame's record goes into the index once the frame itself is written: whatever ends the program, each record that
/// is there stands for a whole frame. Signals are held back on its threads. Its methods are called on one thread.
class CRecordingWriter {
public:
    /// Makes the folder; with force it may be there, and a recording that nobody writes. Throws CFailure, CDiskFull,
    /// and CMisfit, which names the setting "force", where something is there.
    CRecordingWriter(const std::string& path, const SRecordingSetup& setup);
    /// Without Finish the recording stays as it would after a crash.
    ~CRecordingWriter();
    CRecordingWriter(const CRecordingWriter&) = delete;
    CRecordingWriter& operator=(const CRecordingWriter&) = delete;

    /// Takes a frame of FrameBytes; waits while all buffers wait for the disk. Throws CDiskFull, CFailure once a frame
    /// could not be written; Finish makes a readable recording of those before it.
    void Add(std::span<const std::uint8_t> bytes, const SFrameMeta& meta);
    /// The same; false, and counted, instead of waiting.
    bool TryAdd(std::span<const std::uint8_t> bytes, const SFrameMeta& meta);

    SRecordingCounts Counts() const;
    /// Waits until all frames are written. Throws as Add does.
    void Flush();

    /// Waits for the frames that are under way, cuts off what was allocated beyond them, and notes what the recording
    /// has become: complete, even if the disk is full. Throws CFailure where that cannot be written.
    SRecordingCounts Finish(const SRecordingNotes& notes);

private:
    struct SState;

    std::unique_ptr<SState> mState;
};

} // namespace vek::client
