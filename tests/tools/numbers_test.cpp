// SPDX-License-Identifier: Apache-2.0
// What every number of the command line may be, option by option.
#include "Conversion.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>
#include <regex>
#include <set>

namespace vek::test {

namespace {

/// A command that ends quickly, for a reason of its own, once all of its options are read.
struct SCommand {
    Arguments words; ///< the command itself
    Arguments rest;
};

const SCommand kInfo = {{"info"}, {}};
const SCommand kDemo = {{"demo"}, {"-o", "/dev/null/none", "--sim", "clock-vga"}};
const SCommand kConvert = {{"convert"}, {"/nonexistent/in.raw", "-o", "/nonexistent/out", "-f", "raw12", "-a", "rggb"}};
const SCommand kMeasure = {{"measure"}, {"/nonexistent/in.raw", "-f", "raw12", "-a", "rggb"}};
const SCommand kAlc = {{"alc"}, {"--sim", "clock-vga", "--csv", "/nonexistent/out"}};
const SCommand kDark = {{"calibrate", "dark"}, {"-o", "nowhere"}};
const SCommand kFlat = {{"calibrate", "flat"}, {"-o", "nowhere"}};
// Refused before any frame is taken.
const SCommand kBlack = {{"calibrate", "black"}, {"-f", "raw12p"}};
const SCommand kNoise = {{"calibrate", "noise"}, {"-f", "raw12p"}};
const SCommand kDefects = {{"defects", "detect"}, {"--sim", "clock-vga"}};
const SCommand kUnits = {{"units"}, {}};

/// An option that takes one number.
struct SNumber {
    const SCommand* command;
    std::string option;
    bool whole;
    std::string low;
    std::string high;
    Arguments more = {}; ///< what the command needs besides
};

const Arguments kSize = {"-W", "4", "-H", "4"};
const Arguments kDisplay = {"-W", "4", "-H", "4", "--display"};
const Arguments kFewFrames = {"--frames", "1", "--width", "16", "--height", "16"};
const std::string kSeeds = "18446744073709551615";
const std::string kControls = "2147483647";

const std::vector<SNumber>& numbers() {
    static const std::vector<SNumber> all = {
        {&kDemo, "--frames", true, "1", "1000"},
        {&kDemo, "--width", true, "64", "8192"},
        {&kDemo, "--height", true, "64", "8192"},
        {&kDemo, "--hot", true, "0", "1000"},
        {&kDemo, "--seed", true, "0", kSeeds},
        {&kConvert, "--width", true, "1", "65535", {"-H", "4"}},
        {&kConvert, "--height", true, "1", "65535", {"-W", "4"}},
        {&kConvert, "--src-offset", true, "0", "1152921504606846976", kSize},
        {&kConvert, "--src-stride", true, "1", "1073741824", kSize},
        {&kConvert, "--frame", true, "0", "1000000000", kSize},
        {&kConvert, "--quality", true, "1", "100", kSize},
        {&kConvert, "--threads", true, "1", "256", kSize},
        {&kConvert, "--black", true, "0", "4095", kDisplay},
        {&kConvert, "--white", true, "0", "4095", kDisplay},
        {&kConvert, "--saturation", true, "0", "1000", kSize},
        {&kConvert, "--brightness", true, "-255", "255", kSize},
        {&kConvert, "--contrast", true, "0", "127", kSize},
        {&kMeasure, "--width", true, "1", "65535", {"-H", "4"}},
        {&kMeasure, "--height", true, "1", "65535", {"-W", "4"}},
        {&kMeasure, "--src-offset", true, "0", "1152921504606846976", kSize},
        {&kMeasure, "--src-stride", true, "1", "1073741824", kSize},
        {&kMeasure, "--frame", true, "0", "1000000000", kSize},
        {&kAlc, "--target", true, "0", "255", kFewFrames},
        {&kAlc, "--frames", true, "1", "100000", {"--width", "16", "--height", "16"}},
        {&kAlc, "--light", false, "0", "1000000", kFewFrames},
        {&kAlc, "--start-exposure", true, "0", kControls, kFewFrames},
        {&kAlc, "--start-gain", true, "0", "65535", kFewFrames},
        {&kAlc, "--min-gain", true, "0", "65535", kFewFrames},
        {&kAlc, "--max-gain", true, "0", "65535", kFewFrames},
        {&kAlc, "--min-exposure", true, "0", kControls, kFewFrames},
        {&kAlc, "--max-exposure", true, "0", kControls, kFewFrames},
        {&kAlc, "--seed", true, "0", kSeeds, kFewFrames},
        {&kAlc, "--width", true, "2", "8192", {"--frames", "1", "--height", "16"}},
        {&kAlc, "--height", true, "2", "8192", {"--frames", "1", "--width", "16"}},
        {&kDark, "--frames", true, "1", "1000"},
        {&kDark, "--exposure", true, "0", kControls},
        {&kDark, "--gain", true, "0", "65535"},
        {&kDark, "--width", true, "1", "65535"},
        {&kDark, "--height", true, "1", "65535"},
        {&kDark, "--hot", true, "0", "1000"},
        {&kDark, "--seed", true, "0", kSeeds},
        {&kFlat, "--frames", true, "1", "1000"},
        {&kFlat, "--exposure", true, "0", kControls},
        {&kFlat, "--gain", true, "0", "65535"},
        {&kFlat, "--width", true, "1", "65535"},
        {&kFlat, "--height", true, "1", "65535"},
        {&kFlat, "--hot", true, "0", "1000"},
        {&kFlat, "--seed", true, "0", kSeeds},
        {&kFlat, "--light", false, "0", "1000000"},
        {&kDark, "--src-offset", true, "0", "1152921504606846976"},
        {&kDark, "--src-stride", true, "1", "1073741824"},
        {&kFlat, "--src-offset", true, "0", "1152921504606846976"},
        {&kFlat, "--src-stride", true, "1", "1073741824"},
        {&kBlack, "--src-offset", true, "0", "1152921504606846976"},
        {&kBlack, "--src-stride", true, "1", "1073741824"},
        {&kNoise, "--src-offset", true, "0", "1152921504606846976"},
        {&kNoise, "--src-stride", true, "1", "1073741824"},
        {&kBlack, "--exposure", true, "0", kControls},
        {&kBlack, "--gain", true, "0", "65535"},
        {&kBlack, "--width", true, "1", "65535"},
        {&kBlack, "--height", true, "1", "65535"},
        {&kBlack, "--hot", true, "0", "1000"},
        {&kBlack, "--seed", true, "0", kSeeds},
        {&kNoise, "--exposure", true, "0", kControls},
        {&kNoise, "--gain", true, "0", "65535"},
        {&kNoise, "--width", true, "1", "65535"},
        {&kNoise, "--height", true, "1", "65535"},
        {&kNoise, "--hot", true, "0", "1000"},
        {&kNoise, "--seed", true, "0", kSeeds},
        {&kBlack, "--frames", true, "1", "1000"},
        {&kNoise, "--steps", true, "8", "1000"},
        {&kDefects, "--threshold", true, "0", "256"},
        {&kDefects, "--hot", true, "0", "10000"},
        {&kDefects, "--seed", true, "0", kSeeds},
        {&kUnits, "--exposure-time", false, "0", "1000000"},
        {&kUnits, "--exposure-clocks", true, "0", "4294967295"},
        {&kUnits, "--gain", true, "0", "65535"},
        {&kUnits, "--gain-db", false, "-1000", "1000"},
        {&kUnits, "--digital-gain", true, "0", "65535"},
        {&kUnits, "--digital-times", false, "0", "1000"},
        {&kUnits, "--fps", false, "0.001", "1000000"}};
    return all;
}

void PrintTo(const SNumber& number, std::ostream* stream) {
    *stream << commandLine(number.command->words) << ' ' << number.option;
}

SResult runWith(const SNumber& number, const std::string& text) {
    return runVekcam(joined({number.command->words, number.more, {number.option, text}, number.command->rest}));
}

class Number : public ::testing::TestWithParam<SNumber> {
protected:
    /// message: all that is said behind the option's name and the text.
    static void ExpectRefused(const std::string& text, const std::string& message) {
        const SNumber& number = GetParam();
        const SResult result = runWith(number, text);
        EXPECT_EQ(result.exitCode, 2) << text;
        EXPECT_EQ(result.out, "") << text;
        EXPECT_TRUE(isOneLineMessage(result.err)) << result.err;
        const std::string expected = "vekcam: " + number.option + ": \"" + text + '"' + message;
        EXPECT_TRUE(result.err.starts_with(expected)) << result.err << "instead of " << expected;
    }
};

TEST_P(Number, OtherTextsAreRefused) {
    const SNumber& number = GetParam();
    const std::string range = " is needed, " + number.low + " to " + number.high;
    const std::string needed = number.whole ? ": a whole number" : ": a number";
    for (const char* const text : {"nan", "inf", "7x", " 7", "7 ", "", "-", "7,0"}) {
        ExpectRefused(text, needed + range);
    }
    ExpectRefused("0x10", (number.whole ? ": a decimal whole number" : ": a decimal number") + range);
    if (number.whole) {
        ExpectRefused("7.5", needed + range);
        ExpectRefused("1e1", needed + range);
    }
}

TEST_P(Number, OutsideTheRange) {
    const SNumber& number = GetParam();
    const std::string range = " is out of range: " + number.low + " to " + number.high + " is needed";
    ExpectRefused("-1001", range);
    ExpectRefused("18446744073709551616", range);
    ExpectRefused("99999999999999999999999999999999999999999999", range);
    ExpectRefused(number.high + "0", range);
    if (number.low.starts_with('-') || number.low == "0") {
        ExpectRefused("-99999999999999999999999999999999999999999999", range);
    } else {
        ExpectRefused("0", range);
    }
}

TEST_P(Number, ZerosInFrontChangeNothing) {
    // As an octal number 0...089 is none.
    const SNumber& number = GetParam();
    const std::string text = number.command == &kDemo || number.option == "--fps" ? "0000089" : "00089";
    const SResult zeros = runWith(number, text);
    const SResult plain = runWith(number, "89");
    EXPECT_EQ(zeros.err.find(number.option + ": "), std::string::npos) << zeros.err;
    EXPECT_EQ(zeros.exitCode, plain.exitCode);
    EXPECT_EQ(zeros.out, plain.out);
    EXPECT_EQ(zeros.err, plain.err);
}

INSTANTIATE_TEST_SUITE_P(Cli, Number, ::testing::ValuesIn(numbers()));

TEST(Numbers, EachOptionOfEachCommandIsTried) {
    std::set<std::string> tried;
    for (const SNumber& number : numbers()) {
        tried.insert(commandLine(number.command->words) + ' ' + number.option);
    }
    tried.insert({"vekcam convert --bits-out", "vekcam convert --depth"}); // one of a few numbers
    std::set<std::string> present;
    const std::regex option("\n +(?:-\\w,)?(--[\\w-]+)(?:,--[\\w-]+)? (?:UINT|INT|FLOAT|PERCENT|LEVELS?)\\b");
    for (const Arguments& words : {Arguments{"info"},
                                   {"demo"},
                                   {"convert"},
                                   {"measure"},
                                   {"alc"},
                                   {"units"},
                                   {"calibrate", "dark"},
                                   {"calibrate", "flat"},
                                   {"calibrate", "black"},
                                   {"calibrate", "noise"},
                                   {"defects", "detect"},
                                   {"settings", "save"},
                                   {"settings", "load"},
                                   {"settings", "show"},
                                   {"settings", "diff"}}) {
        const std::string help = printed(joined({words, {"--help"}}));
        for (std::sregex_iterator found(help.begin(), help.end(), option), end; found != end; ++found) {
            present.insert(commandLine(words) + ' ' + (*found)[1].str());
        }
    }
    EXPECT_EQ(present, tried);
}

TEST(Numbers, BitsOutAreEightOrSixteen) {
    for (const char* const text : {"12", "0", "nan", "8.0", "0x10", "8x", "", "99999999999999999999"}) {
        const SResult result = runWith({&kConvert, "--bits-out", true, "", "", kSize}, text);
        EXPECT_EQ(result.exitCode, 2) << text;
        EXPECT_EQ(result.err, "vekcam: --bits-out: \"" + std::string(text) + "\" is neither 8 nor 16\n");
    }
    EXPECT_EQ(runWith({&kConvert, "--bits-out", true, "", "", kSize}, "0016").exitCode, 1);
}

TEST(Numbers, DepthIsEightTwelveOrSixteen) {
    for (const char* const text : {"10", "0", "14", "nan", "8.0", "0x10", ""}) {
        const SResult result = runWith({&kConvert, "--depth", true, "", "", kSize}, text);
        EXPECT_EQ(result.exitCode, 2) << text;
        EXPECT_EQ(result.err, "vekcam: --depth: \"" + std::string(text) + "\" is neither 8 nor 12 nor 16\n");
    }
    EXPECT_EQ(runWith({&kConvert, "--depth", true, "", "", kSize}, "012").exitCode, 1);
}

TEST(Numbers, SignsAndExponents) {
    const auto converted = [](const char* option, const char* text) {
        return printedJson({"units", "--json", option, text}).at("conversions");
    };
    EXPECT_EQ(converted("--gain-db", "+10"), converted("--gain-db", "10"));
    EXPECT_EQ(converted("--gain-db", "-3")["gainDb"]["dB"], -3);
    EXPECT_EQ(converted("--exposure-time", "5e-1")["exposureTime"]["seconds"], 0.5);
    EXPECT_EQ(converted("--exposure-time", ".5")["exposureTime"]["seconds"], 0.5);
    EXPECT_EQ(converted("--gain", "+100")["gain"]["value"], 100);
    EXPECT_EQ(runVekcam({"units", "--gain", "+-5"}).exitCode, 2);
    EXPECT_EQ(runVekcam({"units", "--fps", "+-5"}).exitCode, 2);
}

class NumbersOfFiles : public CConversionTest {};

TEST_F(NumbersOfFiles, FrameAndOffsetAreDecimal) {
    std::vector<std::uint8_t> bytes(40);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i);
    }
    const std::string raw = Write("in.raw", bytes);
    const auto first = [&](const Arguments& more) {
        const SResult result = runVekcam(
            joined({{"convert", raw, "--plain", "-o", Path("out.png"), "-W", "02", "-H", "1", "-f", "mono8"}, more}));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return readPng(Path("out.png")).samples.at(0);
    };
    EXPECT_EQ(first({"--frame", "0010"}), 20);
    EXPECT_EQ(first({"--frame", "0009"}), 18);
    EXPECT_EQ(first({"--src-offset", "0011"}), 11);
    const nlohmann::json json =
        printedJson({"measure", raw, "-W", "010", "-H", "01", "-f", "mono8", "--frame", "003", "--json"});
    EXPECT_EQ(json["width"], 10);
    EXPECT_EQ(json["mean"], 34.5);
}

// ---- numbers within a text ----

struct SComposite {
    const SCommand* command;
    std::string option;
    std::string good;
    std::string zeros; ///< the same with zeros in front
    std::vector<std::string> bad;
    std::string complaint; ///< behind the text
};

void PrintTo(const SComposite& composite, std::ostream* stream) {
    *stream << commandLine(composite.command->words) << ' ' << composite.option;
}

class Composite : public ::testing::TestWithParam<SComposite> {};

TEST_P(Composite, FollowsTheSameRules) {
    const SComposite& composite = GetParam();
    const auto run = [&](const std::string& text) {
        const Arguments more = composite.command == &kAlc       ? kFewFrames
                               : composite.command == &kConvert ? joined({kSize, {"--plain"}})
                                                                : kSize;
        return runWith({composite.command, composite.option, true, "", "", more}, text);
    };
    for (const std::string& text : composite.bad) {
        const SResult result = run(text);
        EXPECT_EQ(result.exitCode, 2) << text;
        EXPECT_EQ(result.err, "vekcam: " + composite.option + ": \"" + text + "\" " + composite.complaint + "\n");
    }
    const SResult zeros = run(composite.zeros);
    EXPECT_EQ(zeros.exitCode, 1) << zeros.err;
    EXPECT_EQ(zeros.err, run(composite.good).err);
}

const std::string kNoRegion = "is no region X,Y,W,H: whole numbers of 0 to 4294967295, W and H 1 or more";
const std::vector<std::string> kBadRegions = {"nan,0,2,2", "0,inf,2,2", "0,0,2.5,2", "0,0,2,2x",        " 0,0,2,2",
                                              "0, 0,2,2",  "0x1,0,2,2", "-1,0,2,2",  "0,0,0,2",         "0,0,2",
                                              "0,0,2,2,",  "",          "0,,2,2",    "4294967296,0,2,2"};
const std::string kNoLimit = "is no START,SLOPE of 0 to 255 and 0 to 65535";
const std::vector<std::string> kBadLimits = {"nan,1", "1,inf", "1.5,1", "1,2x", " 1,2", "0x1,2", "256,1", "-1,1"};
const std::string kNoGamma = "is no gamma of 0.01 to 655.35";
const std::vector<std::string> kBadGammas = {"nan", "inf", "2x", " 2", "0x2", "1e999", "-1", "656", ""};

INSTANTIATE_TEST_SUITE_P(
    Cli, Composite,
    ::testing::Values(
        SComposite{&kMeasure, "--region", "1,0,3,2", "01,000,03,0002", kBadRegions, kNoRegion},
        SComposite{&kAlc, "--region", "8,0,8,8", "010,00,08,008", kBadRegions, kNoRegion},
        SComposite{&kAlc,
                   "--light-steps",
                   "0:1,8:2",
                   "00:01,008:002",
                   {"0:nan", "0:inf", "0:1x", " 0:1", "0: 1", "0x1:1", "0.5:1", "-1:1", "4294967296:1", "0:1000001",
                    "0:1,", "0:1:2", ""},
                   "is not FRAME:LIGHT,... with whole, rising frames of 0 to 4294967295 and lights of 0 to 1000000"},
        SComposite{&kConvert,
                   "--wb",
                   "1,1.5,2,3",
                   "01,01.5,02,003",
                   {"1,1,1,nan", "1,1,1,inf", "1,1,1,1x", "1,1,1, 1", "0x1,1,1,1", "1,1,1,1e9"},
                   "is neither auto nor R,G,B or R,GR,GB,B, factors of 0 to 511.99"},
        SComposite{&kConvert, "--raw-gamma", "2", "02", kBadGammas, kNoGamma},
        SComposite{&kConvert, "--gamma", "2", "02", kBadGammas, kNoGamma},
        SComposite{&kConvert,
                   "--matrix",
                   "1,0,0,0,1,0,0,0,1",
                   "01,00,0,0,1,0,0,0,1.0",
                   {"nan,0,0,0,1,0,0,0,1", "1,0,0,0,inf,0,0,0,1", "1,0,0,0,1,0,0,0,1x", "1, 0,0,0,1,0,0,0,1",
                    "1,0,0,0,1,0,0,0,1e9"},
                   "is no matrix of 9 or 12 numbers of -327.68 to 327.67"},
        SComposite{&kConvert,
                   "--hue",
                   "9",
                   "009",
                   {"nan", "inf", "9x", " 9", "0x9", "1e9", ""},
                   "is no angle of -360 to 360 degrees"},
        SComposite{&kConvert, "--suppress-high", "9,10", "009,0010", kBadLimits, kNoLimit},
        SComposite{&kConvert, "--suppress-low", "9,10", "009,0010", kBadLimits, kNoLimit},
        SComposite{&kConvert,
                   "--sharpness",
                   "50,9",
                   "050,009",
                   {"nan", "inf", "50x", " 50", "0x10", "50.5", "50,1.5", "50,", "-1", "99999999999999999999"},
                   "is no GAIN or GAIN,CORING of whole numbers with GAIN x (255 - CORING) up to 25500"}));

TEST(Codes, AreDecimalOrHexadecimal) {
    const auto formatOf = [](const char* code) {
        return printedJson({"measure", "--sim", "--json", "-f", code}).at("transferFormat")["name"];
    };
    EXPECT_EQ(formatOf("3"), "raw12");
    EXPECT_EQ(formatOf("03"), "raw12");
    EXPECT_EQ(formatOf("0009"), "mono12p");
    EXPECT_EQ(formatOf("0x13"), "raw16");
    EXPECT_EQ(formatOf("0X13"), "raw16");
    for (const char* const text : {"nan", "3x", " 3", "3.0", "-3", "+3", "0x", "0xg", "99999999999999999999", ""}) {
        for (const auto& [option, name, numbers] : {std::tuple{"--format", "raw8", "0 to 21 or 4096 to 4098"},
                                                    {"--colour-array", "rggb", "1 to 5"},
                                                    {"--method", "bilinear", "0 to 6 or 16"}}) {
            Arguments arguments = {"convert", "in.raw", "-o", "out.png", "-W", "4", "-H", "4", "--plain", option, text};
            const SResult result = runVekcam(arguments);
            EXPECT_EQ(result.exitCode, 2) << text;
            EXPECT_TRUE(result.err.starts_with("vekcam: " + std::string(option) + ": \"" + text + "\" is none of: "))
                << result.err;
            expectPart(result.err, name);
            EXPECT_TRUE(result.err.ends_with("; nor a number of " + std::string(numbers) + "\n")) << result.err;
        }
    }
    const SResult mode = runVekcam({"alc", "--mode", "7"});
    EXPECT_TRUE(mode.err.starts_with("vekcam: --mode: \"7\" is none of: both, ")) << mode.err;
    EXPECT_TRUE(mode.err.ends_with("; nor a number of 1 to 6\n")) << mode.err;
}

TEST(SettingNumbers, AreDecimal) {
    for (const char* const text : {"nan", "inf", "1.5", "1x", " 1", "0x1", "65536", "-1", "99999999999999999999", ""}) {
        const SResult result =
            runVekcam({"settings", "save", "/nonexistent/file", "--set", "WBGainR=" + std::string(text)});
        EXPECT_EQ(result.exitCode, 2) << text;
        EXPECT_EQ(result.err, "vekcam: --set: \"WBGainR=" + std::string(text) + "\" is no number of 0 to 65535\n");
    }
}

TEST_F(NumbersOfFiles, SettingsKeepTheDecimalNumber) {
    const std::string file = Path("settings.txt");
    EXPECT_EQ(runVekcam({"settings", "save", file, "--set", "WBGainR=0200"}).exitCode, 0);
    const nlohmann::json json = printedJson({"settings", "show", file, "--json"});
    EXPECT_EQ(json["settings"]["WBGainR"]["value"], 200);
}

} // namespace

} // namespace vek::test
