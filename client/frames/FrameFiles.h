// SPDX-License-Identifier: Apache-2.0
// Many frames: those of several files, each with any number of them, as one series.
#pragma once

#include "client/frames/Dng.h"
#include "client/frames/FrameInput.h"
#include "client/frames/Measurement.h"
#include "client/recording/FrameRecord.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vek::client {

/// Frames of a series by their numbers, counted from 0.
struct SFrameSteps {
    std::uint64_t first = 0;
    std::optional<std::uint64_t> last = {}; ///< taken as well; nothing: up to the end
    std::uint64_t step = 1;                 ///< 1 and more

    bool operator==(const SFrameSteps&) const = default;
};

/// "FIRST:LAST:STEP", of which each may be left out ("10:", ":200", "::5"), or one number. Nothing for another text.
std::optional<SFrameSteps> parsedFrameSteps(std::string_view text);

/// Whether a comes before b where numbers count as such: frame2 before frame10.
bool comesNaturallyBefore(std::string_view a, std::string_view b);

/// Paths with *, ? and [...] in them become the files that they stand for, sorted naturally; a file that has such a
/// name itself comes first. Throws CFailure where there is none.
std::vector<std::string> expandedPaths(std::span<const std::string> paths);

/// The form of a raw file's frames.
struct SRawForm {
    const STransferFormat* format = nullptr;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned short colorArray = 0; ///< enum VekColorArray
};

/// A frame of a series.
struct SSeriesFrame {
    STransferredFrame frame;
    std::string path;
    std::uint64_t index = 0;        ///< in the file, counted from 0; of a recording its place
    std::uint64_t number = 0;       ///< in the series, counted from 0
    std::optional<SDngTags> tags;   ///< of a DNG file
    std::optional<SFrameMeta> meta; ///< of a recording
};

/// The frames of files, one file after the other: raw ones, recordings, DNG and grey PNG files with one frame each, "-"
/// for raw frames on standard input. Regular files are open while they are read only.
class CFrameFiles {
public:
    /// Called once for each raw file, PNG file or recording.
    using FormOf = std::function<SRawForm(const std::string& path)>;

    /// Called for a file that cannot be read, with the reason.
    using BadFile = std::function<void(const std::string& path, const std::string& reason)>;

    /// paths: as expandedPaths returns them. steps: numbers of the series' frames, whatever the files. reading: offset,
    /// pitch, byte order and force of raw files, its path and frame are of no account. warn: told what is odd about a
    /// file; once for the series that words are above their range. Throws CFailure for files that hold no frame or
    /// cannot be read, and where the steps leave none; COtherKind; CBadArguments where standard input is named twice;
    /// what formOf throws. bad: where given, told of files that CFailure would be thrown for, which are left out then.
    CFrameFiles(std::vector<std::string> paths, const SFrameSteps& steps, const SFrameChoice& reading, FormOf formOf,
                Warn warn, const BadFile& bad = nullptr);
    ~CFrameFiles();
    CFrameFiles(const CFrameFiles&) = delete;
    CFrameFiles& operator=(const CFrameFiles&) = delete;

    /// How many frames Next gives from the beginning on; nothing where a pipe is among the files.
    std::optional<std::uint64_t> Count() const { return mCount; }
    /// The next frame; nothing behind the last one. Throws CFailure, COtherKind.
    std::optional<SSeriesFrame> Next();
    /// Where Next threw: the frame that it read, without its bytes, and goes on with the file behind it; of a recording
    /// with the frame behind it.
    SSeriesFrame LeaveFile();

private:
    struct SSource;

    void LookAt(SSource& source);
    std::unique_ptr<CFrameInput> Opened(const SSource& source) const;
    std::optional<SSeriesFrame> FromDng(const SSource& source, std::uint64_t index);
    std::optional<SSeriesFrame> FromPng(const SSource& source, std::uint64_t index);
    std::optional<SSeriesFrame> FromRecording(SSource& source, std::uint64_t index);
    std::optional<SSeriesFrame> FromRaw(SSource& source, std::uint64_t index);

    SFrameSteps mSteps;
    SFrameChoice mReading;
    FormOf mFormOf;
    Warn mWarn;
    std::vector<SSource> mSources;
    std::optional<std::uint64_t> mCount;
    std::size_t mSource = 0;   // that is read
    std::uint64_t mBefore = 0; // frames in the sources in front of it
    std::uint64_t mNext = 0;   // number of the next frame
    bool mWarnedOfWords = false;
};

} // namespace vek::client
