// SPDX-License-Identifier: Apache-2.0
// DNG files of the program, there and back, and as other programs see them.
#include "Conversion.h"

#include "support/RealFrames.h"

#include <cstdlib>
#include <random>

namespace vek::test {

namespace {

std::vector<std::uint8_t> noiseBelow(unsigned limit, std::size_t samples) {
    std::mt19937 random(limit);
    std::vector<std::uint16_t> words;
    while (words.size() < samples) {
        words.push_back(static_cast<std::uint16_t>(random() % limit));
    }
    return littleEndian(words);
}

/// Words as PGM files have them: high byte first.
std::string turned(const std::vector<std::uint8_t>& words) {
    std::string bytes;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        bytes += {static_cast<char>(words[i + 1]), static_cast<char>(words[i])};
    }
    return bytes;
}

class DngFiles : public CConversionTest {
protected:
    /// Makes a DNG file of bytes, and returns its path.
    std::string Dng(const std::vector<std::uint8_t>& bytes, const Arguments& arguments,
                    const std::string& name = "frame.dng") const {
        expectDone(runVekcam(joined({{"convert", Write("in.raw", bytes), "-o", Path(name)}, arguments})));
        return Path(name);
    }

    void ExpectSamples(const std::string& dng, const std::vector<std::uint8_t>& words, const Arguments& more) const {
        expectDone(runVekcam(joined({{"convert", dng, "--plain", "-m", "mono", "-o", Path("out.pgm")}, more})));
        EXPECT_TRUE(Content("out.pgm").ends_with(turned(words)));
    }

    /// What another program prints; nothing where it is not installed.
    std::optional<std::string> Output(const std::string& program, const std::string& arguments) const {
        if (std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) != 0) {
            return std::nullopt;
        }
        const std::string line = program + " " + arguments + " >" + Path("printed") + " 2>&1";
        EXPECT_EQ(std::system(line.c_str()), 0) << line << '\n' << Content("printed");
        return Content("printed");
    }
};

TEST_F(DngFiles, ThereAndBackAgain) {
    const std::vector<std::uint8_t> words = noiseBelow(65536, 12 * 10);
    const std::string dng = Dng(words, sized(12, 10, {"-f", "raw16", "-a", "gbrg"}));
    ExpectSamples(dng, words, {"--depth", "16", "--bits-out", "16"});
    const Arguments picture = {"-m", "bilinear", "--display"};
    EXPECT_EQ(ConvertedFile(dng, picture).samples,
              ConvertedFile(Path("in.raw"), joined({sized(12, 10, {"-f", "raw16", "-a", "gbrg"}), picture})).samples);
    expectDone(runVekcam({"convert", dng, "-o", Path("again.dng")}));
    EXPECT_EQ(Content("again.dng"), Content("frame.dng"));
    expectPart(printed({"measure", dng}), "12 x 10 pixels, raw16, gbrg");
}

TEST_F(DngFiles, PackedFramesHaveWords) {
    // 0x3BC and 0x12A; 0xABC and 0x123.
    EXPECT_EQ(
        ConvertedFile(Dng({0xBC, 0xAB, 0x04}, sized(2, 1, {"-f", "raw10p", "-a", "rggb"})), {"-m", "none"}).samples,
        (Samples{0xEF3B, 0, 0, 0, 0x4A92, 0}));
    EXPECT_EQ(ConvertedFile(Dng({0xBC, 0x3A, 0x12}, sized(2, 1, {"-f", "mono12p"})), {}).samples,
              (Samples{0xABCA, 0x1231}));
    EXPECT_EQ(ConvertedFile(Dng({0xAB, 0x12, 0x3C}, sized(2, 1, {"-f", "raw12-csi2", "-a", "mono"})), {}).samples,
              (Samples{0xABCA, 0x1231}));
    expectPart(printed({"measure", Path("frame.dng")}), "2 x 1 pixels, mono12, mono");
}

TEST_F(DngFiles, LevelsAreThoseGiven) {
    const std::vector<std::uint8_t> words = littleEndian({64, 64, 500, 1000});
    const Arguments form = sized(2, 2, {"-f", "mono12"});
    const std::string dng = Dng(words, joined({form, {"--black", "64", "--white", "1000"}}));
    // The format is the smallest that holds the white level; the black one is used for display.
    expectPart(printed({"measure", dng}), "mono10");
    EXPECT_EQ(ConvertedFile(dng, {"--display", "--white", "1000"}).samples,
              ConvertedFile(Path("in.raw"), joined({form, {"--display", "--black", "64", "--white", "1000"}})).samples);
    const Arguments arguments = joined({{"convert", Path("in.raw"), "-o", Path("x.dng")}, form});
    expectRefused(runVekcam(joined({arguments, {"--black", "64", "--white", "64"}})), 2, "not below");
    expectRefused(runVekcam(joined({arguments, {"--white", "4096"}})), 2, "0 to 4095");
    EXPECT_FALSE(std::filesystem::exists(Path("x.dng")));
}

TEST_F(DngFiles, WhatDoesNotGoTogether) {
    const std::string dng = Dng({1, 2, 3, 4}, sized(2, 2, {"-f", "raw8", "-a", "rggb"}));
    for (const Arguments& option : {Arguments{"-W", "2"},
                                    {"--height", "2"},
                                    {"-f", "raw8"},
                                    {"-a", "rggb"},
                                    {"--src-offset", "0"},
                                    {"--src-stride", "2"},
                                    {"--byte-order", "little"},
                                    {"--frame", "0"}}) {
        expectRefused(runVekcam(joined({{"convert", dng, "-o", Path("x.png")}, option})), 2,
                      "does not go with " + dng + ": a DNG file tells its own");
    }
    for (const Arguments& option : {Arguments{"--method", "mono"},
                                    {"--depth", "8"},
                                    {"--bits-out", "8"},
                                    {"--display"},
                                    {"--wb", "auto"},
                                    {"--noise", "easy"},
                                    {"--settings", "none"},
                                    {"--quality", "90"}}) {
        expectRefused(runVekcam(joined({{"convert", dng, "-o", Path("x.dng")}, option})), 2,
                      option.front() + " does not go with " + Path("x.dng"));
    }
    const std::string colors = Write("bgr.raw", {1, 2, 3});
    expectRefused(runVekcam({"convert", colors, "-W", "1", "-H", "1", "-f", "bgr8", "-o", Path("x.dng")}), 2,
                  "format bgr8 is colour already");
    expectRefused(runVekcam({"convert", dng, "-o", dng}), 2, "is an input");
    // As raw bytes.
    const Arguments forced = {"-f", "mono8", "--force", "-o", Path("x.pgm")};
    EXPECT_EQ(runVekcam(joined({{"convert", dng, "--plain"}, sized(2, 2, forced)})).exitCode, 0);
    EXPECT_TRUE(Content("x.pgm").ends_with(std::string("II*\0", 4)));
}

TEST_F(DngFiles, DamagedOnesAreRefused) {
    const std::string dng = Dng({1, 2, 3, 4}, sized(2, 2, {"-f", "raw8", "-a", "rggb"}));
    const std::vector<std::uint8_t> good = readFile(dng);
    for (const std::size_t size : {std::size_t{8}, std::size_t{12}, good.size() / 2, good.size() - 4}) {
        const std::string cut = Write("cut.dng", {good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)});
        expectRefused(runVekcam({"convert", cut, "-o", Path("x.png")}), 1, cut + ": cannot read the raw frame: ");
        expectRefused(runVekcam({"measure", cut}), 1, "cannot read the raw frame");
    }
    EXPECT_FALSE(std::filesystem::exists(Path("x.png")));
}

// ---- other programs ----

TEST_F(DngFiles, OtherProgramsReadTheTags) {
    for (const auto& [array, pattern, letters] : {std::tuple{"rggb", "0,1,1,2", "RGGBRGGBRGGBRGGB"},
                                                  {"grbg", "1,0,2,1", "GRBGGRBGGRBGGRBG"},
                                                  {"gbrg", "1,2,0,1", "GBRGGBRGGBRGGBRG"},
                                                  {"bggr", "2,1,1,0", "BGGRBGGRBGGRBGGR"}}) {
        const std::string dng = Dng(noiseBelow(4096, 40 * 32),
                                    sized(40, 32, {"-f", "raw12", "-a", array, "--black", "100", "--white", "4000"}));
        const std::optional<std::string> info = Output("tiffinfo", dng);
        const std::optional<std::string> identified = Output("raw-identify", "-v " + dng);
        if (!info || !identified) {
            GTEST_SKIP() << "no tiffinfo or no raw-identify";
        }
        for (const std::string& part :
             {std::string("DNGVersion: 1,4,0,0"), std::string("DNGBackwardVersion: 1,3,0,0"),
              std::string("Bits/Sample: 16"), std::string("BlackLevel: 100.0"), std::string("WhiteLevel: 4000"),
              std::string("UniqueCameraModel: VekCam"), std::string("CFAPattern: ") + pattern}) {
            expectPart(*info, part);
        }
        EXPECT_EQ(info->find("Warning"), std::string::npos) << *info;
        expectPart(*identified, "DNG Version: 1.4.0.0");
        expectPart(*identified, std::string("Filter pattern: ") + letters);
        expectPart(*identified, "black: 100");
    }
}

TEST_F(DngFiles, OtherProgramsReadTheSamples) {
    // LibRaw takes no frames that are very small.
    const std::vector<std::uint8_t> words = noiseBelow(16384, 64 * 48);
    for (const Arguments& form : {Arguments{"-f", "raw14", "-a", "bggr"}, {"-f", "mono14"}}) {
        const std::string dng = Dng(words, sized(64, 48, form));
        if (!Output("unprocessed_raw", dng) || !Output("dcraw_emu", dng)) {
            GTEST_SKIP() << "no LibRaw programs";
        }
        // Of grey frames it writes a picture.
        EXPECT_TRUE(form.size() == 2 || Content("frame.dng.pgm").ends_with(turned(words)));
        EXPECT_GE(Content("frame.dng.p" + std::string(form.size() == 2 ? "gm" : "pm")).size(), words.size() / 2);
    }
}

TEST_F(DngFiles, RealFramesComeBack) {
    const std::string frame = realFrame(kFlowerFrame);
    if (frame.empty()) {
        GTEST_SKIP() << "VEKCAM_DATA_DIR has no such frame";
    }
    const std::vector<std::uint8_t> words = readFile(frame);
    const std::string dng =
        Dng(words, sized(768, 512, {"-f", "raw14", "-a", "rggb", "--black", "600", "--white", "15520"}));
    expectPart(printed({"measure", dng}), "768 x 512 pixels, raw14, rggb");
    if (Output("unprocessed_raw", dng)) {
        EXPECT_TRUE(Content("frame.dng.pgm").ends_with(turned(words)));
    }
}

} // namespace

} // namespace vek::test
