// SPDX-License-Identifier: Apache-2.0
#include "client/files/JsonText.h"
#include "client/pictures/PictureOutput.h"
#include "client/stages/ChainRun.h"
#include "client/statistics/Differences.h"

#include "tools/commands/Commands.h"
#include "tools/options/Options.h"
#include "tools/options/SampleOptions.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace vek::tools {

namespace {

struct SFrameDiffArguments {
    SSampleOptions options;
    std::string a;
    std::string b;
    unsigned tolerance = 0;
    std::string map;
    bool json = false;
};

/// Reads both files. Options may be of use to one of them alone.
std::pair<SChosenSamples, SChosenSamples> readBoth(const SFrameDiffArguments& arguments) {
    if (arguments.a == "-" && arguments.b == "-") {
        throw CBadArguments("A and B are both standard input");
    }
    const CLibraryHandle library(-1);
    SChosenSamples a = readChosenSamples(library, arguments.options, arguments.a, false);
    SChosenSamples b = readChosenSamples(library, arguments.options, arguments.b, false);
    if (a.kind != EFrameFile::Raw && b.kind != EFrameFile::Raw) {
        const bool png = b.kind == EFrameFile::Png;
        requireFrameOptions(*arguments.options.command, png ? arguments.b : arguments.a, png ? b.kind : a.kind);
    }
    return {std::move(a), std::move(b)};
}

/// Samples of words have their value in the low bits, so that those of different depths can be compared; bytes and
/// pictures cannot: white is the largest sample there.
bool comparableDepths(const SChosenSamples& a, const SChosenSamples& b) {
    const auto inWords = [](const SChosenSamples& side) {
        return side.format != nullptr && side.format->IsRaw() && side.image.depth > 8;
    };
    return a.image.depth == b.image.depth || (inWords(a) && inWords(b));
}

void requireComparable(const SFrameDiffArguments& arguments, const SChosenSamples& a, const SChosenSamples& b) {
    const bool sameForm = a.image.width == b.image.width && a.image.height == b.image.height &&
                          a.image.channels == b.image.channels && a.colorArray == b.colorArray;
    if (!sameForm || !comparableDepths(a, b)) {
        throw CBadArguments(
            fmt::format("{} and {} cannot be compared: {}; {}", arguments.a, arguments.b, a.Text(), b.Text()));
    }
}

std::string decibels(double psnr) {
    return std::isinf(psnr) ? "infinite" : fmt::format("{:.2f} dB", psnr);
}

std::string differencesText(const SFrameDiffArguments& arguments, const SChosenSamples& a,
                            const SDifferences& differences) {
    CColumns lines(10);
    lines.Add("A", arguments.a);
    lines.Add("B", arguments.b);
    lines.Add("image", a.Text());
    const SColorDifferences& all = differences.all;
    lines.Add("result", all.differing == 0         ? "equal"
                        : all.beyond == 0          ? fmt::format("within the tolerance of {}", arguments.tolerance)
                        : arguments.tolerance == 0 ? "different"
                                                   : fmt::format("different, {} of {} samples by more than {}",
                                                                 all.beyond, all.count, arguments.tolerance));
    std::string text = lines.Text();
    text += fmt::format("\n{:<6}{:>12}{:>12}{:>9}{:>13}{:>10}{:>11}\n", "", "samples", "differing", "largest", "at",
                        "mean |d|", "mean d");
    std::vector<SColorDifferences> rows = differences.colors;
    if (rows.size() > 1) {
        rows.push_back(all);
    }
    for (const SColorDifferences& row : rows) {
        text += fmt::format("{:<6}{:>12}{:>12}{:>9}{:>13}{:>10.4g}{:>11.4g}\n", row.name, row.count, row.differing,
                            row.largest, row.largest == 0 ? "-" : fmt::format("{},{}", row.x, row.y), row.meanAbsolute,
                            row.meanSigned);
    }
    text += "\nPSNR";
    for (const SColorDifferences& row : rows) {
        text += fmt::format("  {} {}", row.name, decibels(row.psnr));
    }
    return text + "\n";
}

nlohmann::ordered_json differencesJson(const SColorDifferences& color) {
    nlohmann::ordered_json json;
    json["samples"] = color.count;
    json["differing"] = color.differing;
    json["beyondTolerance"] = color.beyond;
    json["largest"] = color.largest;
    json["at"] = color.largest == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json{{"x", color.x}, {"y", color.y}};
    json["meanAbsolute"] = color.meanAbsolute;
    json["meanSigned"] = color.meanSigned;
    json["psnr"] = std::isinf(color.psnr) ? nlohmann::ordered_json() : nlohmann::ordered_json(color.psnr);
    return json;
}

std::string differencesJson(const SFrameDiffArguments& arguments, const SChosenSamples& a, const SChosenSamples& b,
                            const SDifferences& differences) {
    nlohmann::ordered_json json;
    json["a"] = arguments.a;
    json["b"] = arguments.b;
    json["width"] = a.image.width;
    json["height"] = a.image.height;
    json["depth"] = std::max(a.image.depth, b.image.depth);
    json["tolerance"] = arguments.tolerance;
    json["equal"] = differences.all.differing == 0;
    json["withinTolerance"] = differences.all.beyond == 0;
    json["all"] = differencesJson(differences.all);
    for (const SColorDifferences& color : differences.colors) {
        json["colors"][std::string(color.name)] = differencesJson(color);
    }
    return jsonText(json);
}

void writeMap(const SFrameDiffArguments& arguments, const SChosenSamples& a, const SChosenSamples& b,
              unsigned largest) {
    checkPicture(arguments.map, a.image.width, a.image.height, a.image.channels, 8);
    COutputFiles files(std::vector<std::string>{arguments.a, arguments.b, arguments.options.profile});
    const SImage map = differenceMap(a.image, b.image, largest);
    std::vector<std::uint8_t> bytes;
    SPictureOptions options;
    options.threads = usualThreads();
    writePicture(files.Open(arguments.map), *pictureFormat(arguments.map), viewOf(map, bytes), options);
    files.Publish();
}

void diffFrames(const SFrameDiffArguments& arguments) {
    const auto [a, b] = readBoth(arguments);
    requireComparable(arguments, a, b);
    const SDifferences differences =
        differencesOf(a.image, b.image, a.colorArray, std::max(a.image.depth, b.image.depth), arguments.tolerance);
    if (!arguments.map.empty()) {
        writeMap(arguments, a, b, differences.all.largest);
    }
    print(arguments.json ? differencesJson(arguments, a, b, differences) : differencesText(arguments, a, differences));
    if (differences.all.beyond > 0) {
        throw CExit(kDifference);
    }
}

} // namespace

void addDiffCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("diff", "Tell how two frames or two pictures differ");
    const auto arguments = std::make_shared<SFrameDiffArguments>();
    command
        ->add_option("A", arguments->a,
                     "Raw, DNG, PNG, TIFF, JPEG, PGM or PPM file; - reads a raw frame from standard\ninput")
        ->type_name("FILE")
        ->required();
    command->add_option("B", arguments->b, "The other one, of the same size, colours and depth")
        ->type_name("FILE")
        ->required();
    addSampleOptions(*command, arguments->options);
    command
        ->add_option("--tolerance", arguments->tolerance,
                     "Distance between two samples that counts as none, 0 by default")
        ->transform(range(0, 65535));
    command
        ->add_option("--map", arguments->map,
                     "Picture of the differences to write: black where nothing differs, 32 for the\n"
                     "smallest distance to 255 for the largest one")
        ->type_name("FILE")
        ->check(isOutput(pictureComplaint));
    addJson(*command, arguments->json);
    command->footer("Exit codes: 0 equal or within the tolerance, 3 different, 1 a file cannot be read or written,\n"
                    "2 bad arguments: files that cannot be compared among them.");
    command->callback([arguments] { diffFrames(*arguments); });
}

} // namespace vek::tools
