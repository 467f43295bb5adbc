// SPDX-License-Identifier: Apache-2.0
#include "client/files/OutputPath.h"
#include "client/frames/DngOutput.h"

#include "tools/commands/Commands.h"
#include "tools/commands/ConvertMakers.h"
#include "tools/commands/ConvertSeries.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/options/StageOptions.h"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <utility>

namespace vek::tools {

namespace {

/// The frame of a DNG file, or another one as such a file holds it. The form was taken.
SDngFrame dngOutput(const SConvertArguments& arguments, CChosenFrame& input) {
    requireNoPicture(arguments);
    requireRaw(arguments);
    SDngFrame dng = input.Dng() ? *input.Dng() : untouchedFrame(arguments, CLibraryHandle(-1), input.Take());
    if (input.Meta()) {
        takeMeta(dng.tags, *input.Meta());
    }
    takeLevels(arguments, dng);
    return dng;
}

/// One frame of one file.
void convertOne(SConvertArguments& arguments) {
    SConversion& conversion = arguments.conversion;
    CChosenFrame input(arguments.command, {conversion.width, conversion.height, arguments.format, arguments.colorArray},
                       arguments.profile, arguments.input);
    takeForm(arguments, input.Form(), input.Profile());
    if (isDngName(arguments.output)) {
        const SDngFrame frame = dngOutput(arguments, input);
        COutputFiles files(filesRead(arguments));
        writeDng(files.Open(arguments.output), frame);
        files.Publish();
        return;
    }
    std::optional<STransferredFrame> frame;
    const auto read = [&]() -> const STransferredFrame& {
        if (!frame) {
            frame = input.Take();
        }
        return *frame;
    };
    const SMakerKind kind = makerKind(arguments, read, input.Dng() ? &input.Dng()->tags : nullptr);
    const SMaker maker = kind.make();
    const SPictureView picture = maker.picture(read().bytes);
    COutputFiles files(filesRead(arguments));
    writePicture(files.Open(arguments.output), *pictureFormat(arguments.output), picture,
                 pictureOptions(arguments, kind.srgb));
    files.Publish();
}

void convert(SConvertArguments& arguments) {
    if (isVideoName(arguments.output)) {
        convertToVideo(arguments);
        return;
    }
    if (isSeries(arguments)) {
        convertSeries(arguments);
        return;
    }
    arguments.input.path = arguments.inputs.front();
    convertOne(arguments);
}

/// What keeps the output from being written to a path; empty where nothing does.
std::string outputComplaint(const std::string& path) {
    if (isVideoName(path)) {
        return bytesComplaint(path);
    }
    const std::string complaint = frameOutputComplaint(path);
    return complaint.ends_with(".dng") ? complaint + "; of recordings .nut, .ser" : complaint;
}

} // namespace

void addConvertCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("convert", "Turn a raw frame of a file into a picture or a DNG file");
    const auto arguments = std::make_shared<SConvertArguments>();
    SConversion& conversion = arguments->conversion;
    conversion.threads = usualThreads();
    arguments->command = command;

    command
        ->add_option("IN", arguments->inputs,
                     "Files with raw frames, DNG files, recordings, or grey PNG files; these tell their size\n"
                     "and format.\n"
                     "- reads raw frames from standard input. Of several files, or where one of the options\n"
                     "of a series is given, each frame becomes a file; names with *, ? and [...] are all\n"
                     "that fit")
        ->type_name("FILE")
        ->required();
    addFrameSize(*command, conversion.width, conversion.height);
    addChainFormat(*command, arguments->format,
                   "Samples of 14 and 16 bits are shifted down to 12 before they are demosaiced: colours have at most "
                   "12. Packed formats become 8 bits deep without --depth, colour formats always");
    addColorArray(*command, arguments->colorArray, ", and has to be with bgr and ycrcb");
    addProfile(*command, arguments->profile);
    command
        ->add_option("-o,--output", arguments->output,
                     wrapped(fmt::format("Picture to write, of the kind that its name ends in: {}; PNG without an "
                                         "ending. Into .dng goes the raw frame itself, untouched, into "
                                         ".nut and .ser all frames of a recording. - writes standard "
                                         "output unless that is a terminal. Of many frames a pattern: {{name}} is the "
                                         "input's name, {{frame}} its frame, {{number}} that of the series, "
                                         "{{frame:05}} with zeros in front",
                                         pictureEndings())))
        ->type_name("FILE")
        ->check(isOutput(outputComplaint))
        ->required();
    command
        ->add_option("--threads", conversion.threads,
                     "Threads that develop the frame and compress PNG, by default as many as the machine\n"
                     "runs at once, up to 8; the picture is the same")
        ->transform(range(1, kMostThreads));
    addFrameChoice(*command, arguments->input, nullptr);
    addSeriesOptions(*command, *arguments);
    addPictureOptions(*command, *arguments);
    command->callback([arguments] { convert(*arguments); });
}

} // namespace vek::tools
