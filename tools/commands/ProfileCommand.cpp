// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/files/JsonText.h"
#include "client/files/OutputFile.h"
#include "client/profiles/Profile.h"
#include "client/profiles/ProfileImport.h"
#include "client/profiles/TuningFile.h"
#include "client/stages/Calibration.h"

#include "tools/commands/Commands.h"
#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/text/Columns.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace vek::tools {

namespace {

CLI::Option* addProfileFile(CLI::App& command, std::string& path) {
    return command.add_option("FILE", path, "Camera profile to read; - reads standard input")
        ->type_name("")
        ->required();
}

std::string nameOf(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

/// Correlated colour temperature of the light behind a neutral, kelvin; nothing where the profile cannot tell.
std::optional<double> temperatureBehind(const SProfile& profile, const Neutral& neutral) {
    try {
        return temperatureOf(whiteOf(profile.colors, neutral));
    } catch (const CFailure&) {
        return std::nullopt;
    }
}

/// The neutrals of a profile, that of the shot in front.
std::vector<SNamedBalance> allBalances(const SProfile& profile) {
    std::vector<SNamedBalance> balances = profile.whiteBalances;
    if (profile.asShotNeutral) {
        balances.insert(balances.begin(), {"as shot", *profile.asShotNeutral});
    }
    return balances;
}

std::vector<std::string> unknownMembers(const SProfile& profile) {
    std::vector<std::string> names;
    for (const auto& [name, value] : profile.others.items()) {
        names.push_back(name);
    }
    return names;
}

// ---- show ----

struct SProfileShowArguments {
    std::string file;
    bool json = false;
};

std::string frameText(const SProfile& profile) {
    std::vector<std::string> parts;
    if (profile.width || profile.height) {
        const auto side = [](const std::optional<std::uint32_t>& pixels) {
            return pixels ? std::to_string(*pixels) : std::string("?");
        };
        parts.push_back(fmt::format("{} x {} pixels", side(profile.width), side(profile.height)));
    }
    if (profile.format != nullptr) {
        parts.emplace_back(profile.format->name);
    }
    if (profile.colorArray) {
        parts.emplace_back(colorArrayName(*profile.colorArray));
    }
    if (profile.Depth()) {
        parts.push_back(fmt::format("{} bits", *profile.Depth()));
    }
    return fmt::format("{}", fmt::join(parts, ", "));
}

std::string toneText(const SToneCurve& tone) {
    switch (tone.kind) {
    case SToneCurve::EKind::Srgb:
        return "srgb";
    case SToneCurve::EKind::Bt709:
        return "bt709";
    case SToneCurve::EKind::Linear:
        return "linear";
    case SToneCurve::EKind::Gamma:
        return fmt::format("gamma {}", tone.gamma);
    default:
        return fmt::format("table of {} values", tone.table.size());
    }
}

std::string lightText(const SCalibratedColors& colors) {
    std::string text = lightSourceName(colors.illuminant);
    if (const std::optional<double> temperature = lightSourceTemperature(colors.illuminant)) {
        text += fmt::format(", {:.0f} K", *temperature);
    }
    return text + (colors.color ? ", colour matrix" : "") + (colors.forward ? ", forward matrix" : "");
}

std::string balanceText(const SProfile& profile, const Neutral& neutral) {
    std::string text =
        fmt::format("{:.4g}; gains {:.4g}", fmt::join(neutral, ", "), fmt::join(balanceGains(neutral), ", "));
    if (const std::optional<double> temperature = temperatureBehind(profile, neutral)) {
        text += fmt::format("; {:.0f} K", *temperature);
    }
    return text;
}

std::string shownText(const SProfile& profile) {
    CColumns lines(16);
    const auto add = [&](std::string_view name, const std::string& value) {
        if (!value.empty()) {
            lines.Add(name, oneLine(value));
        }
    };
    add("camera", profile.cameraModel.value_or(""));
    add("frame", frameText(profile));
    if (profile.blackLevel) {
        add("black", fmt::format("{}{}", fmt::join(profile.blackLevel->levels, ", "),
                                 profile.blackLevel->levels.size() > 1
                                     ? fmt::format(" ({} x {})", profile.blackLevel->rows, profile.blackLevel->columns)
                                     : ""));
    }
    if (const std::optional<unsigned> white = profile.WhiteLevel()) {
        add("white", fmt::format("{}{}", *white, profile.whiteLevel ? "" : " (the largest sample)"));
    }
    if (!profile.linearization.empty()) {
        add("linearization", fmt::format("{} values", profile.linearization.size()));
    }
    for (std::size_t i = 0; i < profile.colors.size(); ++i) {
        const SCalibratedColors& colors = profile.colors[i];
        if (colors.color || colors.forward) {
            add(fmt::format("light {}", i + 1), lightText(colors));
        }
    }
    for (const SNamedBalance& balance : allBalances(profile)) {
        add("balance", fmt::format("{}: {}", balance.name, balanceText(profile, balance.neutral)));
    }
    for (const SNoise& noise : profile.noise) {
        add("noise", fmt::format("variance {} x sample + {}", noise.scale, noise.offset));
    }
    add("tone", profile.tone ? toneText(*profile.tone) : "");
    add("dark frame", profile.darkFrame);
    add("shading map", profile.shadingMap);
    for (const SControlDelay& delay : profile.controlDelays) {
        add("delay", fmt::format("{}: {} frame{}", delay.control, delay.frames, delay.frames == 1 ? "" : "s"));
    }
    add("unknown", fmt::format("{}", fmt::join(unknownMembers(profile), ", ")));
    return lines.Text();
}

std::string shownJson(const std::string& file, const SProfile& profile) {
    nlohmann::ordered_json balances = nlohmann::ordered_json::object();
    for (const SNamedBalance& balance : allBalances(profile)) {
        const std::optional<double> temperature = temperatureBehind(profile, balance.neutral);
        balances[balance.name] = {{"gains", balanceGains(balance.neutral)},
                                  {"temperature", temperature ? nlohmann::ordered_json(*temperature) : nullptr}};
    }
    return jsonText({{"file", file},
                     {"profile", profileJson(profile)},
                     {"balances", balances},
                     {"unknown", unknownMembers(profile)}});
}

void showProfile(const SProfileShowArguments& arguments) {
    const SProfile profile = readProfile(arguments.file);
    print(arguments.json ? shownJson(arguments.file, profile) : shownText(profile));
}

// ---- check ----

/// What is wrong with a correction that a profile names; empty where nothing is.
std::string calibrationComplaint(const SProfile& profile, const char* member, const std::string& path,
                                 const char* kind) {
    if (path.empty()) {
        return "";
    }
    try {
        const SCalibration calibration = readCalibration(path, kind);
        if (profile.width && profile.height && profile.format != nullptr && profile.colorArray) {
            requireMatch(calibration, path, *profile.format, *profile.width, *profile.height, *profile.colorArray);
        }
    } catch (const CFailure& failure) {
        return fmt::format("\"{}\" {}", member, failure.what());
    } catch (const CBadArguments& failure) {
        return fmt::format("\"{}\" {}", member, failure.what());
    }
    return "";
}

void checkProfile(const std::string& path) {
    SProfileReading reading = readProfileText(path);
    const SProfile& profile = reading.profile;
    for (const std::string& complaint : {calibrationComplaint(profile, "darkFrame", profile.darkFrame, "dark"),
                                         calibrationComplaint(profile, "shadingMap", profile.shadingMap, "flat")}) {
        if (!complaint.empty()) {
            reading.complaints.push_back(complaint);
        }
    }
    for (const std::string& complaint : reading.complaints) {
        print(fmt::format("wrong: {}\n", oneLine(complaint)));
    }
    for (const std::string& remark : reading.remarks) {
        print(fmt::format("note: {}\n", oneLine(remark)));
    }
    if (!reading.complaints.empty()) {
        throw CFailure(fmt::format("{}: {} thing{} wrong in this camera profile", nameOf(path),
                                   reading.complaints.size(), reading.complaints.size() == 1 ? " is" : "s are"));
    }
    print(fmt::format("{}: a camera profile\n", oneLine(nameOf(path))));
}

// ---- new ----

struct SProfileNewArguments {
    std::string output;
    std::string from;
    std::string camera;
    std::optional<std::pair<std::uint32_t, std::uint32_t>> size;
    std::string format;
    std::string colorArray;
    std::optional<unsigned> bits;
    std::optional<SBlackLevels> black;
    std::optional<unsigned> white;
    std::optional<Neutral> neutral;
    std::vector<std::string> balances;
    std::optional<SToneCurve> tone;
    std::string dark;
    std::string shading;
    std::vector<std::string> delays;
};

/// WIDTHxHEIGHT.
std::optional<std::pair<std::uint32_t, std::uint32_t>> parsedSize(std::string_view text) {
    constexpr std::uint32_t kMostPixels = 65535;
    const std::size_t mark = text.find_first_of("xX");
    if (mark == std::string_view::npos) {
        return std::nullopt;
    }
    const auto width = sim::readWhole<std::uint32_t>(text.substr(0, mark), 1, kMostPixels);
    const auto height = sim::readWhole<std::uint32_t>(text.substr(mark + 1), 1, kMostPixels);
    return width && height ? std::optional(std::pair(*width, *height)) : std::nullopt;
}

/// A level, or those of a cell of 2 x 2 pixels.
std::optional<Neutral> parsedNeutral(std::string_view text) {
    const std::vector<double> colors = decimals(text);
    const bool fits = colors.size() == 3 && std::all_of(colors.begin(), colors.end(), [](double color) {
                          return color >= kSmallestNeutral && color <= kLargestNeutral;
                      });
    return fits ? std::optional(Neutral{colors[0], colors[1], colors[2]}) : std::nullopt;
}

std::optional<SNamedBalance> parsedNamedBalance(std::string_view text) {
    const std::size_t mark = text.find('=');
    const auto neutral = mark != std::string_view::npos ? parsedNeutral(text.substr(mark + 1)) : std::nullopt;
    return neutral && mark > 0 ? std::optional(SNamedBalance{std::string(text.substr(0, mark)), *neutral})
                               : std::nullopt;
}

std::optional<SControlDelay> parsedDelay(std::string_view text) {
    const std::size_t mark = text.find('=');
    const auto frames =
        mark != std::string_view::npos ? sim::readWhole<unsigned>(text.substr(mark + 1), 0, kMostDelay) : std::nullopt;
    return frames && mark > 0 ? std::optional(SControlDelay{std::string(text.substr(0, mark)), *frames}) : std::nullopt;
}

std::optional<SToneCurve> parsedTone(std::string_view text) {
    if (std::optional<SToneCurve> named = toneCurveNamed(text)) {
        return named;
    }
    const std::optional<double> gamma = sim::readNumber(text, kLowestGamma, kHighestGamma);
    return gamma ? std::optional(SToneCurve{SToneCurve::EKind::Gamma, *gamma, {}}) : std::nullopt;
}

void applyFrame(SProfile& profile, const SProfileNewArguments& arguments) {
    if (!arguments.camera.empty()) {
        profile.cameraModel = arguments.camera;
    }
    if (arguments.size) {
        profile.width = arguments.size->first;
        profile.height = arguments.size->second;
    }
    if (!arguments.format.empty()) {
        profile.format = findChainFormat(arguments.format);
    }
    if (!arguments.colorArray.empty()) {
        profile.colorArray = static_cast<unsigned short>(*colorArrayGiven(arguments.colorArray));
    }
    profile.bits = arguments.bits ? arguments.bits : profile.bits;
    profile.blackLevel = arguments.black ? arguments.black : profile.blackLevel;
    profile.whiteLevel = arguments.white ? arguments.white : profile.whiteLevel;
}

void applyLooks(SProfile& profile, const SProfileNewArguments& arguments) {
    profile.asShotNeutral = arguments.neutral ? arguments.neutral : profile.asShotNeutral;
    for (const std::string& text : arguments.balances) {
        replaceNamed(profile.whiteBalances, &SNamedBalance::name, *parsedNamedBalance(text));
    }
    profile.tone = arguments.tone ? arguments.tone : profile.tone;
    profile.darkFrame = arguments.dark.empty() ? profile.darkFrame : arguments.dark;
    profile.shadingMap = arguments.shading.empty() ? profile.shadingMap : arguments.shading;
    for (const std::string& text : arguments.delays) {
        replaceNamed(profile.controlDelays, &SControlDelay::control, *parsedDelay(text));
    }
}

void newProfile(const SProfileNewArguments& arguments) {
    SImportedProfile made;
    if (!arguments.from.empty()) {
        made = readImportedProfile(arguments.from);
    }
    applyFrame(made.profile, arguments);
    applyLooks(made.profile, arguments);
    const std::vector<std::string> complaints = misfits(made.profile);
    if (!complaints.empty()) {
        throw CBadArguments(complaints.front());
    }
    const std::string inputs[] = {arguments.from};
    COutputFiles files(inputs);
    files.Open(arguments.output).Write(profileText(made.profile, folderOf(arguments.output)));
    files.Publish();
    for (const std::string& remark : made.remarks) {
        warn(fmt::format("{}: {}", nameOf(arguments.from), remark));
    }
}

// ---- export ----

struct SProfileExportArguments {
    std::string file;
    std::string output = "-";
    bool libcamera = false;
};

void exportProfile(const SProfileExportArguments& arguments) {
    const SProfile profile = readProfile(arguments.file);
    std::string text;
    try {
        text = libcameraTuning(profile);
    } catch (const CFailure& failure) {
        throw CFailure(fmt::format("{}: {}", nameOf(arguments.file), failure.what()));
    }
    const std::string inputs[] = {arguments.file};
    COutputFiles files(inputs);
    files.Open(arguments.output).Write(text);
    files.Publish();
}

// ---- options ----

void addProfileShow(CLI::App& profile) {
    CLI::App* const command = profile.add_subcommand("show", "Tell what a profile says, in words");
    const auto arguments = std::make_shared<SProfileShowArguments>();
    addProfileFile(*command, arguments->file);
    addJson(*command, arguments->json);
    command->callback([arguments] { showProfile(*arguments); });
}

void addProfileCheck(CLI::App& profile) {
    CLI::App* const command =
        profile.add_subcommand("check", "Tell all that is wrong with a profile, and what in it nobody knows");
    const auto file = std::make_shared<std::string>();
    addProfileFile(*command, *file);
    command->callback([file] { checkProfile(*file); });
}

void addProfileNew(CLI::App& profile) {
    CLI::App* const command = profile.add_subcommand("new", "Write a profile, of another file and of what is given");
    const auto arguments = std::make_shared<SProfileNewArguments>();
    command->add_option("-o,--output", arguments->output, "File to write; - writes standard output")
        ->type_name("FILE")
        ->required();
    command
        ->add_option("--from", arguments->from,
                     "File to begin with: a profile, a DNG file of the camera, or a DCP file;\n"
                     "- reads standard input. What is given besides comes before it")
        ->type_name("FILE");
    command->add_option("--camera", arguments->camera, "The camera's name")->type_name("NAME");
    addParsedOption(*command, "--size", arguments->size, parsedSize, "is no WIDTHxHEIGHT of 1 to 65535 each",
                    "Pixels of a row, and rows")
        ->type_name("WIDTHxHEIGHT");
    addChainFormat(*command, arguments->format, "Of the frames that the camera sends");
    addColorArray(*command, arguments->colorArray, ", and of a profile at all");
    command->add_option("--bits", arguments->bits, "Significant bits of a sample, where the format has more")
        ->transform(range(1, 16));
    addBlackLevel(*command, arguments->black);
    command->add_option("--white", arguments->white, "Level of white in samples; the largest one by default")
        ->transform(range(1, 65535));
    addParsedOption(*command, "--neutral", arguments->neutral, parsedNeutral, "is no R,G,B of 0.0001 to 10000 each",
                    "What the camera sees of a white surface (AsShotNeutral)")
        ->type_name("R,G,B");
    command
        ->add_option("--balance", arguments->balances,
                     "The same under a light of this name; may be given several times")
        ->type_name("NAME=R,G,B")
        ->allow_extra_args(false)
        ->check(isText([](std::string_view text) { return parsedNamedBalance(text).has_value(); },
                       "is no NAME=R,G,B of 0.0001 to 10000 each"));
    addParsedOption(*command, "--tone", arguments->tone, parsedTone,
                    "is none of: srgb, bt709, linear, a gamma of 0.01 to 655.35", "Tone curve")
        ->type_name("srgb|bt709|linear|GAMMA");
    command->add_option("--dark", arguments->dark, "Dark frame, written by `vekcam calibrate dark`")
        ->type_name("FILE.png");
    command->add_option("--shading", arguments->shading, "Flat frame, written by `vekcam calibrate flat`")
        ->type_name("FILE.png");
    command
        ->add_option("--delay", arguments->delays,
                     "Frames until a control that is set shows, as exposure=2; may be given several\ntimes")
        ->type_name("CONTROL=FRAMES")
        ->allow_extra_args(false)
        ->check(isText([](std::string_view text) { return parsedDelay(text).has_value(); },
                       "is no CONTROL=FRAMES of 0 to 1000"));
    command->callback([arguments] { newProfile(*arguments); });
}

void addProfileExport(CLI::App& profile) {
    CLI::App* const command = profile.add_subcommand("export", "Write a profile's colour matrices for other programs");
    const auto arguments = std::make_shared<SProfileExportArguments>();
    addProfileFile(*command, arguments->file);
    command
        ->add_flag("--libcamera", arguments->libcamera, "As the algorithm Ccm of a tuning file of libcamera has them")
        ->disable_flag_override()
        ->required();
    command
        ->add_option("-o,--output", arguments->output, "File to write; - writes standard output, which is the default")
        ->type_name("FILE");
    command->callback([arguments] { exportProfile(*arguments); });
}

} // namespace

void addProfileCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("profile", "Write, check, explain and convert camera profiles");
    command->require_subcommand(1);
    addProfileShow(*command);
    addProfileCheck(*command);
    addProfileNew(*command);
    addProfileExport(*command);
}

} // namespace vek::tools
