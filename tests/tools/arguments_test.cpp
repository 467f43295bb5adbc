// SPDX-License-Identifier: Apache-2.0
#include "Program.h"

#include <gtest/gtest.h>

#include <ostream>

namespace vek::test {

namespace {

class BadArguments : public ::testing::TestWithParam<SRefusal> {};

TEST_P(BadArguments, ExitTwoWithOneLine) {
    expectRefused(runVekcam(GetParam().arguments), 2, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(Program, BadArguments,
                         ::testing::Values(SRefusal{{}, "subcommand"}, SRefusal{{"paint"}, "paint"},
                                           SRefusal{{"--paint"}, "--paint"}, SRefusal{{"units", "demo"}, "demo"}));

INSTANTIATE_TEST_SUITE_P(Info, BadArguments,
                         ::testing::Values(SRefusal{{"info", "--sim", "box-camera"}, "box-camera"},
                                           SRefusal{{"info", "--sim", "--device", "/dev/null"}, "--sim"},
                                           SRefusal{{"info", "--device"}, "--device"},
                                           SRefusal{{"info", "--xml"}, "--xml"},
                                           SRefusal{{"info", "extra", "more"}, "more"},
                                           SRefusal{{"info", "--json=5"}, "json"}));

INSTANTIATE_TEST_SUITE_P(Demo, BadArguments,
                         ::testing::Values(SRefusal{{"demo", "--frames", "0"}, "--frames"},
                                           SRefusal{{"demo", "--frames", "1001"}, "--frames"},
                                           SRefusal{{"demo", "--frames", "two"}, "--frames"},
                                           SRefusal{{"demo", "--model", "box"}, "box"},
                                           SRefusal{{"demo", "--seed", "-1"}, "--seed"},
                                           SRefusal{{"demo", "--width", "63"}, "--width"},
                                           SRefusal{{"demo", "--height", "8193"}, "--height"},
                                           SRefusal{{"demo", "-o"}, "--output"}, SRefusal{{"demo", "extra"}, "extra"}));

INSTANTIATE_TEST_SUITE_P(
    Alc, BadArguments,
    ::testing::Values(
        SRefusal{{"alc", "--sim", "box"}, "box"}, SRefusal{{"alc", "--mode", "0"}, "--mode"},
        SRefusal{{"alc", "--mode", "7"}, "--mode"}, SRefusal{{"alc", "--mode", "off"}, "--mode"},
        SRefusal{{"alc", "--target", "256"}, "--target"}, SRefusal{{"alc", "--frames", "0"}, "--frames"},
        SRefusal{{"alc", "--region", "1,2,3"}, "--region"}, SRefusal{{"alc", "--region", "0,0,0,5"}, "--region"},
        SRefusal{{"alc", "--region", "5000,0,5,5"}, "outside"}, SRefusal{{"alc", "--light", "-1"}, "--light"},
        SRefusal{{"alc", "--light-steps", "3"}, "--light-steps"},
        SRefusal{{"alc", "--light-steps", "3:1,"}, "--light-steps"},
        SRefusal{{"alc", "--light-steps", "3:1,3:2"}, "rising"},
        SRefusal{{"alc", "--light-steps", "3:nan"}, "--light-steps"},
        SRefusal{{"alc", "--start-exposure", "2147483648"}, "--start-exposure"},
        SRefusal{{"alc", "--max-gain", "65536"}, "--max-gain"},
        SRefusal{{"alc", "--sim", "--device", "/dev/null"}, "--sim"},
        SRefusal{{"alc", "--device", "/dev/null", "--light", "2"}, "--light"}, SRefusal{{"alc", "extra"}, "extra"}));

INSTANTIATE_TEST_SUITE_P(
    Measure, BadArguments,
    ::testing::Values(
        SRefusal{{"measure"}, "required"}, SRefusal{{"measure", "in.raw", "-W", "2", "-H", "2"}, "--format"},
        SRefusal{{"measure", "in.raw", "-W", "2", "-H", "2", "-f", "raw8"}, "--colour-array"},
        SRefusal{{"measure", "in.raw", "-W", "2", "-H", "2", "-f", "mono8", "-a", "rggb"}, "does not go"},
        SRefusal{{"measure", "in.raw", "-W", "2", "-H", "2", "-f", "bgr8"}, "neither raw nor mono"},
        SRefusal{{"measure", "--sim", "-f", "ycrcb422"}, "neither raw nor mono"},
        SRefusal{{"measure", "in.raw", "-W", "2", "-H", "2", "-f", "mono8", "--region", "2,0,1,1"}, "outside"},
        SRefusal{{"measure", "in.raw", "--sim", "clock-vga"}, "exclude"},
        SRefusal{{"measure", "--sim", "--frame", "1"}, "--frame"}, SRefusal{{"measure", "--sim", "box"}, "box"}));

INSTANTIATE_TEST_SUITE_P(Defects, BadArguments,
                         ::testing::Values(SRefusal{{"defects"}, "subcommand"},
                                           SRefusal{{"defects", "repair"}, "subcommand"},
                                           SRefusal{{"defects", "detect", "--threshold", "257"}, "--threshold"},
                                           SRefusal{{"defects", "detect", "--hot", "-1"}, "--hot"},
                                           SRefusal{{"defects", "detect", "--sim", "box"}, "box"}));

INSTANTIATE_TEST_SUITE_P(Units, BadArguments,
                         ::testing::Values(SRefusal{{"units", "--exposure-time", "-1"}, "--exposure-time"},
                                           SRefusal{{"units", "--exposure-clocks", "4294967296"}, "--exposure-clocks"},
                                           SRefusal{{"units", "--gain", "65536"}, "--gain"},
                                           SRefusal{{"units", "--fps", "0"}, "--fps"},
                                           SRefusal{{"units", "--digital-times", "x"}, "--digital-times"},
                                           SRefusal{{"units", "--sim", "--device", "/dev/null"}, "--sim"}));

SRefusal setBad(const std::string& change, const std::string& message) {
    return {{"settings", "save", "/nonexistent/file", "--set", change}, message};
}

INSTANTIATE_TEST_SUITE_P(
    Settings, BadArguments,
    ::testing::Values(SRefusal{{"settings"}, "subcommand"}, SRefusal{{"settings", "edit"}, "subcommand"},
                      SRefusal{{"settings", "save"}, "required"}, SRefusal{{"settings", "load"}, "required"},
                      SRefusal{{"settings", "show"}, "required"}, SRefusal{{"settings", "diff", "a"}, "required"},
                      SRefusal{{"settings", "diff", "a", "b", "c"}, "c"},
                      SRefusal{{"settings", "save", "a", "--sim", "box"}, "box"},
                      SRefusal{{"settings", "load", "a", "--sim", "--device", "/dev/null"}, "--sim"},
                      setBad("WBMode", "KEY=VALUE"), setBad("wbmode=1", "names no key"), setBad("=1", "names no key"),
                      setBad("WBMode=", "manual"), setBad("WBMode=maybe", "off, manual, auto, once"),
                      setBad("WBMode=256", "0 to 255"), setBad("WBGainR=65536", "0 to 65535"),
                      setBad("WBGainR=-1", "0 to 65535"), setBad("WBGainR=1.5", "0 to 65535"),
                      setBad("WBGainR=1 ", "0 to 65535"), setBad("BrightnessY=32768", "-32768 to 32767"),
                      setBad("BrightnessY=-32769", "-32768 to 32767"), setBad("SharpnessCoring=256", "0 to 255"),
                      setBad("AEMaxExposure=-1", "0 to 9223372036854775807"),
                      setBad("AEMaxExposure=9223372036854775808", "0 to 9223372036854775807")));

INSTANTIATE_TEST_SUITE_P(
    Profile, BadArguments,
    ::testing::Values(SRefusal{{"profile"}, "subcommand"}, SRefusal{{"profile", "edit"}, "subcommand"},
                      SRefusal{{"profile", "show"}, "required"}, SRefusal{{"profile", "check"}, "required"},
                      SRefusal{{"profile", "new"}, "required"}, SRefusal{{"profile", "export", "a"}, "--libcamera"},
                      SRefusal{{"profile", "show", "a", "b"}, "b"}));

/// convert with arguments that are all right, and others behind them.
Arguments convertWith(const Arguments& more) {
    return joined({{"convert", "in.raw", "-o", "out.png"}, more});
}

SRefusal convertBad(const Arguments& more, const std::string& message) {
    return {convertWith(more), message};
}

INSTANTIATE_TEST_SUITE_P(
    ConvertMissing, BadArguments,
    ::testing::Values(SRefusal{{"convert"}, "required"}, convertBad({"-H", "2", "-f", "mono8"}, "--width"),
                      convertBad({"-W", "2", "-f", "mono8"}, "--height"),
                      convertBad({"-W", "2", "-H", "2"}, "--format"),
                      convertBad({"-W", "2", "-H", "2", "-f", "raw8"}, "--colour-array"),
                      SRefusal{{"convert", "in.raw", "-W", "2", "-H", "2", "-f", "mono8"}, "--output"},
                      SRefusal{{"convert", "-o", "x", "-W", "2", "-H", "2", "-f", "mono8"}, "IN"}));

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
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--depth", "10"}, "--depth"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--threads", "0"}, "--threads"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--threads", "257"}, "--threads"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw16", "-a", "rggb", "--depth", "16"}, "--depth 16 needs a grey"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw12", "-a", "rggb", "--depth", "12", "--hue", "9"},
                   "--depth 12 does"),
        convertBad({"-W", "2", "-H", "2", "-f", "bgr8", "--depth", "12"}, "--depth 12 needs a raw"),
        convertBad({"-W", "2", "-H", "2", "-f", "raw10-csi2"}, "--colour-array"),
        convertBad({"-W", "2", "-H", "2", "-f", "4099", "-a", "rggb"}, "4096 to 4098"),
        convertBad({"-W", "1", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "edge"}, "edge needs 2 x 2"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--src-offset", "-1"}, "--src-offset"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--src-offset", "1152921504606846977"}, "--src-offset"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--frame", "1000000001"}, "--frame"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--src-stride", "0"}, "--src-stride"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--src-stride", "1"}, "--src-stride 1 is less than a row"),
        convertBad({"-W", "3", "-H", "2", "-f", "mono10p", "--src-stride", "3"}, "less than a row, 4 bytes"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--src-stride", "1073741825"}, "--src-stride"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--byte-order", "middle"}, "neither little nor big"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--byte-order", "big"}, "--byte-order needs samples in words"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono12p", "--byte-order", "big"}, "--byte-order needs"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--quality", "90"}, "--quality is of JPEG pictures"),
        SRefusal{{"convert", "in.raw", "-W", "2", "-H", "2", "-f", "mono8", "-o", "x.jpg", "--quality", "0"},
                 "--quality"},
        SRefusal{{"convert", "in.raw", "-W", "2", "-H", "2", "-f", "mono8", "-o", "x.jpg", "--quality", "101"},
                 "--quality"},
        SRefusal{{"convert", "in.raw", "-W", "2", "-H", "2", "-f", "raw8", "-a", "rggb", "-o", "x.pgm"},
                 "x.pgm: PGM pictures are grey"},
        SRefusal{{"convert", "in.raw", "-W", "65501", "-H", "2", "-f", "mono8", "-o", "x.jpg"}, "65500 pixels a side"},
        SRefusal{{"convert", "in.raw", "-W", "2", "-H", "2", "-f", "mono8", "-o", "x.bmp"},
                 ".png, .tif, .tiff, .jpg, .jpeg, .ppm, .pgm, .pnm"},
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--plain", "--black", "1"},
                   "--black does not go with --plain"),
        convertBad({"-W", "2", "-H", "2", "-f", "bgr8", "--white", "1"}, "--white does not go with format bgr8"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--display", "--white", "256"}, "0 to 255"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono10", "--display", "--black", "1024"}, "0 to 1023"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--display", "--black", "9", "--white", "9"}, "not below"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono16", "--display", "--black", "1", "--white", "9"}, "not below"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "second.raw"}, "--output out.png: many frames need a pattern"),
        convertBad({"-W", "2", "-H", "2", "-f", "mono8", "--paint"}, "--paint")));

TEST(ConvertFormats, ThoseOfColorTakeNoColorArrayAndNoStageOfRawFrames) {
    for (const char* const format :
         {"bgr8", "bgr10", "ycrcb411", "ycrcb422", "ycrcb444", "ycrcb411-bt709", "ycrcb422-bt709", "ycrcb444-bt709"}) {
        const SResult result = runVekcam(convertWith({"-W", "2", "-H", "2", "-a", "rggb", "-f", format}));
        EXPECT_EQ(result.exitCode, 2) << format;
        EXPECT_EQ(result.err, "vekcam: --colour-array does not go with format " + std::string(format) + "\n");
        for (const Arguments& stage :
             {Arguments{"--wb", "auto"}, {"--raw-gamma", "2"}, {"--mirror", "h"}, {"--rotate", "cw"}}) {
            const SResult refused = runVekcam(convertWith(sized(2, 2, joined({{"-f", format}, stage}))));
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
