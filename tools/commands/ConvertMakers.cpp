// SPDX-License-Identifier: Apache-2.0
#include "tools/commands/ConvertMakers.h"

#include "client/develop/DngProfile.h"
#include "client/files/OutputPath.h"
#include "client/frames/DngOutput.h"
#include "client/profiles/ProfileImport.h"

#include "tools/options/FrameOptions.h"
#include "tools/options/StageOptions.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace vek::tools {

namespace {

/// The option that has the library's 8-bit stages run, or nothing but its functions, and no development; empty where
/// none was given.
std::string plainCause(const SConvertArguments& arguments) {
    constexpr const char* kPlain[] = {"--plain",     "--display",      "--depth",      "--settings",
                                      "--raw-gamma", "--hue",          "--saturation", "--suppress-high",
                                      "--gamma",     "--suppress-low", "--brightness", "--contrast"};
    for (const char* const option : kPlain) {
        if (arguments.command->count(option) > 0) {
            return option;
        }
    }
    return arguments.conversion.format->IsRaw() ? "" : fmt::format("format {}", arguments.conversion.format->name);
}

/// Takes the method and the bits of the picture. usual: the method where none was given. The form was taken.
void takeMethod(SConvertArguments& arguments, const char* usual) {
    SConversion& conversion = arguments.conversion;
    const std::string& name = arguments.method.empty() ? usual : arguments.method;
    conversion.method = static_cast<unsigned char>(*findCode(demosaicMethods(), name));
    checkMethod(conversion);
    const SPictureFormat& picture = *pictureFormat(arguments.output);
    if (arguments.quality && picture.name != "JPEG") {
        throw CBadArguments(
            fmt::format("--quality is of JPEG pictures: {} is a {} picture", arguments.output, picture.name));
    }
    if (conversion.bitsOut == 0 && picture.mostBits == 8) {
        conversion.bitsOut = 8;
    }
}

/// Completes what the arguments mean once they are known to fit together. The form was taken.
void check(SConvertArguments& arguments, const std::string& cause) {
    SConversion& conversion = arguments.conversion;
    takeMethod(arguments, "bilinear");
    for (const char* const option : {"--black", "--white"}) {
        if (arguments.command->count(option) > 0 && !conversion.display) {
            throw CBadArguments(fmt::format("{} does not go with {}: no picture is developed", option, cause));
        }
    }
    takeStages(arguments.develop, cause, conversion.stages);
    complete(conversion);
    checkPicture(arguments.output, conversion.width, conversion.height, isGray(conversion) ? 1 : 3, conversion.bitsOut);
}

SFileStages fileStages(const CLibraryHandle& library, const std::string& path) {
    const std::optional<SFileStages> stages = path.empty() ? SFileStages() : readFileStages(library, path);
    if (!stages) {
        throw CFailure(fmt::format("{}: the library refuses a setting; \"vekcam settings show\" tells which", path));
    }
    return *stages;
}

/// As the library's functions give it.
SMakerKind plainKind(SConvertArguments& arguments, const std::string& cause, const SDngTags* tags) {
    SConversion& conversion = arguments.conversion;
    conversion.stages.file = fileStages(CLibraryHandle(-1), arguments.settings);
    conversion.black = checkedLevel("--black", arguments.develop.black, *conversion.format);
    conversion.white = checkedLevel("--white", arguments.develop.white, *conversion.format);
    if (tags != nullptr && !conversion.black) {
        conversion.black = static_cast<unsigned>(std::lround(blackLevelOf(*tags)));
    }
    check(arguments, cause);
    struct SPlain {
        CLibraryHandle library{-1};
        std::optional<CConverter> converter;
        SImage image;
        std::vector<std::uint8_t> bytes;
    };
    const auto make = [conversion, settings = arguments.settings] {
        const auto plain = std::make_shared<SPlain>();
        fileStages(plain->library, settings);
        plain->converter.emplace(plain->library, conversion);
        return SMaker{[plain](std::span<const std::uint8_t> bytes) {
            plain->image = plain->converter->Picture(bytes);
            return viewOf(plain->image, plain->bytes);
        }};
    };
    return {make, conversion.display};
}

/// The turn that brings a frame upright whose first row and column lie as TIFF's orientation, 1 to 8, says.
STurning turningOf(unsigned orientation) {
    constexpr STurning kTurnings[] = {{},
                                      {.leftRight = true},
                                      {.quarters = 2},
                                      {.topBottom = true},
                                      {.leftRight = true, .quarters = 3},
                                      {.quarters = 1},
                                      {.leftRight = true, .quarters = 1},
                                      {.quarters = 3}};
    return kTurnings[orientation - 1];
}

/// How pictures are developed, but for what a frame shows.
struct SDevelopPlan {
    SDeveloping developing;
    SDevelopmentChoices choices;
};

SDevelopPlan developPlan(SConvertArguments& arguments, const SDngTags* tags) {
    SConversion& conversion = arguments.conversion;
    const STransferFormat& format = *conversion.format;
    const bool small =
        std::min(conversion.width, conversion.height) < smallestSide(conversion.colorArray, VEK_CHAIN_DEMOSAIC_EDGE);
    takeMethod(arguments, small ? "bilinear" : "edge");
    SDevelopPlan plan;
    SDeveloping& developing = plan.developing;
    developing.format = &format;
    developing.width = conversion.width;
    developing.height = conversion.height;
    developing.colorArray = conversion.colorArray;
    developing.method = conversion.method;
    developing.gray = isGray(conversion);
    developing.bits = conversion.bitsOut == 0 ? 8 : conversion.bitsOut;
    developing.threads = conversion.threads;
    checkPicture(arguments.output, conversion.width, conversion.height, developing.gray ? 1 : 3, developing.bits);
    const SStages& stages = conversion.stages;
    if (stages.mirror || stages.rotation) {
        const unsigned mirror = stages.mirror.value_or(VEK_MIRROR_NONE);
        developing.turning.leftRight = (mirror & VEK_MIRROR_HORIZONTAL) != 0;
        developing.turning.topBottom = (mirror & VEK_MIRROR_VERTICAL) != 0;
        developing.turning.quarters = !stages.rotation ? 0 : *stages.rotation == VEK_ROTATION_CLOCKWISE ? 1 : 3;
    } else if (tags != nullptr) {
        developing.turning = turningOf(tags->orientation);
    }
    if (arguments.develop.balance && !isBayer(conversion.colorArray)) {
        throw CBadArguments("--wb needs a Bayer frame");
    }
    plan.choices = developmentChoices(arguments.develop, format);
    plan.choices.sharpness = stages.sharpness;
    if (conversion.profile) {
        takeProfile(conversion.corrections, *conversion.profile);
    }
    developing.corrections = conversion.corrections;
    if (plan.choices.black.kind == SBlackChoice::EKind::Dark && !developing.corrections.noise) {
        developing.corrections.darkPath.clear(); // it tells the level alone
    }
    checkCorrections(developing.corrections, format, conversion.width, conversion.height, conversion.colorArray);
    return plan;
}

/// Developed. first: the frame that white balance and exposure are found on.
SMakerKind developingKind(const SConvertArguments& arguments, SDevelopPlan plan, const STransferredFrame& first) {
    const SConversion& conversion = arguments.conversion;
    const SProfile* const profile = conversion.profile ? &*conversion.profile : nullptr;
    SDevelopment& development = plan.developing.development;
    development =
        settled(plan.choices, profile, conversion.corrections, CLibraryHandle(-1), first, plan.developing.gray);
    if (!development.assumed.empty()) {
        warn(fmt::format("{}; assumed: {}", profile != nullptr ? "the profile does not say all" : "no profile",
                         fmt::join(development.assumed, ", ")));
    }
    struct SDeveloped {
        CLibraryHandle library{-1};
        std::optional<CDeveloper> developer;
    };
    const auto make = [developing = plan.developing] {
        const auto developed = std::make_shared<SDeveloped>();
        developed->developer.emplace(developed->library, developing);
        return SMaker{
            [developed](std::span<const std::uint8_t> bytes) { return developed->developer->Picture(bytes); }};
    };
    return {make, development.tone.kind == SToneCurve::EKind::Srgb};
}

/// The profile that a DNG file holds, for its linear frame.
SProfile profileOf(const SConvertArguments& arguments, const SDngTags& tags) {
    SImportedProfile imported = readImportedProfile(arguments.input.path);
    imported.profile.format = nullptr;
    imported.profile.bits.reset();
    imported.profile.linearization.clear();
    if (hasStandInColors(tags)) {
        imported.profile.colors = {};
    }
    return std::move(imported.profile);
}

} // namespace

void takeForm(SConvertArguments& arguments, const STransferredFrame& form, const std::optional<SProfile>& profile) {
    SConversion& conversion = arguments.conversion;
    conversion.format = form.format;
    conversion.width = form.width;
    conversion.height = form.height;
    conversion.colorArray = form.colorArray;
    conversion.profile = profile;
}

SMakerKind makerKind(SConvertArguments& arguments, const std::function<const STransferredFrame&()>& read,
                     const SDngTags* tags) {
    const std::string cause = plainCause(arguments);
    if (!cause.empty()) {
        return plainKind(arguments, cause, tags);
    }
    if (tags != nullptr) {
        arguments.conversion.profile = profileOf(arguments, *tags);
    }
    SDevelopPlan plan = developPlan(arguments, tags);
    return developingKind(arguments, std::move(plan), read());
}

void requireNoPicture(const SConvertArguments& arguments) {
    constexpr std::string_view kOfTheFrame[] = {
        "IN", "--width", "--height", "--format", "--colour-array", "--output", "--src-offset", "--src-stride",
        "--byte-order", "--frame", "--force", "--threads", "--black", "--white", "--profile", "--frames", "--json",
        "--keep-going", "--resume",
        // of a camera's frames
        "--device", "--sim", "--hot", "--no-noise", "--seed", "--light", "--fps", "--sim-delay", "--faults",
        "--exposure", "--gain", "--timeout", "--reconnect", "--until", "--every", "--on-change", "--settle", "--alc",
        "--alc-target", "--no-loss", "--queue", "--policy", "--realtime"};
    for (const CLI::Option* const option : arguments.command->get_options()) {
        const bool known = std::any_of(std::begin(kOfTheFrame), std::end(kOfTheFrame),
                                       [&](std::string_view name) { return option->check_name(std::string(name)); });
        if (option->count() > 0 && !known) {
            throw CBadArguments(fmt::format("{} does not go with {}: such a file holds the frame as it is",
                                            option->get_name(), arguments.output));
        }
    }
}

void requireRaw(const SConvertArguments& arguments) {
    const STransferFormat& format = *arguments.conversion.format;
    if (!format.IsRaw()) {
        throw CBadArguments(fmt::format("{}: a DNG file holds a raw or mono frame: format {} is colour already",
                                        arguments.output, format.name));
    }
}

SDngFrame untouchedFrame(const SConvertArguments& arguments, const CLibraryHandle& library, STransferredFrame frame) {
    const SConversion& conversion = arguments.conversion;
    SDngFrame dng = dngFrameOf(unpackedFrame(library, std::move(frame), conversion.threads));
    if (conversion.profile) {
        takeProfile(dng, *conversion.profile);
    }
    return dng;
}

void takeLevels(const SConvertArguments& arguments, SDngFrame& frame) {
    const STransferFormat& format = *arguments.conversion.format;
    const std::optional<unsigned> black = checkedLevel("--black", arguments.develop.black, format);
    const std::optional<unsigned> white = checkedLevel("--white", arguments.develop.white, format);
    if (black) {
        frame.tags.black = {static_cast<double>(*black)};
    }
    frame.tags.white = white.value_or(frame.tags.white);
    if (blackLevelOf(frame.tags) >= frame.White()) {
        throw CBadArguments(fmt::format("--black {} is not below --white {}", blackLevelOf(frame.tags), frame.White()));
    }
}

std::vector<std::string> filesRead(const SConvertArguments& arguments) {
    std::vector<std::string> inputs = inputsOf(arguments.conversion.corrections);
    inputs.insert(inputs.end(), {arguments.input.path, arguments.settings, arguments.profile});
    return inputs;
}

SPictureOptions pictureOptions(const SConvertArguments& arguments, bool srgb) {
    SPictureOptions options;
    options.displayCurve = srgb;
    options.quality = arguments.quality.value_or(options.quality);
    options.threads = arguments.conversion.threads;
    return options;
}

void addPictureOptions(CLI::App& command, SConvertArguments& arguments) {
    SConversion& conversion = arguments.conversion;
    command
        .add_option("-m,--method", arguments.method,
                    wrapped(fmt::format("Demosaic method, number {} or name: {}. By default edge, where no picture "
                                        "is developed bilinear. Bicubic works at 8 bits. Of bgr and ycrcb mono shows "
                                        "green and luma, every other method the colours",
                                        numberList(demosaicMethods()), nameList(demosaicMethods()))))
        ->check(isCodeOf(demosaicMethods()));
    command
        .add_option("--depth", conversion.depth,
                    "Most bits that samples are demosaiced with; low ones are cut off. By default 12,\n"
                    "of packed formats 8. 12 also takes these as they are, 16 is for grey pictures;\n"
                    "neither goes with image stages")
        ->transform(oneOf({8, 12, 16}));
    command
        .add_option("--bits-out", conversion.bitsOut,
                    "Bits of a sample in the picture; by default 8 for frames demosaiced at 8 bits, with\n"
                    "--display and in JPEG files, else 16. Samples are scaled to the whole range")
        ->transform(oneOf({8, 16}));
    command.add_option("--quality", arguments.quality, "Of JPEG pictures, 95 by default")->transform(range(1, 100));
    command
        .add_flag("--plain", arguments.plain,
                  "No development: what the library's functions give, scaled to the picture's bits. So\n"
                  "it is with colour formats, --display, --depth, --settings and the options of the 8-bit\n"
                  "stages that developing does not have (--raw-gamma, --hue to --contrast)")
        ->disable_flag_override();
    command
        .add_flag("--display", conversion.display,
                  "Of a picture that is not developed: black and white level, a white balance and a\n"
                  "brightness that are guessed from the picture, sRGB curve")
        ->disable_flag_override();
    command
        .add_option("--settings", arguments.settings,
                    "Setting file, as \"vekcam settings save\" writes it: the image stages that it\n"
                    "switches on run with its values. The options below come before it")
        ->type_name("FILE");
    addCorrectionOptions(command, conversion.corrections);
    addDevelopOptions(command, arguments.develop);
    addStageOptions(command, conversion.stages);
}

std::string frameOutputComplaint(const std::string& path) {
    if (isDngName(path)) {
        return bytesComplaint(path);
    }
    const std::string complaint = pictureComplaint(path);
    return pictureFormat(path) != nullptr ? complaint : complaint + ", .dng";
}

} // namespace vek::tools
