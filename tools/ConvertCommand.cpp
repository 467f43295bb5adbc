// SPDX-License-Identifier: Apache-2.0
#include "ConvertCommand.h"

#include "Corrections.h"
#include "DisplayRendering.h"
#include "Errors.h"
#include "FrameInput.h"
#include "LibraryHandle.h"
#include "Names.h"
#include "Options.h"
#include "OutputFile.h"
#include "PngOutput.h"
#include "StageOptions.h"
#include "Stages.h"

#include <fmt/format.h>

#include <memory>
#include <optional>

namespace vek::tools {

namespace {

// With offsets up to 2^60 and the largest frame, no sum of these leaves 64 bits.
constexpr std::uint64_t kMaxFrame = 1'000'000'000;
constexpr std::uint64_t kMaxOffset = std::uint64_t{1} << 60;

struct SConvertArguments {
    SFrameChoice input;
    std::string output;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string format;
    std::string colorArray;
    std::string method;
    unsigned bitsOut = 0;
    bool display = false;
    std::optional<std::string> blackText; ///< as typed: what it may be depends on the format
    std::optional<std::string> whiteText;
    std::optional<unsigned> black;
    std::optional<unsigned> white;
    std::string settings;
    SCorrections corrections;
    SStages stages;
};

/// What the arguments mean once they are known to fit together.
struct SConversion {
    const STransferFormat* format = nullptr;
    unsigned short colorArray = 0; ///< enum VekColorArray; 0 of blue-green-red
    unsigned char method = 0;
    unsigned short depth = 0; ///< of the picture in front of the display rendering
    unsigned short bitsOut = 0;
};

unsigned short checkedColorArray(const SConvertArguments& arguments, const STransferFormat& format) {
    if (!format.IsRaw()) {
        if (!arguments.colorArray.empty()) {
            throw CBadArguments(fmt::format("--colour-array does not go with format {}", format.name));
        }
        return VekTransferColorArray(format.code, 0);
    }
    if (arguments.colorArray.empty()) {
        if (!format.IsMono()) {
            throw CBadArguments(fmt::format("--colour-array is required with format {}", format.name));
        }
        return VEK_COLOR_ARRAY_MONO;
    }
    const auto colorArray = static_cast<unsigned short>(*findCode(bayerColorArrays(), arguments.colorArray));
    if (format.IsMono() && colorArray != VEK_COLOR_ARRAY_MONO) {
        throw CBadArguments(
            fmt::format("--colour-array {} does not go with format {}", colorArrayName(colorArray), format.name));
    }
    return colorArray;
}

bool isBayer(unsigned short colorArray) {
    return colorArray >= VEK_COLOR_ARRAY_RGGB && colorArray <= VEK_COLOR_ARRAY_BGGR;
}

/// The bicubic method gives deeper frames nothing above 255.
bool needsBytes(const SConvertArguments& arguments, unsigned short colorArray, unsigned char method) {
    return arguments.stages.any() || (isBayer(colorArray) && method == VEK_DEMOSAIC_BICUBIC);
}

/// A level in samples of the format; nothing where none was given.
std::optional<unsigned> checkedLevel(const char* option, const std::optional<std::string>& text,
                                     const STransferFormat& format) {
    if (!text) {
        return std::nullopt;
    }
    const unsigned largest = maxSample(format.depth);
    const std::optional<unsigned> level = sim::ReadWhole<unsigned>(*text, 0, largest);
    if (!level) {
        throw CBadArguments(fmt::format("{}: {} with format {}", option,
                                        sim::WholeComplaint(*text, "0", std::to_string(largest)), format.name));
    }
    return level;
}

void checkLevels(SConvertArguments& arguments, const SConversion& conversion) {
    const STransferFormat& format = *conversion.format;
    arguments.black = checkedLevel("--black", arguments.blackText, format);
    arguments.white = checkedLevel("--white", arguments.whiteText, format);
    const unsigned black = arguments.black.value_or(0);
    const unsigned white = arguments.white.value_or(maxSample(format.depth));
    // Both are shifted down with the samples and have to stay apart.
    const int shift = format.depth - conversion.depth;
    if (black >> shift >= white >> shift) {
        throw CBadArguments(fmt::format("--black {} is not below --white {}", black, white));
    }
}

SConversion checked(SConvertArguments& arguments) {
    SConversion conversion;
    conversion.format = findTransferFormat(arguments.format);
    conversion.colorArray = checkedColorArray(arguments, *conversion.format);
    conversion.method = static_cast<unsigned char>(*findCode(demosaicMethods(), arguments.method));
    const std::uint32_t smallest = smallestSide(conversion.colorArray, conversion.method);
    if (arguments.width < smallest || arguments.height < smallest) {
        throw CBadArguments(
            fmt::format("method {} needs {} x {} pixels or more", methodName(conversion.method), smallest, smallest));
    }
    const bool grey = conversion.colorArray == VEK_COLOR_ARRAY_MONO || conversion.method == VEK_DEMOSAIC_MONO;
    arguments.stages.file = stagesForFrame(arguments.stages.file, conversion.colorArray, grey);
    conversion.depth = needsBytes(arguments, conversion.colorArray, conversion.method)
                           ? kStagesDepth
                           : libraryDepth(*conversion.format);
    checkLevels(arguments, conversion);
    checkCorrections(arguments.corrections, *conversion.format, arguments.width, arguments.height,
                     conversion.colorArray);
    checkStages(arguments.stages, *conversion.format, arguments.width, arguments.height, conversion.colorArray, grey);
    const bool bytesByDefault = conversion.depth == 8 || arguments.display;
    conversion.bitsOut = static_cast<unsigned short>(arguments.bitsOut != 0 ? arguments.bitsOut
                                                     : bytesByDefault       ? 8
                                                                            : 16);
    return conversion;
}

/// The levels at the depth that the image has.
SImage displayed(const SImage& image, const SConvertArguments& arguments, const SConversion& conversion) {
    const int shift = conversion.format->depth - image.depth;
    SDisplayLevels levels = {
        static_cast<double>(arguments.black.value_or(0) >> shift),
        static_cast<double>(arguments.white.value_or(maxSample(conversion.format->depth)) >> shift)};
    // Method none leaves two channels of each pixel dark: a balance of what is there would tell nothing.
    const bool dark = isBayer(conversion.colorArray) && conversion.method == VEK_DEMOSAIC_NONE;
    const Gains gains = dark ? Gains{1, 1, 1} : greyWorldGains(image, levels);
    if (!arguments.white) {
        levels.white = brightLevel(image, levels, gains);
    }
    return renderForDisplay(image, levels, gains, conversion.bitsOut);
}

/// The picture in front of the stages that work on pictures.
SImage picture(const CLibraryHandle& library, std::span<const std::uint8_t> bytes, const SConvertArguments& arguments,
               const SConversion& conversion) {
    const STransferFormat& format = *conversion.format;
    if (!format.IsRaw()) {
        return library.Picture(bytes, format, arguments.width, arguments.height,
                               conversion.method == VEK_DEMOSAIC_MONO);
    }
    SRawFrame frame = format.layout == ELayout::Packed
                          ? library.Unpacked(bytes, format, arguments.width, arguments.height, conversion.colorArray)
                          : rawFrame(bytes, format, arguments.width, arguments.height, conversion.colorArray);
    if (arguments.corrections.any()) {
        correct(library, arguments.corrections, format, frame);
    }
    if (needsBytes(arguments, conversion.colorArray, conversion.method)) {
        frame = afterRawStages(library, arguments.stages, frame);
    }
    return library.Demosaic(frame, conversion.method);
}

/// The files that a conversion reads.
std::vector<std::string> inputsOf(const SConvertArguments& arguments) {
    std::vector<std::string> inputs = {arguments.input.path, arguments.settings};
    for (const std::string& path : {arguments.corrections.darkPath, arguments.corrections.shadingPath}) {
        if (!path.empty()) {
            inputs.insert(inputs.end(), {path, descriptionPath(path)});
        }
    }
    return inputs;
}

void convert(SConvertArguments& arguments) {
    const CLibraryHandle library(-1);
    if (!arguments.settings.empty()) {
        arguments.stages.file = readFileStages(library, arguments.settings);
    }
    const SConversion conversion = checked(arguments);
    const std::vector<std::uint8_t> bytes =
        readFrame(arguments.input, *conversion.format, arguments.width, arguments.height);
    const SStages& stages = arguments.stages;
    SImage image = picture(library, bytes, arguments, conversion);
    if (stages.any()) {
        runPictureStages(library, stages, image);
    }
    const SImage result =
        arguments.display ? displayed(image, arguments, conversion) : scaledToDepth(image, conversion.bitsOut);
    COutputFiles files(inputsOf(arguments));
    writePng(files.Open(arguments.output), result, arguments.display);
    files.Publish();
}

} // namespace

void addConvertCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("convert", "Turn a raw frame of a file into a PNG picture");
    const auto arguments = std::make_shared<SConvertArguments>();

    command->add_option("IN", arguments->input.path, "File with raw frames; - reads standard input")
        ->type_name("FILE")
        ->required();
    command->add_option("-W,--width", arguments->width, "Pixels of a row")->required()->transform(range(1, 65535));
    command->add_option("-H,--height", arguments->height, "Rows")->required()->transform(range(1, 65535));
    command
        ->add_option("-f,--format", arguments->format,
                     "Transfer format, number 0 to 21 or name: raw8, raw10, raw12, raw14, raw16,\n"
                     "mono8 to mono16; packed raw10p, raw12p, mono10p, mono12p; bgr8, bgr10;\n"
                     "ycrcb411, ycrcb422, ycrcb444 and these three with -bt709. Samples of 14 and\n"
                     "16 bits are shifted down to 12 before the library gets them: its demosaicing\n"
                     "takes at most 12. Packed and colour formats become 8 bits deep")
        ->required()
        ->check(isTransferFormat());
    command
        ->add_option("-a,--colour-array,--color-array", arguments->colorArray,
                     "Number 1 to 5 or name: " + nameList(bayerColorArrays()) +
                         ".\nMay be left out with the mono formats, and has to be with bgr and ycrcb")
        ->check(isCodeOf(bayerColorArrays()));
    command
        ->add_option("-m,--method", arguments->method,
                     "Demosaic method, number or name: " + nameList(demosaicMethods()) +
                         ".\nBicubic works at 8 bits. Of bgr and ycrcb mono shows green and luma, every\n"
                         "other method the colours")
        ->default_val("bilinear")
        ->check(isCodeOf(demosaicMethods()));
    command
        ->add_option("-o,--output", arguments->output,
                     "PNG file to write; - writes standard output unless that is a terminal")
        ->type_name("FILE")
        ->check(isOutput(pictureComplaint))
        ->required();
    command
        ->add_option("--bits-out", arguments->bitsOut,
                     "Bits of a sample in the PNG file; by default 8 for 8-bit formats and with\n"
                     "--display or an image stage, else 16. Samples are scaled to the whole range")
        ->transform(eitherOf(8, 16));
    command->add_option("--src-offset", arguments->input.offset, "Bytes in front of the first frame, 0 by default")
        ->transform(range(0, kMaxOffset));
    command
        ->add_option("--frame", arguments->input.frame, "Which frame of the file, counted from 0, which is the default")
        ->transform(range(0, kMaxFrame));
    command->add_flag("--force", arguments->input.force, kForceHelp)->disable_flag_override();
    CLI::Option* const display =
        command->add_flag("--display", arguments->display,
                          "Render for the eye: black and white level, grey-world white balance, sRGB curve");
    display->disable_flag_override();
    command
        ->add_option("--black", arguments->blackText, "Sensor level of black, in samples of the format, 0 by default")
        ->type_name("LEVEL")
        ->needs(display);
    command
        ->add_option("--white", arguments->whiteText,
                     "Sensor level of white; without it the bright end of the picture decides")
        ->type_name("LEVEL")
        ->needs(display);
    command
        ->add_option("--settings", arguments->settings,
                     "Setting file, as \"vekcam settings save\" writes it: the image stages that it\n"
                     "switches on run with its values. The options below come before it")
        ->type_name("FILE");
    addCorrectionOptions(*command, arguments->corrections);
    addStageOptions(*command, arguments->stages);
    command->callback([arguments] { convert(*arguments); });
}

} // namespace vek::tools
