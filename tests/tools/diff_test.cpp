// SPDX-License-Identifier: Apache-2.0
#include "Program.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include <cmath>

namespace vek::test {

namespace {

const Arguments kCell = sized(2, 2, {"-f", "raw8", "-a", "rggb"});

class FrameDiff : public CFileTest {
protected:
    /// Expects an exit code, and returns what was printed as JSON.
    static nlohmann::json Compared(int code, const Arguments& arguments) {
        const SResult result = runVekcam(joined({{"diff", "--json"}, arguments}));
        EXPECT_EQ(result.exitCode, code) << result.err;
        EXPECT_EQ(result.err, "");
        return nlohmann::json::parse(result.out, nullptr, false);
    }
    std::string Picture(const std::string& name, const std::vector<std::uint8_t>& rgb, unsigned width,
                        unsigned height) const {
        const std::string head = "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
        std::vector<std::uint8_t> bytes(head.begin(), head.end());
        bytes.insert(bytes.end(), rgb.begin(), rgb.end());
        return Write(name, bytes);
    }
    /// A raw frame as a picture or DNG file.
    std::string Converted(const std::string& raw, const std::string& name, const Arguments& arguments) const {
        expectDone(runVekcam(joined({{"convert", raw, "-o", Path(name)}, arguments})));
        return Path(name);
    }
};

TEST_F(FrameDiff, CountsOfEachColor) {
    // R 1 and 5, Gr and Gb 2 of 4 pixels, B one less and five more.
    const std::string a = Write("a.raw", {10, 20, 11, 20, 30, 40, 30, 40});
    const std::string b = Write("b.raw", {11, 20, 16, 20, 30, 39, 30, 45});
    const nlohmann::json json = Compared(3, joined({{a, b}, sized(4, 2, {"-f", "raw8", "-a", "rggb"})}));
    EXPECT_EQ(json["equal"], false);
    const nlohmann::json& red = json["colors"]["R"];
    EXPECT_EQ(red["samples"], 2);
    EXPECT_EQ(red["differing"], 2);
    EXPECT_EQ(red["largest"], 5);
    EXPECT_EQ(red["at"], (nlohmann::json{{"x", 2}, {"y", 0}}));
    EXPECT_EQ(red["meanAbsolute"], 3);
    EXPECT_EQ(red["meanSigned"], 3);
    EXPECT_NEAR(red["psnr"].get<double>(), 10 * std::log10(255.0 * 255 / 13), 1e-9); // (1 + 25) / 2
    const nlohmann::json& blue = json["colors"]["B"];
    EXPECT_EQ(blue["meanAbsolute"], 3);
    EXPECT_EQ(blue["meanSigned"], 2);
    EXPECT_EQ(json["colors"]["Gr"]["differing"], 0);
    EXPECT_EQ(json["colors"]["Gr"]["psnr"], nullptr);
    EXPECT_EQ(json["all"]["samples"], 8);
    EXPECT_EQ(json["all"]["differing"], 4);
    EXPECT_EQ(json["all"]["at"], (nlohmann::json{{"x", 2}, {"y", 0}})); // the first of two that differ by 5
    EXPECT_NEAR(json["all"]["psnr"].get<double>(), 10 * std::log10(255.0 * 255 * 8 / 52), 1e-9);
}

TEST_F(FrameDiff, ExitCodes) {
    const std::string a = Write("a.raw", {1, 2, 3, 4});
    const std::string b = Write("b.raw", {1, 2, 3, 7});
    expectPart(printed(joined({{"diff", a, a}, kCell})), "equal");
    const SResult different = runVekcam(joined({{"diff", a, b}, kCell}));
    EXPECT_EQ(different.exitCode, 3);
    EXPECT_EQ(different.err, "");
    expectPart(different.out, "different");
    expectPart(printed(joined({{"diff", a, b, "--tolerance", "3"}, kCell})), "within the tolerance of 3");
    EXPECT_EQ(Compared(3, joined({{a, b, "--tolerance", "2"}, kCell}))["all"]["beyondTolerance"], 1);
    expectRefused(runVekcam(joined({{"diff", a, Path("none")}, kCell})), 1, "none: cannot open");
    expectRefused(runVekcam({"diff", a, b}), 2, "--width is required");
    expectRefused(runVekcam(joined({{"diff", a, b, "--tolerance", "-1"}, kCell})), 2, "--tolerance");
    expectRefused(runVekcam(joined({{"diff", "-", "-"}, kCell})), 2, "both standard input");
    expectOneLine(runVekcam(joined({{"diff", a, a}, kCell}), {.outFile = "/dev/full"}), 1, "cannot write");
}

TEST_F(FrameDiff, OneSideFromStandardInput) {
    const std::string a = Write("a.raw", {1, 2, 3, 4});
    expectDone(runVekcam(joined({{"diff", a, "-"}, kCell}), {.in = {1, 2, 3, 4}}));
    EXPECT_EQ(runVekcam(joined({{"diff", "-", a}, kCell}), {.in = {1, 2, 4, 4}}).exitCode, 3);
}

TEST_F(FrameDiff, FramesOfAllKindsOfFiles) {
    const std::string raw = Write("a.raw", littleEndian({100, 200, 300, 1000}));
    const Arguments form = sized(2, 2, {"-f", "raw12", "-a", "rggb"});
    const std::string dng = Converted(raw, "a.dng", form);
    const std::string narrow = Converted(raw, "narrow.dng", joined({form, {"--white", "1000"}}));
    expectDone(runVekcam(joined({{"diff", raw, dng}, form})));
    expectDone(runVekcam(joined({{"diff", dng, raw}, form})));
    expectDone(runVekcam({"diff", dng, narrow})); // raw12 and raw10: words have the value in the low bits
    expectRefused(runVekcam(joined({{"diff", dng, narrow}, form})), 2, "--width does not go with");
    // The picture of a 16-bit mono frame has its samples.
    const std::string png = Converted(raw, "a.png", sized(2, 2, {"-f", "mono16", "--depth", "16"}));
    expectDone(runVekcam({"diff", png, dng, "-f", "raw12", "-a", "rggb"}));
    expectRefused(runVekcam({"diff", png, dng}), 2,
                  "cannot be compared: 2 x 2 pixels, mono16, mono; 2 x 2 pixels, raw12");
}

TEST_F(FrameDiff, PicturesOfAllKinds) {
    std::vector<std::uint8_t> samples;
    for (unsigned i = 0; i < 5 * 4 * 3; ++i) {
        samples.push_back(static_cast<std::uint8_t>(i * 4));
    }
    std::vector<std::uint8_t> bgr = samples;
    for (std::size_t i = 0; i < bgr.size(); i += 3) {
        std::swap(bgr[i], bgr[i + 2]);
    }
    const std::string raw = Write("a.raw", bgr);
    const Arguments form = sized(5, 4, {"-f", "bgr8"});
    const std::string ppm = Picture("a.ppm", samples, 5, 4);
    for (const char* const name : {"a.png", "a.tif", "b.ppm"}) {
        const std::string picture = Converted(raw, name, form);
        expectDone(runVekcam({"diff", ppm, picture}));
        expectDone(runVekcam(joined({{"diff", picture, raw}, form})));
    }
    const nlohmann::json jpeg = Compared(3, {ppm, Converted(raw, "a.jpg", joined({form, {"--quality", "100"}}))});
    EXPECT_LT(jpeg["all"]["meanAbsolute"].get<double>(), 4);
    for (const char* const name : {"deep.png", "deep.tif", "deep.ppm"}) {
        const std::string deep = Converted(raw, name, joined({form, {"--bits-out", "16"}}));
        expectRefused(runVekcam({"diff", ppm, deep}), 2, "8 bits; 5 x 4 pixels, colour picture of 16 bits");
        expectDone(runVekcam({"diff", Path("deep.png"), deep}));
    }
    expectRefused(runVekcam({"diff", ppm, Picture("b.ppm", samples, 4, 5)}), 2, "cannot be compared");
    expectRefused(runVekcam({"diff", ppm, ppm, "-W", "5"}), 2, "--width does not go with");
}

TEST_F(FrameDiff, DamagedPictures) {
    const std::string raw = Write("a.raw", std::vector<std::uint8_t>(64 * 64 * 3, 77));
    for (const char* const name : {"a.png", "a.tif", "a.jpg", "a.ppm"}) {
        const std::string whole = Converted(raw, name, sized(64, 64, {"-f", "bgr8"}));
        std::vector<std::uint8_t> bytes = readFile(whole);
        bytes.resize(bytes.size() * 2 / 3);
        const std::string cut = Write(std::string("cut") + name, bytes);
        expectRefused(runVekcam({"diff", whole, cut}), 1, "cut" + std::string(name) + ": ");
    }
    for (const char* const head : {"P6\n0 4 255\n", "P6\n2 2 254\n", "P5 1 1 7\n1", "P6\n70000 1 255\n", "P5\n#"}) {
        expectRefused(runVekcam({"diff", WriteText("bad.ppm", head), raw}), 1, "bad.ppm: ");
    }
}

TEST_F(FrameDiff, MapOfTheDifferences) {
    const std::string a = Picture("a.ppm", {10, 10, 10, 20, 20, 20}, 2, 1);
    const std::string b = Picture("b.ppm", {10, 11, 0, 20, 120, 20}, 2, 1);
    EXPECT_EQ(runVekcam({"diff", a, b, "--map", Path("map.png")}).exitCode, 3);
    const SPng map = readPng(Path("map.png"));
    // 32 + 223 x distance / 100, rounded.
    EXPECT_EQ(map.samples, (Samples{0, 34, 54, 0, 255, 0}));
    expectDone(runVekcam({"diff", a, a, "--map", Path("map.png")}));
    EXPECT_EQ(readPng(Path("map.png")).samples, Samples(6));
    expectRefused(runVekcam({"diff", a, b, "--map", Path("map.xyz")}), 2, "map.xyz");
    expectRefused(runVekcam({"diff", a, b, "--map", b}), 2, "b.ppm");
    expectRefused(runVekcam({"diff", a, b, "--map", Path("map.pgm")}), 2, "grey");
}

} // namespace

} // namespace vek::test
