// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PictureOutput.h"
#include "client/stages/Conversion.h"

#include "tools/commands/Commands.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/options/StageOptions.h"

#include <fmt/format.h>

#include <memory>
#include <optional>

namespace vek::tools {

namespace {

struct SConvertArguments {
    SFrameChoice input;
    std::string output;
    std::string format;
    std::string colorArray;
    std::string method;
    std::optional<std::string> black; ///< as typed: what it may be depends on the format
    std::optional<std::string> white;
    std::string settings;
    std::optional<int> quality;
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

/// What the arguments mean once they are known to fit together.
const SConversion& checked(SConvertArguments& arguments) {
    SConversion& conversion = arguments.conversion;
    conversion.format = findChainFormat(arguments.format);
    conversion.colorArray = frameColorArray(*conversion.format, colorArrayGiven(arguments.colorArray));
    conversion.method = static_cast<unsigned char>(*findCode(demosaicMethods(), arguments.method));
    checkMethod(conversion);
    conversion.black = checkedLevel("--black", arguments.black, *conversion.format);
    conversion.white = checkedLevel("--white", arguments.white, *conversion.format);
    const SPictureFormat& picture = *pictureFormat(arguments.output);
    if (arguments.quality && picture.name != "JPEG") {
        throw CBadArguments(
            fmt::format("--quality is of JPEG pictures: {} is a {} picture", arguments.output, picture.name));
    }
    if (conversion.bitsOut == 0 && picture.mostBits == 8) {
        conversion.bitsOut = 8;
    }
    complete(conversion);
    checkPicture(arguments.output, conversion.width, conversion.height, isGray(conversion) ? 1 : 3, conversion.bitsOut);
    return conversion;
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
    inputs.insert(inputs.end(), {arguments.input.path, arguments.settings});
    return inputs;
}

void convert(SConvertArguments& arguments) {
    const CLibraryHandle library(-1);
    arguments.conversion.stages.file = fileStages(library, arguments.settings);
    const SConversion& conversion = checked(arguments);
    const std::vector<std::uint8_t> bytes =
        readChosenFrame(arguments.input, *conversion.format, conversion.width, conversion.height);
    const SImage picture = CConverter(library, conversion).Picture(bytes);
    COutputFiles files(filesRead(arguments));
    SPictureOptions options;
    options.displayCurve = conversion.display;
    options.quality = arguments.quality.value_or(options.quality);
    options.threads = conversion.threads;
    writePicture(files.Open(arguments.output), *pictureFormat(arguments.output), picture, options);
    files.Publish();
}

} // namespace

void addConvertCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("convert", "Turn a raw frame of a file into a picture");
    const auto arguments = std::make_shared<SConvertArguments>();
    SConversion& conversion = arguments->conversion;
    conversion.threads = usualThreads();

    addFrameFile(*command, arguments->input)->required();
    addFrameSize(*command, conversion.width, conversion.height, true);
    addChainFormat(*command, arguments->format,
                   "Samples of 14 and 16 bits are shifted down to 12 before they are demosaiced: colours have at most "
                   "12. Packed formats become 8 bits deep without --depth, colour formats always")
        ->required();
    addColorArray(*command, arguments->colorArray, ", and has to be with bgr and ycrcb");
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
                                         "ending. - writes standard output unless that is a terminal",
                                         pictureEndings())))
        ->type_name("FILE")
        ->check(isOutput(pictureComplaint))
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
    CLI::Option* const display =
        command->add_flag("--display", conversion.display,
                          "Render for the eye: black and white level, grey-world white balance, sRGB curve");
    display->disable_flag_override();
    command->add_option("--black", arguments->black, "Sensor level of black, in samples of the format, 0 by default")
        ->type_name("LEVEL")
        ->needs(display);
    command
        ->add_option("--white", arguments->white,
                     "Sensor level of white; without it the bright end of the picture decides")
        ->type_name("LEVEL")
        ->needs(display);
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
