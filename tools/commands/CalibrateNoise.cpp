// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/camera/CameraInfo.h"
#include "client/camera/FrameGrabber.h"
#include "client/files/JsonText.h"
#include "client/files/OutputFile.h"
#include "client/names/Names.h"
#include "client/pictures/PictureOutput.h"
#include "client/stages/Calibration.h"
#include "client/stages/PhotonTransferPlot.h"

#include "tools/commands/CalibrateFrames.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"
#include "tools/text/ProgressBar.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>

namespace vek::tools {

namespace {

struct SNoiseArguments : SCalibrationInput {
    std::vector<std::string> dark;
    std::string exposures;
    std::string region;
    unsigned steps = 64;
    std::optional<std::int32_t> exposure;
    std::optional<std::int32_t> gain;
    std::string plot;
    std::string output;
    bool json = false;
};

/// Pairs of frames, measured.
struct SNoisePairs {
    std::string source;
    STransferredFrame form; ///< without bytes
    std::vector<PairByColor> lit;
    std::vector<PairByColor> dark;
};

// ---- frames of files ----

/// The frames of files two by two.
std::vector<PairByColor> pairsOf(CAlikeFrames& frames, const std::string& what, const SRegion& region,
                                 std::span<const double> exposures) {
    std::vector<PairByColor> pairs;
    CProgressBar progress(frames.Count().value_or(1));
    while (const std::optional<STransferredFrame> first = frames.Next()) {
        const std::optional<STransferredFrame> second = frames.Next();
        if (!second) {
            throw CFailure(fmt::format("the {} frames are no pairs: {} of them", what, 2 * pairs.size() + 1));
        }
        pairs.push_back(
            measuredPair(*first, *second, region, pairs.size() < exposures.size() ? exposures[pairs.size()] : 0));
        progress.Advance();
        progress.Advance();
    }
    return pairs;
}

SNoisePairs pairsOfFiles(const SNoiseArguments& arguments) {
    if (arguments.dark.empty()) {
        throw CBadArguments("--dark is required with files");
    }
    const std::vector<double> exposures = decimals(arguments.exposures);
    CAlikeFrames dark(arguments, arguments.dark, std::nullopt);
    CAlikeFrames lit(arguments, arguments.files, std::nullopt);
    const STransferredFrame& form = lit.Form();
    const STransferredFrame& darkForm = dark.Form();
    if (form.format != darkForm.format || form.width != darkForm.width || form.height != darkForm.height ||
        form.colorArray != darkForm.colorArray) {
        throw CFailure(fmt::format("{}: dark frames of another form than {}", dark.Source(), lit.Source()));
    }
    const SRegion region = regionInside(arguments.region, form.width, form.height);
    SNoisePairs pairs{lit.Source(), {form.format, form.width, form.height, form.colorArray, {}}, {}, {}};
    pairs.dark = pairsOf(dark, "dark", region, {});
    pairs.lit = pairsOf(lit, "lit", region, exposures);
    if (!exposures.empty() && exposures.size() != pairs.lit.size()) {
        throw CFailure(fmt::format("--exposures has {} numbers for {} pairs", exposures.size(), pairs.lit.size()));
    }
    return pairs;
}

// ---- frames of a simulated camera ----

/// A simulated camera in front of an even surface, whose light is set.
class CLitCamera {
public:
    CLitCamera(const SNoiseArguments& arguments, const STransferFormat& format)
        : mDriver(makeDriver(arguments, false, 1)), mCamera(mDriver) {
        // Sensors are measured without a lens.
        sim::SSensorConfig sensor = mDriver->Sensor();
        sensor.lensShading = 0;
        mDriver->SetSensor(sensor);
        setExposureAndGain(mCamera, arguments.exposure, arguments.gain);
        mGrabber.emplace(mCamera, format);
        mForm = {&format,
                 mGrabber->Width(),
                 mGrabber->Height(),
                 format.IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO) : mGrabber->ColorArray(),
                 {}};
    }

    const STransferredFrame& Form() const { return mForm; }
    const std::string& Name() const { return mCamera.Name(); }

    /// light 0: the lens is capped.
    PairByColor Pair(double light, const SRegion& region) {
        mDriver->SetLensCap(light == 0);
        mDriver->SetLightLevel(static_cast<float>(light));
        const STransferredFrame first = Frame();
        return measuredPair(first, Frame(), region, light);
    }

    /// The light at which the darkest colour is beyond saturation. dark: a pair without light.
    double MostLight(const PairByColor& dark, const SRegion& region) {
        constexpr double kBeyond = 1.1;
        const double largest = (1U << mForm.format->depth) - 1.0;
        double light = 1;
        for (int tries = 0; tries < 40; ++tries) {
            const PairByColor pair = Pair(light, region);
            double least = largest;
            double most = 0;
            for (std::size_t color = 0; color < pair.size(); ++color) {
                least = std::min(least, (pair[color].mean - dark[color].mean) / (largest - dark[color].mean));
                most = std::max(most, (pair[color].mean - dark[color].mean) / (largest - dark[color].mean));
            }
            if (most > 0.8) {
                light /= 4;
            } else if (most < 0.1) {
                light *= 4;
            } else {
                return std::min(kBeyond * light / least, static_cast<double>(sim::kMaxLightLevel));
            }
            if (light > sim::kMaxLightLevel) {
                break;
            }
        }
        throw CFailure(fmt::format("{}: no light saturates it at this exposure and gain", Name()));
    }

private:
    STransferredFrame Frame() {
        const std::span<const std::uint8_t> bytes = mGrabber->Next();
        STransferredFrame frame = mForm;
        frame.bytes.assign(bytes.begin(), bytes.end());
        return frame;
    }

    std::shared_ptr<sim::CSimulatedDriver> mDriver;
    CSimulatedCamera mCamera;
    std::optional<CFrameGrabber> mGrabber;
    STransferredFrame mForm;
};

/// The format of a camera's own depth.
std::string nativeFormat(const SNoiseArguments& arguments) {
    return arguments.format.empty() ? fmt::format("raw{}", modelNamed(arguments.camera.model).depth) : arguments.format;
}

SNoisePairs pairsOfCamera(const SNoiseArguments& arguments) {
    constexpr unsigned kDarkPairs = 8;
    CLitCamera camera(arguments, calibrationFormat(nativeFormat(arguments)));
    const SRegion region = regionInside(arguments.region, camera.Form().width, camera.Form().height);
    SNoisePairs pairs{camera.Name(), camera.Form(), {}, {}};
    CProgressBar progress(kDarkPairs + arguments.steps);
    for (unsigned i = 0; i < kDarkPairs; ++i) {
        pairs.dark.push_back(camera.Pair(0, region));
        progress.Advance();
    }
    const double most = camera.MostLight(pairs.dark.front(), region);
    for (unsigned i = 1; i <= arguments.steps; ++i) {
        pairs.lit.push_back(camera.Pair(most * i / arguments.steps, region));
        progress.Advance();
    }
    return pairs;
}

// ---- what is told ----

std::string reportText(const SNoisePairs& pairs, std::span<const SPhotonTransfer> colors) {
    CColumns lines(18);
    lines.Add("source", oneLine(pairs.source));
    lines.Add("frames", fmt::format("{} lit and {} dark pairs", pairs.lit.size(), pairs.dark.size()) +
                            fmt::format(", {} x {} pixels, {}, {}", pairs.form.width, pairs.form.height,
                                        pairs.form.format->name, colorArrayName(pairs.form.colorArray)));
    const auto row = [&](std::string_view name, const auto& valueOf) {
        std::string text;
        for (const SPhotonTransfer& color : colors) {
            const std::optional<double> value = valueOf(color);
            text += value ? fmt::format("{:>12.4g}", *value) : fmt::format("{:>12}", "-");
        }
        lines.Add(name, text);
    };
    using Value = std::optional<double>;
    if (colors.size() > 1) {
        std::string names;
        for (const SPhotonTransfer& color : colors) {
            names += fmt::format("{:>12}", color.name);
        }
        lines.Add("", names);
    }
    row("gain, e-/DN", [](const auto& color) { return Value(1 / color.gain); });
    row("gain K, DN/e-", [](const auto& color) { return Value(color.gain); });
    row("dark level, DN", [](const auto& color) { return Value(color.dark.mean); });
    row("read noise, e-", [](const auto& color) { return color.readNoise; });
    row("read noise, DN", [](const auto& color) { return color.readNoise ? Value(color.ReadNoiseDn()) : Value(); });
    row("saturation, e-", [](const auto& color) { return color.SaturationElectrons(); });
    row("saturation, DN",
        [](const auto& color) { return color.saturation ? Value(color.points[*color.saturation].mean) : Value(); });
    row("PRNU, %", [](const auto& color) { return color.prnu ? Value(100 * *color.prnu) : Value(); });
    row("DSNU, e-", [](const auto& color) { return Value(color.dsnu); });
    row("linearity error, %",
        [](const auto& color) { return color.linearity ? Value(100 * color.linearity->error) : Value(); });
    return lines.Text();
}

std::string reportJson(const SNoisePairs& pairs, std::span<const SPhotonTransfer> colors) {
    const auto maybe = [](const std::optional<double>& value) {
        return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
    };
    nlohmann::ordered_json json;
    json["standard"] = "EMVA 1288 R4.0 Linear";
    json["source"] = pairs.source;
    json["width"] = pairs.form.width;
    json["height"] = pairs.form.height;
    json["format"] = pairs.form.format->name;
    json["colorArray"] = colorArrayName(pairs.form.colorArray);
    json["litPairs"] = pairs.lit.size();
    json["darkPairs"] = pairs.dark.size();
    for (const SPhotonTransfer& color : colors) {
        nlohmann::ordered_json values;
        values["color"] = color.name.empty() ? "mono" : std::string(color.name);
        values["electronsPerDn"] = 1 / color.gain;
        values["gain"] = color.gain;
        values["darkLevel"] = color.dark.mean;
        values["darkVariance"] = color.dark.variance;
        values["readNoiseElectrons"] = maybe(color.readNoise);
        values["readNoiseDn"] =
            color.readNoise ? nlohmann::ordered_json(color.ReadNoiseDn()) : nlohmann::ordered_json();
        values["saturationElectrons"] = maybe(color.SaturationElectrons());
        values["saturationLevel"] =
            color.saturation ? nlohmann::ordered_json(color.points[*color.saturation].mean) : nlohmann::ordered_json();
        values["prnuPercent"] = color.prnu ? nlohmann::ordered_json(100 * *color.prnu) : nlohmann::ordered_json();
        values["dsnuElectrons"] = color.dsnu;
        values["linearityErrorPercent"] =
            color.linearity ? nlohmann::ordered_json(100 * color.linearity->error) : nlohmann::ordered_json();
        for (const SPairLevels& point : color.points) {
            values["points"].push_back({{"exposure", point.exposure},
                                        {"mean", point.mean},
                                        {"variance", point.variance},
                                        {"spatialVariance", point.spatial}});
        }
        json["colors"].push_back(std::move(values));
    }
    return jsonText(json);
}

void noteDoubts(std::span<const SPhotonTransfer> colors) {
    for (const SPhotonTransfer& color : colors) {
        const std::string name = color.name.empty() ? "" : fmt::format("{}: ", color.name);
        if (!color.saturation) {
            warn(fmt::format(
                "{}saturation is not reached: the noise still grows at the brightest pair; the gain is that "
                "of all pairs",
                name));
        } else if (!color.prnu) {
            warn(fmt::format("{}no pair is near half of saturation: PRNU is not told", name));
        }
        constexpr double kUneven = 0.03;
        if (color.prnu && *color.prnu > kUneven) {
            warn(fmt::format(
                "{}PRNU has {:.1f} %: the light may be uneven, as a lens makes it; --region measures a part", name,
                100 * *color.prnu));
        }
    }
}

void calibrateNoise(const SNoiseArguments& arguments) {
    checkInput(arguments);
    if (!arguments.plot.empty() && pictureFormat(arguments.plot) == nullptr) {
        throw CBadArguments(pictureComplaint(arguments.plot));
    }
    if (!arguments.FromFiles() && (!arguments.dark.empty() || !arguments.exposures.empty())) {
        throw CBadArguments("--dark and --exposures are of files, and none is named");
    }
    std::vector<std::string> inputs = expandedPaths(arguments.files);
    const std::vector<std::string> dark = expandedPaths(arguments.dark);
    inputs.insert(inputs.end(), dark.begin(), dark.end());
    if (std::count(inputs.begin(), inputs.end(), "-") > 1) {
        throw CBadArguments("standard input is named twice");
    }
    if (!arguments.plot.empty() && arguments.plot == arguments.output) {
        throw CBadArguments(fmt::format("--plot and --output are both {}", arguments.plot));
    }
    // Where nothing can be written it shows before the frames are taken. The plot is there without the profile, too.
    COutputFiles plotFiles(inputs);
    COutputFiles profileFiles(inputs);
    COutputFile* const plot = arguments.plot.empty() ? nullptr : &plotFiles.Open(arguments.plot);
    COutputFile* const output = arguments.output.empty() ? nullptr : &profileFiles.Open(arguments.output);
    const SNoisePairs pairs = arguments.FromFiles() ? pairsOfFiles(arguments) : pairsOfCamera(arguments);
    const std::vector<SPhotonTransfer> colors = photonTransfer(pairs.lit, pairs.dark, pairs.form.colorArray);
    noteDoubts(colors);
    if (plot != nullptr) {
        writePicture(*plot, *pictureFormat(arguments.plot),
                     photonTransferPicture(colors, fmt::format("Photon transfer: {}", oneLine(pairs.source))), {});
    }
    plotFiles.Publish();
    if (!isStandardOutput(arguments.output) && !isStandardOutput(arguments.plot)) {
        print(arguments.json ? reportJson(pairs, colors) : reportText(pairs, colors));
    }
    const auto rounded = std::find_if(colors.begin(), colors.end(), [](const auto& color) { return !color.readNoise; });
    if (rounded != colors.end()) {
        throw CFailure(fmt::format("{}{}the read noise cannot be measured: the temporal noise of the dark frames is "
                                   "{:.3f} DN, and below {} DN rounding decides; more gain or a deeper format helps",
                                   rounded->name, rounded->name.empty() ? "" : ": ", std::sqrt(rounded->dark.variance),
                                   kLeastReadNoiseDn));
    }
    if (output != nullptr) {
        SProfile profile = profileFor(arguments, arguments.output, pairs.form);
        const double largest = (1U << pairs.form.format->depth) - 1.0;
        const std::optional<unsigned> white = profile.WhiteLevel();
        profile.noise = profileNoise(colors, white ? *white : largest);
        writeProfile(*output, arguments.output, profile);
    }
    profileFiles.Publish();
}

} // namespace

void addNoiseKind(CLI::App& command) {
    CLI::App* const kind = command.add_subcommand(
        "noise", "Measure gain and noise by photon transfer, after EMVA Standard 1288, from pairs of frames");
    const auto arguments = std::make_shared<SNoiseArguments>();
    addCalibrationInput(*kind, *arguments, false, "Transfer format, of a simulated camera its own depth by default");
    kind->add_option(
            "--dark", arguments->dark,
            wrapped("Files with pairs of frames with the lens capped, taken as the lit ones in FILES were: "
                    "pairs of frames of the same light, one after the other. More files by --dark again, or by "
                    "a pattern in quotes"))
        ->type_name("FILE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    kind->add_option("--exposures", arguments->exposures,
                     "Exposure or light of each pair in FILES, of any unit, for the linearity")
        ->type_name("V,V,...")
        ->check(isText([](std::string_view text) { return !decimals(text).empty(); }, "is no list of numbers"));
    addRegion(*kind, arguments->region, "Where to measure");
    kind->add_option("--steps", arguments->steps, "Steps of the light on the simulated camera, up to saturation")
        ->capture_default_str()
        ->transform(range(8, 1000));
    kind->add_option("--exposure", arguments->exposure, "Exposure clocks of the simulated camera")
        ->transform(range(0, kMaxControl));
    kind->add_option("--gain", arguments->gain, "Gain setting value of the simulated camera")
        ->transform(range(0, kMaxGain));
    kind->add_option("--plot", arguments->plot, "Picture of the photon transfer and the linearity: " + pictureEndings())
        ->type_name("FILE")
        ->check(isOutput(pictureComplaint));
    addProfileOutput(*kind, arguments->output, "Write NoiseProfile");
    addJson(*kind, arguments->json);
    kind->callback([arguments] { calibrateNoise(*arguments); });
}

} // namespace vek::tools
