// SPDX-License-Identifier: Apache-2.0
#include "tools/options/DevelopOptions.h"

#include "tools/options/FrameOptions.h"
#include "tools/options/Options.h"
#include "tools/options/StageOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace vek::tools {

namespace {

constexpr const char* kDevelopGroup = "Development, in the order in which it is done; at full depth";

constexpr double kLargestLevel = 65535;
constexpr double kLargestGain = 1000;
constexpr double kLargestFactor = 8;

/// What stands behind "name:"; nothing where the text begins otherwise.
std::optional<std::string_view> behind(std::string_view name, std::string_view text) {
    if (text.size() <= name.size() || !text.starts_with(name) || text[name.size()] != ':') {
        return std::nullopt;
    }
    return text.substr(name.size() + 1);
}

bool areWithin(const std::vector<double>& numbers, double low, double high) {
    return std::ranges::all_of(numbers, [=](double number) { return number >= low && number <= high; });
}

std::optional<SBlackChoice> parsedBlackChoice(std::string_view text) {
    using EKind = SBlackChoice::EKind;
    SBlackChoice choice;
    if (text == "dark" || text == "profile") {
        choice.kind = text == "dark" ? EKind::Dark : EKind::Profile;
        return choice;
    }
    if (const auto region = behind("masked", text)) {
        choice.kind = EKind::Masked;
        const std::optional<SRegion> parsed = parsedRegion(*region);
        choice.masked = parsed.value_or(SRegion());
        return parsed ? std::optional(choice) : std::nullopt;
    }
    choice.kind = EKind::Levels;
    const std::vector<double> levels = decimals(text);
    if ((levels.size() != 1 && levels.size() != 4) || !areWithin(levels, 0, kLargestLevel)) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < choice.levels.size(); ++i) {
        choice.levels[i] = levels[levels.size() == 1 ? 0 : i];
    }
    return choice;
}

std::optional<SBalanceChoice> parsedBalanceChoice(std::string_view text) {
    using EKind = SBalanceChoice::EKind;
    SBalanceChoice choice;
    if (text == "auto" || text == "profile") {
        choice.kind = text == "auto" ? EKind::Auto : EKind::Profile;
        return choice;
    }
    if (const auto name = behind("profile", text)) {
        choice.kind = EKind::Profile;
        choice.name = *name;
        return choice;
    }
    if (const auto region = behind("grey", text)) {
        choice.kind = EKind::Grey;
        const std::optional<SRegion> parsed = parsedRegion(*region);
        choice.grey = parsed.value_or(SRegion());
        return parsed ? std::optional(choice) : std::nullopt;
    }
    choice.kind = EKind::Factors;
    const std::vector<double> gains = decimals(text);
    const bool fits = (gains.size() == 3 || gains.size() == 4) && areWithin(gains, 1 / kLargestGain, kLargestGain);
    if (!fits) {
        return std::nullopt;
    }
    const bool four = gains.size() == 4;
    choice.gains = {gains[0], gains[1], gains[four ? 2 : 1], gains[four ? 3 : 2]};
    return choice;
}

std::optional<SMatrixChoice> parsedMatrixChoice(std::string_view text) {
    using EKind = SMatrixChoice::EKind;
    SMatrixChoice choice;
    if (text == "none" || text == "profile") {
        choice.kind = text == "none" ? EKind::None : EKind::Profile;
        return choice;
    }
    choice.kind = EKind::Matrix;
    const std::vector<double> numbers = decimals(text);
    if (numbers.size() != 9 || !areWithin(numbers, -kLargestFactor, kLargestFactor)) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        choice.matrix[i / 3][i % 3] = numbers[i];
    }
    return choice;
}

std::optional<SToneCurve> parsedToneCurve(std::string_view text) {
    std::optional<SToneCurve> named = toneCurveNamed(text);
    if (named) {
        return named;
    }
    const auto gamma = behind("gamma", text);
    const std::optional<double> number = gamma ? sim::readNumber(*gamma, kLowestGamma, kHighestGamma) : std::nullopt;
    return number ? std::optional(SToneCurve{SToneCurve::EKind::Gamma, *number, {}}) : std::nullopt;
}

/// A text's meaning, by a parser. Throws CBadArguments for one that it refuses.
template <class T>
T meaningOf(const char* option, const std::string& text, std::optional<T> (*parsed)(std::string_view),
            std::string_view complaint) {
    std::optional<T> meaning = parsed(text);
    if (!meaning) {
        throw CBadArguments(fmt::format("{}: \"{}\" {}", option, text, complaint));
    }
    return std::move(*meaning);
}

} // namespace

void addDevelopOptions(CLI::App& command, SDevelopTexts& texts) {
    command
        .add_option("--black", texts.black,
                    "Level of black, in samples of the format, or four of the places of the 2 x 2\n"
                    "cell; that of the dark frame of --dark; the mean of a region that no light\n"
                    "reaches; that of the profile, which is the default. Without any 0. With --display and\n"
                    "DNG files a whole number, of a DNG file its own by default")
        ->type_name("LEVEL|dark|masked:X,Y,W,H|profile")
        ->group(kDevelopGroup);
    command
        .add_option("--white", texts.white,
                    "Level of white, in samples of the format; by default that of the profile, or the\n"
                    "largest sample; with --display the bright end of the picture")
        ->type_name("LEVEL")
        ->group(kDevelopGroup);
    command
        .add_option("--wb", texts.balance,
                    "White balance: factors of red, green and blue; auto: the mean of the frame becomes\n"
                    "grey; that of a region does; the profile's AsShotNeutral, which is the default, or its\n"
                    "balance NAME; without these auto. Four factors have the greens beside red and beside\n"
                    "blue apart. For a Bayer frame")
        ->type_name("R,G,B|auto|grey:X,Y,W,H|profile[:NAME]")
        ->group(kDevelopGroup);
    command
        .add_option("--matrix", texts.matrix,
                    "Colour matrix by rows, from balanced samples to linear red, green, blue of sRGB; by\n"
                    "default that of the profile, or none. Of the 8-bit stage 9 or, with an offset in\n"
                    "levels at the end of each row, 12 numbers; it works on samples that count as one more\n"
                    "than they are")
        ->type_name("M11,...|none|profile")
        ->group(kDevelopGroup);
    addParsedOption(command, "--tone", texts.tone, parsedToneCurve,
                    fmt::format("is none of srgb, bt709, linear and gamma:G, G {} to {}", kLowestGamma, kHighestGamma),
                    "Tone curve; by default the profile's, or that of sRGB")
        ->type_name("srgb|bt709|linear|gamma:G")
        ->group(kDevelopGroup);
    command
        .add_option("--ev", texts.stops,
                    "Exposure, powers of 2, 0 by default; auto: all but the brightest half per cent of\n"
                    "the picture stays below white")
        ->type_name("STOPS|auto")
        ->check(isText(
            [](std::string_view text) { return text == "auto" || sim::readNumber(text, -kMostStops, kMostStops); },
            fmt::format("is neither auto nor a number of {} to {}", -kMostStops, kMostStops)))
        ->group(kDevelopGroup);
    command
        .add_option("--highlights", texts.highlights,
                    "Where a colour is saturated: clip, the default, makes it white; blend keeps what the\n"
                    "others tell, faded to grey, and takes longer")
        ->type_name("clip|blend")
        ->check(isText([](std::string_view text) { return text == "clip" || text == "blend"; },
                       "is neither clip nor blend"))
        ->group(kDevelopGroup);
}

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

SDevelopmentChoices developmentChoices(const SDevelopTexts& texts, const STransferFormat& format) {
    const double largest = maxSample(format.depth);
    const auto require = [&](const char* option, const std::string& text, bool fits) {
        if (!fits) {
            throw CBadArguments(
                fmt::format("{}: \"{}\" is out of range, 0..{} with format {}", option, text, largest, format.name));
        }
    };
    SDevelopmentChoices choices;
    if (texts.black) {
        choices.black = meaningOf("--black", *texts.black, parsedBlackChoice,
                                  "is no level, no four of them, and none of dark, masked:X,Y,W,H and profile");
        require("--black", *texts.black, *std::ranges::max_element(choices.black.levels) <= largest);
    }
    if (texts.white) {
        choices.white = sim::readNumber(*texts.white, 0, largest);
        require("--white", *texts.white, choices.white.has_value());
    }
    if (texts.balance) {
        choices.balance =
            meaningOf("--wb", *texts.balance, parsedBalanceChoice,
                      "is none of R,G,B, R,GR,GB,B (factors of 0.001 to 1000), auto, grey:X,Y,W,H and profile[:NAME]");
    }
    if (texts.matrix) {
        choices.matrix = meaningOf("--matrix", *texts.matrix, parsedMatrixChoice,
                                   "is no matrix of 9 numbers of -8 to 8, and neither none nor profile");
    }
    choices.tone = texts.tone;
    choices.autoStops = texts.stops == "auto";
    choices.stops = sim::readNumber(texts.stops, -kMostStops, kMostStops);
    choices.highlights = texts.highlights == "blend" ? EHighlights::Blend : EHighlights::Clip;
    return choices;
}

void takeStages(const SDevelopTexts& texts, const std::string& cause, SStages& stages) {
    const std::pair<const char*, bool> others[] = {{"--tone", texts.tone.has_value()},
                                                   {"--ev", !texts.stops.empty()},
                                                   {"--highlights", !texts.highlights.empty()}};
    for (const auto& [option, given] : others) {
        if (given) {
            throw CBadArguments(fmt::format("{} does not go with {}: no picture is developed", option, cause));
        }
    }
    if (texts.balance) {
        stages.balance = meaningOf("--wb", *texts.balance, parsedBalance,
                                   "is neither auto nor R,G,B or R,GR,GB,B, factors of 0 to 511.99");
    }
    if (texts.matrix) {
        stages.matrix =
            meaningOf("--matrix", *texts.matrix, parsedMatrix, "is no matrix of 9 or 12 numbers of -327.68 to 327.67");
    }
}

} // namespace vek::tools
