// SPDX-License-Identifier: Apache-2.0
// What the kinds of calibrate share: frames of a camera or of files, and profiles that they complete.
#pragma once

#include "client/files/OutputFile.h"
#include "client/frames/FrameFiles.h"
#include "client/profiles/Profile.h"

#include "tools/options/CameraOptions.h"

#include <CLI/App.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vek::tools {

/// The options of all kinds.
struct SCalibrationInput {
    std::vector<std::string> files; ///< none: a camera's frames
    SCameraChoice camera;
    std::uint32_t width = 0; ///< of raw files' frames, or of the simulated sensor; 0: not given
    std::uint32_t height = 0;
    std::string format;
    std::string colorArray;
    std::string profile;
    client::SFrameChoice reading;
    SSimulatedSetup setup;
    const CLI::App* command = nullptr;

    bool FromFiles() const { return !files.empty(); }
};

/// Adds FILES and what tells of them, --sim and what tells of the simulated sensor; --device where withDevice. format:
/// help of --format.
void addCalibrationInput(CLI::App& command, SCalibrationInput& input, bool withDevice, const std::string& format);

/// Throws CBadArguments where options of files and of cameras are mixed, or a simulated sensor's sides are beyond their
/// range.
void checkInput(const SCalibrationInput& input);

/// The format that frames of a camera are taken in. Throws CBadArguments for one that cannot be calibrated.
const STransferFormat& calibrationFormat(const std::string& name);

/// The simulated sensor of the options.
sim::SSensorConfig sensorOf(const SCalibrationInput& input);

/// A simulated camera with the lens capped, or in front of an even white surface.
std::shared_ptr<sim::CSimulatedDriver> makeDriver(const SCalibrationInput& input, bool dark, float light);

/// The frames of files, which all have the same form, one that can be calibrated.
class CAlikeFrames {
public:
    /// most: frames that are taken; nothing: all. Reads the first one. Throws CFailure, CBadArguments.
    CAlikeFrames(const SCalibrationInput& input, std::span<const std::string> files, std::optional<std::uint64_t> most);

    /// The form of all, with the bytes of the first one.
    const client::STransferredFrame& Form() const { return mForm; }
    /// The frames' number; nothing where a pipe is among the files.
    std::optional<std::uint64_t> Count() const { return mFiles.Count(); }
    /// The next frame; nothing behind the last one. Throws CFailure.
    std::optional<client::STransferredFrame> Next();
    /// Who took them, or their file's name.
    const std::string& Source() const { return mSource; }

private:
    client::SRawForm FormOf(const SCalibrationInput& input, const std::string& path);

    std::string mSource;
    client::CFrameFiles mFiles;
    client::STransferredFrame mForm;
    bool mFirst = true; // it was not given out yet
};

/// The profile that an output completes: that of --profile, else the one that has the output's name, else the one
/// beside the first file; else one with the form alone. Throws CFailure.
client::SProfile profileFor(const SCalibrationInput& input, const std::string& output,
                            const client::STransferredFrame& form);

/// Writes it. path: where the output is going to lie. Throws CFailure.
void writeProfile(client::COutputFile& output, const std::string& path, const client::SProfile& profile);

/// Adds -o, --output of a profile. what: the help's words for what is written.
void addProfileOutput(CLI::App& command, std::string& output, const std::string& what);

/// "4 of 640 x 480 pixels, raw12, rggb".
std::string framesText(std::uint64_t count, const client::STransferredFrame& form);

// The kinds in files of their own.
void addBlackKind(CLI::App& command);
void addDelayKind(CLI::App& command);
void addNoiseKind(CLI::App& command);

} // namespace vek::tools
