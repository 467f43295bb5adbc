// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

#include "VekTrgApi.h"
#include "sim/SimulatedDriver.h"

#include <utility>

namespace vek::test {

namespace {

class Convert : public CConversionTest {};

TEST_F(Convert, NoneGivesEachPixelItsOwnColor) {
    // R 10  G 20
    // G 30  B 40
    const SPng image = Converted({10, 20, 30, 40}, sized(2, 2, {"-f", "raw8", "-a", "rggb", "-m", "none"}));
    EXPECT_EQ(image.width, 2U);
    EXPECT_EQ(image.height, 2U);
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.channels, 3U);
    EXPECT_FALSE(image.sRgb);
    EXPECT_EQ(image.samples, (Samples{10, 0, 0, 0, 20, 0, 0, 30, 0, 0, 0, 40}));
}

TEST_F(Convert, NoneInEveryPhase) {
    const std::vector<std::uint8_t> raw = {10, 20, 30, 40};
    EXPECT_EQ(Converted(raw, sized(2, 2, {"-f", "raw8", "-a", "grbg", "-m", "none"})).samples,
              (Samples{0, 10, 0, 20, 0, 0, 0, 0, 30, 0, 40, 0}));
    EXPECT_EQ(Converted(raw, sized(2, 2, {"-f", "raw8", "-a", "gbrg", "-m", "none"})).samples,
              (Samples{0, 10, 0, 0, 0, 20, 30, 0, 0, 0, 40, 0}));
    EXPECT_EQ(Converted(raw, sized(2, 2, {"-f", "raw8", "-a", "bggr", "-m", "none"})).samples,
              (Samples{0, 0, 10, 0, 20, 0, 0, 30, 0, 40, 0, 0}));
}

TEST_F(Convert, NearestSharesTheCell) {
    // Red 10 and blue 40 for all four; green is that of the pixel's row.
    EXPECT_EQ(Converted({10, 20, 30, 40}, sized(2, 2, {"-f", "raw8", "-a", "rggb", "-m", "nearest"})).samples,
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
    EXPECT_EQ(Converted(raw, sized(3, 3, {"-f", "raw8", "-a", "rggb", "-m", "bilinear"})).samples, expected);
    // It is the default, and codes stand for names.
    EXPECT_EQ(Converted(raw, sized(3, 3, {"-f", "0", "--color-array", "2"})).samples, expected);
    EXPECT_EQ(Converted(raw, sized(3, 3, {"-f", "RAW8", "-a", "RGGB", "-m", "3"})).samples, expected);
}

TEST_F(Convert, BilinearLastRowOfABlueFirstPhase) {
    // B 10  G 20     Row 2 is a blue row: its red is the open colour, row 1 has 40.
    // G 30  R 40     Row 1: blue at column 0 is the mean of 10 and 50.
    // B 50  G 60
    EXPECT_EQ(Converted({10, 20, 30, 40, 50, 60}, sized(2, 3, {"-f", "raw8", "-a", "bggr", "-m", "bilinear"})).samples,
              (Samples{40, 20, 10, 40, 20, 10, 40, 30, 30, 40, 30, 30, 40, 60, 50, 40, 60, 50}));
}

TEST_F(Convert, TwelveBitsFillSixteen) {
    // B 0ABC  G 0000     bits 11..8 are repeated below: ABC becomes ABCA, 800 becomes 8008.
    // G 0FFF  R 0800
    const auto raw = littleEndian({0x0ABC, 0x0000, 0x0FFF, 0x0800});
    const SPng image = Converted(raw, sized(2, 2, {"-f", "raw12", "-a", "bggr", "-m", "nearest"}));
    EXPECT_EQ(image.bits, 16U);
    EXPECT_EQ(image.samples, (Samples{0x8008, 0x0000, 0xABCA, 0x8008, 0x0000, 0xABCA, //
                                      0x8008, 0xFFFF, 0xABCA, 0x8008, 0xFFFF, 0xABCA}));
    const SPng bytes = Converted(raw, sized(2, 2, {"-f", "3", "-a", "5", "-m", "2", "--bits-out", "8"}));
    EXPECT_EQ(bytes.bits, 8U);
    EXPECT_EQ(bytes.samples, (Samples{0x80, 0x00, 0xAB, 0x80, 0x00, 0xAB, 0x80, 0xFF, 0xAB, 0x80, 0xFF, 0xAB}));
}

TEST_F(Convert, EveryWordDepth) {
    // 10 bits: 155 becomes 5555. 14 and 16 bits go through 12: 2AAC becomes AAB, then AABA; 1234 becomes 123, 1231.
    EXPECT_EQ(Converted(littleEndian({0x155, 0x3FF}), sized(2, 1, {"-f", "mono10"})).samples,
              (Samples{0x5555, 0xFFFF}));
    EXPECT_EQ(Converted(littleEndian({0x2AAC, 0x3FFF}), sized(2, 1, {"-f", "mono14"})).samples,
              (Samples{0xAABA, 0xFFFF}));
    EXPECT_EQ(Converted(littleEndian({0x1234, 0xFFFF}), sized(2, 1, {"-f", "mono16"})).samples,
              (Samples{0x1231, 0xFFFF}));
    EXPECT_EQ(
        Converted(littleEndian({0x2AAC, 0x1234}), sized(2, 1, {"-f", "raw14", "-a", "rggb", "-m", "none"})).samples,
        (Samples{0xAABA, 0, 0, 0, 0x48D4, 0}));
    EXPECT_EQ(Converted(littleEndian({0x1234}), sized(1, 1, {"-f", "raw16", "-a", "mono"})).samples, (Samples{0x1231}));
}

TEST_F(Convert, SamplesAboveTheRangeCountAsTheLargest) {
    EXPECT_EQ(Converted(littleEndian({0x1000, 0xFFFF}), sized(2, 1, {"-f", "mono12"})).samples,
              (Samples{0xFFFF, 0xFFFF}));
    EXPECT_EQ(Converted(littleEndian({0x4000}), sized(1, 1, {"-f", "mono14"})).samples, (Samples{0xFFFF}));
}

TEST_F(Convert, GrayAtEightBits) {
    const SPng image = Converted({0x00, 0x5A, 0xFF}, sized(3, 1, {"-f", "mono8"}));
    EXPECT_EQ(image.channels, 1U);
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.samples, (Samples{0x00, 0x5A, 0xFF}));
    EXPECT_EQ(Converted({0x00, 0x5A, 0xFF}, sized(3, 1, {"-f", "mono8", "--bits-out", "16"})).samples,
              (Samples{0x0000, 0x5A5A, 0xFFFF}));
}

TEST_F(Convert, MethodMonoShowsBayerSamplesAsGray) {
    // Three columns: the library pads the grey row of three bytes, the file does not.
    const SPng image = Converted({1, 2, 3, 4, 5, 6}, sized(3, 2, {"-f", "raw8", "-a", "gbrg", "-m", "mono"}));
    EXPECT_EQ(image.channels, 1U);
    EXPECT_EQ(image.samples, (Samples{1, 2, 3, 4, 5, 6}));
}

// ---- methods that need bytes, or whole blocks ----

/// A cell of reds 10, 50, 90, 130 at even places of a 4 x 4 frame, all greens 20, all blues 40.
const std::vector<std::uint8_t> kReds = {10, 20, 50,  20, 20, 40, 20, 40, //
                                         90, 20, 130, 20, 20, 40, 20, 40};

Samples redsOf(const SPng& image) {
    Samples reds;
    for (std::size_t i = 0; i < image.samples.size(); i += 3) {
        reds.push_back(image.samples[i]);
        EXPECT_EQ(image.samples[i + 1], 20U) << i;
        EXPECT_EQ(image.samples[i + 2], 40U) << i;
    }
    return reds;
}

TEST_F(Convert, Nearest2TakesTheSamplesOfEachBlock) {
    // The block of a pixel has it in its upper left corner; the last column and row share that of their neighbours.
    const Samples expected = {10, 50, 50, 50, 90, 130, 130, 130, 90, 130, 130, 130, 90, 130, 130, 130};
    EXPECT_EQ(redsOf(Converted(kReds, sized(4, 4, {"-f", "raw8", "-a", "rggb", "-m", "nearest2"}))), expected);
    EXPECT_EQ(redsOf(Converted(kReds, sized(4, 4, {"-f", "raw8", "-a", "rggb", "-m", "6"}))), expected);
}

TEST_F(Convert, BilinearFalseColorReductionMeasuresAtTheCenterOfEachBlock) {
    // The centre of the first block is a quarter of the way to the next red: (9 x 10 + 3 x 50 + 3 x 90 + 130) / 16.
    const Samples reds = redsOf(Converted(kReds, sized(4, 4, {"-f", "raw8", "-a", "rggb", "-m", "bilinear-fcr"})));
    EXPECT_EQ(reds[0], 40U);
    // One column on it is a quarter of the way back: (3 x 10 + 9 x 50 + 90 + 3 x 130) / 16.
    EXPECT_EQ(reds[1], 60U);
    EXPECT_EQ(reds, redsOf(Converted(kReds, sized(4, 4, {"-f", "raw8", "-a", "rggb", "-m", "5"}))));
}

TEST_F(Convert, BicubicUsesFourNeighbors) {
    // A green row G 0 - G 0 - G 160 - G 0: between the middle two 5/8 x (0 + 160) - 1/8 x (0 + 0).
    const std::vector<std::uint8_t> raw = {9, 0, 9, 0, 9, 160, 9, 0, 0, 7, 0, 7, 160, 7, 0, 7};
    const SPng image = Converted(raw, sized(8, 2, {"-f", "raw8", "-a", "rggb", "-m", "bicubic"}));
    EXPECT_EQ(image.samples[3 * 4 + 1], 100U);
    EXPECT_EQ(Converted(raw, sized(8, 2, {"-f", "raw8", "-a", "rggb", "-m", "4"})).samples, image.samples);
    EXPECT_EQ(Converted(raw, sized(8, 2, {"-f", "raw8", "-a", "rggb", "-m", "bilinear"})).samples[3 * 4 + 1], 80U);
}

TEST_F(Convert, BicubicTakesDeepFramesDownToEightBits) {
    // At 12 bits the library would leave nothing above 255.
    std::vector<std::uint16_t> words(16, 0xC80);
    const SPng image = Converted(littleEndian(words), sized(4, 4, {"-f", "raw12", "-a", "gbrg", "-m", "bicubic"}));
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.samples, Samples(48, 0xC8));
    EXPECT_EQ(
        Converted(littleEndian(words), sized(4, 4, {"-f", "raw12", "-a", "gbrg", "-m", "bicubic", "--bits-out", "16"}))
            .samples,
        Samples(48, 0xC8C8));
    // A mono frame has nothing to interpolate: it stays as deep as it is.
    EXPECT_EQ(Converted(littleEndian({0xC80}), sized(1, 1, {"-f", "mono12", "-m", "bicubic"})).samples,
              (Samples{0xC80C}));
    // --black and --white are samples of the format all the same.
    EXPECT_EQ(Converted(littleEndian(words), sized(4, 4,
                                                   {"-f", "raw12", "-a", "gbrg", "-m", "bicubic", "--display",
                                                    "--black", "1024", "--white", "3200"}))
                  .samples,
              Samples(48, 255));
}

TEST_F(Convert, OddSizesOfEveryMethod) {
    // What is read behind a row's end and behind the image has the right colour in a flat field.
    std::vector<std::uint8_t> raw;
    for (unsigned y = 0; y < 5; ++y) {
        for (unsigned x = 0; x < 7; ++x) {
            raw.push_back(60);
        }
    }
    for (const char* const method : {"nearest", "bilinear", "bicubic", "bilinear-fcr", "nearest2"}) {
        EXPECT_EQ(Converted(raw, sized(7, 5, {"-f", "raw8", "-a", "bggr", "-m", method})).samples, Samples(105, 60))
            << method;
    }
}

// ---- packed formats ----

/// One row of samples as a little-endian bit stream.
std::vector<std::uint8_t> packed(const std::vector<unsigned>& samples, unsigned bits) {
    std::vector<std::uint8_t> bytes((samples.size() * bits + 7) / 8);
    for (std::size_t i = 0; i < samples.size() * bits; ++i) {
        if ((samples[i / bits] >> i % bits & 1U) != 0) {
            bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] | 1U << i % 8);
        }
    }
    return bytes;
}

TEST_F(Convert, PackedSamplesKeepTheirUpperEightBits) {
    EXPECT_EQ(packed({0xABC, 0x123}, 12), (std::vector<std::uint8_t>{0xBC, 0x3A, 0x12}));
    const SPng image = Converted({0xBC, 0x3A, 0x12}, sized(2, 1, {"-f", "mono12p"}));
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.samples, (Samples{0xAB, 0x12}));
    EXPECT_EQ(Converted(packed({0x2AF, 0x3FF, 0x000, 0x155}, 10), sized(4, 1, {"-f", "mono10p"})).samples,
              (Samples{0xAB, 0xFF, 0x00, 0x55}));
}

TEST_F(Convert, PackedRowsStartAtAByte) {
    // Three pixels of 12 bits are 36 bits in 5 bytes; of 10 bits 30 in 4.
    for (const unsigned bits : {10U, 12U}) {
        std::vector<std::uint8_t> raw =
            packed({0x100U >> (12 - bits), 0x200U >> (12 - bits), 0x300U >> (12 - bits)}, bits);
        const auto lower = packed({0x400U >> (12 - bits), 0x500U >> (12 - bits), 0x600U >> (12 - bits)}, bits);
        raw.insert(raw.end(), lower.begin(), lower.end());
        const std::string name = "raw" + std::to_string(bits) + "p";
        EXPECT_EQ(Converted(raw, sized(3, 2, {"-f", name, "-a", "mono"})).samples,
                  (Samples{0x10, 0x20, 0x30, 0x40, 0x50, 0x60}))
            << name;
        EXPECT_EQ(Converted(raw, sized(3, 2, {"-f", name, "-a", "rggb", "-m", "none"})).samples,
                  (Samples{0x10, 0, 0, 0, 0x20, 0, 0x30, 0, 0, 0, 0x40, 0, 0, 0, 0x50, 0, 0x60, 0}))
            << name;
        // The second frame of the file.
        std::vector<std::uint8_t> two(raw.size(), 0xFF);
        two.insert(two.end(), raw.begin(), raw.end());
        EXPECT_EQ(Converted(two, sized(3, 2, {"-f", name, "-a", "mono", "--frame", "1"})).samples,
                  (Samples{0x10, 0x20, 0x30, 0x40, 0x50, 0x60}))
            << name;
    }
}

TEST_F(Convert, PackedSamplesAtFullDepth) {
    const std::vector<std::uint8_t> raw = packed({0xABC, 0x123}, 12);
    const SPng image = Converted(raw, sized(2, 1, {"-f", "mono12p", "--depth", "12"}));
    EXPECT_EQ(image.bits, 16U);
    EXPECT_EQ(image.samples, (Samples{0xABCA, 0x1231}));
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono12p", "--depth", "16"})).samples, image.samples);
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono12p", "--depth", "8"})).samples, (Samples{0xAB, 0x12}));
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono12p", "--depth", "12", "--bits-out", "8"})).samples,
              (Samples{0xAB, 0x12}));
    EXPECT_EQ(Converted(packed({0x201, 0x3FF}, 10),
                        sized(2, 1, {"-f", "raw10p", "-a", "rggb", "-m", "none", "--depth", "12"}))
                  .samples,
              (Samples{0x8060, 0, 0, 0, 0xFFFF, 0}));
}

TEST_F(Convert, DepthOfGreySamples) {
    const std::vector<std::uint8_t> raw = littleEndian({0xABCD, 0x1234});
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono16"})).samples, (Samples{0xABCA, 0x1231})); // 12 bits, repeated
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono16", "--depth", "16"})).samples, (Samples{0xABCD, 0x1234}));
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono16", "--depth", "8"})).samples, (Samples{0xAB, 0x12}));
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "raw16", "-a", "bggr", "-m", "mono", "--depth", "16"})).samples,
              (Samples{0xABCD, 0x1234}));
    // Above the range of 14 bits; the largest sample.
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono14", "--depth", "16"})).samples, (Samples{0xFFFF, 0x48D1}));
}

TEST_F(Convert, MipiCsi2) {
    // High bytes, then the low bits of all pixels, the first one's lowest.
    const std::vector<std::uint8_t> ten = {0xFF, 0x00, 0xAA, 0x55, 0x67};
    EXPECT_EQ(Converted(ten, sized(4, 1, {"-f", "raw10-csi2", "-a", "mono"})).samples,
              (Samples{0xFFFF, 0x0040, 0xAAAA, 0x5555}));
    EXPECT_EQ(Converted(ten, sized(3, 1, {"-f", "0x1000", "-a", "mono", "--depth", "8"})).samples,
              (Samples{0xFF, 0x00, 0xAA}));
    const std::vector<std::uint8_t> twelve = {0xAB, 0x12, 0x3C};
    EXPECT_EQ(Converted(twelve, sized(2, 1, {"-f", "raw12-csi2", "-a", "gbrg", "-m", "none"})).samples,
              (Samples{0, 0xABCA, 0, 0, 0, 0x1231}));
    const std::vector<std::uint8_t> fourteen = {0x12, 0x34, 0x56, 0x78, 0x3F, 0xF0, 0x03};
    EXPECT_EQ(Converted(fourteen, sized(4, 1, {"-f", "raw14-csi2", "-a", "mono"})).samples,
              (Samples{0x12F1, 0x3403, 0x56F5, 0x7807})); // of 14 bits the upper 12
    EXPECT_EQ(Converted(fourteen, sized(4, 1, {"-f", "raw14-csi2", "-a", "mono", "--depth", "16"})).samples,
              (Samples{0x12FC, 0x3400, 0x56FD, 0x7801}));
    // Stages work at 8 bits, corrections in front of them at the frame's depth.
    EXPECT_EQ(
        Converted(twelve, sized(2, 1, {"-f", "raw12-csi2", "-a", "rggb", "-m", "none", "--wb", "1,2,1,1"})).samples,
        (Samples{0xAB, 0, 0, 0, 0x24, 0}));
}

TEST_F(Convert, EdgeMethodFollowsAnEdge) {
    // Left of an upright edge 40, right of it 200: no green in between, where the means of the bilinear method have
    // some.
    std::vector<std::uint8_t> raw;
    for (unsigned i = 0; i < 8 * 6; ++i) {
        raw.push_back(i % 8 < 4 ? 40 : 200);
    }
    const auto greens = [&](const char* method) {
        const SPng image = Converted(raw, sized(8, 6, {"-f", "raw8", "-a", "grbg", "-m", method}));
        std::vector<std::uint8_t> found;
        for (std::size_t i = 1; i < image.samples.size(); i += 3) {
            found.push_back(static_cast<std::uint8_t>(image.samples[i]));
        }
        return found;
    };
    for (const char* const method : {"edge", "16", "0x10", "EDGE"}) {
        EXPECT_EQ(greens(method), raw) << method;
    }
    EXPECT_NE(greens("bilinear"), raw);
    EXPECT_EQ(Converted({1, 2, 3}, sized(3, 1, {"-f", "mono8", "-m", "edge"})).samples, (Samples{1, 2, 3}));
}

// ---- kinds of pictures ----

TEST_F(Convert, TheEndOfTheNameDecidesOnTheKind) {
    const std::string input = Write("in.raw", {10, 20, 30, 40});
    const auto written = [&](const std::string& name, const Arguments& more) {
        expectDone(runVekcam(joined({{"convert", input, "--plain", "-o", Path(name)}, sized(2, 2, more)})));
        return Content(name);
    };
    const Arguments colors = {"-f", "raw8", "-a", "rggb", "-m", "none"};
    EXPECT_EQ(written("a.ppm", colors), std::string("P6\n2 2\n255\n\x0A\0\0\0\x14\0\0\x1E\0\0\0\x28", 23));
    EXPECT_EQ(written("a.PGM", {"-f", "mono8"}), "P5\n2 2\n255\n\x0A\x14\x1E\x28");
    EXPECT_EQ(written("a.ppm", {"-f", "mono8"}), "P6\n2 2\n255\n\n\n\n\x14\x14\x14\x1E\x1E\x1E\x28\x28\x28");
    EXPECT_EQ(written("a.pnm", {"-f", "mono8", "--bits-out", "16"}),
              "P5\n2 2\n65535\n\x0A\x0A\x14\x14\x1E\x1E\x28\x28");
    EXPECT_TRUE(written("a.tif", colors).starts_with(std::string("II*\0", 4)));
    EXPECT_TRUE(written("a.jpg", colors).starts_with("\xFF\xD8\xFF"));
    EXPECT_LT(written("b.jpeg", joined({colors, {"--quality", "1"}})).size(), Content("a.jpg").size());
    EXPECT_TRUE(written("a.PNG", colors).starts_with("\x89PNG"));
    EXPECT_TRUE(written("a", colors).starts_with("\x89PNG"));
}

TEST_F(Convert, JpegOfDeepFramesHasEightBitsUnlessOthersAreAskedFor) {
    const std::string input = Write("in.raw", littleEndian({0, 4095, 2048, 1024}));
    const Arguments arguments =
        joined({{"convert", input, "--plain", "-o", Path("a.jpg")}, sized(2, 2, {"-f", "mono12"})});
    expectDone(runVekcam(arguments));
    std::filesystem::remove(Path("a.jpg"));
    expectRefused(runVekcam(joined({arguments, {"--bits-out", "16"}})), 2, "JPEG pictures have 8 bits at most, not 16");
    EXPECT_FALSE(std::filesystem::exists(Path("a.jpg")));
}

// ---- rows with padding, and words of the other byte order ----

TEST_F(Convert, RowsWithPadding) {
    const std::vector<std::uint8_t> raw = {9, 1, 2, 99, 99, 3, 4, 99, 99, 5, 6, 99, 99, 7, 8, 99, 99};
    const Arguments padded = sized(2, 2, {"-f", "mono8", "--src-offset", "1", "--src-stride", "4", "--frame"});
    EXPECT_EQ(Converted(raw, joined({padded, {"0"}})).samples, (Samples{1, 2, 3, 4}));
    EXPECT_EQ(Converted(raw, joined({padded, {"1"}})).samples, (Samples{5, 6, 7, 8}));
    // The padding of the last row may be missing.
    const std::vector<std::uint8_t> tight(raw.begin(), raw.end() - 2);
    EXPECT_EQ(Converted(tight, joined({padded, {"1"}})).samples, (Samples{5, 6, 7, 8}));
    const std::string input = Write("short.raw", {raw.begin(), raw.end() - 3});
    expectRefused(runVekcam(joined({{"convert", input, "-o", Path("out.png")}, padded, {"1"}})), 1, "too short");
    EXPECT_EQ(runVekcam(joined({{"convert", "-", "-o", "-"}, padded, {"1"}}), {.in = tight}).exitCode, 0);
}

TEST_F(Convert, WordsOfEitherByteOrder) {
    const std::vector<std::uint8_t> big = {0x0A, 0xBC, 0x01, 0x23, 0xEE, 0x0F, 0xFF, 0x00, 0x10};
    const Arguments words = sized(2, 2, {"-f", "mono12", "--src-stride", "5"});
    EXPECT_EQ(Converted(big, joined({words, {"--byte-order", "big"}})).samples,
              (Samples{0xABCA, 0x1231, 0xFFFF, 0x0100}));
    EXPECT_EQ(Converted({0xBC, 0x0A}, sized(1, 1, {"-f", "mono12", "--byte-order", "little"})).samples,
              (Samples{0xABCA}));
}

TEST_F(Convert, ThreadsChangeNothing) {
    std::vector<std::uint8_t> raw(70 * 300);
    for (std::size_t i = 0; i < raw.size(); ++i) {
        raw[i] = static_cast<std::uint8_t>(i * i / 7);
    }
    const std::string input = Write("in.raw", raw);
    const Arguments stages =
        sized(70, 300, {"-f", "raw8", "-a", "rggb", "--noise", "easy", "--wb", "auto", "--sharpness", "80"});
    const SPng one = ConvertedFile(input, joined({stages, {"--threads", "1"}}));
    for (const char* const threads : {"2", "5", "64"}) {
        EXPECT_EQ(ConvertedFile(input, joined({stages, {"--threads", threads}})).samples, one.samples) << threads;
    }
    EXPECT_EQ(ConvertedFile(input, stages).samples, one.samples);
}

TEST_F(Convert, StagesOfPackedFrames) {
    EXPECT_EQ(Converted(packed({0x100, 0x200}, 12),
                        sized(2, 1, {"-f", "raw12p", "-a", "rggb", "-m", "none", "--wb", "2,3,1,1"}))
                  .samples,
              (Samples{0x20, 0, 0, 0, 0x60, 0}));
}

// ---- colours that the camera has made ----

TEST_F(Convert, BlueGreenRed) {
    // Three columns: nine bytes a row, without padding.
    const std::vector<std::uint8_t> raw = {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    const SPng image = Converted(raw, sized(3, 2, {"-f", "bgr8"}));
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.samples, (Samples{3, 2, 1, 6, 5, 4, 9, 8, 7, 13, 12, 11, 16, 15, 14, 19, 18, 17}));
    // There is nothing to demosaic, so every method but mono gives the same.
    EXPECT_EQ(Converted(raw, sized(3, 2, {"-f", "10", "-m", "none"})).samples, image.samples);
    const SPng green = Converted(raw, sized(3, 2, {"-f", "bgr8", "-m", "mono"}));
    EXPECT_EQ(green.channels, 1U);
    EXPECT_EQ(green.samples, (Samples{2, 5, 8, 12, 15, 18}));
}

TEST_F(Convert, BlueGreenRedOfTenBits) {
    // 8 bytes a pixel: blue 0x155, green 0x2AA, red 0x3FF become 0x55, 0xAA, 0xFF.
    const std::uint32_t pixel = 0x155U | 0x2AAU << 10 | 0x3FFU << 20;
    std::vector<std::uint8_t> raw;
    for (unsigned i = 0; i < 8; ++i) {
        raw.push_back(static_cast<std::uint8_t>(i < 4 ? pixel >> 8 * i : 0));
    }
    raw.resize(16);
    const SPng image = Converted(raw, sized(2, 1, {"-f", "bgr10"}));
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.samples, (Samples{0xFF, 0xAA, 0x55, 0, 0, 0}));
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "bgr10", "--display", "--black", "0", "--white", "340"})).samples[2],
              255U);
}

TEST_F(Convert, YCrCbOfEachPixel) {
    // Red 100 + 1.402 x 50, green 100 - 0.714 x 50; blue 100 + 1.772 x 20, green 100 - 0.344 x 20.
    const SPng image = Converted({100, 128, 178, 100, 148, 128, 255, 128, 128}, sized(3, 1, {"-f", "ycrcb444"}));
    EXPECT_EQ(image.samples, (Samples{170, 64, 100, 100, 93, 135, 255, 255, 255}));
    // Video range: luma 16 is black. 235 comes to a little less than 255, of which the fraction is cut off.
    EXPECT_EQ(Converted({16, 128, 128, 235, 128, 128, 126, 128, 128}, sized(3, 1, {"-f", "ycrcb444-bt709"})).samples,
              (Samples{0, 0, 0, 254, 254, 254, 128, 128, 128}));
    EXPECT_EQ(Converted({100, 128, 178, 200, 148, 128}, sized(2, 1, {"-f", "ycrcb444", "-m", "mono"})).samples,
              (Samples{100, 200}));
}

TEST_F(Convert, YCrCb422OfAnyWidth) {
    // Pairs share Cb 128 and Cr 178: red is 70 more, green 35.7 less. The third pixel has its own Cb, and its Cr has
    // no place in a row of three: it is that of the pair before.
    const Samples expected = {170, 64, 100, 120, 14, 50, 80, 0, 45};
    EXPECT_EQ(Converted({100, 128, 50, 178, 10, 148}, sized(3, 1, {"-f", "ycrcb422"})).samples, expected);
    Samples rows = expected;
    rows.insert(rows.end(), {10, 10, 10, 20, 20, 20, 30, 30, 30});
    EXPECT_EQ(
        Converted({100, 128, 50, 178, 10, 148, 10, 128, 20, 128, 30, 128}, sized(3, 2, {"-f", "ycrcb422"})).samples,
        rows);
    EXPECT_EQ(Converted({77, 128}, sized(1, 1, {"-f", "ycrcb422"})).samples, (Samples{77, 77, 77}));
}

TEST_F(Convert, YCrCb411OfAnyWidth) {
    // Fours share Cb 128 and Cr 178. The file's rows of w pixels have w + w / 2 bytes.
    const std::vector<std::uint8_t> groups = {100, 110, 128, 120, 130, 178, 140, 150, 128, 160, 170, 178};
    const Samples reds = {170, 180, 190, 200, 210, 220, 230, 240};
    for (const unsigned width : {4U, 5U, 6U, 7U, 8U}) {
        std::vector<std::uint8_t> raw(groups.begin(), groups.begin() + width + width / 2);
        raw.insert(raw.end(), groups.begin(), groups.begin() + width + width / 2);
        const SPng image = Converted(raw, sized(width, 2, {"-f", "ycrcb411"}));
        ASSERT_EQ(image.samples.size(), 6U * width);
        for (unsigned i = 0; i < 2 * width; ++i) {
            EXPECT_EQ(image.samples[3 * i], reds[i % width]) << width << ": " << i;
            EXPECT_EQ(image.samples[3 * i + 1] + 106, reds[i % width]) << width << ": " << i;
            EXPECT_EQ(image.samples[3 * i + 2] + 70, reds[i % width]) << width << ": " << i;
        }
    }
    // No chroma at all, or half of it: grey where there is none.
    EXPECT_EQ(Converted({77}, sized(1, 1, {"-f", "ycrcb411"})).samples, (Samples{77, 77, 77}));
    EXPECT_EQ(Converted({77, 80, 128, 90}, sized(3, 1, {"-f", "ycrcb411-bt709", "-m", "mono"})).samples.size(), 3U);
}

TEST_F(Convert, PictureStagesOfColorFormats) {
    EXPECT_EQ(Converted({1, 2, 3}, sized(1, 1, {"-f", "bgr8", "--matrix", "1,0,0,0,1,0,0,0,1"})).samples,
              (Samples{4, 3, 2}));
}

TEST_F(Convert, WhatTheSimulatedCameraSendsLooksTheSameInEveryColorFormat) {
    // 4:4:4 is exact to a level of rounding; shared chroma shows at the chart's edges only, so the patches agree.
    const sim::SCameraModel& model = sim::findCameraModel("global-1m");
    sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
    sensor.width = 320;
    sensor.height = 240;
    sim::CSimulatedDriver driver(model, sensor);
    const auto taken = [&](const std::string& format, unsigned long code) {
        driver.SetTransferFormat(code);
        driver.SetFrameNumber(0);
        return Converted(driver.CaptureFrame(), sized(320, 240, {"-f", format}));
    };
    const sim::CScene scene = driver.Scene();
    const SPng bgr = taken("bgr8", VEK_TRANSFER_BGR8);
    for (const auto& [format, code] : {std::pair<const char*, unsigned long>{"bgr10", VEK_TRANSFER_BGR10},
                                       {"ycrcb444", VEK_TRANSFER_YCRCB444},
                                       {"ycrcb422", VEK_TRANSFER_YCRCB422},
                                       {"ycrcb411", VEK_TRANSFER_YCRCB411},
                                       {"ycrcb444-bt709", VEK_TRANSFER_YCRCB444_BT709},
                                       {"ycrcb422-bt709", VEK_TRANSFER_YCRCB422_BT709},
                                       {"ycrcb411-bt709", VEK_TRANSFER_YCRCB411_BT709}}) {
        const SPng image = taken(format, code);
        ASSERT_EQ(image.samples.size(), bgr.samples.size()) << format;
        for (const sim::SPatch& patch : scene.Patches()) {
            for (unsigned c = 0; c < 3; ++c) {
                const auto mean = [&](const SPng& picture) {
                    return picture.Mean(patch.x + 4, patch.y + 4, patch.width - 8, patch.height - 8, c);
                };
                EXPECT_NEAR(mean(image), mean(bgr), 2.0) << format << ", patch at " << patch.x << ", " << patch.y;
            }
        }
    }
}

TEST_F(Convert, OffsetAndFrameChooseThePlaceInTheFile) {
    const std::vector<std::uint8_t> raw = {99, 98, 97, 1, 2, 3, 4, 5, 6};
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono8", "--src-offset", "3", "--frame", "0"})).samples,
              (Samples{1, 2}));
    EXPECT_EQ(Converted(raw, sized(2, 1, {"-f", "mono8", "--src-offset", "3", "--frame", "2"})).samples,
              (Samples{5, 6}));
    EXPECT_EQ(Converted(raw, sized(3, 1, {"-f", "mono8", "--frame", "1"})).samples, (Samples{1, 2, 3}));
}

TEST_F(Convert, StandardStreams) {
    const SResult result = runVekcam({"convert", "-", "--plain", "-W", "2", "-H", "1", "-f", "mono8", "--frame", "1",
                                      "--src-offset", "1", "-o", "-"},
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
    const SResult result = runVekcam(
        {"convert", "-", "--plain", "-W", "2048", "-H", "1500", "-f", "mono8", "-o", Path("out.png")}, {.in = raw});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(readPng(Path("out.png")).samples, Samples(raw.begin(), raw.end()));
}

TEST_F(Convert, DisplayUsesTheSrgbCurve) {
    // Linear 2 / 255 and 55 / 255 are 21.7 and 127.9 of 255 on the sRGB curve.
    const SPng image = Converted({0, 2, 55, 255}, sized(4, 1, {"-f", "mono8", "--display", "--white", "255"}));
    EXPECT_TRUE(image.sRgb);
    EXPECT_EQ(image.samples, (Samples{0, 22, 128, 255}));
}

TEST_F(Convert, DisplayLevelsAreThoseOfTheFormat) {
    // 14 bits, black 800, white 4880: 4080 in between. 2 / 255 and 55 / 255 of that are 32 and 880 above black.
    // Below black and above white the screen's ends hold. Eight bits are the default with --display.
    const SPng image = Converted(littleEndian({0, 800, 832, 1680, 4880, 16383}),
                                 sized(6, 1, {"-f", "mono14", "--display", "--black", "800", "--white", "4880"}));
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.samples, (Samples{0, 0, 22, 128, 255, 255}));
}

TEST_F(Convert, DisplayBalancesToGray) {
    // A uniform red 50, green 100, blue 25: gains 2, 1 and 4 give 100 / 255 for all, 168.1 on the sRGB curve.
    const std::vector<std::uint8_t> raw = {50, 100, 100, 25};
    EXPECT_EQ(Converted(raw, sized(2, 2, {"-f", "raw8", "-a", "rggb", "--display", "--white", "255"})).samples,
              Samples(12, 168));
    // Without a white level the bright end becomes white, up to the step of its search.
    const SPng bright = Converted(raw, sized(2, 2, {"-f", "raw8", "-a", "rggb", "--display"}));
    for (const std::uint16_t sample : bright.samples) {
        EXPECT_GE(sample, 254);
    }
}

TEST_F(Convert, DisplayOfABlackFrameIsBlack) {
    EXPECT_EQ(Converted({0, 0, 0, 0}, sized(2, 2, {"-f", "raw8", "-a", "rggb", "--display"})).samples, Samples(12, 0));
}

TEST_F(Convert, MissingAndShortFiles) {
    const auto run = [&](const std::string& input, const SStreams& streams = {}) {
        return runVekcam(
            {"convert", input, "-W", "4", "-H", "2", "-f", "mono12", "--frame", "1", "-o", Path("out.png")}, streams);
    };
    const SResult missing = run(Path("none.raw"));
    expectOneLine(missing, 1, "No such file");

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
    expectOneLine(directory, 1);
    EXPECT_FALSE(std::filesystem::exists(Path("out.png")));
}

TEST_F(Convert, UnwritableOutput) {
    const std::string input = Write("in.raw", {1, 2});
    for (const std::string& output : {Path("none/out.png"), Path(""), std::string("/dev/full")}) {
        expectOneLine(runVekcam({"convert", input, "-W", "2", "-H", "1", "-f", "mono8", "-o", output}), 1);
    }
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST_F(Convert, PictureIntoABrokenPipe) {
    const std::string input = Write("in.raw", std::vector<std::uint8_t>(512 * 512));
    const SResult result =
        runVekcam({"convert", input, "-W", "512", "-H", "512", "-f", "mono8", "-o", "-"}, {.outIsBrokenPipe = true});
    expectOneLine(result, 1);
}

} // namespace

} // namespace vek::test
