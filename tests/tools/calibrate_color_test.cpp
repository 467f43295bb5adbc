// SPDX-License-Identifier: Apache-2.0
// vekcam calibrate colour, on frames of a chart that the tests draw and on one of a real camera.
#include "Program.h"
#include "support/ChartFrame.h"
#include "support/Files.h"
#include "support/PngFile.h"
#include "support/RealFrames.h"

#include <gtest/gtest.h>

namespace vek::test {

namespace {

class CalibrateColor : public CFileTest {
protected:
    CalibrateColor() {
        mShot.black = 64;
        mShot.lightY = -0.15;
        mShot.noise = 5;
    }

    static Arguments Frame(const std::string& path, const Arguments& more = {}) {
        return joined({{"calibrate", "colour", path, "-W", "640", "-H", "480", "-f", "raw12", "-a", "rggb"}, more});
    }
    std::string Drawn() const { return Write("chart.raw", littleEndian(chartFrame(mShot))); }
    nlohmann::json ReadProfile(const std::string& name) const {
        return nlohmann::json::parse(Content(name), nullptr, false);
    }

    SChartShot mShot;
};

TEST_F(CalibrateColor, FindsTheChartAndItsColors) {
    const nlohmann::json json =
        printedJson(Frame(Drawn(), {"--black", "64", "--json", "-o", Path("p.json"), "--picture", Path("p.png")}));
    EXPECT_LT(json["withPlane"]["mean"], 0.5);
    EXPECT_LT(json["withPlane"]["leftOutMean"], 0.7);
    EXPECT_GT(json["withoutPlane"]["mean"], json["withPlane"]["mean"].get<double>() + 0.3);
    ASSERT_EQ(json["patches"].size(), 24U);
    EXPECT_EQ(json["patches"][0]["name"], "dark skin");
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(json["corners"][i][0], mShot.corners[i][0], 5);
        EXPECT_NEAR(json["corners"][i][1], mShot.corners[i][1], 5);
    }
    const nlohmann::json profile = ReadProfile("p.json");
    EXPECT_EQ(profile["format"], "raw12");
    EXPECT_EQ(profile["BlackLevel"], nlohmann::json({64.0}));
    EXPECT_EQ(profile["CalibrationIlluminant1"], 23);
    EXPECT_EQ(profile["whiteBalances"]["chart"], profile["AsShotNeutral"]);
    // What the camera sees of D50, whose X and Z are 0.9642 and 0.8249.
    const std::array<double, 3> white = chartCamera({0.9642, 1, 0.8249});
    EXPECT_NEAR(profile["AsShotNeutral"][0], white[0] / white[1], 0.01);
    EXPECT_NEAR(profile["AsShotNeutral"][2], white[2] / white[1], 0.01);
    EXPECT_NEAR(profile["ColorMatrix1"][0].get<double>() * white[1], 0.62, 0.02) << "up to its scale";
    expectDone(runVekcam({"profile", "check", Path("p.json")}));
    const SPng picture = readPng(Path("p.png"));
    EXPECT_EQ(picture.width, 1200U);
}

TEST_F(CalibrateColor, TellsEachPatch) {
    const std::string text = printed(Frame(Drawn(), {"--black", "64"}));
    for (const char* const part : {"light plane", "patches left out: mean", "without plane mean", "dark skin ",
                                   "neutral 3.5 ", "CIEDE2000", "D50, assumed"}) {
        expectPart(text, part);
    }
    const std::string even = printed(Frame(Drawn(), {"--black", "64", "--no-plane"}));
    EXPECT_EQ(even.find("light plane"), std::string::npos);
    expectPart(even, "with plane");
    EXPECT_EQ(printed(joined({{"calibrate", "color"},
                              {Drawn(), "-W", "640", "-H", "480", "-f", "raw12", "-a", "rggb"},
                              {"--black", "64"}})),
              text);
}

TEST_F(CalibrateColor, ProfileIsCarriedOn) {
    const std::string raw = Drawn();
    WriteText("chart.raw.json", R"({"UniqueCameraModel": "Bench", "width": 640, "height": 480, "format": "raw12",
                                    "colorArray": "rggb", "BlackLevel": 64, "lens": {"mm": 35},
                                    "whiteBalances": {"TL84": [0.6, 1, 0.5]}})");
    printed({"calibrate", "colour", raw, "--illuminant", "a", "--name", "A", "-o", raw + ".json"});
    printed({"calibrate", "colour", raw, "--illuminant", "21", "--name", "D65", "-o", raw + ".json"});
    const nlohmann::json profile = ReadProfile("chart.raw.json");
    EXPECT_EQ(profile["UniqueCameraModel"], "Bench");
    EXPECT_EQ(profile["lens"]["mm"], 35);
    EXPECT_EQ(profile["whiteBalances"].size(), 3U);
    EXPECT_EQ(profile["CalibrationIlluminant1"], 17);
    EXPECT_EQ(profile["CalibrationIlluminant2"], 21);
    EXPECT_TRUE(profile.contains("ForwardMatrix2"));
    expectRefused(runVekcam({"calibrate", "colour", raw, "--illuminant", "d75"}), 2, "two other lights");
}

TEST_F(CalibrateColor, DngFilesTellTheirBlack) {
    const std::string raw = Drawn();
    expectDone(runVekcam({"convert", raw, "-W", "640", "-H", "480", "-f", "raw12", "-a", "rggb", "--black", "64", "-o",
                          Path("chart.dng")}));
    const nlohmann::json json = printedJson({"calibrate", "colour", Path("chart.dng"), "--json", "-o", Path("p.json")});
    EXPECT_LT(json["withPlane"]["mean"], 0.5);
    EXPECT_EQ(ReadProfile("p.json")["BlackLevel"], nlohmann::json({64.0}));
    EXPECT_EQ(ReadProfile("p.json")["CalibrationIlluminant1"], 23);
}

TEST_F(CalibrateColor, BlackIsNotGuessed) {
    const SResult result = runVekcam(Frame(Drawn(), {"--json"}));
    expectOneLine(result, 0, "counts as 0");
    EXPECT_GT(nlohmann::json::parse(result.out)["withPlane"]["mean"], 0.5);
}

TEST_F(CalibrateColor, ClippedPatchesAreLeftOut) {
    mShot.exposure = 1.3;
    const SResult result = runVekcam(Frame(Drawn(), {"--black", "64", "--json"}));
    expectOneLine(result, 0, "left out: white");
    EXPECT_TRUE(nlohmann::json::parse(result.out)["patches"][18]["clipped"]);
}

TEST_F(CalibrateColor, CornersAreTaken) {
    const std::string raw = Drawn();
    const nlohmann::json json =
        printedJson(Frame(raw, {"--black", "64", "--json", "--corners", "525,365,115,365,115,95,525,95"}));
    EXPECT_NEAR(json["corners"][0][0], 110, 4);
    EXPECT_NEAR(json["corners"][0][1], 90, 4);
    expectRefused(runVekcam(Frame(raw, {"--black", "64", "--corners", "0,0,900,0,900,400,0,400"})), 2, "corners");
}

TEST_F(CalibrateColor, OtherColorsAreTaken) {
    nlohmann::json list;
    for (int i = 0; i < 24; ++i) {
        list.push_back({{"name", "patch " + std::to_string(i)}, {"lab", {90 - 3 * i, 20 + i, 40}}});
    }
    const auto refused = [&](const nlohmann::json& json, const std::string& message) {
        const std::string path = WriteText("reference.json", json.dump());
        expectRefused(runVekcam(Frame(Drawn(), {"--black", "64", "--reference", path})), 1, message);
    };
    refused(list, "no colour chart");
    list[3].erase("name");
    refused(list, "patch 4");
    list[3] = {{"name", "x"}, {"lab", {1, 2, 1000}}};
    refused(list, "patch 4");
    list.erase(3);
    refused(list, "24");
    refused({{"lab", 1}}, "24");
}

TEST_F(CalibrateColor, NoChart) {
    const std::string raw = Write("flat.raw", std::vector<std::uint8_t>(640 * 480 * 2, 1));
    expectRefused(runVekcam(Frame(raw, {"--black", "64", "-o", Path("p.json")})), 1, "--corners");
    EXPECT_FALSE(std::filesystem::exists(Path("p.json")));
}

TEST_F(CalibrateColor, Refusals) {
    const std::string raw = Drawn();
    const SRefusal refusals[] = {{{"--black", "1,2,3"}, "--black"},
                                 {{"--black", "5000"}, "BlackLevel"},
                                 {{"--black", "x"}, "--black"},
                                 {{"--corners", "1,2,3"}, "--corners"},
                                 {{"--illuminant", "tl84"}, "tl84"},
                                 {{"--illuminant", "255"}, "255"},
                                 {{"--picture", Path("p.foo")}, ".png"},
                                 {{"--black", "64", "-o", raw}, "input"},
                                 {{"--json", "-o", "-"}, "standard output"},
                                 {{"--json", "--picture", "-"}, "standard output"},
                                 {{"--picture", "-", "-o", "-"}, "standard output"}};
    for (const SRefusal& refusal : refusals) {
        expectRefused(runVekcam(Frame(raw, refusal.arguments)), 2, refusal.message);
    }
    expectRefused(runVekcam({"calibrate", "colour", raw, "-W", "640", "-H", "480", "-f", "mono12"}), 2, "colour");
    expectRefused(runVekcam({"calibrate", "colour", raw, "-W", "640", "-H", "480", "-f", "bgr8"}), 2, "bgr8");
    expectRefused(runVekcam(Frame(raw, {"--black", "64", "-o", "/dev/full"})), 1, "No space left");
}

TEST_F(CalibrateColor, RealChart) {
    const std::string frame = realFrame(kColorChartFrame);
    if (frame.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    const nlohmann::json json = printedJson({"calibrate", "colour", frame, "-W", "1920", "-H", "1080", "-f", "raw12",
                                             "-a", "bggr", "--black", "15", "--json"});
    EXPECT_LE(json["withPlane"]["mean"], 2.2);
    EXPECT_LE(json["withPlane"]["largest"], 4.5);
    EXPECT_LE(json["withPlane"]["leftOutMean"], 2.6);
    EXPECT_LE(json["withoutPlane"]["mean"], 3.3);
    EXPECT_LE(json["withoutPlane"]["largest"], 9);
}

} // namespace

} // namespace vek::test
