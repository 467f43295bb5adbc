// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/FrameFiles.h"
#include "client/pictures/Image.h"
#include "client/stages/LibraryHandle.h"

#include "tools/options/FrameOptions.h"

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <vector>

namespace vek::tools {

/// Options that tell what the frames of raw files are like.
struct SSampleOptions {
    const CLI::App* command = nullptr;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string format;
    std::string colorArray;
    std::string profile;
    client::SFrameChoice choice; ///< its path is each file's
};

/// Adds them, --frame and --force among them.
void addSampleOptions(CLI::App& command, SSampleOptions& options);

/// The samples of a frame or a picture.
struct SChosenSamples {
    EFrameFile kind = EFrameFile::Raw;
    std::string path; ///< of the file
    client::SImage image;
    const STransferFormat* format = nullptr; ///< null: of a picture
    unsigned short colorArray = 0;           ///< enum VekColorArray; of a grey picture mono, of a colour one 0
    std::optional<client::SDngTags> tags;    ///< of a DNG file
    std::optional<client::SProfile> profile;

    /// "640 x 480 pixels, raw12, rggb".
    std::string Text() const;
};

/// Reads a file: a raw file, a DNG file, a grey PNG file as a raw frame, or a picture. strict: options that
/// the file has no use for are refused. Throws CFailure, CBadArguments.
SChosenSamples readChosenSamples(const client::CLibraryHandle& library, const SSampleOptions& options,
                                 const std::string& path, bool strict);

/// The frames of files, one after the other: raw files and DNG files, or else pictures and grey PNG files, of which
/// each is one.
class CSampleSeries {
public:
    /// files: paths and patterns of names. steps: numbers of the series' frames, whatever the files. library: outlives
    /// the series. Throws CFailure, CBadArguments.
    CSampleSeries(const client::CLibraryHandle& library, const SSampleOptions& options,
                  const std::vector<std::string>& files, const client::SFrameSteps& steps);

    /// The files.
    const std::vector<std::string>& Paths() const { return mPaths; }
    /// The next frame; nothing behind the last one. Throws CFailure.
    std::optional<SChosenSamples> Next();

private:
    client::SRawForm FormOf(const std::string& path);

    const client::CLibraryHandle& mLibrary;
    SSampleOptions mOptions;
    client::SFrameSteps mSteps;
    std::vector<std::string> mPaths;
    std::optional<client::SProfile> mProfile; ///< of the first raw file
    std::optional<client::CFrameFiles> mFrames;
    std::uint64_t mNext = 0; ///< of the pictures
};

} // namespace vek::tools
