// SPDX-License-Identifier: Apache-2.0
#include "tools/options/FrameOptions.h"

#include "client/frames/DngInput.h"
#include "client/frames/FrameFiles.h"
#include "client/frames/PngFrame.h"
#include "client/profiles/RecordedProfile.h"
#include "client/recording/Recording.h"

#include "tools/options/Options.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <array>
#include <limits>
#include <utility>

namespace vek::tools {

namespace {

/// The first and the last of the formats that fit: "mono8 to mono16".
std::string fromTo(bool (*fits)(const STransferFormat&)) {
    unsigned short low = std::numeric_limits<unsigned short>::max();
    std::string_view first;
    unsigned short high = 0;
    std::string_view last;
    for (const STransferFormat& format : kTransferFormats) {
        if (fits(format) && format.depth < low) {
            low = format.depth;
            first = format.name;
        }
        if (fits(format) && format.depth > high) {
            high = format.depth;
            last = format.name;
        }
    }
    return fmt::format("{} to {}", first, last);
}

std::string numbersOf(std::span<const STransferFormat> formats) {
    return fmt::format("{} to {}", formats.front().code, formats.back().code);
}

std::string namesOf(std::span<const STransferFormat> formats) {
    std::string names;
    for (const STransferFormat& format : formats) {
        names += names.empty() ? "" : ", ";
        names += format.name;
    }
    return names;
}

/// Check of a format's name or number.
CLI::Validator isFormat(const STransferFormat* (*find)(std::string_view), const std::string& names,
                        const std::string& numbers) {
    return CLI::Validator(
        [=](std::string& text) {
            return find(text) != nullptr ? std::string() : sim::codeComplaint(text, names, numbers);
        },
        "", names);
}

/// Completes a form by a profile, where there is one, and returns that. Throws CFailure.
std::optional<SProfile> completedForm(const SFrameForm& form, const std::optional<std::string>& path,
                                      const SFrameChoice& file) {
    if (!path) {
        return std::nullopt;
    }
    if (*path == "-" && file.path == "-") {
        throw CBadArguments("IN and --profile are both standard input");
    }
    SProfile read = readProfile(*path);
    form.width = form.width == 0 ? read.width.value_or(0) : form.width;
    form.height = form.height == 0 ? read.height.value_or(0) : form.height;
    if (form.format.empty() && read.format != nullptr) {
        form.format = read.format->name;
    }
    // Another format may have no use for it.
    const STransferFormat* const format = findChainFormat(form.format);
    if (form.colorArray.empty() && read.colorArray && (format == nullptr || format->content == EContent::Raw)) {
        form.colorArray = colorArrayName(*read.colorArray);
    }
    return read;
}

/// Throws CBadArguments where something is still missing. profile: where it was looked for.
void requireForm(const SFrameForm& form, const std::optional<std::string>& profile) {
    const std::pair<const char*, bool> needed[] = {
        {"--width", form.width != 0}, {"--height", form.height != 0}, {"--format", !form.format.empty()}};
    for (const auto& [option, known] : needed) {
        if (!known) {
            throw CBadArguments(profile ? fmt::format("{} is required: {} does not say it", option, *profile)
                                        : fmt::format("{} is required, or --profile", option));
        }
    }
}

std::optional<SBlackLevels> parsedBlack(std::string_view text) {
    constexpr double kLargest = 65535;
    SBlackLevels black;
    black.levels = decimals(text);
    const bool fits = std::all_of(black.levels.begin(), black.levels.end(),
                                  [](double level) { return level >= 0 && level <= kLargest; });
    if (black.levels.size() == 4) {
        black.rows = black.columns = 2;
    }
    return fits && (black.levels.size() == 1 || black.levels.size() == 4) ? std::optional(black) : std::nullopt;
}

} // namespace

std::optional<SRegion> parsedRegion(std::string_view text) {
    const std::vector<std::string_view> parts = sim::splitText(text, ',');
    std::array<std::uint32_t, 4> values{};
    if (parts.size() != values.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();
        const std::optional<std::uint32_t> value = sim::readWhole<std::uint32_t>(parts[i], i < 2 ? 0 : 1, kLargest);
        if (!value) {
            return std::nullopt;
        }
        values[i] = *value;
    }
    return SRegion{values[0], values[1], values[2], values[3]};
}

void addFrameSize(CLI::App& command, std::uint32_t& width, std::uint32_t& height) {
    command.add_option("-W,--width", width, "Pixels of a row")->transform(range(1, 65535));
    command.add_option("-H,--height", height, "Rows")->transform(range(1, 65535));
}

CLI::Option* addProfile(CLI::App& command, std::string& path) {
    return command
        .add_option("-p,--profile", path,
                    "Camera profile, as \"vekcam profile new\" writes it: it has the size, format and\n"
                    "colour array that are not given. Without it IN.json, where that file is there")
        ->type_name("FILE");
}

CLI::Option* addFormat(CLI::App& command, std::string& format, const std::string& help) {
    return command.add_option("-f,--format", format, help)
        ->check(isFormat(findTransferFormat, transferFormatList(), numbersOf(kTransferFormats)));
}

CLI::Option* addChainFormat(CLI::App& command, std::string& format, const std::string& help) {
    const std::string numbers = numbersOf(kTransferFormats) + " or " + numbersOf(kChainFormats);
    const std::string csi2 = namesOf(kChainFormats);
    return command
        .add_option("-f,--format", format,
                    wrapped(fmt::format("Transfer format, number {} or name: {}; MIPI CSI-2 {}. {}", numbers,
                                        formatGroups(), csi2, help)))
        ->check(isFormat(findChainFormat, transferFormatList() + ", " + csi2, numbers));
}

std::string sampledFormats() {
    return transferFormatList(
               [](const STransferFormat& format) { return format.content == EContent::Raw && !format.IsPacked(); }) +
           ", " +
           fromTo([](const STransferFormat& format) { return format.content == EContent::Mono && !format.IsPacked(); });
}

std::string formatGroups() {
    return fmt::format(
        "{}; packed {}; {}; {} and these three with -bt709", sampledFormats(),
        transferFormatList([](const STransferFormat& format) { return format.IsPacked(); }),
        transferFormatList([](const STransferFormat& format) { return format.content == EContent::Bgr; }),
        transferFormatList([](const STransferFormat& format) {
            return format.content == EContent::YCrCb && !format.name.ends_with("-bt709");
        }));
}

CLI::Option* addColorArray(CLI::App& command, std::string& colorArray, const std::string& helpEnd) {
    return command
        .add_option("-a,--colour-array,--color-array", colorArray,
                    fmt::format("Number {} to {} or name: {}.\nMay be left out with the mono formats{}",
                                bayerColorArrays().front().code, bayerColorArrays().back().code,
                                nameList(bayerColorArrays()), helpEnd))
        ->check(isCodeOf(bayerColorArrays()));
}

std::optional<unsigned> colorArrayGiven(const std::string& colorArray) {
    return colorArray.empty() ? std::nullopt : findCode(bayerColorArrays(), colorArray);
}

CLI::Option* addBlackLevel(CLI::App& command, std::optional<SBlackLevels>& black) {
    return addParsedOption(command, "--black", black, parsedBlack,
                           "is neither one level of 0 to 65535 nor four with commas between",
                           "Level of black in samples, or of each place of 2 x 2 pixels, row by row")
        ->type_name("LEVEL[,LEVEL,LEVEL,LEVEL]");
}

CLI::Option* addFrameFile(CLI::App& command, SFrameChoice& choice) {
    return command
        .add_option("IN", choice.path,
                    "File with raw frames, DNG file or recording, which tell their size and format, or\n"
                    "grey PNG file, which tells its size; - reads raw frames from standard input")
        ->type_name("FILE");
}

void addFrameChoice(CLI::App& command, SFrameChoice& choice, CLI::Option* excluded) {
    constexpr std::uint64_t kMaxFrame = 1'000'000'000;
    addFrameReading(command, choice, excluded);
    CLI::Option* const frame =
        command.add_option("--frame", choice.frame, "Which frame of the file, counted from 0, which is the default")
            ->transform(range(0, kMaxFrame));
    excludeAll({&frame, 1}, excluded);
}

void addFrameReading(CLI::App& command, SFrameChoice& choice, CLI::Option* excluded) {
    // With offsets up to 2^60 and the largest frame, no sum of these leaves 64 bits.
    constexpr std::uint64_t kMaxPitch = std::uint64_t{1} << 30;
    constexpr std::uint64_t kMaxOffset = std::uint64_t{1} << 60;
    CLI::Option* const options[] = {
        command.add_option("--src-offset", choice.offset, "Bytes in front of the first frame, 0 by default")
            ->transform(range(0, kMaxOffset)),
        command
            .add_option("--src-stride", choice.pitch,
                        "Bytes from row to row, without padding by default; the padding counts as part of\n"
                        "a frame, but may be missing behind the last row of the file")
            ->transform(range(1, kMaxPitch)),
        command
            .add_option_function<std::string>(
                "--byte-order", [&choice](const std::string& order) { choice.bigEndian = order == "big"; },
                "Of words: little, the default, or big, the high byte first")
            ->type_name("little|big")
            ->check(isText([](std::string_view text) { return text == "little" || text == "big"; },
                           "is neither little nor big")),
        command
            .add_flag("--force", choice.force,
                      "Take the file as raw even if it begins as a PNG, TIFF, JPEG, ELF, ZIP or text file\ndoes")
            ->disable_flag_override()};
    excludeAll(options, excluded);
}

void requireFrameOptions(const CLI::App& command, const std::string& path, EFrameFile kind) {
    struct SOption {
        const char* name;
        bool ofPng; ///< has a use for it
        bool ofRecording;
    };
    constexpr SOption kOptions[] = {
        {"--width", false, false},       {"--height", false, false},     {"--format", true, false},
        {"--colour-array", true, false}, {"--src-offset", false, false}, {"--src-stride", false, false},
        {"--byte-order", false, false},  {"--frame", false, true},       {"--profile", true, true}};
    constexpr std::string_view kNames[] = {"raw file", "DNG file", "PNG file", "picture", "recording"};
    for (const SOption& option : kOptions) {
        const bool used = kind == EFrameFile::Raw || (kind == EFrameFile::Png && option.ofPng) ||
                          (kind == EFrameFile::Recording && option.ofRecording);
        if (!used && command.get_option_no_throw(option.name) != nullptr && command.count(option.name) > 0) {
            throw CBadArguments(fmt::format("{} does not go with {}: a {} tells its own", option.name, path,
                                            kNames[static_cast<std::size_t>(kind)]));
        }
    }
}

CChosenFrame::CChosenFrame(const CLI::App* command, const SFrameForm& form, const std::string& profile,
                           const SFrameChoice& choice, void (*requireFormat)(const STransferFormat&))
    : mChoice(choice), mDng(choice.force || isRecording(choice.path) ? std::nullopt : readDng(choice.path)) {
    if (isRecording(choice.path)) {
        mKind = EFrameFile::Recording;
        if (command != nullptr) {
            requireFrameOptions(*command, choice.path, mKind);
        }
        const CRecording recording(choice.path);
        const SRecordingForm& recorded = recording.Form();
        mProfile = profile.empty() ? recordedProfile(recording.Text().notes, choice.path) : readProfile(profile);
        if (requireFormat != nullptr) {
            requireFormat(*recorded.format);
        }
        mFrame = {recorded.format, recorded.width, recorded.height, recorded.colorArray, {}};
        return;
    }
    const std::optional<SPngForm> png = choice.force || mDng ? std::nullopt : pngFormOf(choice.path);
    mKind = mDng ? EFrameFile::Dng : png ? EFrameFile::Png : EFrameFile::Raw;
    if (command != nullptr) {
        requireFrameOptions(*command, choice.path, mKind);
    }
    if (mDng) {
        mFrame = transferredFrameOf(*mDng);
        return;
    }
    const std::optional<std::string> profilePath = profile.empty() ? sidecarOf(choice.path) : profile;
    mProfile = completedForm(form, profilePath, choice);
    if (png) {
        const auto tell = [&] {
            return pngFrameForm(choice.path, *png, findChainFormat(form.format), colorArrayGiven(form.colorArray));
        };
        mFrame = orForced(tell);
        return;
    }
    requireForm(form, profilePath);
    mFrame.format = findChainFormat(form.format);
    if (requireFormat != nullptr) {
        requireFormat(*mFrame.format);
    }
    mFrame.width = form.width;
    mFrame.height = form.height;
    mFrame.colorArray = frameColorArray(*mFrame.format, colorArrayGiven(form.colorArray));
}

STransferredFrame CChosenFrame::Take() {
    if (mKind == EFrameFile::Recording) {
        SFrameSteps one;
        one.first = mChoice.frame.value_or(0);
        one.last = one.first;
        const SRawForm form = {mFrame.format, mFrame.width, mFrame.height, mFrame.colorArray};
        const CRecording recording(mChoice.path);
        if (!mChoice.frame && recording.Count() > 1) {
            warn(fmt::format("{}: holds {} frames; frame 0 is taken", mChoice.path, recording.Count()));
        }
        SSeriesFrame frame = *CFrameFiles(
                                  {mChoice.path}, one, mChoice, [&](const std::string&) { return form; }, warn)
                                  .Next();
        mMeta = frame.meta;
        mFrame = std::move(frame.frame);
    } else if (mKind == EFrameFile::Png) {
        readPngFrame(mChoice.path, mFrame, warn);
    } else if (!mDng) {
        mFrame.bytes = orForced([&] { return readFrame(mChoice, *mFrame.format, mFrame.width, mFrame.height, warn); });
    }
    return std::move(mFrame);
}

void addRegion(CLI::App& command, std::string& region, const std::string& what) {
    command.add_option("-r,--region", region, what + "; the whole image by default")
        ->type_name("X,Y,W,H")
        ->check(isText([](std::string_view text) { return parsedRegion(text).has_value(); },
                       "is no region X,Y,W,H: whole numbers of 0 to 4294967295, W and H 1 or more"));
}

SRegion regionInside(const std::string& text, std::uint32_t width, std::uint32_t height) {
    const auto part = partInside(parsedRegion(text).value_or(SRegion{0, 0, width, height}), width, height);
    if (!part) {
        throw CBadArguments(fmt::format("--region {} lies outside the image of {} x {} pixels", text, width, height));
    }
    return *part;
}

} // namespace vek::tools
