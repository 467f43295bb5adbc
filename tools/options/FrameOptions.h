// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/Dng.h"
#include "client/frames/FrameInput.h"
#include "client/frames/Measurement.h"
#include "client/profiles/Profile.h"
#include "client/recording/FrameRecord.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

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
/// The names of the formats that can be corrected: "raw8, ..., mono8 to mono16".
std::string sampledFormats();
/// The names of all formats, in groups.
std::string formatGroups();

/// Adds --colour-array, which may be left out with the mono formats; helpEnd: what else is said of that.
CLI::Option* addColorArray(CLI::App& command, std::string& colorArray, const std::string& helpEnd);
/// The code of a name that the option takes; nothing for an empty one.
std::optional<unsigned> colorArrayGiven(const std::string& colorArray);

/// Adds --black: one level, or four of the places of 2 x 2 pixels.
CLI::Option* addBlackLevel(CLI::App& command, std::optional<client::SBlackLevels>& black);

/// Adds IN, and --src-offset, --src-stride, --byte-order, --frame and --force. excluded: an option that these five do
/// not go with, or null.
CLI::Option* addFrameFile(CLI::App& command, client::SFrameChoice& choice);
void addFrameChoice(CLI::App& command, client::SFrameChoice& choice, CLI::Option* excluded);
/// The same without IN and --frame.
void addFrameReading(CLI::App& command, client::SFrameChoice& choice, CLI::Option* excluded);

/// Calls what may refuse a file as one of another kind, and tells how it is taken all the same.
template <class Call>
auto orForced(const Call& call) {
    try {
        return call();
    } catch (const client::COtherKind& other) {
        throw client::CFailure(fmt::format("{}; --force takes it as one", other.what()));
    }
}

/// What a file tells of its frame by itself.
enum class EFrameFile { Raw, Dng, Png, Picture, Recording };
/// Throws CBadArguments where an option was given that such a file has no use for. command: with addFrameSize,
/// --format, addColorArray, addProfile and addFrameChoice.
void requireFrameOptions(const CLI::App& command, const std::string& path, EFrameFile kind);

/// The frame of a raw file, a DNG file, a grey PNG file or a recording. What it is like is known before a raw file is
/// read.
class CChosenFrame {
public:
    /// command: as of requireFrameOptions; null: options that the file has no use for are passed over. form: what the
    /// options say of a raw file, is completed then. requireFormat: throws for formats that the command does not take,
    /// or null. Throws CFailure where a file cannot be read, CBadArguments where options are missing or do not go with
    /// the file.
    CChosenFrame(const CLI::App* command, const SFrameForm& form, const std::string& profile,
                 const client::SFrameChoice& choice, void (*requireFormat)(const STransferFormat&) = nullptr);

    EFrameFile Kind() const { return mKind; }
    /// The frame without its bytes.
    const client::STransferredFrame& Form() const { return mFrame; }
    /// The frame, once. Notes warnings. Throws CFailure.
    client::STransferredFrame Take();

    /// What is known of a recording's frame; nothing of other files. Known once it was taken.
    const std::optional<client::SFrameMeta>& Meta() const { return mMeta; }
    /// What a DNG file holds; nothing of other files.
    const std::optional<client::SDngFrame>& Dng() const { return mDng; }
    /// The profile of a file that is no DNG file, where there is one.
    const std::optional<client::SProfile>& Profile() const { return mProfile; }

private:
    client::SFrameChoice mChoice;
    client::STransferredFrame mFrame; ///< of a DNG file with its bytes
    std::optional<client::SDngFrame> mDng;
    std::optional<client::SFrameMeta> mMeta;
    std::optional<client::SProfile> mProfile;
    EFrameFile mKind = EFrameFile::Raw;
};

/// A region of "X,Y,W,H", W and H 1 or more; nothing for another text.
std::optional<client::SRegion> parsedRegion(std::string_view text);
/// Adds --region X,Y,W,H; what: the help's first words.
void addRegion(CLI::App& command, std::string& region, const std::string& what);
/// The part of a region that lies in an image; the whole image for an empty text (others are ones that the option
/// takes). Throws CBadArguments for a region that lies outside.
client::SRegion regionInside(const std::string& text, std::uint32_t width, std::uint32_t height);

} // namespace vek::tools
