// SPDX-License-Identifier: Apache-2.0
// Grey PNG files as raw frames.
#include "Conversion.h"

namespace vek::test {

namespace {

class PngFrames : public CConversionTest {
protected:
    /// A grey PNG file of a frame's samples.
    std::string Png(const std::string& name, const std::vector<std::uint8_t>& bytes, const Arguments& form) const {
        expectDone(runVekcam(joined({{"convert", Write("png.raw", bytes), "--plain", "-o", Path(name)}, form})));
        return Path(name);
    }
    std::string Words(const std::vector<std::uint16_t>& words) const {
        return Png("words.png", littleEndian(words), sized(2, 2, {"-f", "mono16", "--depth", "16"}));
    }
    std::string Bytes() const { return Png("bytes.png", {10, 20, 30, 40}, sized(2, 2, {"-f", "mono8"})); }
};

TEST_F(PngFrames, MonoWithoutAColorArrayBayerWithOne) {
    const std::string bytes = Bytes();
    expectPart(printed({"measure", bytes}), "2 x 2 pixels, mono8, mono");
    EXPECT_EQ(printedJson({"measure", bytes, "-a", "gbrg", "--json"})["averages"],
              (nlohmann::json{{"Gb", 10}, {"B", 20}, {"R", 30}, {"Gr", 40}}));
    const std::string words = Words({100, 200, 300, 0xABCD});
    expectPart(printed({"measure", words}), "2 x 2 pixels, mono16, mono");
    expectPart(printed({"measure", words, "-a", "rggb"}), "2 x 2 pixels, raw16, rggb");
    EXPECT_EQ(printedJson({"measure", words, "--json"})["mean"], (600 + 0xABCD) / 4.0);
}

TEST_F(PngFrames, FormatTellsHowManyLowBitsCount) {
    const std::string words = Words({100, 200, 300, 4095});
    expectPart(printed({"measure", words, "-f", "raw12", "-a", "rggb"}), "raw12, rggb");
    expectPart(printed({"measure", words, "-f", "raw12p", "-a", "rggb"}), "raw12, rggb");
    expectPart(printed({"measure", words, "-f", "mono14"}), "mono14, mono");
    const Arguments picture = {"-f", "raw12", "-a", "rggb", "-m", "bilinear"};
    EXPECT_EQ(ConvertedFile(words, picture).samples,
              Converted(littleEndian({100, 200, 300, 4095}), sized(2, 2, picture)).samples);
    // As for raw files, samples above the range are told where they are many.
    const SResult above = runVekcam({"measure", words, "-f", "mono10"});
    EXPECT_EQ(above.exitCode, 0);
    EXPECT_EQ(above.err, "");
    const SResult most = runVekcam({"measure", Words({1024, 1024, 1024, 1024}), "-f", "mono10"});
    expectPart(most.err, "4 of 4 samples are above 1023");
}

TEST_F(PngFrames, GoWhereRawFramesGo) {
    const std::string words = Words({100, 200, 300, 4095});
    expectDone(runVekcam({"convert", words, "-f", "raw12", "-a", "rggb", "-o", Path("x.dng")}));
    expectPart(printed({"measure", Path("x.dng")}), "raw12, rggb");
    WriteText("words.png.json", R"({"format": "raw12p", "colorArray": "bggr"})");
    expectPart(printed({"measure", words}), "raw12, bggr");
    expectPart(printed({"measure", words, "-f", "mono16"}), "mono16, mono");
    const std::string profile = WriteText("camera.json", R"({"colorArray": "grbg"})");
    expectPart(printed({"measure", words, "--profile", profile}), "raw16, grbg");
}

TEST_F(PngFrames, WhatDoesNotGoTogether) {
    const std::string words = Words({100, 200, 300, 400});
    for (const Arguments& option : {Arguments{"-W", "2"},
                                    {"--height", "2"},
                                    {"--src-offset", "0"},
                                    {"--src-stride", "2"},
                                    {"--byte-order", "little"},
                                    {"--frame", "0"}}) {
        expectRefused(runVekcam(joined({{"measure", words}, option})), 2,
                      "does not go with " + words + ": a PNG file tells its own");
    }
    expectRefused(runVekcam({"measure", words, "-f", "raw8", "-a", "rggb"}), 2, "its samples are grey, of 16 bits");
    expectRefused(runVekcam({"measure", Bytes(), "-f", "raw10", "-a", "rggb"}), 2, "its samples are grey, of 8 bits");
    expectRefused(runVekcam({"convert", words, "-f", "bgr8", "-o", Path("x.png")}), 2, "its samples are grey");
    expectRefused(runVekcam({"measure", words, "-f", "mono12", "-a", "rggb"}), 2, "--colour-array rggb");
    expectRefused(runVekcam({"convert", words, "-o", words}), 2, "words.png");
}

TEST_F(PngFrames, ColorPicturesAreNoFrames) {
    const std::string colors = Png("colors.png", {1, 2, 3}, sized(1, 1, {"-f", "bgr8"}));
    const std::string message = colors + ": is a colour PNG picture, no raw frame; --force takes it as one";
    expectRefused(runVekcam({"measure", colors}), 1, message);
    expectRefused(runVekcam({"convert", colors, "-o", Path("x.png")}), 1, message);
    EXPECT_EQ(runVekcam({"measure", colors, "--force", "-W", "4", "-H", "4", "-f", "mono8"}).exitCode, 0);
}

TEST_F(PngFrames, DamagedOnesAreRefused) {
    std::vector<std::uint8_t> bytes = readFile(Bytes());
    bytes.resize(bytes.size() - 20);
    expectRefused(runVekcam({"measure", Write("cut.png", bytes)}), 1, "cut.png: cannot read");
    // 65535 x 65535 pixels in a few bytes: the head with its check sum.
    std::vector<std::uint8_t> huge = readFile(Path("bytes.png"));
    const std::vector<std::uint8_t> head = {0, 0, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 8, 0, 0, 0, 0, 0x93, 0x6E, 0x86, 0x8C};
    std::copy(head.begin(), head.end(), huge.begin() + 16);
    expectRefused(runVekcam({"measure", Write("huge.png", huge)}), 1, "too short for its size");
}

} // namespace

} // namespace vek::test
