// SPDX-License-Identifier: Apache-2.0
// vekcam calibrate colour: a camera's matrix and white balance out of a frame of a colour chart.
#include "client/Errors.h"
#include "client/calibration/ChartPicture.h"
#include "client/calibration/ColorChart.h"
#include "client/files/JsonText.h"
#include "client/files/OutputFile.h"
#include "client/pictures/PictureOutput.h"
#include "client/profiles/ProfileImport.h"
#include "client/stages/Conversion.h"

#include "tools/commands/Commands.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <optional>

namespace vek::tools {

namespace {

struct SColorArguments {
    const CLI::App* command = nullptr;
    SFrameChoice input;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string format;
    std::string colorArray;
    std::string profile;
    std::optional<SBlackLevels> black;
    std::optional<unsigned> white;
    std::string reference;
    std::optional<Quad> corners;
    bool noPlane = false;
    std::optional<unsigned> illuminant;
    std::string name = "chart";
    std::string output;
    std::string picture;
    bool json = false;
};

constexpr SName kIlluminants[] = {{17, "a"}, {18, "b"}, {19, "c"}, {23, "d50"}, {20, "d55"}, {21, "d65"}, {22, "d75"}};

std::optional<unsigned> parsedIlluminant(std::string_view text) {
    constexpr unsigned kMostCode = 255;
    const std::optional<unsigned> named = findCode(kIlluminants, text);
    const std::optional<unsigned> code = named ? named : sim::readWhole<unsigned>(text, 1, kMostCode);
    return code && lightSourceWhite(*code) ? code : std::nullopt;
}

std::optional<Quad> parsedCorners(std::string_view text) {
    const std::vector<double> numbers = decimals(text);
    Quad quad;
    if (numbers.size() != 2 * quad.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < quad.size(); ++i) {
        quad[i] = {numbers[2 * i], numbers[2 * i + 1]};
    }
    return quad;
}

/// A frame of bytes or words, and the profile that the calibrated one begins with.
struct SChartFrame {
    STransferredFrame frame;
    SProfile profile;
};

/// Samples that are linear, as the levels of a profile are.
STransferredFrame linearFrame(STransferredFrame frame, const SProfile& profile) {
    if (profile.linearization.empty()) {
        return frame;
    }
    SDngFrame stored = dngFrameOf(frame);
    stored.tags.linearization = profile.linearization;
    stored.tags.white = profile.linearization.back();
    return transferredFrameOf(stored);
}

SChartFrame readChart(SColorArguments& arguments) {
    CChosenFrame input(arguments.command, {arguments.width, arguments.height, arguments.format, arguments.colorArray},
                       arguments.profile, arguments.input);
    if (input.Dng()) {
        SChartFrame chart = {input.Take(), readImportedProfile(arguments.input.path).profile};
        // Those that the file has are what is measured now.
        chart.profile.colors = {};
        return chart;
    }
    SChartFrame chart = {input.Form(), input.Profile().value_or(SProfile())};
    STransferredFrame& frame = chart.frame;
    if (!frame.format->IsRaw()) {
        throw CBadArguments(fmt::format("format {} has no raw frames", frame.format->name));
    }
    chart.profile.width = frame.width;
    chart.profile.height = frame.height;
    chart.profile.format = frame.format;
    chart.profile.colorArray = frame.colorArray;
    frame = input.Take();
    frame = linearFrame(unpackedFrame(CLibraryHandle(-1), std::move(frame), 1), chart.profile);
    return chart;
}

/// What is told of a fit.
struct SFitReport {
    SColorFit fit;
    double mean = 0;
    double largest = 0;
    double leftOut = 0;
    double largestLeftOut = 0;
};

double meanOf(const std::vector<double>& numbers) {
    return std::accumulate(numbers.begin(), numbers.end(), 0.0) / static_cast<double>(numbers.size());
}

SFitReport reportOf(const std::vector<SColorSample>& samples, bool withLight) {
    SFitReport report;
    report.fit = fitColors(samples, withLight);
    const std::vector<double> differences = differencesOf(report.fit, samples);
    const std::vector<double> leftOut = differencesLeftOut(samples, withLight);
    report.mean = meanOf(differences);
    report.largest = *std::max_element(differences.begin(), differences.end());
    report.leftOut = meanOf(leftOut);
    report.largestLeftOut = *std::max_element(leftOut.begin(), leftOut.end());
    return report;
}

/// All that was found.
struct SColorCalibration {
    std::string source; ///< of the frame, for the reader
    STransferredFrame frame;
    SProfile profile;
    ChartPatches patches;
    SChartPlace place;
    std::vector<SPatchValue> values;
    SFitReport plane;
    SFitReport even;
    bool withPlane = true;
    unsigned illuminant = 0;
    bool assumed = false; ///< nobody said which light it was

    const SFitReport& Chosen() const { return withPlane ? plane : even; }
};

std::string figures(const SFitReport& report) {
    return fmt::format("mean {:.2f}, largest {:.2f}; patches left out: mean {:.2f}, largest {:.2f}", report.mean,
                       report.largest, report.leftOut, report.largestLeftOut);
}

std::string rowText(const Vector3& row) {
    return fmt::format("{:8.4f} {:8.4f} {:8.4f}", row[0], row[1], row[2]);
}

std::string calibrationText(const SColorCalibration& calibration) {
    const SColorFit& fit = calibration.Chosen().fit;
    const Quad corners = {calibration.place.At(0, 0), calibration.place.At(kChartColumns, 0),
                          calibration.place.At(kChartColumns, kChartRows), calibration.place.At(0, kChartRows)};
    CColumns lines(14);
    lines.Add("frame", calibration.source);
    lines.Add("image", fmt::format("{} x {} pixels, {}, {}", calibration.frame.width, calibration.frame.height,
                                   calibration.frame.format->name, colorArrayName(calibration.frame.colorArray)));
    std::string places;
    for (const SPoint& corner : corners) {
        places += fmt::format("{}{:.0f},{:.0f}", places.empty() ? "" : " ", corner.x, corner.y);
    }
    lines.Add("chart", fmt::format("{}, corners from {} to {}, {}, {}", places, calibration.patches[0].name,
                                   calibration.patches[kChartColumns - 1].name, calibration.patches.back().name,
                                   calibration.patches[kChartPatches - kChartColumns].name));
    lines.Add("light", fmt::format("{}{}", lightSourceName(calibration.illuminant),
                                   calibration.assumed ? ", assumed: --illuminant tells it" : ""));
    if (calibration.withPlane) {
        lines.Add("light plane", fmt::format("{:+.1f} % to the chart's right, {:+.1f} % to its bottom",
                                             100 * fit.light.x, 100 * fit.light.y));
    }
    lines.Add("neutral", fmt::format("{:.4f}, {:.4f}, {:.4f}", fit.neutral[0], fit.neutral[1], fit.neutral[2]));
    const char* name = "matrix";
    for (const Vector3& row : fit.forward) {
        lines.Add(name, rowText(row));
        name = "";
    }
    lines.Add(calibration.withPlane ? "CIEDE2000" : "with plane", figures(calibration.plane));
    lines.Add(calibration.withPlane ? "without plane" : "CIEDE2000", figures(calibration.even));
    std::string text = lines.Text();
    text += fmt::format("\n{:<14}{:>26}{:>26}{:>11}\n", "patch", "target L* a* b*", "measured L* a* b*", "CIEDE2000");
    const auto labText = [](const Lab& lab) { return fmt::format("{:8.2f} {:8.2f} {:8.2f}", lab[0], lab[1], lab[2]); };
    const ChartPatches& patches = calibration.patches;
    for (std::size_t patch = 0; patch < patches.size(); ++patch) {
        const SPatchValue& value = calibration.values[patch];
        const Lab measured = fit.Measured(value.sample);
        const std::string difference =
            value.clipped ? "clipped" : fmt::format("{:.2f}", colorDifference(value.sample.target, measured));
        text += fmt::format("{:<14}{}{}{:>11}\n", patches[patch].name, labText(value.sample.target), labText(measured),
                            difference);
    }
    return text;
}

nlohmann::ordered_json figuresJson(const SFitReport& report) {
    return {{"mean", report.mean},
            {"largest", report.largest},
            {"leftOutMean", report.leftOut},
            {"leftOutLargest", report.largestLeftOut}};
}

std::string calibrationJson(const SColorCalibration& calibration) {
    const SColorFit& fit = calibration.Chosen().fit;
    nlohmann::ordered_json json;
    json["frame"] = calibration.source;
    json["corners"] = nlohmann::ordered_json::array();
    for (const auto& [x, y] : {std::pair{0.0, 0.0},
                               {static_cast<double>(kChartColumns), 0.0},
                               {static_cast<double>(kChartColumns), static_cast<double>(kChartRows)},
                               {0.0, static_cast<double>(kChartRows)}}) {
        const SPoint corner = calibration.place.At(x, y);
        json["corners"].push_back({corner.x, corner.y});
    }
    json["illuminant"] = calibration.illuminant;
    json["neutral"] = fit.neutral;
    json["forwardMatrix"] = fit.forward;
    json["lightPlane"] = {fit.light.x, fit.light.y};
    json["withPlane"] = figuresJson(calibration.plane);
    json["withoutPlane"] = figuresJson(calibration.even);
    const ChartPatches& patches = calibration.patches;
    for (std::size_t patch = 0; patch < patches.size(); ++patch) {
        const SPatchValue& value = calibration.values[patch];
        const Lab measured = fit.Measured(value.sample);
        json["patches"].push_back({{"name", patches[patch].name},
                                   {"target", value.sample.target},
                                   {"measured", measured},
                                   {"difference", colorDifference(value.sample.target, measured)},
                                   {"clipped", value.clipped}});
    }
    return jsonText(json);
}

std::string nameOfInput(const SColorArguments& arguments) {
    return arguments.input.path == "-" ? "standard input" : arguments.input.path;
}

/// The levels of black and white go into the profile.
void completeLevels(SProfile& profile, const SColorArguments& arguments, const STransferredFrame& frame) {
    profile.blackLevel = arguments.black ? arguments.black : profile.blackLevel;
    profile.whiteLevel = arguments.white ? arguments.white : profile.whiteLevel;
    if (!profile.blackLevel) {
        warn("neither --black nor the profile tell the level of black: it counts as 0, and dark colours come out wrong "
             "where it is not");
    }
    std::vector<std::string> complaints = misfits(profile);
    const unsigned white = profile.WhiteLevel().value_or(maxSample(frame.format->depth));
    if (complaints.empty() && profile.blackLevel && !profile.blackLevel->levels.empty() &&
        *std::max_element(profile.blackLevel->levels.begin(), profile.blackLevel->levels.end()) >= white) {
        complaints.push_back(fmt::format("the level of black is not below that of white, {}", white));
    }
    if (!complaints.empty()) {
        throw CBadArguments(complaints.front());
    }
}

void warnOfClipped(std::span<const SPatchValue> values, const ChartPatches& patches) {
    std::string names;
    for (std::size_t patch = 0; patch < values.size(); ++patch) {
        if (values[patch].clipped) {
            names += (names.empty() ? "" : ", ") + patches[patch].name;
        }
    }
    if (!names.empty()) {
        warn(fmt::format("patches that reach white are left out: {}", names));
    }
}

void calibrateColor(SColorArguments& arguments) {
    const int onStandardOutput = (isStandardOutput(arguments.output) ? 1 : 0) +
                                 (isStandardOutput(arguments.picture) ? 1 : 0) + (arguments.json ? 1 : 0);
    if (onStandardOutput > 1) {
        throw CBadArguments("only one of --output, --picture and --json can go to standard output");
    }
    auto [frame, profile] = readChart(arguments);
    if (!isBayer(frame.colorArray)) {
        throw CBadArguments("a frame without coloured filters has no colours to calibrate");
    }
    completeLevels(profile, arguments, frame);
    const unsigned white = profile.WhiteLevel().value_or(maxSample(frame.format->depth));
    const SCells cells = cellsOf(frame, profile.blackLevel.value_or(SBlackLevels()), white);

    SColorCalibration calibration;
    calibration.source = nameOfInput(arguments);
    calibration.patches = arguments.reference.empty() ? publishedPatches() : readPatches(arguments.reference);
    const ChartPatches& patches = calibration.patches;
    if (arguments.corners) {
        calibration.place = placedChart(cells, *arguments.corners, patches);
    } else if (const std::optional<SChartPlace> found = foundChart(cells, patches)) {
        calibration.place = *found;
    } else {
        throw CFailure(
            fmt::format("{}: no colour chart is found; --corners tells where it lies", nameOfInput(arguments)));
    }
    calibration.values = patchValues(cells, calibration.place, patches);
    warnOfClipped(calibration.values, patches);
    const std::vector<SColorSample> samples = usableSamples(calibration.values);
    try {
        calibration.plane = reportOf(samples, true);
        calibration.even = reportOf(samples, false);
    } catch (const CFailure& failure) {
        throw CFailure(fmt::format("{}: {}{}", nameOfInput(arguments), failure.what(),
                                   arguments.corners ? "; does the chart lie at --corners?" : ""));
    }
    calibration.withPlane = !arguments.noPlane;
    constexpr double kMostMean = 8;
    if (calibration.Chosen().mean > kMostMean) {
        warn(fmt::format("the mean difference is {:.1f}: either this is another chart, or it lies elsewhere",
                         calibration.Chosen().mean));
    }
    const SColorFit& fit = calibration.Chosen().fit;
    calibration.assumed = !arguments.illuminant && !profile.HasColors();
    calibration.illuminant = putFit(profile, fit, arguments.illuminant.value_or(0), arguments.name);
    const std::vector<std::string> complaints = misfits(profile);
    if (!complaints.empty()) {
        throw CBadArguments(complaints.front());
    }

    const std::string inputs[] = {arguments.input.path, arguments.reference};
    COutputFiles files(inputs);
    if (!arguments.output.empty()) {
        files.Open(arguments.output).Write(profileText(profile, folderOf(arguments.output)));
    }
    if (!arguments.picture.empty()) {
        COutputFile& file = files.Open(arguments.picture);
        writePicture(file, *pictureFormat(arguments.picture),
                     chartPicture(cells, calibration.place, patches, calibration.values, fit),
                     {.displayCurve = true, .threads = usualThreads()});
    }
    files.Publish();
    calibration.frame = std::move(frame);
    if (!isStandardOutput(arguments.output) && !isStandardOutput(arguments.picture)) {
        print(arguments.json ? calibrationJson(calibration) : calibrationText(calibration));
    }
}

} // namespace

void addCalibrateColor(CLI::App& calibrate) {
    CLI::App* const command =
        calibrate.add_subcommand("colour", "Fit white balance and colour matrix to a frame of a ColorChecker");
    command->alias("color");
    const auto arguments = std::make_shared<SColorArguments>();

    arguments->command = command;
    addFrameFile(*command, arguments->input)->required();
    addFrameSize(*command, arguments->width, arguments->height);
    addChainFormat(*command, arguments->format, "Raw ones with coloured\nfilters are taken");
    addColorArray(*command, arguments->colorArray, "");
    addProfile(*command, arguments->profile);
    addFrameChoice(*command, arguments->input, nullptr);
    addBlackLevel(*command, arguments->black);
    command->add_option("--white", arguments->white, "Level of white in samples; the largest one by default")
        ->transform(range(1, 65535));
    addParsedOption(*command, "--corners", arguments->corners, parsedCorners, "is no X,Y of four corners: 8 numbers",
                    "The outer corners of the outermost patches, pixels, one after the other around the\n"
                    "chart from any of them on; without it the chart is looked for")
        ->type_name("X,Y,X,Y,X,Y,X,Y");
    command
        ->add_option("--reference", arguments->reference,
                     "Colours of the patches, of a chart that was measured or of another one of 6 by 4: a\n"
                     "JSON list of {\"name\": \"...\", \"lab\": [L, a, b]} under D50, row by row; those that\n"
                     "its maker published in 2005 by default")
        ->type_name("FILE");
    command
        ->add_flag("--no-plane", arguments->noPlane,
                   "The light is even: fit no plane of light over the chart. What comes of both is told")
        ->disable_flag_override();
    addParsedOption(*command, "--illuminant", arguments->illuminant, parsedIlluminant,
                    "is none of: a, b, c, d50, d55, d65, d75, and no number of an Exif light source that has a white",
                    "The light that the chart was taken in: a, b, c, d50, d55, d65, d75, or the number of\n"
                    "an Exif light source. Without it that of the profile's matrices, or D50")
        ->type_name("LIGHT")
        ->get_validator(0)
        ->name(nameList(kIlluminants));
    command->add_option("--name", arguments->name, "Name of the white balance in the profile")->capture_default_str();
    command
        ->add_option("-o,--output", arguments->output,
                     "Profile to write: that of --profile, or the one beside IN, with what was found; -\nwrites it to "
                     "standard output, and nothing else")
        ->type_name("FILE");
    command
        ->add_option("--picture", arguments->picture,
                     "Picture to write: the chart as it comes out, target colours beside measured ones,\nand a plot of "
                     "the differences")
        ->type_name("FILE.png")
        ->check(isOutput(pictureComplaint));
    addJson(*command, arguments->json);
    command->callback([arguments] { calibrateColor(*arguments); });
}

} // namespace vek::tools
