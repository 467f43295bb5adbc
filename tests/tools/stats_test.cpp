// SPDX-License-Identifier: Apache-2.0
#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include <sstream>

namespace vek::test {

namespace {

class Stats : public CFileTest {
protected:
    static nlohmann::json Run(const Arguments& arguments, const std::vector<std::uint8_t>& in = {}) {
        return printedJson(joined({{"stats", "--json"}, arguments}), {.in = in});
    }
};

const Arguments kCell = sized(2, 2, {"-f", "raw8", "-a", "rggb"});

TEST_F(Stats, EveryColorByItself) {
    const std::string file = Write("a.raw", {0, 255, 7, 40});
    const nlohmann::json json = Run(joined({{file}, kCell}));
    EXPECT_EQ(json["frames"], 1);
    EXPECT_EQ(json["colors"]["R"]["dark"], 1);
    EXPECT_EQ(json["colors"]["Gr"]["clipped"], 1);
    EXPECT_EQ(json["colors"]["Gb"]["mean"], 7);
    EXPECT_EQ(json["colors"]["B"]["percentiles"]["50"], 40);
    EXPECT_EQ(json["colors"]["B"]["histogram"]["counts"][40], 1);
    EXPECT_EQ(json["colors"]["B"]["frameNoise"], nullptr);
    EXPECT_EQ(json["sharpness"], nullptr); // no tile fits
}

TEST_F(Stats, NoiseOfFramesInOneFileAndInSeveral) {
    const std::vector<std::uint8_t> a = {10, 20, 30, 40};
    const std::vector<std::uint8_t> b = {12, 20, 30, 40};
    std::vector<std::uint8_t> both = a;
    both.insert(both.end(), b.begin(), b.end());
    const std::string burst = Write("burst.raw", both);
    const Arguments separate = {Write("f2.raw", b), Write("f10.raw", a)};
    for (const nlohmann::json& json : {Run(joined({{burst}, kCell})), Run(joined({separate, kCell})),
                                       Run(joined({{Path("f*.raw")}, kCell})), Run(joined({{"-"}, kCell}), both)}) {
        EXPECT_EQ(json["frames"], 2);
        EXPECT_NEAR(json["colors"]["R"]["frameNoise"].get<double>(), 2 / std::sqrt(2.0), 1e-12);
        EXPECT_EQ(json["colors"]["Gr"]["frameNoise"], 0);
    }
    EXPECT_EQ(Run(joined({{burst, "--frames", "1"}, kCell}))["colors"]["R"]["mean"], 12);
    EXPECT_EQ(Run(joined({{burst, "--frame", "1"}, kCell}))["colors"]["R"]["mean"], 12);
    EXPECT_EQ(Run(joined({{burst, "--frames", "::2"}, kCell}))["frames"], 1);
    expectRefused(runVekcam(joined({{"stats", burst, "--frames", "2"}, kCell})), 1, "no frame 2");
    expectRefused(runVekcam(joined({{"stats", burst, "--frames", "1", "--frame", "1"}, kCell})), 2, "--frame");
}

TEST_F(Stats, LevelsOfTheProfileAndOfADngFile) {
    const std::string raw = Write("a.raw", littleEndian({60, 64, 900, 1000}));
    WriteText("a.raw.json", R"({"width": 2, "height": 2, "format": "mono12", "BlackLevel": 64, "WhiteLevel": 900})");
    const nlohmann::json profiled = Run({raw})["colors"]["grey"];
    EXPECT_EQ(profiled["dark"], 0.25);
    EXPECT_EQ(profiled["clipped"], 0.5);
    expectDone(runVekcam({"convert", raw, "-o", Path("a.dng"), "--black", "61", "--white", "1000"}));
    const nlohmann::json dng = Run({Path("a.dng")});
    EXPECT_EQ(dng["whiteLevel"], 1000);
    EXPECT_EQ(dng["colors"]["grey"]["dark"], 0.25);
    EXPECT_EQ(dng["colors"]["grey"]["clipped"], 0.25);
}

TEST_F(Stats, PicturesAndColorFormats) {
    // Blue, green, red of bgr8; of bgr10 in the low 30 bits of 8 bytes.
    const std::string bgr = Write("bgr.raw", {1, 2, 3, 5, 6, 7});
    const Arguments form = sized(2, 1, {"-f", "bgr8"});
    expectDone(runVekcam(joined({{"convert", bgr, "-o", Path("a.png")}, form})));
    for (const nlohmann::json& json : {Run(joined({{bgr}, form})), Run({Path("a.png")})}) {
        EXPECT_EQ(json["colors"]["R"]["mean"], 5);
        EXPECT_EQ(json["colors"]["G"]["mean"], 4);
        EXPECT_EQ(json["colors"]["B"]["mean"], 3);
    }
    // 1, 2 and 1023.
    const std::string deep = Write("bgr10.raw", {0x01, 0x08, 0xF0, 0x3F, 0, 0, 0, 0});
    const nlohmann::json json = Run(joined({{deep}, sized(1, 1, {"-f", "bgr10"})}));
    EXPECT_EQ(json["depth"], 10);
    EXPECT_EQ(json["colors"]["B"]["mean"], 1);
    EXPECT_EQ(json["colors"]["G"]["mean"], 2);
    EXPECT_EQ(json["colors"]["R"]["clipped"], 1);
    // 0x321 and 0x654, packed: at their full depth.
    const std::string packed = Write("packed.raw", {0x21, 0x43, 0x65});
    EXPECT_EQ(Run(joined({{packed}, sized(2, 1, {"-f", "mono12p"})}))["colors"]["grey"]["largest"], 0x654);
    expectRefused(runVekcam(joined({{"stats", Path("a.png"), bgr}, form})), 2, "does not go with");
    const std::string gray = Write("gray.raw", {1, 2});
    expectDone(runVekcam(joined({{"convert", gray, "--plain", "-o", Path("gray.png")}, sized(2, 1, {"-f", "mono8"})})));
    expectPart(printed({"stats", Path("gray.png"), "-a", "rggb"}), "2 x 1 pixels, raw8, rggb");
    expectRefused(runVekcam({"stats", Path("gray.png"), Path("a.png")}), 1, "another form than the first frame");
}

TEST_F(Stats, TextFitsATerminal) {
    std::vector<std::uint8_t> bytes;
    for (unsigned i = 0; i < 64 * 64; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i * 7 + i / 64));
    }
    const std::string file = Write("a.raw", bytes);
    const Arguments form = sized(64, 64, {"-f", "raw8", "-a", "rggb"});
    for (const char* const scale : {"--tiles=8x6", "--log"}) {
        std::istringstream lines(printed(joined({{"stats", file, scale}, form})));
        std::string line;
        std::size_t bars = 0;
        for (std::getline(lines, line); std::getline(lines, line);) { // behind the name of the file
            EXPECT_LE(line.size(), 80U) << line;
            EXPECT_FALSE(line.ends_with(' ')) << line;
            bars += line.find('#') != std::string::npos ? 1 : 0;
        }
        EXPECT_EQ(bars, 16U);
    }
    const nlohmann::json json = Run(joined({{file, "--tiles", "3x2", "--region", "8,8,24,16"}, form}));
    EXPECT_EQ(json["sharpness"]["percents"].size(), 2U);
    EXPECT_EQ(json["sharpness"]["percents"][0].size(), 3U);
    expectRefused(runVekcam(joined({{"stats", file, "--tiles", "4x2", "--region", "8,8,24,16"}, form})), 2,
                  "--tiles 4x2");
    for (const char* const tiles : {"8", "0x2", "8x", "65x1", "8x6x2"}) {
        expectRefused(runVekcam(joined({{"stats", file, "--tiles", tiles}, form})), 2, "COLUMNSxROWS");
    }
    expectRefused(runVekcam(joined({{"stats", file, "--region", "64,0,1,1"}, form})), 2, "--region");
}

TEST_F(Stats, HistogramAsAPicture) {
    const std::string file = Write("a.raw", {0, 255, 7, 40});
    for (const Arguments& scale : {Arguments{}, {"--log"}}) {
        expectDone(runVekcam(joined({{"stats", file, "--histogram", Path("h.png")}, scale, kCell})));
        const SPng png = readPng(Path("h.png"));
        EXPECT_EQ(png.channels, 3U);
        EXPECT_GE(png.width, 600U);
    }
    expectRefused(runVekcam(joined({{"stats", file, "--histogram", Path("h.xyz")}, kCell})), 2, "h.xyz");
    expectRefused(runVekcam(joined({{"stats", file, "--histogram", file}, kCell})), 2, "a.raw");
    expectOneLine(runVekcam(joined({{"stats", file, "--histogram", "/dev/full"}, kCell})), 1, "/dev/full");
}

TEST_F(Stats, Refusals) {
    expectRefused(runVekcam({"stats"}), 2, "FRAME");
    expectRefused(runVekcam({"stats", Path("none.raw")}), 1, "cannot open");
    expectRefused(runVekcam({"stats", Path("none*.raw")}), 1, "none*.raw");
    expectRefused(runVekcam(joined({{"stats", WriteText("a.txt", "The quick brown fox\njumps over\n")}, kCell})), 1,
                  "is text, no raw frame; --force takes it as one");
    expectRefused(runVekcam(joined({{"stats", Write("short.raw", {1, 2, 3})}, kCell})), 1, "too short");
}

} // namespace

} // namespace vek::test
