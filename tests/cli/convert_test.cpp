// SPDX-License-Identifier: Apache-2.0
#include "Files.h"
#include "PngFile.h"
#include "Program.h"

namespace vek::test {

namespace {

using Samples = std::vector<std::uint16_t>;

class Convert : public CFileTest {
protected:
    /// Converts bytes as one file and decodes the result.
    SPng Converted(const std::vector<std::uint8_t>& bytes, std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"convert", Write("in.raw", bytes), "-o", Path("out.png")});
        const SResult result = runVekcam(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out + result.err, "");
        return result.exitCode == 0 ? readPng(Path("out.png")) : SPng{};
    }
};

std::vector<std::string> size(unsigned width, unsigned height, std::vector<std::string> more) {
    more.insert(more.begin(), {"-W", std::to_string(width), "-H", std::to_string(height)});
    return more;
}

TEST_F(Convert, NoneGivesEachPixelItsOwnColour) {
    // R 10  G 20
    // G 30  B 40
    const SPng image = Converted({10, 20, 30, 40}, size(2, 2, {"-f", "raw8", "-a", "rggb", "-m", "none"}));
    EXPECT_EQ(image.width, 2U);
    EXPECT_EQ(image.height, 2U);
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.channels, 3U);
    EXPECT_FALSE(image.sRgb);
    EXPECT_EQ(image.samples, (Samples{10, 0, 0, 0, 20, 0, 0, 30, 0, 0, 0, 40}));
}

TEST_F(Convert, NoneInEveryPhase) {
    const std::vector<std::uint8_t> raw = {10, 20, 30, 40};
    EXPECT_EQ(Converted(raw, size(2, 2, {"-f", "raw8", "-a", "grbg", "-m", "none"})).samples,
              (Samples{0, 10, 0, 20, 0, 0, 0, 0, 30, 0, 40, 0}));
    EXPECT_EQ(Converted(raw, size(2, 2, {"-f", "raw8", "-a", "gbrg", "-m", "none"})).samples,
              (Samples{0, 10, 0, 0, 0, 20, 30, 0, 0, 0, 40, 0}));
    EXPECT_EQ(Converted(raw, size(2, 2, {"-f", "raw8", "-a", "bggr", "-m", "none"})).samples,
              (Samples{0, 0, 10, 0, 20, 0, 0, 30, 0, 40, 0, 0}));
}

TEST_F(Convert, NearestSharesTheCell) {
    // Red 10 and blue 40 for all four; green is that of the pixel's row.
    EXPECT_EQ(Converted({10, 20, 30, 40}, size(2, 2, {"-f", "raw8", "-a", "rggb", "-m", "nearest"})).samples,
              (Samples{10, 20, 40, 10, 20, 40, 10, 30, 40, 10, 30, 40}));
}

TEST_F(Convert, BilinearThreeByThree) {
    // R 10  G 20  R 30
    // G 40  B 50  G 60
    // R 70  G 80  R 90
    // Behind the end of a row the method reads the next row's first sample: green at the right end of row 0 is the
    // mean of 20 and 40, blue at the right end of row 1 that of 50 and 70. Behind the image lies a copy of 80.
    // Blue of the last row is left open by the method and copied from the row above.
    const Samples expected = {10, 20, 50, 20, 20, 50, 30, 30, 60, //
                              40, 40, 50, 50, 50, 50, 60, 60, 60, //
                              70, 80, 50, 80, 80, 50, 90, 80, 60};
    const std::vector<std::uint8_t> raw = {10, 20, 30, 40, 50, 60, 70, 80, 90};
    EXPECT_EQ(Converted(raw, size(3, 3, {"-f", "raw8", "-a", "rggb", "-m", "bilinear"})).samples, expected);
    // It is the default, and codes stand for names.
    EXPECT_EQ(Converted(raw, size(3, 3, {"-f", "0", "--color-array", "2"})).samples, expected);
    EXPECT_EQ(Converted(raw, size(3, 3, {"-f", "RAW8", "-a", "RGGB", "-m", "3"})).samples, expected);
}

TEST_F(Convert, BilinearLastRowOfABlueFirstPhase) {
    // B 10  G 20     Row 2 is a blue row: its red is the open colour, row 1 has 40.
    // G 30  R 40     Row 1: blue at column 0 is the mean of 10 and 50.
    // B 50  G 60
    EXPECT_EQ(Converted({10, 20, 30, 40, 50, 60}, size(2, 3, {"-f", "raw8", "-a", "bggr", "-m", "bilinear"})).samples,
              (Samples{40, 20, 10, 40, 20, 10, 40, 30, 30, 40, 30, 30, 40, 60, 50, 40, 60, 50}));
}

TEST_F(Convert, TwelveBitsFillSixteen) {
    // B 0ABC  G 0000     bits 11..8 are repeated below: ABC becomes ABCA, 800 becomes 8008.
    // G 0FFF  R 0800
    const auto raw = littleEndian({0x0ABC, 0x0000, 0x0FFF, 0x0800});
    const SPng image = Converted(raw, size(2, 2, {"-f", "raw12", "-a", "bggr", "-m", "nearest"}));
    EXPECT_EQ(image.bits, 16U);
    EXPECT_EQ(image.samples, (Samples{0x8008, 0x0000, 0xABCA, 0x8008, 0x0000, 0xABCA, //
                                      0x8008, 0xFFFF, 0xABCA, 0x8008, 0xFFFF, 0xABCA}));
    const SPng bytes = Converted(raw, size(2, 2, {"-f", "3", "-a", "5", "-m", "2", "--bits-out", "8"}));
    EXPECT_EQ(bytes.bits, 8U);
    EXPECT_EQ(bytes.samples, (Samples{0x80, 0x00, 0xAB, 0x80, 0x00, 0xAB, 0x80, 0xFF, 0xAB, 0x80, 0xFF, 0xAB}));
}

TEST_F(Convert, EveryWordDepth) {
    // 10 bits: 155 becomes 5555. 14 and 16 bits go through 12: 2AAC becomes AAB, then AABA; 1234 becomes 123, 1231.
    EXPECT_EQ(Converted(littleEndian({0x155, 0x3FF}), size(2, 1, {"-f", "mono10"})).samples, (Samples{0x5555, 0xFFFF}));
    EXPECT_EQ(Converted(littleEndian({0x2AAC, 0x3FFF}), size(2, 1, {"-f", "mono14"})).samples,
              (Samples{0xAABA, 0xFFFF}));
    EXPECT_EQ(Converted(littleEndian({0x1234, 0xFFFF}), size(2, 1, {"-f", "mono16"})).samples,
              (Samples{0x1231, 0xFFFF}));
    EXPECT_EQ(
        Converted(littleEndian({0x2AAC, 0x1234}), size(2, 1, {"-f", "raw14", "-a", "rggb", "-m", "none"})).samples,
        (Samples{0xAABA, 0, 0, 0, 0x48D4, 0}));
    EXPECT_EQ(Converted(littleEndian({0x1234}), size(1, 1, {"-f", "raw16", "-a", "mono"})).samples, (Samples{0x1231}));
}

TEST_F(Convert, SamplesAboveTheRangeCountAsTheLargest) {
    EXPECT_EQ(Converted(littleEndian({0x1000, 0xFFFF}), size(2, 1, {"-f", "mono12"})).samples,
              (Samples{0xFFFF, 0xFFFF}));
    EXPECT_EQ(Converted(littleEndian({0x4000}), size(1, 1, {"-f", "mono14"})).samples, (Samples{0xFFFF}));
}

TEST_F(Convert, GreyAtEightBits) {
    const SPng image = Converted({0x00, 0x5A, 0xFF}, size(3, 1, {"-f", "mono8"}));
    EXPECT_EQ(image.channels, 1U);
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.samples, (Samples{0x00, 0x5A, 0xFF}));
    EXPECT_EQ(Converted({0x00, 0x5A, 0xFF}, size(3, 1, {"-f", "mono8", "--bits-out", "16"})).samples,
              (Samples{0x0000, 0x5A5A, 0xFFFF}));
}

TEST_F(Convert, MethodMonoShowsBayerSamplesAsGrey) {
    // Three columns: the library pads the grey row of three bytes, the file does not.
    const SPng image = Converted({1, 2, 3, 4, 5, 6}, size(3, 2, {"-f", "raw8", "-a", "gbrg", "-m", "mono"}));
    EXPECT_EQ(image.channels, 1U);
    EXPECT_EQ(image.samples, (Samples{1, 2, 3, 4, 5, 6}));
}

TEST_F(Convert, OffsetAndFrameChooseThePlaceInTheFile) {
    const std::vector<std::uint8_t> raw = {99, 98, 97, 1, 2, 3, 4, 5, 6};
    EXPECT_EQ(Converted(raw, size(2, 1, {"-f", "mono8", "--src-offset", "3"})).samples, (Samples{1, 2}));
    EXPECT_EQ(Converted(raw, size(2, 1, {"-f", "mono8", "--src-offset", "3", "--frame", "2"})).samples,
              (Samples{5, 6}));
    EXPECT_EQ(Converted(raw, size(3, 1, {"-f", "mono8", "--frame", "1"})).samples, (Samples{1, 2, 3}));
}

TEST_F(Convert, StandardStreams) {
    const SResult result =
        runVekcam({"convert", "-", "-W", "2", "-H", "1", "-f", "mono8", "--frame", "1", "--src-offset", "1", "-o", "-"},
                  {.in = {9, 8, 7, 6, 5, 4}});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const SPng image = decodePng({reinterpret_cast<const std::uint8_t*>(result.out.data()), result.out.size()});
    EXPECT_EQ(image.samples, (Samples{6, 5}));
}

TEST_F(Convert, LargeFrameFromAPipe) {
    std::vector<std::uint8_t> raw(2048 * 1500);
    for (std::size_t i = 0; i < raw.size(); ++i) {
        raw[i] = static_cast<std::uint8_t>(i * 7 + i / 2048);
    }
    const SResult result =
        runVekcam({"convert", "-", "-W", "2048", "-H", "1500", "-f", "mono8", "-o", Path("out.png")}, {.in = raw});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(readPng(Path("out.png")).samples, Samples(raw.begin(), raw.end()));
}

TEST_F(Convert, DisplayUsesTheSrgbCurve) {
    // Linear 2 / 255 and 55 / 255 are 21.7 and 127.9 of 255 on the sRGB curve.
    const SPng image = Converted({0, 2, 55, 255}, size(4, 1, {"-f", "mono8", "--display", "--white", "255"}));
    EXPECT_TRUE(image.sRgb);
    EXPECT_EQ(image.samples, (Samples{0, 22, 128, 255}));
}

TEST_F(Convert, DisplayLevelsAreThoseOfTheFormat) {
    // 14 bits, black 800, white 4880: 4080 in between. 2 / 255 and 55 / 255 of that are 32 and 880 above black.
    // Below black and above white the screen's ends hold. Eight bits are the default with --display.
    const SPng image = Converted(littleEndian({0, 800, 832, 1680, 4880, 16383}),
                                 size(6, 1, {"-f", "mono14", "--display", "--black", "800", "--white", "4880"}));
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.samples, (Samples{0, 0, 22, 128, 255, 255}));
}

TEST_F(Convert, DisplayBalancesToGrey) {
    // A uniform red 50, green 100, blue 25: gains 2, 1 and 4 give 100 / 255 for all, 168.1 on the sRGB curve.
    const std::vector<std::uint8_t> raw = {50, 100, 100, 25};
    EXPECT_EQ(Converted(raw, size(2, 2, {"-f", "raw8", "-a", "rggb", "--display", "--white", "255"})).samples,
              Samples(12, 168));
    // Without a white level the bright end becomes white, up to the step of its search.
    const SPng bright = Converted(raw, size(2, 2, {"-f", "raw8", "-a", "rggb", "--display"}));
    for (const std::uint16_t sample : bright.samples) {
        EXPECT_GE(sample, 254);
    }
}

TEST_F(Convert, DisplayOfABlackFrameIsBlack) {
    EXPECT_EQ(Converted({0, 0, 0, 0}, size(2, 2, {"-f", "raw8", "-a", "rggb", "--display"})).samples, Samples(12, 0));
}

TEST_F(Convert, MissingAndShortFiles) {
    const std::vector<std::string> rest = {"-W", "4", "-H", "2", "-f", "mono12", "--frame", "1", "-o", Path("out.png")};
    const auto run = [&](const std::string& input, const SStreams& streams = {}) {
        std::vector<std::string> arguments = {"convert", input};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return runVekcam(arguments, streams);
    };
    const SResult missing = run(Path("none.raw"));
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(isOneLineMessage(missing.err)) << missing.err;
    EXPECT_NE(missing.err.find("No such file"), std::string::npos) << missing.err;

    const std::string path = Write("short.raw", std::vector<std::uint8_t>(31));
    const SResult tooShort = run(path);
    EXPECT_EQ(tooShort.exitCode, 1);
    EXPECT_EQ(tooShort.err, "vekcam: " + path + ": too short: 32 bytes needed, 31 there\n");

    // A pipe that ends inside the frame, and one that ends in front of it.
    EXPECT_EQ(run("-", {.in = std::vector<std::uint8_t>(31)}).err,
              "vekcam: standard input: too short: 32 bytes needed, 31 there\n");
    EXPECT_EQ(run("-", {.in = std::vector<std::uint8_t>(5)}).err,
              "vekcam: standard input: too short: 32 bytes needed, 5 there\n");
    const SResult directory = run(Path(""));
    EXPECT_EQ(directory.exitCode, 1);
    EXPECT_TRUE(isOneLineMessage(directory.err)) << directory.err;
    EXPECT_FALSE(std::filesystem::exists(Path("out.png")));
}

TEST_F(Convert, UnwritableOutput) {
    const std::string input = Write("in.raw", {1, 2});
    for (const std::string& output : {Path("none/out.png"), Path(""), std::string("/dev/full")}) {
        const SResult result = runVekcam({"convert", input, "-W", "2", "-H", "1", "-f", "mono8", "-o", output});
        EXPECT_EQ(result.exitCode, 1) << output;
        EXPECT_TRUE(isOneLineMessage(result.err)) << result.err;
    }
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST_F(Convert, PictureIntoABrokenPipe) {
    const std::string input = Write("in.raw", std::vector<std::uint8_t>(512 * 512));
    const SResult result =
        runVekcam({"convert", input, "-W", "512", "-H", "512", "-f", "mono8", "-o", "-"}, {.outIsBrokenPipe = true});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(isOneLineMessage(result.err)) << result.err;
}

} // namespace

} // namespace vek::test
