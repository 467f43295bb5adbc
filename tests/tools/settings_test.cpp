// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

namespace vek::test {

namespace {

using Json = nlohmann::json;

/// What a new handle on the simulated camera global-1m has.
constexpr const char* kNewHandle = R"(ALCMode 0
ALCLevel 128
AGCMaxGain 240
AGCMinGain 0
AEMaxExposure 0
AEMinExposure 1
ShadingCorrectionMode 0
ShadingCorrectionTarget 0
WBMode 0
WBGainR 256
WBGainGr 128
WBGainGb 128
WBGainB 217
GammaModeY 0
GammaY 100
BrightnessY 0
ContrastY 0
GammaModeR 0
GammaR 100
BrightnessR 0
ContrastR 0
GammaModeGr 0
GammaGr 100
BrightnessGr 0
ContrastGr 0
GammaModeGb 0
GammaGb 100
BrightnessGb 0
ContrastGb 0
GammaModeB 0
GammaB 100
BrightnessB 0
ContrastB 0
HueSaturationMode 0
Hue 0
Saturation 100
StartLevelHigh 255
SuppressionHigh 0
StartLevelLow 0
SuppressionLow 0
SharpnessMode 0
SharpnessGain 0
SharpnessCoring 0
)";

/// Every setting has another value than in a new handle, and than its neighbours.
constexpr const char* kEverythingElse = R"(ALCMode 4
ALCLevel 90
AGCMaxGain 200
AGCMinGain 12
AEMaxExposure 5000000000
AEMinExposure 30
ShadingCorrectionMode 255
ShadingCorrectionTarget 131
WBMode 2
WBGainR 300
WBGainGr 129
WBGainGb 127
WBGainB 65535
GammaModeY 1
GammaY 220
BrightnessY -24
ContrastY 16
GammaModeR 2
GammaR 180
BrightnessR 3
ContrastR 4
GammaModeGr 1
GammaGr 181
BrightnessGr -5
ContrastGr 6
GammaModeGb 1
GammaGb 182
BrightnessGb 7
ContrastGb 8
GammaModeB 2
GammaB 183
BrightnessB -9
ContrastB 10
HueSaturationMode 1
Hue -305
Saturation 160
StartLevelHigh 170
SuppressionHigh 400
StartLevelLow 110
SuppressionLow 4096
SharpnessMode 1
SharpnessGain 80
SharpnessCoring 4
)";

constexpr const char* kEverythingElseShown =
    R"(ALCMode                       4  both-once
ALCLevel                     90  level
AGCMaxGain                  200  gain setting value
AGCMinGain                   12  gain setting value
AEMaxExposure           5000000000  exposure clocks
AEMinExposure                30  exposure clocks
ShadingCorrectionMode       255  show-map
ShadingCorrectionTarget     131  level
WBMode                        2  auto
WBGainR                     300  factor 2.344
WBGainGr                    129  factor 1.008
WBGainGb                    127  factor 0.992
WBGainB                   65535  factor 511.992
GammaModeY                    1  curve
GammaY                      220  gamma 2.20
BrightnessY                 -24  levels added
ContrastY                    16  levels black, and as many white
GammaModeR                    2  negative
GammaR                      180  gamma 1.80
BrightnessR                   3  levels added
ContrastR                     4  levels black, and as many white
GammaModeGr                   1  curve
GammaGr                     181  gamma 1.81
BrightnessGr                 -5  levels added
ContrastGr                    6  levels black, and as many white
GammaModeGb                   1  curve
GammaGb                     182  gamma 1.82
BrightnessGb                  7  levels added
ContrastGb                    8  levels black, and as many white
GammaModeB                    2  negative
GammaB                      183  gamma 1.83
BrightnessB                  -9  levels added
ContrastB                    10  levels black, and as many white
HueSaturationMode             1  on
Hue                        -305  -30.5 degrees
Saturation                  160  160 %
StartLevelHigh              170  luma
SuppressionHigh             400  2.441 % for each level beyond
StartLevelLow               110  luma
SuppressionLow             4096  25.000 % for each level beyond
SharpnessMode                 1  on
SharpnessGain                80  80 %
SharpnessCoring               4  levels left alone
)";

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

class Settings : public CConversionTest {
protected:
    static void ExpectFailure(const Arguments& arguments, int code, const std::string& message) {
        SCOPED_TRACE(commandLine(arguments));
        expectRefused(runVekcam(arguments), code, message); // nor does the library print anything
    }

    std::string Saved(const Arguments& options) const {
        printed(joined({{"settings", "save", Path("saved")}, options}));
        return Content("saved");
    }
};

// ---- save ----

TEST_F(Settings, SaveWritesANewHandlesSettings) {
    EXPECT_EQ(printed({"settings", "save", Path("new")}),
              Path("new") + ": 43 settings of simulated camera global-1m\n");
    EXPECT_EQ(Content("new"), kNewHandle);
}

TEST_F(Settings, SaveReplacesAFileAndTakesAnotherCamera) {
    WriteText("saved", std::string(5000, 'x'));
    const std::string text = Saved({"--sim", "line-2m"});
    EXPECT_EQ(linesOf(text)[2], "AGCMaxGain 60");
    EXPECT_EQ(linesOf(text).size(), 43U);
}

TEST_F(Settings, SaveChangesEveryKey) {
    Arguments changes;
    for (std::string line : linesOf(kEverythingElse)) {
        line[line.find(' ')] = '=';
        changes.insert(changes.end(), {"--set", line});
    }
    EXPECT_EQ(Saved(changes), kEverythingElse);
}

TEST_F(Settings, SaveTakesTheNamesOfModesAndTheLastOfSeveralValues) {
    const std::string text = Saved({"--set", "WBMode=3", "--set", "WBMode=manual", "--set", "GammaModeGr=Negative",
                                    "--set", "ALCMode=gain-once", "--set", "HueSaturationMode=on", "--set",
                                    "ShadingCorrectionMode=offset", "--set", "GammaModeY=table"});
    for (const char* const line : {"WBMode 1\n", "GammaModeGr 2\n", "ALCMode 6\n", "HueSaturationMode 1\n",
                                   "ShadingCorrectionMode 4\n", "GammaModeY 255\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line;
    }
}

TEST_F(Settings, SaveRefusesWhatTheLibraryWouldNotKeepAndWritesNothing) {
    const auto expect = [&](const std::string& change, const std::string& message) {
        ExpectFailure({"settings", "save", Path("none"), "--set", change}, 2, message);
    };
    expect("GammaModeY=7", "refuses");
    expect("HueSaturationMode=2", "refuses");
    expect("GammaY=220", "keeps 100: its mode has to be set, too");
    expect("Saturation=50", "keeps 100: its mode has to be set, too");
    expect("ALCMode=17", "keeps 1");
    EXPECT_NE(access(Path("none").c_str(), F_OK), 0);
}

TEST_F(Settings, SaveNoticesAFullDisk) {
    expectOneLine(runVekcam({"settings", "save", Path("short")}, {.fileSize = 100}), 1, "cannot write");
}

TEST_F(Settings, SaveToStandardOutputWritesTheSettingsAlone) {
    EXPECT_EQ(printed({"settings", "save", "-"}), kNewHandle);
    EXPECT_EQ(printed({"settings", "save", "/dev/stdout"}), kNewHandle);
}

// ---- show ----

TEST_F(Settings, ShowTellsEverySettingInWords) {
    EXPECT_EQ(printed({"settings", "show", WriteText("all", kEverythingElse)}), kEverythingElseShown);
}

TEST_F(Settings, ShowReadsStandardInput) {
    const std::string text = kEverythingElse;
    EXPECT_EQ(runVekcam({"settings", "show", "-"}, {.in = {text.begin(), text.end()}}).out, kEverythingElseShown);
}

/// A key that is unknown, one without a number, one twice, numbers that do not fit, and ones that are not kept.
constexpr const char* kOdd = "WBMode 1\n"
                             "Foo 3\n"
                             "GammaModeR 7\n"
                             "WBMode x 2 WBGainR 70000 ALCMode 17\n"
                             "\n"
                             "Hue 30 WBMode 2 WBGainB -1 Saturation";

TEST_F(Settings, ShowMarksWhatIsOdd) {
    const std::vector<std::string> lines = linesOf(printed({"settings", "show", WriteText("odd", kOdd)}));
    ASSERT_EQ(lines.size(), 49U);
    EXPECT_EQ(lines[0], "ALCMode                      17  no such mode  [the library keeps 1]");
    EXPECT_EQ(lines[1], "ALCLevel                      -  [not in the file: stays as it is]");
    EXPECT_EQ(lines[8], "WBMode                        2  auto");
    EXPECT_EQ(lines[9], "WBGainR                    4464  factor 34.875  [70000 does not fit and is cut]");
    EXPECT_EQ(lines[12], "WBGainB                   65535  factor 511.992  [-1 does not fit and is cut]");
    EXPECT_EQ(lines[17], "GammaModeR                    7  no such mode  [refused]");
    EXPECT_EQ(lines[34], "Hue                          30  3.0 degrees  [the library keeps 0]");
    EXPECT_EQ(lines[43], "line 1: WBMode 1 is passed over: line 6 has the key again");
    EXPECT_EQ(lines[44], "line 2: Foo 3 is passed over: unknown key");
    EXPECT_EQ(lines[45], "line 4: WBMode is passed over: no number follows");
    EXPECT_EQ(lines[46], "line 4: x 2 is passed over: unknown key");
    EXPECT_EQ(lines[47], "line 6: Saturation is passed over: no number follows");
    EXPECT_EQ(lines[48], "The library stops at GammaModeR: the settings from there on stay as they are.");
}

TEST_F(Settings, ShowAsJson) {
    const Json json = printedJson({"settings", "show", "--json", WriteText("odd", kOdd)});
    EXPECT_EQ(json["file"], Path("odd"));
    EXPECT_EQ(json["settings"].size(), 43U);
    EXPECT_EQ(json["settings"]["WBGainR"], Json({{"value", 4464},
                                                 {"meaning", "factor 34.875"},
                                                 {"line", 4},
                                                 {"written", 70000},
                                                 {"refused", false},
                                                 {"kept", 4464}}));
    EXPECT_EQ(json["settings"]["GammaModeR"]["refused"], true);
    EXPECT_TRUE(json["settings"]["GammaModeR"]["kept"].is_null());
    EXPECT_TRUE(json["settings"]["GammaR"].is_null());
    EXPECT_EQ(json["settings"]["ALCMode"]["kept"], 1);
    EXPECT_EQ(json["passedOver"][1], Json({{"line", 2}, {"key", "Foo"}, {"value", 3}, {"why", "unknown key"}}));
    EXPECT_TRUE(json["passedOver"][2]["value"].is_null());
    EXPECT_EQ(json["stopsAt"], "GammaModeR");
    EXPECT_TRUE(printedJson({"settings", "show", "--json", WriteText("all", kEverythingElse)})["stopsAt"].is_null());
}

TEST_F(Settings, ShowTellsWhatModeNumbersMeanThatHaveNoName) {
    const std::string out = printed({"settings", "show",
                                     WriteText("modes", "ShadingCorrectionMode 9 WBMode 200 HueSaturationMode 2 "
                                                        "SharpnessMode 3 AEMinExposure -1 GammaY 0")});
    expectPart(out, "ShadingCorrectionMode         9  does nothing\n");
    expectPart(out, "WBMode                      200  works as manual\n");
    expectPart(out, "HueSaturationMode             2  no such mode  [refused]\n");
    expectPart(out, "SharpnessMode                 3  on\n");
    expectPart(out, "AEMinExposure                -1  18446744073709551615 exposure clocks\n");
    expectPart(out, "GammaY                        0  no gamma");
}

TEST_F(Settings, ControlCharactersOfAKeyDoNotReachTheTerminal) {
    const std::string out = printed({"settings", "show", WriteText("bell", "F\x1b[2Joo 3\nWBMode 1\n")});
    expectPart(out, "line 1: F?[2Joo 3 is passed over: unknown key\n");
    EXPECT_EQ(out.find('\x1b'), std::string::npos);
}

// ---- load ----

TEST_F(Settings, LoadTellsWhatTheHandleThenHas) {
    const Json json = printedJson({"settings", "load", "--json", WriteText("all", kEverythingElse)});
    EXPECT_EQ(json["camera"], "simulated camera global-1m");
    EXPECT_EQ(json["accepted"], true);
    for (const std::string& line : linesOf(kEverythingElse)) {
        const std::string key = line.substr(0, line.find(' '));
        EXPECT_EQ(json["settings"][key]["value"], std::stol(line.substr(key.size()))) << key;
        EXPECT_EQ(json["settings"][key]["file"], json["settings"][key]["value"]) << key;
    }
    EXPECT_EQ(json["settings"]["AGCMaxGain"]["meaning"], "gain setting value, 20.00 dB"); // 0.1 dB each
    EXPECT_EQ(json["settings"]["AEMinExposure"]["meaning"], "exposure clocks, 3e-05 s");  // 1 us each
}

TEST_F(Settings, LoadMarksWhatTheFileDoesNotSay) {
    const std::vector<std::string> lines =
        linesOf(printed({"settings", "load", WriteText("few", "ALCMode 17\nWBMode 1 Foo 5\n"), "--sim", "line-2m"}));
    ASSERT_EQ(lines.size(), 44U);
    EXPECT_EQ(lines[0], "ALCMode                       1  both  [the file has 17]");
    EXPECT_EQ(lines[1], "ALCLevel                    128  level  [not in the file]");
    EXPECT_EQ(lines[8], "WBMode                        1  manual");
    EXPECT_EQ(lines[43], "line 2: Foo 5 is passed over: unknown key");
}

TEST_F(Settings, LoadStopsWhereTheLibraryRefuses) {
    const Arguments arguments = {"settings", "load", "--json",
                                 WriteText("refused", "SharpnessMode 1 GammaModeR 7 WBMode 1\n")};
    const SResult result = runVekcam(arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err,
              "vekcam: " + Path("refused") + ": the library refuses a setting; those behind it are not applied\n");
    const Json json = Json::parse(result.out);
    EXPECT_EQ(json["accepted"], false);
    EXPECT_EQ(json["settings"]["WBMode"]["value"], 1);
    EXPECT_EQ(json["settings"]["GammaModeR"]["value"], 0);
    EXPECT_EQ(json["settings"]["SharpnessMode"]["value"], 0);
    EXPECT_EQ(json["settings"]["SharpnessMode"]["file"], 1);
}

TEST_F(Settings, ToolAndLibraryReadTheSame) {
    const Json fresh = printedJson({"settings", "load", "--json", WriteText("fresh", "ALCLevel 128")})["settings"];
    const std::string longKey(64, 'k');
    using namespace std::string_literals;
    for (const std::string& text : {
             std::string("ALCLevel 1 ALCLevel 2"),
             std::string("ALCLevel x ALCLevel 7"),
             std::string("ALCLevel\nALCLevel 9\n"),
             std::string("ALCLevel - 5 WBMode 1"),
             std::string("ALCLevel -x 5 WBMode 1"),
             std::string("ALCLevel +-5 WBMode 1"),
             std::string("ALCLevel -WBMode 1"),
             std::string("ALCLevel +WBGainR -WBGainB 7"),
             std::string("ALCLevel +5"),
             std::string("ALCLevel 12abc 7 WBMode 2"),
             std::string("ALCLevel 12WBMode 2"),
             std::string("ALCLevel 0x10 WBMode 2"),
             std::string("ALCLevel 007"),
             std::string("ALCLevel 1.5 WBMode 2"),
             std::string("ALCLevel 1e3 WBMode 2"),
             std::string("ALCLevel 70000 Hue 40000 SharpnessCoring 300 WBMode -1"),
             std::string("HueSaturationMode 1 Hue 40000 Saturation -1"),
             std::string("AEMaxExposure 9223372036854775807 AEMinExposure -9223372036854775808"),
             std::string("AEMaxExposure 9223372036854775808 AEMinExposure -9223372036854775809"),
             std::string("AEMaxExposure 99999999999999999999999999 AEMinExposure -99999999999999999999999999"),
             std::string("alclevel 1 ALCLEVEL 2 ALCLevel: 3 \"ALCLevel\" 4 WBMode 1"),
             std::string("ALCLevel\t3\r\nWBMode\v1\fWBGainR\r\n200"),
             std::string("# a comment 5 ALCLevel 3 # 2"),
             std::string("ALCLevel=3 WBMode=1 ALCLevel 4"),
             "ALCLevel\0ALCLevel 5 ALCLevel 6\0 7 WBMode\0 3 WBMode 1"s,
             longKey + " 5 ALCLevel 6",
             longKey.substr(0, 63) + " 5 ALCLevel 6",
             longKey.substr(0, 63) + "ALCLevel 5 WBMode 1",
             longKey + longKey + " x ALCLevel 6 " + longKey,
             std::string("\xEF\xBB\xBF") + "ALCLevel 5\nWBMode 1",
             std::string("ALCLevel \xD9\xA1 5 WBMode 1"),
             std::string("GammaModeY 1 GammaY 65536 BrightnessY 32768 ContrastY -3 GammaY 7"),
             std::string("ALCMode 255 ALCLevel"),
             std::string("ALCLevel 5\nALCLevel"),
         }) {
        SCOPED_TRACE(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
        const std::string file = WriteText("odd", text);
        const Json loaded = printedJson({"settings", "load", "--json", file})["settings"];
        const Json shown = printedJson({"settings", "show", "--json", file})["settings"];
        for (const auto& [key, setting] : shown.items()) {
            const Json& expected = setting.is_null() ? fresh[key]["value"] : setting["kept"];
            EXPECT_EQ(loaded[key]["value"], expected) << key;
        }
    }
}

// ---- diff ----

TEST_F(Settings, DiffOfEqualFilesIsSilent) {
    const std::string a = WriteText("a", "WBMode 1\nWBGainR 256\n");
    const std::string b = WriteText("b", "Foo 3\nWBGainR 65792 WBMode 2 WBMode 1\n"); // 65792 is cut to 256
    EXPECT_EQ(printed({"settings", "diff", a, b}), "");
    EXPECT_EQ(printedJson({"settings", "diff", "--json", a, b}),
              Json({{"a", a}, {"b", b}, {"same", true}, {"differences", Json::object()}}));
}

TEST_F(Settings, DiffTellsWhatDiffers) {
    const std::string a = WriteText("a", "WBMode 1\nWBGainR 256\nHue -15\n");
    const std::string b = WriteText("b", "ALCLevel 100\nWBGainR 300\nWBMode 1\n");
    const SResult text = runVekcam({"settings", "diff", a, b});
    EXPECT_EQ(text.exitCode, 1);
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(text.out, "ALCLevel                -                               100 (level)\n"
                        "WBGainR                 256 (factor 2.000)              300 (factor 2.344)\n"
                        "Hue                     -15 (-1.5 degrees)              -\n");
    const SResult json = runVekcam({"settings", "diff", "--json", a, b});
    EXPECT_EQ(json.exitCode, 1);
    EXPECT_EQ(json.err, "");
    EXPECT_EQ(Json::parse(json.out)["same"], false);
    EXPECT_EQ(Json::parse(json.out)["differences"],
              Json({{"ALCLevel", {{"a", nullptr}, {"b", {{"value", 100}, {"meaning", "level"}}}}},
                    {"WBGainR",
                     {{"a", {{"value", 256}, {"meaning", "factor 2.000"}}},
                      {"b", {{"value", 300}, {"meaning", "factor 2.344"}}}}},
                    {"Hue", {{"a", {{"value", -15}, {"meaning", "-1.5 degrees"}}}, {"b", nullptr}}}}));
}

TEST_F(Settings, DiffOfAFileThatIsNotThereIsTrouble) {
    const std::string a = WriteText("a", "WBMode 1\n");
    ExpectFailure({"settings", "diff", a, Path("missing")}, 2, Path("missing") + ": cannot open");
    ExpectFailure({"settings", "diff", Path("missing"), a}, 2, Path("missing") + ": cannot open");
}

// ---- files that cannot be used ----

TEST_F(Settings, PathsAreRefusedInTheToolsOwnWords) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    const std::string below = Path("missing") + "/file";
    ExpectFailure({"settings", "save", below}, 1, below + ": cannot open");
    ExpectFailure({"settings", "save", Path("")}, 1, "is no regular file");
    ExpectFailure({"settings", "save", Path("pipe")}, 1, "is no regular file");
    ExpectFailure({"settings", "save", "/dev/null"}, 1, "is no regular file");
    ExpectFailure({"settings", "load", Path("missing")}, 1, Path("missing") + ": cannot open");
    ExpectFailure({"settings", "load", Path("")}, 1, "is no regular file");
    ExpectFailure({"settings", "load", Path("pipe")}, 1, "is no regular file");
    ExpectFailure({"settings", "show", Path("missing")}, 1, Path("missing") + ": cannot open");
    ExpectFailure({"settings", "show", Path("")}, 1, "cannot read");
    ExpectFailure({"settings", "show", "/dev/zero"}, 1, "no setting file");
    EXPECT_NE(access(Path("missing").c_str(), F_OK), 0);
}

TEST_F(Settings, WhatIsNoCameraIsRefused) {
    const std::string file = WriteText("file", "WBMode 1\n");
    ExpectFailure({"settings", "load", file, "--device", "/dev/null"}, 1, "not a trigger camera");
    ExpectFailure({"settings", "save", file, "--device", "/dev/null"}, 1, "not a trigger camera");
    EXPECT_EQ(readFile(file).size(), 9U);
}

// ---- convert --settings ----

class ConvertSettings : public Settings {
protected:
    /// Converts a frame with a setting file of the given text.
    SPng Converted(const std::vector<std::uint8_t>& bytes, const Arguments& form, const std::string& settings,
                   const Arguments& options = {}) const {
        const Arguments file =
            settings.empty() ? Arguments() : Arguments{"--settings", WriteText("settings", settings)};
        return CConversionTest::Converted(bytes, joined({file, form, options}));
    }

    /// A cell of R 10, G 20 / G 30, B 40, each pixel in its own colour only: the four samples.
    Samples Cell(const std::string& settings, const Arguments& options = {}) const {
        const Samples samples =
            Converted({10, 20, 30, 40}, {"-W", "2", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "none"}, settings,
                      options)
                .samples;
        return {samples.at(0), samples.at(4), samples.at(7), samples.at(11)};
    }

    /// The pixels of a frame of four cells of strong colours.
    Samples Picture(const std::string& settings, const Arguments& options = {}) const {
        return Converted({200, 100, 90, 20, 110, 60, 70, 80, 10, 100, 30, 60, 120, 250, 140, 30},
                         {"-W", "4", "-H", "4", "-f", "raw8", "-a", "rggb", "-m", "nearest"}, settings, options)
            .samples;
    }

    /// A row of grey pixels.
    Samples Grays(const std::string& settings, const Arguments& options = {}) const {
        return Converted({0, 100, 255}, {"-W", "3", "-H", "1", "-f", "mono8"}, settings, options).samples;
    }
};

constexpr const char* kBalance = "WBMode 1 WBGainR 256 WBGainGr 128 WBGainGb 192 WBGainB 64";

TEST_F(ConvertSettings, WhiteBalanceFollowsTheFile) {
    EXPECT_EQ(Cell(kBalance), (Samples{20, 20, 45, 20}));
    EXPECT_EQ(Cell("WBMode 0 WBGainR 256"), (Samples{10, 20, 30, 40}));
    EXPECT_EQ(Cell(kBalance, {"--wb", "3,1,1,1"}), (Samples{30, 20, 30, 40}));
    EXPECT_EQ(Picture("WBMode 3"), Picture("", {"--wb", "auto"}));
}

TEST_F(ConvertSettings, EachRawColorHasItsCurve) {
    // Negative curves of gamma 1: 255 less the sample.
    EXPECT_EQ(Cell("GammaModeR 2"), (Samples{245, 20, 30, 40}));
    EXPECT_EQ(Cell("GammaModeGr 2"), (Samples{10, 235, 30, 40}));
    EXPECT_EQ(Cell("GammaModeGb 2 GammaModeB 1 BrightnessB -15"), (Samples{10, 20, 225, 25}));
    EXPECT_EQ(Cell("GammaModeR 2", {"--raw-gamma", "1"}), (Samples{10, 20, 30, 40}));
    EXPECT_EQ(Cell("GammaModeR 2", {"--wb", "1,1,2,1"}), (Samples{245, 20, 60, 40}));
}

TEST_F(ConvertSettings, LumaCurveFollowsTheFile) {
    EXPECT_EQ(Grays("GammaModeY 2"), (Samples{255, 155, 0}));
    EXPECT_EQ(Grays("GammaModeY 1 BrightnessY 20"), (Samples{20, 120, 255}));
    EXPECT_EQ(Grays("GammaModeY 255"), (Samples{0, 100, 255})); // a new handle's table
    // What an option does not say stays the file's.
    EXPECT_EQ(Grays("GammaModeY 1 GammaY 220 BrightnessY 20", {"--gamma", "1"}), (Samples{20, 120, 255}));
    EXPECT_EQ(Grays("GammaModeY 1 BrightnessY 20", {"--brightness", "30"}), (Samples{30, 130, 255}));
    EXPECT_EQ(Grays("GammaModeY 2 GammaY 220", {"--gamma", "1"}), (Samples{255, 155, 0}));
    EXPECT_EQ(Grays("GammaModeY 0 BrightnessY 20", {"--gamma", "1"}), (Samples{0, 100, 255}));
}

TEST_F(ConvertSettings, ColorStagesAndSharpnessFollowTheFile) {
    const Samples plain = Picture("");
    const auto expectSame = [&](const std::string& settings, const Arguments& withFile, const Arguments& without) {
        SCOPED_TRACE(settings);
        const Samples expected = Picture("", without);
        EXPECT_NE(expected, plain);
        EXPECT_EQ(Picture(settings, withFile), expected);
    };
    expectSame("HueSaturationMode 1 Hue 300 Saturation 160", {}, {"--hue", "30", "--saturation", "160"});
    expectSame("HueSaturationMode 1 Hue 300 Saturation 160", {"--saturation", "50"},
               {"--hue", "30", "--saturation", "50"});
    expectSame("HueSaturationMode 0 Hue 300", {"--saturation", "50"}, {"--saturation", "50"});
    expectSame("StartLevelHigh 90 SuppressionHigh 400", {}, {"--suppress-high", "90,400"});
    expectSame("StartLevelLow 110 SuppressionLow 400", {}, {"--suppress-low", "110,400"});
    expectSame("StartLevelLow 110 SuppressionLow 400", {"--suppress-high", "90,400"},
               {"--suppress-low", "110,400", "--suppress-high", "90,400"});
    expectSame("SharpnessMode 1 SharpnessGain 80 SharpnessCoring 4", {}, {"--sharpness", "80,4"});
    expectSame("SharpnessMode 1 SharpnessGain 80 SharpnessCoring 4", {"--sharpness", "50"}, {"--sharpness", "50"});
    EXPECT_EQ(Picture("StartLevelHigh 0 SuppressionHigh 0 SharpnessMode 0 SharpnessGain 80"), plain);
}

TEST_F(ConvertSettings, AFileThatSwitchesNothingOnKeepsTheDepth) {
    const auto converted = [&](const std::string& settings) {
        return Converted(littleEndian({0xABC}), {"-W", "1", "-H", "1", "-f", "mono12"}, settings);
    };
    EXPECT_EQ(converted(kNewHandle).samples, (Samples{0xABCA}));
    // Stages of colour frames do not touch a mono one.
    EXPECT_EQ(converted("WBMode 1 GammaModeR 1 HueSaturationMode 1 SuppressionLow 9").samples, (Samples{0xABCA}));
    const SPng stage = converted("SharpnessMode 1");
    EXPECT_EQ(stage.bits, 8U);
    EXPECT_EQ(stage.samples, (Samples{0xAB}));
}

TEST_F(ConvertSettings, FilesThatCannotBeUsedAreNamed) {
    const std::string frame = Write("in.raw", {1});
    const auto arguments = [&](const std::string& settings) {
        return Arguments{"convert",        frame,        "-W",    "1", "-H", "1", "-f", "mono8", "-o",
                         Path("none.png"), "--settings", settings};
    };
    ExpectFailure(arguments(Path("missing")), 1, Path("missing") + ": cannot open");
    ExpectFailure(arguments(WriteText("refused", "GammaModeY 7")), 1, Path("refused") + ": the library refuses");
    EXPECT_NE(access(Path("none.png").c_str(), F_OK), 0);
}

} // namespace

} // namespace vek::test
