// SPDX-License-Identifier: Apache-2.0
#include "tools/options/StageOptions.h"

#include "tools/options/Options.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace vek::tools {

namespace {

constexpr const char* kGroup =
    "Image stages, in the order in which they run; any of them makes the picture 8 bits deep";

// Largest moves of the sharpness that stay within 8 bits: differences reach 255 less the coring.
constexpr unsigned kMaxMove = 255 * 100;
// With more, sums of extreme matrices leave the range in which the library limits them.
constexpr std::uint64_t kMaxSaturation = 1000;
// At 8 bits a larger one does the same: the curve is a step.
constexpr std::uint64_t kMaxContrast = 127;

constexpr SName kMirrors[] = {
    {VEK_MIRROR_HORIZONTAL, "h"}, {VEK_MIRROR_VERTICAL, "v"}, {VEK_MIRROR_HORIZONTAL | VEK_MIRROR_VERTICAL, "hv"}};
constexpr SName kRotations[] = {{VEK_ROTATION_CLOCKWISE, "cw"}, {VEK_ROTATION_COUNTERCLOCKWISE, "ccw"}};

/// value times scale, rounded; nothing below low, above T's range, or for what is not a number.
template <class T>
std::optional<T> scaled(double value, double scale, T low = std::numeric_limits<T>::min()) {
    const double rounded = std::round(value * scale);
    if (!(rounded >= low && rounded <= std::numeric_limits<T>::max())) {
        return std::nullopt;
    }
    return static_cast<T>(rounded);
}

/// A whole number that fits its type.
template <class T>
std::optional<T> whole(std::string_view text) {
    return sim::readWhole<T>(text, 0, std::numeric_limits<T>::max());
}

std::optional<unsigned short> parsedGamma(std::string_view text) {
    const std::vector<double> numbers = decimals(text);
    return numbers.size() == 1 ? scaled<unsigned short>(numbers[0], 100, 1) : std::nullopt;
}

std::optional<short> parsedHue(std::string_view text) {
    const std::vector<double> numbers = decimals(text);
    const bool taken = numbers.size() == 1 && numbers[0] >= -360 && numbers[0] <= 360;
    return taken ? scaled<short>(numbers[0], 10) : std::nullopt;
}

std::optional<SChromaLimit> parsedChromaLimit(std::string_view text) {
    const std::vector<std::string_view> parts = sim::splitText(text, ',');
    if (parts.size() != 2) {
        return std::nullopt;
    }
    const std::optional<unsigned char> start = whole<unsigned char>(parts[0]);
    const std::optional<unsigned short> slope = whole<unsigned short>(parts[1]);
    return start && slope ? std::optional(SChromaLimit{*start, *slope}) : std::nullopt;
}

std::optional<SSharpness> parsedSharpness(std::string_view text) {
    const std::vector<std::string_view> parts = sim::splitText(text, ',');
    if (parts.size() > 2) {
        return std::nullopt;
    }
    const std::optional<unsigned short> gain = whole<unsigned short>(parts[0]);
    const std::optional<unsigned char> coring = whole<unsigned char>(parts.size() == 2 ? parts[1] : "0");
    const bool fits = gain && coring && *gain * (255U - *coring) <= kMaxMove;
    return fits ? std::optional(SSharpness{*gain, *coring}) : std::nullopt;
}

template <class T>
CLI::Option* addParsed(CLI::App& command, const char* name, std::optional<T>& value,
                       std::optional<T> (*parsed)(std::string_view), const std::string& complaint,
                       const std::string& help) {
    return addParsedOption(command, name, value, parsed, complaint, help)->group(kGroup);
}

/// Adds an option that takes one of a few names.
CLI::Option* addNamed(CLI::App& command, const char* name, std::optional<unsigned char>& value,
                      std::span<const SName> names, const std::string& help) {
    return command
        .add_option_function<std::string>(
            name,
            [&value, names](const std::string& text) { value = static_cast<unsigned char>(*findCode(names, text)); },
            help)
        ->check(isNameOf(names))
        ->group(kGroup);
}

} // namespace

std::optional<SBalance> parsedBalance(std::string_view text) {
    constexpr unsigned short unity = 128;
    SBalance balance{VEK_WB_ONCE, {unity, unity, unity, unity}};
    if (text == "auto") {
        return balance;
    }
    balance.mode = VEK_WB_MANUAL;
    const std::vector<double> factors = decimals(text);
    if (factors.size() != 3 && factors.size() != balance.gains.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < balance.gains.size(); ++i) {
        const std::size_t green = factors.size() == 3 && i > 0 ? i - 1 : i;
        const std::optional<unsigned short> gain = scaled<unsigned short>(factors[green], unity);
        if (!gain) {
            return std::nullopt;
        }
        balance.gains[i] = *gain;
    }
    return balance;
}

std::optional<std::array<short, 12>> parsedMatrix(std::string_view text) {
    const std::vector<double> numbers = decimals(text);
    if (numbers.size() != 9 && numbers.size() != 12) {
        return std::nullopt;
    }
    const std::size_t columns = numbers.size() / 3;
    std::array<short, 12> matrix{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::optional<short> number = scaled<short>(numbers[i], 100);
        if (!number) {
            return std::nullopt;
        }
        matrix[i / columns * 4 + i % columns] = *number;
    }
    return matrix;
}

void addStageOptions(CLI::App& command, SStages& stages) {
    addParsed(command, "--raw-gamma", stages.rawGamma, parsedGamma, "is no gamma of 0.01 to 655.35",
              "Tone curve of each raw colour, exponent 1 / G")
        ->type_name("G");
    addNamed(command, "--mirror", stages.mirror, kMirrors,
             "Left and right (h), top and bottom (v) change places. A Bayer frame needs an\n"
             "even width and height, as with --rotate")
        ->type_name("h|v|hv");
    addNamed(command, "--rotate", stages.rotation, kRotations,
             "A quarter turn, clockwise (cw) or counter-clockwise, after the mirror")
        ->type_name("cw|ccw");
    addParsed(command, "--hue", stages.hue, parsedHue, "is no angle of -360 to 360 degrees",
              "Turns the colours, degrees")
        ->type_name("DEGREES");
    command
        .add_option("--saturation", stages.saturation,
                    "Strength of the colours, per cent; 0 makes grey, 100 is unchanged")
        ->type_name("PERCENT")
        ->transform(range(0, kMaxSaturation))
        ->group(kGroup);
    const std::string noLimit = "is no START,SLOPE of 0 to 255 and 0 to 65535";
    addParsed(command, "--suppress-high", stages.suppressHigh, parsedChromaLimit, noLimit,
              "Fades colours to grey above the luma START, by SLOPE / 16384 for each level")
        ->type_name("START,SLOPE");
    addParsed(command, "--suppress-low", stages.suppressLow, parsedChromaLimit, noLimit, "The same below START")
        ->type_name("START,SLOPE");
    addParsed(command, "--gamma", stages.gamma, parsedGamma, "is no gamma of 0.01 to 655.35",
              "Tone curve of the luma, exponent 1 / G")
        ->type_name("G");
    command.add_option("--brightness", stages.brightness, "The luma curve's input gets this much brighter, levels")
        ->type_name("LEVELS")
        ->transform(signedRange(-255, 255))
        ->group(kGroup);
    command
        .add_option("--contrast", stages.contrast,
                    "The luma curve has this many levels of black and of white at its ends")
        ->type_name("LEVELS")
        ->transform(range(0, kMaxContrast))
        ->group(kGroup);
    addParsed(command, "--sharpness", stages.sharpness, parsedSharpness,
              "is no GAIN or GAIN,CORING of whole numbers with GAIN x (255 - CORING) up to 25500",
              "Moves a pixel away from its neighbours' mean, by GAIN per cent of what the\n"
              "difference has above CORING levels (0 by default); GAIN x (255 - CORING) is\n"
              "25500 at most")
        ->type_name("GAIN[,CORING]");
}

void addCorrectionOptions(CLI::App& command, SCorrections& corrections) {
    const char* const group = "Corrections of raw frames, in front of the image stages; at the frame's depth";
    CLI::Option* const noise =
        addNamed(command, "--noise", corrections.noise, noiseModes(),
                 "Noise reduction: easy takes pixels down that are brighter than their\n"
                 "neighbourhood, complex subtracts the frame of --dark and repairs saturated pixels");
    noise->type_name("easy|complex")->group(group);
    command
        .add_option("--dark", corrections.darkPath,
                    "Dark frame, written by `vekcam calibrate dark`, for --noise complex or --black dark")
        ->type_name("FILE.png")
        ->group(group);
    command
        .add_option("--shading", corrections.shadingPath,
                    "Flat frame, written by `vekcam calibrate flat`: each pixel is multiplied so that\n"
                    "such a frame becomes as bright as its centre everywhere")
        ->type_name("FILE.png")
        ->group(group);
}

} // namespace vek::tools
