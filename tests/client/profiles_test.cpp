// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/profiles/Profile.h"
#include "client/profiles/ProfileImport.h"
#include "client/profiles/TuningFile.h"

#include "support/Files.h"
#include "support/Random.h"
#include "support/TiffBytes.h"

#include <nlohmann/json.hpp>

#include <sstream>

namespace vek::test {

namespace {

using client::SImportedProfile;
using client::SProfile;
using client::SProfileReading;
using Json = nlohmann::ordered_json;

/// Every member, in the order in which they are written, and one that nobody knows.
constexpr const char* kEverything = R"({
  "UniqueCameraModel": "Bench camera",
  "width": 640,
  "height": 480,
  "format": "raw12",
  "colorArray": "grbg",
  "bits": 11,
  "BlackLevelRepeatDim": [2, 2],
  "BlackLevel": [64.0, 65.0, 66.5, 67.0],
  "WhiteLevel": 4000,
  "LinearizationTable": [0, 1, 2, 4, 65535],
  "CalibrationIlluminant1": 17,
  "CalibrationIlluminant2": 21,
  "ColorMatrix1": [2.9, -1.3, -0.5, -1.0, 1.9, 0.1, 0.1, -0.3, 1.2],
  "ColorMatrix2": [3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.204, 1.057],
  "ForwardMatrix1": [0.7978, 0.1352, 0.0313, 0.288, 0.7119, 0.0001, 0.0, 0.0, 0.8249],
  "ForwardMatrix2": [0.7978, 0.1352, 0.0313, 0.288, 0.7119, 0.0001, 0.0, 0.0, 0.8249],
  "AsShotNeutral": [0.5, 1.0, 0.625],
  "NoiseProfile": [0.0001, 2e-06, 0.0002, -3e-06, 0.0001, 2e-06],
  "whiteBalances": {
    "D65": [0.5, 1.0, 0.7],
    "TL84": [0.6, 1.0, 0.5]
  },
  "toneCurve": {
    "gamma": 2.2
  },
  "darkFrame": "cal/dark.png",
  "shadingMap": "/cal/flat.png",
  "controlDelay": {
    "exposure": 2,
    "gain": 1
  },
  "lens": {
    "focal": [
      {
        "mm": 35.5
      },
      [1, 2]
    ],
    "name": "Gr\u00f6\u00dfe"
  }
}
)";

std::string complaintOf(const std::string& text) {
    const SProfileReading reading = client::parsedProfile(text);
    return reading.complaints.size() == 1 ? reading.complaints.front()
                                          : std::to_string(reading.complaints.size()) + " complaints";
}

/// What is wrong with a profile that has one member.
std::string complaintOn(const std::string& name, const std::string& value) {
    return complaintOf("{\"" + name + "\": " + value + "}");
}

TEST(ClientProfile, EveryMemberIsReadAndWritten) {
    const SProfileReading reading = client::parsedProfile(kEverything);
    EXPECT_EQ(reading.complaints, std::vector<std::string>());
    EXPECT_EQ(reading.remarks, std::vector<std::string>{"\"lens\" is no member of a profile, and kept"});
    const SProfile& profile = reading.profile;
    EXPECT_EQ(profile.cameraModel, "Bench camera");
    EXPECT_EQ(profile.width, 640U);
    EXPECT_EQ(profile.height, 480U);
    EXPECT_EQ(profile.format, transferFormat(VEK_TRANSFER_RAW12));
    EXPECT_EQ(profile.colorArray, VEK_COLOR_ARRAY_GRBG);
    EXPECT_EQ(profile.Depth(), 11U);
    EXPECT_EQ(profile.BlackAt(0, 0), 64);
    EXPECT_EQ(profile.BlackAt(3, 4), 66.5);
    EXPECT_EQ(profile.WhiteLevel(), 4000U);
    EXPECT_EQ(profile.linearization, (std::vector<std::uint16_t>{0, 1, 2, 4, 65535}));
    EXPECT_EQ(profile.colors[0].illuminant, 17U);
    EXPECT_EQ((*profile.colors[0].color)[0][1], -1.3);
    EXPECT_EQ((*profile.colors[1].color)[2][0], 0.0557);
    EXPECT_EQ((*profile.colors[1].forward)[1][1], 0.7119);
    EXPECT_EQ((*profile.asShotNeutral)[2], 0.625);
    ASSERT_EQ(profile.noise.size(), 3U);
    EXPECT_EQ(profile.noise[1].offset, -3e-6);
    ASSERT_NE(profile.FindNeutral("TL84"), nullptr);
    EXPECT_EQ((*profile.FindNeutral("TL84"))[0], 0.6);
    EXPECT_EQ(profile.FindNeutral("tl84"), nullptr);
    EXPECT_EQ(profile.FindNeutral(""), &*profile.asShotNeutral);
    ASSERT_TRUE(profile.tone);
    EXPECT_EQ(profile.tone->kind, client::SToneCurve::EKind::Gamma);
    EXPECT_EQ(profile.tone->gamma, 2.2);
    EXPECT_EQ(profile.darkFrame, "cal/dark.png");
    EXPECT_EQ(profile.controlDelays.at(1).control, "gain");
    EXPECT_EQ(profile.controlDelays.at(1).frames, 1U);
    EXPECT_TRUE(profile.others.contains("lens"));

    const std::string text = client::profileText(profile);
    EXPECT_EQ(Json::parse(text), Json::parse(kEverything));
    EXPECT_EQ(client::profileText(client::parsedProfile(text).profile), text);
    // The order is that of the members, with what nobody knows behind it.
    std::vector<std::string> names;
    const Json written = Json::parse(text);
    for (const auto& [name, value] : written.items()) {
        names.push_back(name);
    }
    const auto members = client::profileMembers();
    ASSERT_EQ(names.size(), members.size() + 1);
    EXPECT_TRUE(std::equal(members.begin(), members.end(), names.begin()));
    EXPECT_NE(text.find("\n  \"AsShotNeutral\": [0.5, 1.0, 0.625],\n"), std::string::npos) << text;
}

TEST(ClientProfile, TheSchemaHasEveryMember) {
    const std::vector<std::uint8_t> schema = readFile(VEKCAM_DOCS "/profile.schema.json");
    const Json properties = Json::parse(schema)["properties"];
    std::vector<std::string> names;
    for (const auto& [name, property] : properties.items()) {
        names.push_back(name);
    }
    const auto members = client::profileMembers();
    EXPECT_EQ(names, std::vector<std::string>(members.begin(), members.end()));
    EXPECT_TRUE(client::readProfile(VEKCAM_DOCS "/profile.example.json").HasColors());
}

TEST(ClientProfile, WhatAProfileDoesNotSay) {
    const SProfile profile = client::parsedProfile("{}").profile;
    EXPECT_EQ(client::profileText(profile), "{}\n");
    EXPECT_EQ(profile.Depth(), std::nullopt);
    EXPECT_EQ(profile.WhiteLevel(), std::nullopt);
    EXPECT_EQ(profile.BlackAt(5, 7), 0);
    EXPECT_EQ(profile.FindNeutral(""), nullptr);
    EXPECT_FALSE(profile.HasColors());
    EXPECT_EQ(client::parsedProfile(R"({"format": "raw14"})").profile.WhiteLevel(), 16383U);
    EXPECT_EQ(client::parsedProfile(R"({"format": "raw16", "bits": 14})").profile.WhiteLevel(), 16383U);
    EXPECT_EQ(client::parsedProfile(R"({"LinearizationTable": [0, 9]})").profile.WhiteLevel(), 9U);
    EXPECT_EQ(client::parsedProfile(R"({"width": 640.0})").profile.width, 640U);
    EXPECT_EQ(client::parsedProfile(R"({"BlackLevel": 5})").profile.BlackAt(5, 7), 5);
    EXPECT_EQ(client::parsedProfile(R"({"format": "RAW10P", "colorArray": "BGGR"})").complaints.size(), 0U);
    EXPECT_EQ(client::parsedProfile(R"({"format": "raw12-csi2"})").profile.format->depth, 12);
}

TEST(ClientProfile, ToneCurves) {
    using enum client::SToneCurve::EKind;
    const auto kindOf = [](const std::string& value) {
        const SProfileReading reading = client::parsedProfile("{\"toneCurve\": " + value + "}");
        EXPECT_EQ(client::profileText(reading.profile), "{\n  \"toneCurve\": " + value + "\n}\n");
        return reading.profile.tone.value().kind;
    };
    EXPECT_EQ(kindOf("\"srgb\""), Srgb);
    EXPECT_EQ(kindOf("\"bt709\""), Bt709);
    EXPECT_EQ(kindOf("\"linear\""), Linear);
    EXPECT_EQ(kindOf("{\n    \"gamma\": 1.8\n  }"), Gamma);
    EXPECT_EQ(kindOf("{\n    \"table\": [0.0, 0.25, 1.0]\n  }"), Table);
    for (const char* const wrong : {"\"log\"", "2.2", "{}", "null", R"({"gamma": 1, "table": [0, 1]})", "[0, 1]"}) {
        EXPECT_EQ(complaintOn("toneCurve", wrong), "\"toneCurve\" is none of: srgb, bt709, linear, an object of "
                                                   "\"gamma\" or one of \"table\"")
            << wrong;
    }
    EXPECT_EQ(complaintOn("toneCurve", R"({"gamma": 0})"),
              "\"toneCurve/gamma\" has something else than a number of 0.01 to 655.35 in place 1");
    EXPECT_EQ(complaintOn("toneCurve", R"({"table": [1]})"), "\"toneCurve/table\" has 1 numbers, not 2 to 65536");
    EXPECT_EQ(complaintOn("toneCurve", R"({"table": [0, 2]})"),
              "\"toneCurve/table\" has something else than a number of 0 to 1 in place 2");
}

TEST(ClientProfile, ComplaintsNameTheMember) {
    EXPECT_EQ(complaintOn("width", "0"), "\"width\" is no whole number of 1 to 65535");
    EXPECT_EQ(complaintOn("width", "-1"), "\"width\" is no whole number of 1 to 65535");
    EXPECT_EQ(complaintOn("height", "1.5"), "\"height\" is no whole number of 1 to 65535");
    EXPECT_EQ(complaintOn("height", "18446744073709551615"), "\"height\" is no whole number of 1 to 65535");
    EXPECT_EQ(complaintOn("bits", "17"), "\"bits\" is no whole number of 1 to 16");
    EXPECT_EQ(complaintOn("bits", "\"8\""), "\"bits\" is no whole number of 1 to 16");
    EXPECT_EQ(complaintOn("format", "7"), "\"format\" is no text, or an empty one");
    EXPECT_TRUE(complaintOn("format", "\"raw9\"").starts_with("\"format\" is \"raw9\", none of: raw8, "));
    EXPECT_TRUE(complaintOn("format", "\"2\"").starts_with("\"format\" is \"2\", none of: raw8, "));
    EXPECT_EQ(complaintOn("colorArray", "\"ycrcb422\""),
              "\"colorArray\" is \"ycrcb422\", none of: mono, rggb, grbg, gbrg, bggr");
    EXPECT_EQ(complaintOn("ColorMatrix1", "[1, 0, 0, 0, 1, 0, 0, 0]"), "\"ColorMatrix1\" has 8 numbers, not 9");
    EXPECT_EQ(complaintOn("ColorMatrix1", "{}"), "\"ColorMatrix1\" is no list of numbers");
    EXPECT_EQ(complaintOn("ColorMatrix1", "[1, 2, 3, 2, 4, 6, 0, 0, 1]"), "\"ColorMatrix1\" has no inverse");
    EXPECT_EQ(complaintOn("ForwardMatrix1", "[1, 0, 0, 0, \"1\", 0, 0, 0, 1]"),
              "\"ForwardMatrix1\" has something else than a number of -1000 to 1000 in place 5");
    EXPECT_EQ(complaintOn("ForwardMatrix1", "[1, 0, 0, 0, 1e9, 0, 0, 0, 1]"),
              "\"ForwardMatrix1\" has something else than a number of -1000 to 1000 in place 5");
    EXPECT_EQ(complaintOn("AsShotNeutral", "[1, 0, 1]"),
              "\"AsShotNeutral\" has something else than a number of 0.0001 to 10000 in place 2");
    EXPECT_EQ(complaintOn("whiteBalances", "{\"D65\": [1, 1]}"), "\"whiteBalances/D65\" has 2 numbers, not 3");
    EXPECT_EQ(complaintOn("whiteBalances", "[1, 1, 1]"),
              "\"whiteBalances\" is no object of neutrals by the names of their lights");
    EXPECT_EQ(complaintOn("whiteBalances", "{\"\": [1, 1, 1]}"), "\"whiteBalances\" has something without a name");
    EXPECT_EQ(complaintOn("NoiseProfile", "[1, 1, 1]"), "\"NoiseProfile\" has 3 numbers, not 2 or 6");
    EXPECT_EQ(complaintOn("NoiseProfile", "[-1, 1]"), "\"NoiseProfile\" has the scale -1, which is negative");
    EXPECT_EQ(complaintOn("CalibrationIlluminant1", "5"),
              "\"CalibrationIlluminant1\" is 5, which is no light source of the Exif standard");
    EXPECT_EQ(complaintOn("LinearizationTable", "[0, 1.5]"),
              "\"LinearizationTable\" has number 1.5, which is not whole");
    EXPECT_EQ(complaintOn("LinearizationTable", "[]"), "\"LinearizationTable\" has 0 numbers, not 1 to 65536");
    EXPECT_EQ(complaintOn("LinearizationTable", "[65536]"),
              "\"LinearizationTable\" has something else than a number of 0 to 65535 in place 1");
    EXPECT_EQ(complaintOn("BlackLevelRepeatDim", "[2]"),
              "\"BlackLevelRepeatDim\" is no list of rows and columns, 1 to 64 each");
    EXPECT_EQ(complaintOn("BlackLevelRepeatDim", "[0, 2]"),
              "\"BlackLevelRepeatDim\" is no list of rows and columns, 1 to 64 each");
    EXPECT_EQ(complaintOn("controlDelay", "{\"gain\": -1}"), "\"controlDelay/gain\" is no whole number of 0 to 1000");
    EXPECT_EQ(complaintOn("controlDelay", "3"), "\"controlDelay\" is no object of frames by the names of controls");
    EXPECT_EQ(complaintOn("darkFrame", "\"\""), "\"darkFrame\" is no text, or an empty one");
    EXPECT_EQ(complaintOn("darkFrame", "\"a\\u0000b\""), "\"darkFrame\" is no text, or an empty one");
    EXPECT_EQ(complaintOn("UniqueCameraModel", "[]"), "\"UniqueCameraModel\" is no text, or an empty one");
}

TEST(ClientProfile, MembersFitTogether) {
    EXPECT_EQ(complaintOf(R"({"format": "raw10", "bits": 12})"), "\"bits\" is 12, format raw10 has 10");
    EXPECT_EQ(complaintOf(R"({"format": "mono8", "colorArray": "rggb"})"),
              "\"colorArray\" rggb does not go with format mono8");
    EXPECT_EQ(complaintOf(R"({"format": "bgr8", "colorArray": "rggb"})"),
              "\"colorArray\" does not go with format bgr8");
    EXPECT_EQ(complaintOf(R"({"BlackLevel": [1, 2]})"),
              "\"BlackLevel\" has 2 numbers, 1 with the \"BlackLevelRepeatDim\" 1 x 1");
    EXPECT_EQ(complaintOf(R"({"BlackLevelRepeatDim": [2, 2]})"),
              "\"BlackLevel\" has 0 numbers, 4 with the \"BlackLevelRepeatDim\" 2 x 2");
    EXPECT_EQ(complaintOf(R"({"BlackLevel": 255, "format": "mono8"})"),
              "\"BlackLevel\" 255 is not below the white level 255");
    EXPECT_EQ(complaintOf(R"({"WhiteLevel": 256, "format": "mono8"})"),
              "\"WhiteLevel\" is 256, samples of 8 bits end at 255");
    EXPECT_EQ(complaintOf(R"({"WhiteLevel": 256, "format": "mono8", "LinearizationTable": [0, 256]})"), "0 complaints");
    const std::string identity = "[1, 0, 0, 0, 1, 0, 0, 0, 1]";
    EXPECT_EQ(complaintOf("{\"CalibrationIlluminant1\": 17, \"CalibrationIlluminant2\": 21, \"ColorMatrix2\": " +
                          identity + "}"),
              "\"ColorMatrix2\" stands there without \"ColorMatrix1\"");
    EXPECT_EQ(complaintOf("{\"CalibrationIlluminant1\": 17, \"ColorMatrix1\": " + identity +
                          ", \"ColorMatrix2\": " + identity + "}"),
              "\"CalibrationIlluminant2\" is missing, or has no temperature, with matrices of two lights");
    EXPECT_EQ(complaintOf("{\"CalibrationIlluminant1\": 17, \"CalibrationIlluminant2\": 3, \"ColorMatrix1\": " +
                          identity + ", \"ColorMatrix2\": " + identity + "}"),
              "\"CalibrationIlluminant2\" has the temperature of \"CalibrationIlluminant1\"");
    EXPECT_EQ(complaintOf("{\"ColorMatrix1\": " + identity + "}"), "0 complaints");
}

TEST(ClientProfile, TextsThatAreNoProfile) {
    EXPECT_EQ(complaintOf(""), "line 1, column 1: the file breaks off");
    EXPECT_EQ(complaintOf("{\n  \"width\": 1,\n  }"), "line 3, column 3: this is no JSON");
    EXPECT_EQ(complaintOf("[]"), "a profile is an object of members, and this is none");
    EXPECT_EQ(complaintOf("{\"width\": 1e999}"), "a number in it is too large");
    EXPECT_EQ(complaintOf("{\"width\": 1, \"width\": 2}"), "\"width\" stands there twice");
    EXPECT_EQ(complaintOf("{\"a\": {\"b\": 1, \"b\": 2}}"), "\"b\" stands there twice");
    EXPECT_EQ(complaintOf("{\"a\": \"\xFF\"}"), "line 1, column 8: this is no JSON");
    EXPECT_EQ(complaintOf("{\"a\": " + std::string(100000, '[')), "lists and objects are nested more than 64 deep");
    // Several at once are all told.
    EXPECT_EQ(client::parsedProfile(R"({"width": 0, "height": 0})").complaints.size(), 2U);
}

TEST(ClientProfile, ForwardMatricesThatMakeNoD50) {
    const SProfileReading reading = client::parsedProfile(R"({"ForwardMatrix1": [1, 0, 0, 0, 1, 0, 0, 0, 1]})");
    EXPECT_EQ(reading.complaints.size(), 0U);
    EXPECT_EQ(reading.remarks, std::vector<std::string>{"\"ForwardMatrix1\" makes 1.0000, 1.0000, 1.0000 of white, "
                                                        "not 0.9642, 1, 0.8249: it is scaled"});
}

class ClientProfileFiles : public CFileTest {};

TEST_F(ClientProfileFiles, FailuresNameTheFile) {
    const auto messageOf = [](const std::string& path) {
        try {
            client::readProfile(path);
        } catch (const client::CFailure& failure) {
            return std::string(failure.what());
        }
        return std::string();
    };
    EXPECT_EQ(messageOf(Path("none.json")), Path("none.json") + ": cannot open: No such file or directory");
    const std::string path = WriteText("p.json", R"({"width": 0})");
    EXPECT_EQ(messageOf(path), path + ": no camera profile: \"width\" is no whole number of 1 to 65535");
    EXPECT_EQ(messageOf(WriteText("p.json", R"({"width": 1})")), "");
}

TEST_F(ClientProfileFiles, PathsAreSeenFromTheProfile) {
    std::filesystem::create_directories(Path("a/b"));
    const std::string path = WriteText("a/p.json", R"({"darkFrame": "b/dark.png", "shadingMap": "/x/flat.png"})");
    const SProfile profile = client::readProfile(path);
    EXPECT_EQ(profile.darkFrame, Path("a/b/dark.png"));
    EXPECT_EQ(profile.shadingMap, "/x/flat.png");
    SProfile near;
    near.darkFrame = "here/dark.png";
    near.shadingMap = "/x/flat.png";
    EXPECT_EQ(Json::parse(client::profileText(near, "here/deeper")),
              (Json{{"darkFrame", "../dark.png"}, {"shadingMap", "/x/flat.png"}}));
    EXPECT_EQ(Json::parse(client::profileText(near, ""))["darkFrame"], "here/dark.png");
    EXPECT_EQ(Json::parse(client::profileText(near, "here"))["darkFrame"], "dark.png");
    near.darkFrame = "\xFF.png";
    EXPECT_THROW(client::profileText(near), client::CFailure);
}

TEST_F(ClientProfileFiles, SidecarsHaveTheWholeName) {
    const std::string raw = Write("frame.raw", {1});
    EXPECT_EQ(client::sidecarOf(raw), std::nullopt);
    WriteText("frame.json", "{}");
    EXPECT_EQ(client::sidecarOf(raw), std::nullopt);
    WriteText("frame.raw.json", "{}");
    EXPECT_EQ(client::sidecarOf(raw), raw + ".json");
    EXPECT_EQ(client::sidecarOf("-"), std::nullopt);
}

// ---- other files ----

TEST(ClientProfileImport, DcpOfBothByteOrders) {
    for (const bool little : {true, false}) {
        const SImportedProfile imported = client::importedProfile(madeDcp(little), "x.dcp");
        EXPECT_EQ(imported.remarks, std::vector<std::string>());
        EXPECT_EQ(Json::parse(client::profileText(imported.profile)), Json::parse(R"({
            "UniqueCameraModel": "Bench camera", "CalibrationIlluminant1": 17, "CalibrationIlluminant2": 21,
            "ColorMatrix1": [2.9, -1.3, -0.5, -1.0, 1.9, 0.1, 0.1, -0.3, 1.2],
            "ColorMatrix2": [3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.204, 1.057],
            "ForwardMatrix1": [0.7978, 0.1352, 0.0313, 0.288, 0.7119, 0.0001, 0.0, 0.0, 0.8249],
            "ForwardMatrix2": [0.7978, 0.1352, 0.0313, 0.288, 0.7119, 0.0001, 0.0, 0.0, 0.8249]})"));
    }
}

TEST(ClientProfileImport, WhatIsNotTakenIsNamed) {
    const CTiffBytes tiff;
    const SImportedProfile imported = client::importedProfile(
        madeDcp(true, {tiff.Doubles(50938, {0, 1, 1}), tiff.Doubles(50940, {0, 0, 1, 1})}), "x.dcp");
    EXPECT_EQ(imported.remarks,
              (std::vector<std::string>{"ProfileHueSatMapData1 is not taken: a profile has no place for it",
                                        "ProfileToneCurve is not taken: a profile has no place for it"}));
}

TEST(ClientProfileImport, DngWithFrameAndNeutral) {
    for (const bool little : {true, false}) {
        const SImportedProfile imported = client::importedProfile(madeDng(little), "x.dng");
        EXPECT_EQ(imported.remarks, std::vector<std::string>());
        EXPECT_EQ(Json::parse(client::profileText(imported.profile)), Json::parse(R"({
            "UniqueCameraModel": "Bench camera", "width": 640, "height": 480, "format": "raw12", "colorArray": "grbg",
            "BlackLevelRepeatDim": [2, 2], "BlackLevel": [64.0, 65.0, 66.0, 67.5], "WhiteLevel": 4000,
            "CalibrationIlluminant1": 21,
            "ColorMatrix1": [3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.204, 1.057],
            "AsShotNeutral": [0.5, 1.0, 0.625], "NoiseProfile": [0.0001, 2e-06]})"));
    }
}

TEST(ClientProfileImport, PatternsOfAnActiveAreaThatBeginsInside) {
    const CTiffBytes tiff;
    const SImportedProfile imported =
        client::importedProfile(madeDng(true, {tiff.Longs(50829, {0, 1, 480, 640})}), "x.dng");
    EXPECT_EQ(imported.remarks,
              (std::vector<std::string>{"CFAPattern is not taken: ActiveArea begins inside the pattern",
                                        "BlackLevel is not taken: ActiveArea begins inside the pattern"}));
    EXPECT_EQ(imported.profile.colorArray, std::nullopt);
    EXPECT_EQ(imported.profile.blackLevel, std::nullopt);
    EXPECT_EQ(client::importedProfile(madeDng(true, {tiff.Longs(50829, {2, 4, 480, 640})}), "x.dng").remarks.size(),
              0U);
}

/// A profile of a DNG file whose frame lies in the first directory, with tags of the colours.
SImportedProfile importedColors(const std::vector<SMadeTag>& colors) {
    CTiffBytes tiff;
    std::vector<SMadeTag> tags = {tiff.Longs(256, {4}), tiff.Longs(257, {4}), tiff.Shorts(258, {14}),
                                  tiff.Shorts(262, {34892}), tiff.Bytes(50706, {1, 4, 0, 0})};
    tags.insert(tags.end(), colors.begin(), colors.end());
    return client::importedProfile(tiff.File(tiff.Add(tags)), "x.dng");
}

TEST(ClientProfileImport, CalibrationsGoIntoTheMatrix) {
    const CTiffBytes tiff;
    const std::vector<double> identity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    const SMadeTag color = tiff.Rationals(50721, identity);
    const SMadeTag calibration = tiff.Rationals(50723, {2, 0, 0, 0, 1, 0, 0, 0, 0.5});
    const SMadeTag balance = tiff.Rationals(50727, {1, 3, 1});
    const SMadeTag forward = tiff.Rationals(50964, kForwardColors);
    SImportedProfile imported = importedColors({color, calibration, balance, forward});
    EXPECT_EQ(imported.profile.format, transferFormat(VEK_TRANSFER_MONO14));
    EXPECT_EQ(*imported.profile.colors[0].color, client::diagonal({2, 3, 0.5}));
    EXPECT_TRUE(imported.profile.colors[0].forward);
    // The calibration was measured with another profile.
    imported = importedColors({color, calibration, tiff.Text(50931, "abc"), tiff.Text(50932, "xyz")});
    EXPECT_EQ(*imported.profile.colors[0].color, client::diagonal({1, 1, 1}));
    imported = importedColors({color, tiff.Rationals(50723, {1, 0.5, 0, 0, 1, 0, 0, 0, 1}), forward});
    EXPECT_FALSE(imported.profile.colors[0].forward);
    EXPECT_EQ(imported.remarks,
              std::vector<std::string>{"ForwardMatrix1 is not taken: CameraCalibration1 mixes colours"});
}

TEST(ClientProfileImport, WhiteByItsChromaticity) {
    const CTiffBytes tiff;
    const SImportedProfile imported =
        importedColors({tiff.Rationals(50721, kSrgbColors), tiff.Rationals(50729, {0.3127, 0.3290})});
    ASSERT_TRUE(imported.profile.asShotNeutral);
    for (const double color : *imported.profile.asShotNeutral) {
        EXPECT_NEAR(color, 1, 1e-3);
    }
}

TEST(ClientProfileImport, WhatDoesNotFitIsLeftOut) {
    const CTiffBytes tiff;
    SImportedProfile imported = importedColors({tiff.Rationals(50721, {1, 1, 1, 1, 1, 1, 1, 1, 1})});
    EXPECT_EQ(imported.remarks, std::vector<std::string>{"\"ColorMatrix1\" has no inverse, and is not taken"});
    EXPECT_FALSE(imported.profile.HasColors());
    EXPECT_EQ(imported.profile.width, 4U);
    imported = importedColors({tiff.Rationals(50721, {1, 1, 1})});
    EXPECT_EQ(imported.remarks, std::vector<std::string>{"ColorMatrix1 is not taken: it has 3 numbers, not 9"});
}

std::string importFailure(const std::vector<std::uint8_t>& bytes) {
    try {
        client::importedProfile(bytes, "x");
    } catch (const client::CFailure& failure) {
        return failure.what();
    }
    return "";
}

TEST(ClientProfileImport, OtherBytesAreRefused) {
    EXPECT_EQ(importFailure({}), "x: is neither a DNG nor a DCP file");
    EXPECT_EQ(importFailure({'I', 'I', 43, 0, 8, 0, 0, 0}), "x: is neither a DNG nor a DCP file");
    EXPECT_EQ(importFailure({'I', 'I', 42, 0, 8, 0, 0, 0}), "x: a directory cannot be read");
    EXPECT_EQ(importFailure({'I', 'I', 'R', 'C', 0, 0, 0, 0}), "x: a directory cannot be read");
    CTiffBytes tiff;
    EXPECT_EQ(importFailure(tiff.File(tiff.Add({tiff.Longs(256, {1})}))), "x: is a TIFF file, but no DNG one");
    CTiffBytes noFrame;
    EXPECT_EQ(importFailure(noFrame.File(noFrame.Add({noFrame.Bytes(50706, {1, 4, 0, 0})}))),
              "x: holds no raw frame with one sample a pixel");
    CTiffBytes noColors(true, 0x4352);
    EXPECT_EQ(importFailure(noColors.File(noColors.Add({noColors.Shorts(50778, {21})}))), "x: has no ColorMatrix1");
}

TEST(ClientProfileImport, BrokenBytesAreNoFault) {
    CRandom random(7);
    for (const bool dng : {false, true}) {
        const std::vector<std::uint8_t> whole = dng ? madeDng() : madeDcp();
        for (std::size_t size = 0; size < whole.size(); size += 3) {
            importFailure({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        }
        for (int i = 0; i < 3000; ++i) {
            std::vector<std::uint8_t> bytes = whole;
            for (std::size_t k = random.Below(8) + 1; k > 0; --k) {
                bytes[random.Below(bytes.size())] = static_cast<std::uint8_t>(random.Next());
            }
            importFailure(bytes);
        }
    }
}

TEST(ClientProfileExport, MatricesOfATuningFile) {
    const SProfile profile = client::importedProfile(madeDcp(), "x.dcp").profile;
    SProfile colors = profile;
    colors.colors[0].forward.reset();
    colors.colors[1].forward.reset();
    const std::string text = client::libcameraTuning(colors);
    EXPECT_TRUE(text.starts_with("%YAML 1.1\n---\nversion: 1\nalgorithms:\n"
                                 "  - Ccm:\n      ccms:\n        - ct: 2856\n          ccm: ["))
        << text;
    // A camera that measures sRGB under D65 needs hardly anything there.
    const std::string second = text.substr(text.find("        - ct: 6504"));
    std::vector<double> numbers;
    std::string plain = second.substr(second.find('[') + 1);
    std::replace(plain.begin(), plain.end(), ',', ' ');
    std::istringstream stream(plain);
    for (double number = 0; stream >> number;) {
        numbers.push_back(number);
    }
    ASSERT_EQ(numbers.size(), 9U);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        EXPECT_NEAR(numbers[i], i % 4 == 0 ? 1 : 0, 2e-3);
    }
    for (std::size_t row = 0; row < 3; ++row) {
        EXPECT_NEAR(numbers[3 * row] + numbers[3 * row + 1] + numbers[3 * row + 2], 1, 1e-9);
    }
    EXPECT_TRUE(second.ends_with(" ]\n...\n"));
}

TEST(ClientProfileExport, NeedsMatricesAndLights) {
    SProfile profile;
    EXPECT_THROW(client::libcameraTuning(profile), client::CFailure);
    profile.colors[0].color = client::diagonal({1, 1, 1});
    EXPECT_THROW(client::libcameraTuning(profile), client::CFailure);
    profile.colors[0].illuminant = 21;
    EXPECT_NO_THROW(client::libcameraTuning(profile));
}

} // namespace

} // namespace vek::test
