// SPDX-License-Identifier: Apache-2.0
// vekcam profile, and what --profile and a profile beside a raw file say of its frames.
#include "Conversion.h"
#include "support/TiffBytes.h"

#include <nlohmann/json.hpp>

namespace vek::test {

namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr const char* kWhole = R"({
  "UniqueCameraModel": "Bench camera",
  "width": 4,
  "height": 2,
  "format": "mono8",
  "BlackLevel": [2.0],
  "WhiteLevel": 250,
  "CalibrationIlluminant1": 21,
  "ColorMatrix1": [3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.204, 1.057],
  "AsShotNeutral": [0.5, 1.0, 0.625],
  "NoiseProfile": [0.0001, 2e-06],
  "whiteBalances": {
    "D65": [1.0, 1.0, 1.0],
    "TL84": [0.6, 1.0, 0.5]
  },
  "toneCurve": {
    "gamma": 2.2
  },
  "controlDelay": {
    "exposure": 2,
    "gain": 1
  },
  "lens": {
    "mm": 35
  }
}
)";

class Profile : public CFileTest {
protected:
    SResult Run(const Arguments& arguments, const SStreams& streams = {}) const {
        return runVekcam(joined({{"profile"}, arguments}), streams);
    }
    /// The text of a profile that is made of arguments.
    std::string New(const Arguments& arguments) const {
        return printed(joined({{"profile", "new", "-o", "-"}, arguments}));
    }
    void ExpectNewRefused(const Arguments& arguments, const std::string& message) const {
        expectRefused(Run(joined({{"new", "-o", Path("new.json")}, arguments})), 2, message);
        EXPECT_FALSE(std::filesystem::exists(Path("new.json")));
    }
};

// ---- show ----

TEST_F(Profile, ShownInWords) {
    EXPECT_EQ(printed({"profile", "show", WriteText("p.json", kWhole)}),
              R"(camera          Bench camera
frame           4 x 2 pixels, mono8, 8 bits
black           2
white           250
light 1         D65, 6504 K, colour matrix
balance         as shot: 0.5, 1, 0.625; gains 2, 1, 1.6; 6768 K
balance         D65: 1, 1, 1; gains 1, 1, 1; 6503 K
balance         TL84: 0.6, 1, 0.5; gains 1.667, 1, 2; 5944 K
noise           variance 0.0001 x sample + 2e-06
tone            gamma 2.2
delay           exposure: 2 frames
delay           gain: 1 frame
unknown         lens
)");
    EXPECT_EQ(printed({"profile", "show", WriteText("p.json", "{}")}), "");
    EXPECT_EQ(printed({"profile", "show", WriteText("p.json", R"({"height": 7, "format": "raw10"})")}),
              "frame           ? x 7 pixels, raw10, 10 bits\nwhite           1023 (the largest sample)\n");
    EXPECT_EQ(printed({"profile", "show", "-"}, {.in = {'{', '}'}}), "");
}

TEST_F(Profile, ShownAsJson) {
    const std::string path = WriteText("p.json", kWhole);
    const OrderedJson json = OrderedJson::parse(printed({"profile", "show", path, "--json"}));
    EXPECT_EQ(json["file"], path);
    EXPECT_EQ(json["profile"], OrderedJson::parse(kWhole));
    EXPECT_EQ(json["unknown"], OrderedJson::array({"lens"}));
    EXPECT_EQ(json["balances"]["as shot"]["gains"], OrderedJson::array({2.0, 1.0, 1.6}));
    EXPECT_NEAR(json["balances"]["D65"]["temperature"].get<double>(), 6504, 10);
    const std::string plain = WriteText("q.json", R"({"AsShotNeutral": [1, 1, 1]})");
    EXPECT_TRUE(printedJson({"profile", "show", plain, "--json"})["balances"]["as shot"]["temperature"].is_null());
}

TEST_F(Profile, ShowRefusesWhatIsWrong) {
    const std::string path = WriteText("p.json", R"({"width": 0})");
    expectRefused(Run({"show", path}), 1, path + ": no camera profile: \"width\" is no whole number of 1 to 65535\n");
    expectRefused(Run({"show", Path("none")}), 1, "none: cannot open: No such file or directory");
    expectRefused(Run({"show", Path("")}), 1, "cannot read: Is a directory");
    expectRefused(Run({"show", "-"}, {.in = {'{'}}), 1,
                  "standard input: no camera profile: line 1, column 2: the file breaks off");
    expectRefused(Run({"show", Write("x.dng", madeDng())}), 1, "this is no JSON");
    const SResult full = Run({"show", WriteText("p.json", kWhole)}, {.outFile = "/dev/full"});
    expectOneLine(full, 1, "standard output: cannot write");
}

// ---- check ----

TEST_F(Profile, CheckTellsAllThatIsWrong) {
    const std::string path = WriteText("p.json", R"({"width": 0, "lens": 1, "AsShotNeutral": [1, 2],
        "darkFrame": "none.png", "shadingMap": "flat.jpg"})");
    const SResult result = Run({"check", path});
    expectOneLine(result, 1, path + ": 4 things are wrong in this camera profile\n");
    EXPECT_EQ(result.out, "wrong: \"width\" is no whole number of 1 to 65535\n"
                          "wrong: \"AsShotNeutral\" has 2 numbers, not 3\n"
                          "wrong: \"darkFrame\" " +
                              Path("none.json") +
                              ": cannot open: No such file or directory\n"
                              "wrong: \"shadingMap\" " +
                              Path("flat.jpg") +
                              ": the name of a calibration ends in .png\n"
                              "note: \"lens\" is no member of a profile, and kept\n");
    const SResult broken = Run({"check", WriteText("p.json", "{]")});
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_EQ(broken.out, "wrong: line 1, column 2: this is no JSON\n");
    expectPart(broken.err, "1 thing is wrong");
    const std::string right = WriteText("p.json", kWhole);
    EXPECT_EQ(printed({"profile", "check", right}),
              "note: \"lens\" is no member of a profile, and kept\n" + right + ": a camera profile\n");
}

TEST_F(Profile, CheckLooksAtTheCorrections) {
    printed({"calibrate", "dark", "-o", Path("dark.png"), "--frames", "1", "--width", "64", "--height", "64"});
    const auto checked = [&](const std::string& size) {
        return Run({"check", WriteText("p.json", "{\"width\": " + size + R"(, "height": 64, "format": "raw8",
            "colorArray": "rggb", "darkFrame": "dark.png"})")});
    };
    EXPECT_EQ(checked("64").exitCode, 0) << checked("64").out;
    const SResult other = checked("66");
    EXPECT_EQ(other.exitCode, 1);
    expectPart(other.out, "made of frames of 64 x 64, 8 bit, rggb; this frame is 66 x 64, 8 bit, rggb");
    EXPECT_EQ(Run({"check", WriteText("p.json", R"({"shadingMap": "dark.png"})")}).out,
              "wrong: \"shadingMap\" " + Path("dark.png") + ": a flat frame is needed, this one is dark\n");
}

// ---- new ----

TEST_F(Profile, NewOfOptions) {
    EXPECT_EQ(New({}), "{}\n");
    EXPECT_EQ(OrderedJson::parse(New({"--camera",  "Bench",
                                      "--size",    "640x480",
                                      "-f",        "raw16",
                                      "-a",        "1",
                                      "--bits",    "14",
                                      "--black",   "600,601,602.5,603",
                                      "--white",   "16000",
                                      "--neutral", "0.5,1,0.625",
                                      "--balance", "D65=0.5,1,0.7",
                                      "--balance", "TL84=.6,1,.5",
                                      "--balance", "D65=1,1,1",
                                      "--tone",    "BT709",
                                      "--shading", "/a/flat.png",
                                      "--delay",   "exposure=2",
                                      "--delay",   "gain=1"})),
              OrderedJson::parse(R"({"UniqueCameraModel": "Bench", "width": 640, "height": 480, "format": "raw16",
                  "colorArray": "mono", "bits": 14, "BlackLevelRepeatDim": [2, 2],
                  "BlackLevel": [600.0, 601.0, 602.5, 603.0], "WhiteLevel": 16000, "AsShotNeutral": [0.5, 1.0, 0.625],
                  "whiteBalances": {"D65": [1.0, 1.0, 1.0], "TL84": [0.6, 1.0, 0.5]}, "toneCurve": "bt709",
                  "shadingMap": "/a/flat.png", "controlDelay": {"exposure": 2, "gain": 1}})"));
    EXPECT_EQ(New({"--tone", "1.8"}), "{\n  \"toneCurve\": {\n    \"gamma\": 1.8\n  }\n}\n");
}

TEST_F(Profile, NewOfOtherFiles) {
    const OrderedJson dng = OrderedJson::parse(New({"--from", Write("x.dng", madeDng())}));
    EXPECT_EQ(dng["format"], "raw12");
    EXPECT_EQ(dng["colorArray"], "grbg");
    const OrderedJson given = OrderedJson::parse(New({"--from", Path("x.dng"), "--size", "320x240", "--black", "60"}));
    EXPECT_EQ(given["width"], 320);
    EXPECT_EQ(given["BlackLevel"], OrderedJson::array({60.0}));
    EXPECT_FALSE(given.contains("BlackLevelRepeatDim"));
    EXPECT_EQ(given["ColorMatrix1"], dng["ColorMatrix1"]);
    EXPECT_EQ(OrderedJson::parse(New({"--from", Write("x.dcp", madeDcp())}))["CalibrationIlluminant2"], 21);
    // A profile keeps what nobody knows.
    EXPECT_EQ(New({"--from", WriteText("p.json", kWhole)}), kWhole);
    const CTiffBytes tiff;
    const std::string curve = Write("y.dcp", madeDcp(true, {tiff.Doubles(50940, {0, 0, 1, 1})}));
    const SResult warned = Run({"new", "-o", Path("y.json"), "--from", curve});
    EXPECT_EQ(warned.exitCode, 0);
    EXPECT_EQ(warned.err,
              "vekcam: warning: " + curve + ": ProfileToneCurve is not taken: a profile has no place for it\n");
}

TEST_F(Profile, NewSeesPathsFromTheProfile) {
    std::filesystem::create_directories(Path("cal/old"));
    const SStreams here = {.directory = Path("")};
    WriteText("cal/old/p.json", R"({"darkFrame": "../dark.png"})");
    expectDone(Run({"new", "-o", "cal/new.json", "--from", "cal/old/p.json", "--shading", "flat.png"}, here));
    EXPECT_EQ(OrderedJson::parse(Content("cal/new.json")),
              (OrderedJson{{"darkFrame", "dark.png"}, {"shadingMap", "../flat.png"}}));
}

TEST_F(Profile, NewRefuses) {
    ExpectNewRefused({"--size", "640"}, "--size: \"640\" is no WIDTHxHEIGHT");
    ExpectNewRefused({"--size", "0x480"}, "--size");
    ExpectNewRefused({"--size", "640x480x3"}, "--size");
    ExpectNewRefused({"--format", "raw9"}, "--format");
    ExpectNewRefused({"--colour-array", "xyz"}, "--colour-array");
    ExpectNewRefused({"--bits", "17"}, "--bits");
    ExpectNewRefused({"--black", "1,2"}, "--black");
    ExpectNewRefused({"--black", "-1"}, "--black");
    ExpectNewRefused({"--white", "0"}, "--white");
    ExpectNewRefused({"--neutral", "1,0,1"}, "--neutral");
    ExpectNewRefused({"--balance", "1,1,1"}, "--balance");
    ExpectNewRefused({"--balance", "=1,1,1"}, "--balance");
    ExpectNewRefused({"--tone", "log"}, "--tone");
    ExpectNewRefused({"--tone", "0"}, "--tone");
    ExpectNewRefused({"--delay", "gain=-1"}, "--delay");
    ExpectNewRefused({"--delay", "gain"}, "--delay");
    ExpectNewRefused({"-f", "mono8", "-a", "rggb"}, "\"colorArray\" rggb does not go with format mono8");
    ExpectNewRefused({"-f", "raw8", "--black", "255"}, "\"BlackLevel\" 255 is not below the white level 255");
    ExpectNewRefused({"-f", "raw8", "--bits", "10"}, "\"bits\" is 10, format raw8 has 8");
    expectRefused(Run({"new"}), 2, "--output is required");
    expectRefused(Run({"new", "-o", Path("n.json"), "--from", Path("none")}), 1, "cannot open");
    expectRefused(Run({"new", "-o", Path("n.json"), "--from", Write("x", {1, 2, 3})}), 1,
                  "is neither a DNG nor a DCP file");
    expectRefused(Run({"new", "-o", Path("n.json"), "--from", WriteText("x", R"({"width": "a"})")}), 1,
                  "x: no camera profile: \"width\"");
    const std::string path = WriteText("p.json", kWhole);
    expectRefused(Run({"new", "-o", path, "--from", path, "--bits", "8"}), 2, "is an input");
    EXPECT_EQ(Content("p.json"), kWhole);
    expectRefused(Run({"new", "-o", Path("n.json"), "--camera", "\xFF"}), 1, "no UTF-8");
    expectRefused(Run({"new", "-o", "/dev/full"}), 1, "cannot write");
}

// ---- export ----

TEST_F(Profile, Exported) {
    const std::string path = Write("x.dcp", madeDcp());
    printed({"profile", "new", "-o", Path("p.json"), "--from", path});
    const std::string text = printed({"profile", "export", "--libcamera", Path("p.json")});
    EXPECT_EQ(text, R"(%YAML 1.1
---
version: 1
algorithms:
  - Ccm:
      ccms:
        - ct: 2856
          ccm: [  2.03444, -0.72759, -0.30685,
                 -0.22892,  1.23178, -0.00286,
                 -0.00854, -0.15329,  1.16183 ]
        - ct: 6504
          ccm: [  2.03444, -0.72759, -0.30685,
                 -0.22892,  1.23178, -0.00286,
                 -0.00854, -0.15329,  1.16183 ]
...
)");
    expectDone(Run({"export", "--libcamera", Path("p.json"), "-o", Path("camera.yaml")}));
    EXPECT_EQ(Content("camera.yaml"), text);
    expectRefused(Run({"export", Path("p.json")}), 2, "--libcamera is required");
    expectRefused(Run({"export", "--libcamera", WriteText("q.json", "{}")}), 1,
                  "q.json: there is neither \"ColorMatrix1\" nor \"ForwardMatrix1\"");
    expectRefused(
        Run({"export", "--libcamera", WriteText("q.json", R"({"ColorMatrix1": [1, 0, 0, 0, 1, 0, 0, 0, 1]})")}), 1,
        "a calibration illuminant is missing");
    expectRefused(Run({"export", "--libcamera", Path("p.json"), "-o", Path("p.json")}), 2, "is an input");
}

// ---- frames ----

/// 4 x 2 samples, 10 of them each.
class ProfiledFrames : public CConversionTest {
protected:
    std::string Raw() const { return Write("frame.raw", {0, 10, 20, 30, 40, 50, 60, 70}); }
};

TEST_F(ProfiledFrames, AProfileSaysWhatIsNotSaid) {
    const std::string raw = Raw();
    const std::string profile = WriteText("p.json", kWhole);
    const auto widthOf = [&](const Arguments& more) {
        return printedJson(joined({{"measure", raw, "--profile", profile, "--json"}, more}))["width"];
    };
    EXPECT_EQ(widthOf({}), 4);
    EXPECT_EQ(widthOf({"--width", "2", "--height", "4"}), 2);
    EXPECT_EQ(printedJson({"measure", raw, "-p", profile, "--json", "-f", "raw8", "-a", "rggb"})["colorArray"]["name"],
              "rggb");
    const SPng given = ConvertedFile(raw, {"-W", "4", "-H", "2", "-f", "mono8"});
    EXPECT_EQ(ConvertedFile(raw, {"--profile", profile}).samples, given.samples);
    // A format that has no use for the profile's colour array goes without it.
    const std::string bayer =
        WriteText("b.json", R"({"width": 4, "height": 2, "format": "raw8", "colorArray": "bggr"})");
    EXPECT_EQ(printedJson({"measure", raw, "-p", bayer, "--json"})["colorArray"]["name"], "bggr");
    EXPECT_EQ(printedJson({"measure", raw, "-p", bayer, "--json", "-f", "mono8"})["colorArray"]["name"], "mono");
    EXPECT_EQ(printedJson({"measure", raw, "-p", bayer, "--json", "-a", "grbg"})["colorArray"]["name"], "grbg");
}

TEST_F(ProfiledFrames, TheOneBesideTheFileIsFound) {
    const std::string raw = Raw();
    WriteText("frame.raw.json", kWhole);
    EXPECT_EQ(printedJson({"measure", raw, "--json"})["mean"], 35);
    const SPng found = ConvertedFile(raw, {});
    EXPECT_EQ(found.width, 4U);
    EXPECT_EQ(found.height, 2U);
    // Another one that is named comes before it, and what is typed before both.
    const std::string other = WriteText("o.json", R"({"width": 2, "height": 4, "format": "mono8"})");
    EXPECT_EQ(printedJson({"measure", raw, "--json", "--profile", other})["width"], 2);
    EXPECT_EQ(printedJson({"measure", raw, "--json", "-W", "8", "-H", "1"})["width"], 8);
    const SResult input = runVekcam({"measure", "-", "--json"}, {.inFile = raw});
    expectRefused(input, 2, "--width is required, or --profile");
}

TEST_F(ProfiledFrames, WhatAProfileDoesNotSayIsRequired) {
    const std::string raw = Raw();
    const std::string profile = WriteText("p.json", R"({"width": 4, "format": "raw8"})");
    expectRefused(runVekcam({"measure", raw, "-p", profile}), 2, "--height is required: " + profile);
    expectRefused(runVekcam({"measure", raw, "-p", profile, "-H", "2"}), 2, "--colour-array is required");
    expectRefused(runVekcam({"convert", raw, "-o", Path("x.png"), "-p", profile}), 2, "--height is required");
    expectRefused(runVekcam({"measure", raw, "-p", Path("none")}), 1, "none: cannot open");
    expectRefused(runVekcam({"measure", raw, "-p", WriteText("w.json", R"({"width": 0})")}), 1,
                  "\"width\" is no whole number");
    expectRefused(runVekcam({"measure", "-", "-p", "-"}), 2, "IN and --profile are both standard input");
    expectRefused(runVekcam({"measure", "--sim", "-p", profile}), 2, "--profile");
    const std::string packed = WriteText("c.json", R"({"width": 4, "height": 2, "format": "raw10-csi2"})");
    expectRefused(runVekcam({"measure", raw, "-p", packed}), 2, "raw10-csi2 cannot be measured: MIPI CSI-2");
    WriteText("frame.raw.json", "[]");
    expectRefused(runVekcam({"measure", raw, "-W", "4", "-H", "2", "-f", "mono8"}), 1,
                  "frame.raw.json: no camera profile: a profile is an object");
}

TEST_F(ProfiledFrames, AProfileIsAnInput) {
    const std::string raw = Raw();
    const std::string profile = WriteText("p.png", kWhole);
    expectRefused(runVekcam({"convert", raw, "-p", profile, "-o", profile}), 2, "is an input");
    EXPECT_EQ(Content("p.png"), kWhole);
}

} // namespace

} // namespace vek::test
