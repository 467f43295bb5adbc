// SPDX-License-Identifier: Apache-2.0
#include "client/files/OutputPath.h"
#include "client/frames/Dng.h"
#include "client/frames/DngOutput.h"
#include "client/pictures/PictureOutput.h"
#include "client/stages/Conversion.h"

#include "tools/commands/Commands.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/options/StageOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

namespace vek::tools {

namespace {

struct SConvertArguments {
    const CLI::App* command = nullptr;
    SFrameChoice input;
    std::string output;
    std::string format;
    std::string colorArray;
    std::string method;
    std::optional<std::string> black; ///< as typed: what it may be depends on the format
    std::optional<std::string> white;
    std::string settings;
    std::optional<int> quality;
    std::string profile;
    SConversion conversion;
};

/// A level in samples of the format; nothing where none was given.
std::optional<unsigned> checkedLevel(const char* option, const std::optional<std::string>& text,
                                     const STransferFormat& format) {
    if (!text) {
        return std::nullopt;
    }
    const unsigned largest = maxSample(format.depth);
    const std::optional<unsigned> level = sim::readWhole<unsigned>(*text, 0, largest);
    if (!level) {
        throw CBadArguments(fmt::format("{}: {} with format {}", option,
                                        sim::wholeComplaint(*text, "0", std::to_string(largest)), format.name));
    }
    return level;
}

/// The format and colour array of the input. dng: of a DNG file, else null.
void takeForm(SConvertArguments& arguments, const STransferredFrame* dng) {
    SConversion& conversion = arguments.conversion;
    if (dng != nullptr) {
        conversion.format = dng->format;
        conversion.width = dng->width;
        conversion.height = dng->height;
        conversion.colorArray = dng->colorArray;
        return;
    }
    conversion.profile = completeForm({conversion.width, conversion.height, arguments.format, arguments.colorArray},
                                      arguments.profile, arguments.input);
    conversion.format = findChainFormat(arguments.format);
    conversion.colorArray = frameColorArray(*conversion.format, colorArrayGiven(arguments.colorArray));
}

/// Completes what the arguments mean once they are known to fit together. The form was taken.
void check(SConvertArguments& arguments) {
    SConversion& conversion = arguments.conversion;
    conversion.method = static_cast<unsigned char>(*findCode(demosaicMethods(), arguments.method));
    checkMethod(conversion);
    const SPictureFormat& picture = *pictureFormat(arguments.output);
    if (arguments.quality && picture.name != "JPEG") {
        throw CBadArguments(
            fmt::format("--quality is of JPEG pictures: {} is a {} picture", arguments.output, picture.name));
    }
    for (const char* const option : {"--black", "--white"}) {
        if (arguments.command->count(option) > 0 && !conversion.display) {
            throw CBadArguments(fmt::format("{} requires --display or a DNG file as output", option));
        }
    }
    if (conversion.bitsOut == 0 && picture.mostBits == 8) {
        conversion.bitsOut = 8;
    }
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

/// The files that a conversion reads.
std::vector<std::string> filesRead(const SConvertArguments& arguments) {
    std::vector<std::string> inputs = inputsOf(arguments.conversion.corrections);
    inputs.insert(inputs.end(), {arguments.input.path, arguments.settings, arguments.profile});
    return inputs;
}

STransferredFrame readTransferred(const SConvertArguments& arguments) {
    const SConversion& conversion = arguments.conversion;
    return {conversion.format, conversion.width, conversion.height, conversion.colorArray,
            readChosenFrame(arguments.input, *conversion.format, conversion.width, conversion.height)};
}

/// Throws CBadArguments for options that say how a picture is made.
void requireNoPicture(const SConvertArguments& arguments) {
    constexpr std::string_view kOfTheFrame[] = {
        "IN",       "--width",      "--height",     "--format",     "--colour-array",
        "--output", "--src-offset", "--src-stride", "--byte-order", "--frame",
        "--force",  "--threads",    "--black",      "--white",      "--profile"};
    for (const CLI::Option* const option : arguments.command->get_options()) {
        const bool known = std::any_of(std::begin(kOfTheFrame), std::end(kOfTheFrame),
                                       [&](std::string_view name) { return option->check_name(std::string(name)); });
        if (option->count() > 0 && !known) {
            throw CBadArguments(fmt::format("{} does not go with {}: a DNG file holds the frame as it is",
                                            option->get_name(), arguments.output));
        }
    }
}

/// The frame of a DNG file, or a raw one as such a file holds it. dng: the frame of the input where it is one.
SDngFrame untouchedFrame(SConvertArguments& arguments, std::optional<SDngFrame> dng) {
    SConversion& conversion = arguments.conversion;
    requireNoPicture(arguments);
    const STransferredFrame linear = dng ? transferredFrameOf(*dng) : STransferredFrame();
    takeForm(arguments, dng ? &linear : nullptr);
    if (!conversion.format->IsRaw()) {
        throw CBadArguments(fmt::format("{}: a DNG file holds a raw or mono frame: format {} is colour already",
                                        arguments.output, conversion.format->name));
    }
    const std::optional<unsigned> black = checkedLevel("--black", arguments.black, *conversion.format);
    const std::optional<unsigned> white = checkedLevel("--white", arguments.white, *conversion.format);
    if (!dng) {
        dng = dngFrameOf(unpackedFrame(CLibraryHandle(-1), readTransferred(arguments), conversion.threads));
    }
    if (black) {
        dng->tags.black = {static_cast<double>(*black)};
    }
    dng->tags.white = white.value_or(dng->tags.white);
    if (blackLevelOf(dng->tags) >= dng->White()) {
        throw CBadArguments(fmt::format("--black {} is not below --white {}", blackLevelOf(dng->tags), dng->White()));
    }
    return std::move(*dng);
}

SImage pictureOf(SConvertArguments& arguments, const std::optional<SDngFrame>& dng) {
    SConversion& conversion = arguments.conversion;
    const CLibraryHandle library(-1);
    conversion.stages.file = fileStages(library, arguments.settings);
    STransferredFrame frame = dng ? transferredFrameOf(*dng) : STransferredFrame();
    takeForm(arguments, dng ? &frame : nullptr);
    conversion.black = checkedLevel("--black", arguments.black, *conversion.format);
    conversion.white = checkedLevel("--white", arguments.white, *conversion.format);
    if (dng && !conversion.black) {
        conversion.black = static_cast<unsigned>(std::lround(blackLevelOf(dng->tags)));
    }
    check(arguments);
    if (!dng) {
        frame = readTransferred(arguments);
    }
    return CConverter(library, conversion).Picture(frame.bytes);
}

void convert(SConvertArguments& arguments) {
    std::optional<SDngFrame> dng = readChosenDng(*arguments.command, arguments.input);
    if (isDngName(arguments.output)) {
        const SDngFrame frame = untouchedFrame(arguments, std::move(dng));
        COutputFiles files(filesRead(arguments));
        writeDng(files.Open(arguments.output), frame);
        files.Publish();
        return;
    }
    const SImage picture = pictureOf(arguments, dng);
    COutputFiles files(filesRead(arguments));
    SPictureOptions options;
    options.displayCurve = arguments.conversion.display;
    options.quality = arguments.quality.value_or(options.quality);
    options.threads = arguments.conversion.threads;
    writePicture(files.Open(arguments.output), *pictureFormat(arguments.output), picture, options);
    files.Publish();
}

/// What keeps the output from being written to a path; empty where nothing does.
std::string outputComplaint(const std::string& path) {
    if (isDngName(path)) {
        return bytesComplaint(path);
    }
    const std::string complaint = pictureComplaint(path);
    return pictureFormat(path) != nullptr ? complaint : complaint + ", .dng";
}

} // namespace

void addConvertCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("convert", "Turn a raw frame of a file into a picture or a DNG file");
    const auto arguments = std::make_shared<SConvertArguments>();
    SConversion& conversion = arguments->conversion;
    conversion.threads = usualThreads();
    arguments->command = command;

    addFrameFile(*command, arguments->input)->required();
    addFrameSize(*command, conversion.width, conversion.height);
    addChainFormat(*command, arguments->format,
                   "Samples of 14 and 16 bits are shifted down to 12 before they are demosaiced: colours have at most "
                   "12. Packed formats become 8 bits deep without --depth, colour formats always");
    addColorArray(*command, arguments->colorArray, ", and has to be with bgr and ycrcb");
    addProfile(*command, arguments->profile);
    command
        ->add_option("-m,--method", arguments->method,
                     wrapped(fmt::format("Demosaic method, number {} or name: {}. Bicubic works at 8 bits. Of bgr and "
                                         "ycrcb mono shows green and luma, every other method the colours",
                                         numberList(demosaicMethods()), nameList(demosaicMethods()))))
        ->default_val("bilinear")
        ->check(isCodeOf(demosaicMethods()));
    command
        ->add_option("-o,--output", arguments->output,
                     wrapped(fmt::format("Picture to write, of the kind that its name ends in: {}; PNG without an "
                                         "ending. Into .dng goes the raw frame itself, untouched. - writes standard "
                                         "output unless that is a terminal",
                                         pictureEndings())))
        ->type_name("FILE")
        ->check(isOutput(outputComplaint))
        ->required();
    command
        ->add_option("--depth", conversion.depth,
                     "Most bits that samples are demosaiced with; low ones are cut off. By default 12,\n"
                     "of packed formats 8. 12 also takes these as they are, 16 is for grey pictures;\n"
                     "neither goes with image stages")
        ->transform(oneOf({8, 12, 16}));
    command
        ->add_option("--bits-out", conversion.bitsOut,
                     "Bits of a sample in the picture; by default 8 for frames demosaiced at 8 bits, with\n"
                     "--display and in JPEG files, else 16. Samples are scaled to the whole range")
        ->transform(oneOf({8, 16}));
    command->add_option("--quality", arguments->quality, "Of JPEG pictures, 95 by default")->transform(range(1, 100));
    command
        ->add_option("--threads", conversion.threads,
                     "Threads that develop the frame and compress PNG, by default as many as the machine\n"
                     "runs at once, up to 8; the picture is the same")
        ->transform(range(1, kMostThreads));
    addFrameChoice(*command, arguments->input, nullptr);
    command
        ->add_flag("--display", conversion.display,
                   "Render for the eye: black and white level, grey-world white balance, sRGB curve")
        ->disable_flag_override();
    command
        ->add_option("--black", arguments->black,
                     "Sensor level of black, in samples of the format; by default 0, of a DNG file its own")
        ->type_name("LEVEL");
    command
        ->add_option("--white", arguments->white,
                     "Sensor level of white; without it the bright end of the picture decides. DNG files\n"
                     "that are written tell both levels")
        ->type_name("LEVEL");
    command
        ->add_option("--settings", arguments->settings,
                     "Setting file, as \"vekcam settings save\" writes it: the image stages that it\n"
                     "switches on run with its values. The options below come before it")
        ->type_name("FILE");
    addCorrectionOptions(*command, conversion.corrections);
    addStageOptions(*command, conversion.stages);
    command->callback([arguments] { convert(*arguments); });
}

} // namespace vek::tools
