// SPDX-License-Identifier: Apache-2.0
#include "Program.h"

#include <gtest/gtest.h>

#include <ostream>

namespace vek::test {

namespace {

struct SBad {
    std::vector<std::string> arguments;
    std::string message; ///< a part of it
};

void PrintTo(const SBad& bad, std::ostream* stream) {
    *stream << commandLine(bad.arguments);
}

class BadArguments : public ::testing::TestWithParam<SBad> {};

TEST_P(BadArguments, ExitTwoWithOneLine) {
    const SResult result = runVekcam(GetParam().arguments);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(isOneLineMessage(result.err)) << result.err;
    EXPECT_NE(result.err.find(GetParam().message), std::string::npos) << result.err;
}

INSTANTIATE_TEST_SUITE_P(Program, BadArguments,
                         ::testing::Values(SBad{{}, "subcommand"}, SBad{{"paint"}, "paint"},
                                           SBad{{"--paint"}, "--paint"}, SBad{{"info", "demo"}, "demo"}));

INSTANTIATE_TEST_SUITE_P(Info, BadArguments,
                         ::testing::Values(SBad{{"info", "--sim", "box-camera"}, "box-camera"},
                                           SBad{{"info", "--sim", "--device", "/dev/null"}, "--sim"},
                                           SBad{{"info", "--device"}, "--device"}, SBad{{"info", "--xml"}, "--xml"},
                                           SBad{{"info", "extra"}, "extra"}, SBad{{"info", "--json=5"}, "json"}));

INSTANTIATE_TEST_SUITE_P(
    Demo, BadArguments,
    ::testing::Values(SBad{{"demo", "--frames", "0"}, "--frames"}, SBad{{"demo", "--frames", "1001"}, "--frames"},
                      SBad{{"demo", "--frames", "two"}, "--frames"}, SBad{{"demo", "--model", "box"}, "box"},
                      SBad{{"demo", "--seed", "-1"}, "--seed"}, SBad{{"demo", "--width", "63"}, "--width"},
                      SBad{{"demo", "--height", "8193"}, "--height"}, SBad{{"demo", "-o"}, "--output"},
                      SBad{{"demo", "extra"}, "extra"}));

INSTANTIATE_TEST_SUITE_P(
    Alc, BadArguments,
    ::testing::Values(
        SBad{{"alc", "--sim", "box"}, "box"}, SBad{{"alc", "--mode", "0"}, "--mode"},
        SBad{{"alc", "--mode", "7"}, "--mode"}, SBad{{"alc", "--mode", "off"}, "--mode"},
        SBad{{"alc", "--target", "256"}, "--target"}, SBad{{"alc", "--frames", "0"}, "--frames"},
        SBad{{"alc", "--region", "1,2,3"}, "--region"}, SBad{{"alc", "--region", "0,0,0,5"}, "--region"},
        SBad{{"alc", "--region", "5000,0,5,5"}, "outside"}, SBad{{"alc", "--light", "-1"}, "--light"},
        SBad{{"alc", "--light-steps", "3"}, "--light-steps"}, SBad{{"alc", "--light-steps", "3:1,"}, "--light-steps"},
        SBad{{"alc", "--light-steps", "3:1,3:2"}, "rising"}, SBad{{"alc", "--light-steps", "3:nan"}, "--light-steps"},
        SBad{{"alc", "--start-exposure", "2147483648"}, "--start-exposure"},
        SBad{{"alc", "--max-gain", "65536"}, "--max-gain"}, SBad{{"alc", "--sim", "--device", "/dev/null"}, "--sim"},
        SBad{{"alc", "--device", "/dev/null", "--light", "2"}, "--light"}, SBad{{"alc", "extra"}, "extra"}));

INSTANTIATE_TEST_SUITE_P(
    Measure, BadArguments,
    ::testing::Values(SBad{{"measure"}, "required"}, SBad{{"measure", "in.raw", "-W", "2", "-H", "2"}, "--format"},
                      SBad{{"measure", "in.raw", "-W", "2", "-H", "2", "-f", "raw8"}, "--colour-array"},
                      SBad{{"measure", "in.raw", "-W", "2", "-H", "2", "-f", "mono8", "-a", "rggb"}, "does not go"},
                      SBad{{"measure", "in.raw", "-W", "2", "-H", "2", "-f", "bgr8"}, "neither raw nor mono"},
                      SBad{{"measure", "--sim", "-f", "ycrcb422"}, "neither raw nor mono"},
                      SBad{{"measure", "in.raw", "-W", "2", "-H", "2", "-f", "mono8", "--region", "2,0,1,1"},
                           "outside"},
                      SBad{{"measure", "in.raw", "--sim", "clock-vga"}, "exclude"},
                      SBad{{"measure", "--sim", "--frame", "1"}, "--frame"}, SBad{{"measure", "--sim", "box"}, "box"}));

INSTANTIATE_TEST_SUITE_P(Defects, BadArguments,
                         ::testing::Values(SBad{{"defects"}, "subcommand"}, SBad{{"defects", "repair"}, "subcommand"},
                                           SBad{{"defects", "detect", "--threshold", "257"}, "--threshold"},
                                           SBad{{"defects", "detect", "--hot", "-1"}, "--hot"},
                                           SBad{{"defects", "detect", "--sim", "box"}, "box"}));

INSTANTIATE_TEST_SUITE_P(Units, BadArguments,
                         ::testing::Values(SBad{{"units", "--exposure-time", "-1"}, "--exposure-time"},
                                           SBad{{"units", "--exposure-clocks", "4294967296"}, "--exposure-clocks"},
                                           SBad{{"units", "--gain", "65536"}, "--gain"},
                                           SBad{{"units", "--fps", "0"}, "--fps"},
                                           SBad{{"units", "--digital-times", "x"}, "--digital-times"},
                                           SBad{{"units", "--sim", "--device", "/dev/null"}, "--sim"}));

SBad setBad(const std::string& change, const std::string& message) {
    return {{"settings", "save", "/nonexistent/file", "--set", change}, message};
}

INSTANTIATE_TEST_SUITE_P(
    Settings, BadArguments,
    ::testing::Values(SBad{{"settings"}, "subcommand"}, SBad{{"settings", "edit"}, "subcommand"},
                      SBad{{"settings", "save"}, "required"}, SBad{{"settings", "load"}, "required"},
                      SBad{{"settings", "show"}, "required"}, SBad{{"settings", "diff", "a"}, "required"},
                      SBad{{"settings", "diff", "a", "b", "c"}, "c"},
                      SBad{{"settings", "save", "a", "--sim", "box"}, "box"},
                      SBad{{"settings", "load", "a", "--sim", "--device", "/dev/null"}, "--sim"},
                      setBad("WBMode", "KEY=VALUE"), setBad("wbmode=1", "names no key"), setBad("=1", "names no key"),
                      setBad("WBMode=", "manual"), setBad("WBMode=maybe", "off, manual, auto, once"),
                      setBad("WBMode=256", "0 to 255"), setBad("WBGainR=65536", "0 to 65535"),
                      setBad("WBGainR=-1", "0 to 65535"), setBad("WBGainR=1.5", "0 to 65535"),
                      setBad("WBGainR=1 ", "0 to 65535"), setBad("BrightnessY=32768", "-32768 to 32767"),
                      setBad("BrightnessY=-32769", "-32768 to 32767"), setBad("SharpnessCoring=256", "0 to 255"),
                      setBad("AEMaxExposure=-1", "0 to 9223372036854775807"),
                      setBad("AEMaxExposure=9223372036854775808", "0 to 9223372036854775807")));

/// convert with arguments that are all right, and others behind them.
std::vector<std::string> convertWith(const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"convert", "in.raw", "-o", "out.png"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

SBad convertBad(const std::vector<std::string>& more, const std::string& message) {
    return {convertWith(more), message};
}

INSTANTIATE_TEST_SUITE_P(ConvertMissing, BadArguments,
                         ::testing::Values(SBad{{"convert"}, "required"},
                                           convertBad({"-H", "2", "-f", "mono8"}, "--width"),
                                           convertBad({"-W", "2", "-f", "mono8"}, "--height"),
                                           convertBad({"-W", "2", "-H", "2"}, "--format"),
                                           convertBad({"-W", "2", "-H", "2", "-f", "raw8"}, "--colour-array"),
                                           SBad{{"convert", "in.raw", "-W", "2", "-H", "2", "-f", "mono8"}, "--output"},
                                           SBad{{"convert", "-o", "x", "-W", "2", "-H", "2", "-f", "mono8"}, "IN"}));

INSTANTIATE_TEST_SUITE_P(
    ConvertValues, BadArguments,
    ::testing::Values(
        convertBad({"-W", "0", "-H", "2", "-f", "mono8"}, "--width"),
        convertBad({"-W", "65536", "-H", "2", "-f", "mono8"}, "--width"),
        convertBad({"-W", "-2", "-H", "2", "-f", "mono8"}, "--width"),
        convertBad({"-W", "2.5", "-H", "2", "-f", "mono8"}, "--width"),
        convertBad({"-W", "2", "-H", "0", "-f", "mono8"}, "--height"),
        convertBad({"-W", "2", "-H", "99999999999999999999", "-f", "mono8"}, "--height"),
        convertBad({"-W", "2", "-W", "2", "-H", "2", "-f", "mono8"}, "--width"),
        convertBad({"-W", "2", "-H", "2", "-f", "22"}, "\"22\""),
        convertBad({"-W", "2", "-H", "2", "-f", "-1"}, "--format"),
        convertBad({"-W", "2", "-H", "2", "-f", "jpeg"}, "jpeg"),
        convertBad({"-W", "2", "-H", "2", "-f", ""}, "--format"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw\n8"}, "raw 8"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw8", "-a", "0"}, "--colour-array"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw8", "-a", "6"}, "--colour-array"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw8", "-a", "rgbg"}, "rgbg"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "-a", "rggb"}, "does not go with"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "7"}, "--method"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "magic"}, "magic"),
        convertBad({"-W", "1", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "bilinear"}, "2 x 2"),
        convertBad({"-W", "2", "-H", "1", "-f", "raw8", "-a", "rggb", "-m", "nearest"}, "2 x 2"),
        convertBad({"-W", "2", "-H", "1", "-f", "raw8", "-a", "rggb", "-m", "bicubic"}, "bicubic needs 2 x 2"),
        convertBad({"-W", "3", "-H", "4", "-f", "raw8", "-a", "rggb", "-m", "nearest2"}, "nearest2 needs 4 x 4"),
        convertBad({"-W", "4", "-H", "3", "-f", "raw8", "-a", "rggb", "-m", "5"}, "bilinear-fcr needs 4 x 4"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--bits-out", "12"}, "--bits-out"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--src-offset", "-1"}, "--src-offset"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--src-offset", "1152921504606846977"}, "--src-offset"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--frame", "1000000001"}, "--frame"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--black", "1"}, "--display"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--white", "1"}, "--display"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--display", "--white", "256"}, "0 to 255"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono10", "--display", "--black", "1024"}, "0 to 1023"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--display", "--black", "9", "--white", "9"}, "not below"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono16", "--display", "--black", "1", "--white", "9"}, "not below"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "second.raw"}, "second.raw"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--paint"}, "--paint")));

TEST(ConvertFormats, ThoseOfColourTakeNoColourArrayAndNoStageOfRawFrames) {
    for (const char* const format :
         {"bgr8", "bgr10", "ycrcb411", "ycrcb422", "ycrcb444", "ycrcb411-bt709", "ycrcb422-bt709", "ycrcb444-bt709"}) {
        const SResult result = runVekcam(convertWith({"-W", "2", "-H", "2", "-a", "rggb", "-f", format}));
        EXPECT_EQ(result.exitCode, 2) << format;
        EXPECT_EQ(result.err, "vekcam: --colour-array does not go with format " + std::string(format) + "\n");
        for (const std::vector<std::string>& stage :
             {std::vector<std::string>{"--wb", "auto"}, {"--raw-gamma", "2"}, {"--mirror", "h"}, {"--rotate", "cw"}}) {
            std::vector<std::string> arguments = {"-W", "2", "-H", "2", "-f", format};
            arguments.insert(arguments.end(), stage.begin(), stage.end());
            const SResult refused = runVekcam(convertWith(arguments));
            EXPECT_EQ(refused.exitCode, 2) << format;
            EXPECT_EQ(refused.err, "vekcam: " + stage.front() + " needs a raw or mono frame: format " +
                                       std::string(format) + " is colour already\n");
        }
    }
    for (const char* const format : {"raw10p", "raw12p"}) {
        EXPECT_EQ(runVekcam(convertWith({"-W", "2", "-H", "2", "-f", format})).err,
                  "vekcam: --colour-array is required with format " + std::string(format) + "\n");
    }
}

} // namespace

} // namespace vek::test
