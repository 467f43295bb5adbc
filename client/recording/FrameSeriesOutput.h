// SPDX-License-Identifier: Apache-2.0
// Files that hold the frames of a recording one after the other, untouched, with their times: NUT and SER.
#pragma once

#include "client/recording/FrameRecord.h"
#include "client/recording/RecordingForm.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace vek::client {

/// Takes the bytes of a file from its beginning on.
using ByteSink = std::function<void(std::span<const std::uint8_t>)>;

/// The moment of a frame in nanoseconds: its time stamp, or without a known clock its arrival.
std::int64_t timeOf(const SFrameMeta& meta);

/// Writes frames into one file. Frames come without padding of rows.
class IFrameSeriesOutput {
public:
    virtual ~IFrameSeriesOutput() = default;
    /// Throws what the sink throws.
    virtual void Add(std::span<const std::uint8_t> bytes, const SFrameMeta& meta) = 0;
    virtual void Finish() = 0;
};

/// Whether a file's name ends in .nut, .ser.
bool isNutName(const std::string& path);
bool isSerName(const std::string& path);

/// NUT (NUT Open Container Format, 2008) with a stream of raw video: times in nanoseconds from the first frame on, a
/// syncpoint in front of each frame, checksums, an index. Throws CBadArguments for formats that raw video has no name
/// for.
std::unique_ptr<IFrameSeriesOutput> nutOutput(const SRecordingForm& form, ByteSink sink);

/// SER (version 3, 2014): frames of 8 or 16 bits, time stamps in a trailer. frames: all that will be added. Throws
/// CBadArguments for formats of other samples and for more frames than its header counts.
std::unique_ptr<IFrameSeriesOutput> serOutput(const SRecordingForm& form, const SRecordingNotes& notes,
                                              std::uint64_t frames, ByteSink sink);

} // namespace vek::client
