// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/Dng.h"
#include "client/frames/FrameInput.h"
#include "client/frames/Measurement.h"
#include "client/profiles/Profile.h"

#include <CLI/App.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vek::tools {

// Options on frames that several commands have.

/// Adds --width and --height of a frame, which are 0 where they are not given.
void addFrameSize(CLI::App& command, std::uint32_t& width, std::uint32_t& height);

/// Adds --format; help: its text.
CLI::Option* addFormat(CLI::App& command, std::string& format, const std::string& help);
/// The same where the formats that the chain takes besides are known, too; the help's text ends with their names.
CLI::Option* addChainFormat(CLI::App& command, std::string& format, const std::string& help);

/// Adds --profile, whose file says what is not said of a frame.
CLI::Option* addProfile(CLI::App& command, std::string& path);

/// What options say of the frames of a file; 0 and empty: nothing.
struct SFrameForm {
    std::uint32_t& width;
    std::uint32_t& height;
    std::string& format;
    std::string& colorArray;
};
/// Completes it by the profile of --profile, or else by the one that lies beside the file, and returns that. Throws
/// CBadArguments where width, height or format are still missing, CFailure for a profile that cannot be read.
std::optional<client::SProfile> completeForm(const SFrameForm& form, const std::string& profile,
                                             const client::SFrameChoice& file);

/// The names of the formats that can be corrected: "raw8, ..., mono8 to mono16".
std::string sampledFormats();
/// The names of all formats, in groups.
std::string formatGroups();

/// Adds --colour-array, which may be left out with the mono formats; helpEnd: what else is said of that.
CLI::Option* addColorArray(CLI::App& command, std::string& colorArray, const std::string& helpEnd);
/// The code of a name that the option takes; nothing for an empty one.
std::optional<unsigned> colorArrayGiven(const std::string& colorArray);

/// Adds IN, and --src-offset, --src-stride, --byte-order, --frame and --force. excluded: an option that these five do
/// not go with, or null.
CLI::Option* addFrameFile(CLI::App& command, client::SFrameChoice& choice);
void addFrameChoice(CLI::App& command, client::SFrameChoice& choice, CLI::Option* excluded);

/// Reads the frame, and notes warnings. Throws CFailure.
std::vector<std::uint8_t> readChosenFrame(const client::SFrameChoice& choice, const STransferFormat& format,
                                          std::uint32_t width, std::uint32_t height);

/// The frame of a DNG file; nothing for other files. command: with addFrameSize, --format, addColorArray and
/// addFrameChoice. Throws CFailure where the file cannot be read, CBadArguments where one of the options was given that
/// tell of raw files.
std::optional<client::SDngFrame> readChosenDng(const CLI::App& command, const client::SFrameChoice& choice);

/// A region of "X,Y,W,H", W and H 1 or more; nothing for another text.
std::optional<client::SRegion> parsedRegion(std::string_view text);
/// Adds --region X,Y,W,H; what: the help's first words.
void addRegion(CLI::App& command, std::string& region, const std::string& what);
/// The part of a region that lies in an image; the whole image for an empty text (others are ones that the option
/// takes). Throws CBadArguments for a region that lies outside.
client::SRegion regionInside(const std::string& text, std::uint32_t width, std::uint32_t height);

} // namespace vek::tools
