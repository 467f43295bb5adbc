// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

#include <ostream>

namespace vek::test {

namespace {

class Stages : public CConversionTest {
protected:
    /// Converts bytes as one frame; form: width, height, format and so on, stages: what is tested.
    SPng Converted(const std::vector<std::uint8_t>& bytes, const Arguments& form, const Arguments& stages) const {
        return CConversionTest::Converted(bytes, joined({form, stages}));
    }

    /// A frame of one cell, R 10, G 20 / G 30, B 40, each pixel in its own colour only.
    Samples OwnColors(const Arguments& stages, const std::string& colorArray = "rggb") const {
        return Converted({10, 20, 30, 40}, {"-W", "2", "-H", "2", "-f", "raw8", "-a", colorArray, "-m", "none"}, stages)
            .samples;
    }

    /// The upper left pixel of a frame of one cell, where all pixels share red and blue.
    Samples CellColor(const std::vector<std::uint8_t>& cell, const Arguments& stages) const {
        Samples samples =
            Converted(cell, {"-W", "2", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "nearest"}, stages).samples;
        samples.resize(3);
        return samples;
    }

    /// A row of grey pixels.
    Samples Grays(const std::vector<std::uint8_t>& row, const Arguments& stages) const {
        return Converted(row, {"-W", std::to_string(row.size()), "-H", "1", "-f", "mono8"}, stages).samples;
    }

    /// The middle of 3 x 3 grey pixels, all others 100.
    unsigned Middle(std::uint8_t value, const Arguments& stages) const {
        std::vector<std::uint8_t> raw(9, 100);
        raw[4] = value;
        const Samples samples = Converted(raw, {"-W", "3", "-H", "3", "-f", "mono8"}, stages).samples;
        return samples.size() == 9 ? samples[4] : 0U;
    }
};

// ---- each stage ----

TEST_F(Stages, WhiteBalanceMultipliesEachColor) {
    // 1.7 is 217.6 of 128, rounded 218: 40 x 218 / 128 = 68.1.
    EXPECT_EQ(OwnColors({"--wb", "2.0,1,0.5,1.7"}), (Samples{20, 0, 0, 0, 20, 0, 0, 15, 0, 0, 0, 68}));
    // Blue 10 x 218 / 128 = 17.03; the green of a blue row is the third factor's.
    EXPECT_EQ(OwnColors({"--wb", "2.0,1,0.5,1.7"}, "bggr"), (Samples{0, 0, 17, 0, 10, 0, 0, 30, 0, 80, 0, 0}));
    EXPECT_EQ(OwnColors({"--wb", "1,1,1,1"}), (Samples{10, 0, 0, 0, 20, 0, 0, 30, 0, 0, 0, 40}));
    // The largest factor, and none at all. 255 ends the range.
    EXPECT_EQ(OwnColors({"--wb", "511.99,0,1,6.375"}), (Samples{255, 0, 0, 0, 0, 0, 0, 30, 0, 0, 0, 255}));
}

TEST_F(Stages, WhiteBalanceRowsAreNotPadded) {
    // Three columns: R G R / G B G.
    EXPECT_EQ(Converted({10, 20, 30, 40, 50, 60}, {"-W", "3", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "mono"},
                        {"--wb", "2,3,1,4"})
                  .samples,
              (Samples{20, 60, 60, 40, 200, 60}));
}

TEST_F(Stages, AutomaticWhiteBalanceMakesRedAndBlueAsBrightAsGreen) {
    // Factors 2 and 4.
    EXPECT_EQ(CellColor({50, 100, 100, 25}, {"--wb", "auto"}), (Samples{100, 100, 100}));
    // The greens' mean is what counts, 90; 128 x 90 / 30 = 384 is a factor of 3. Blue 45 doubles.
    EXPECT_EQ(CellColor({30, 80, 100, 45}, {"--wb", "auto"}), (Samples{90, 80, 90}));
}

TEST_F(Stages, RawGammaBendsAllColors) {
    // 255 x sqrt(x / 255): 10 becomes 50.5, 20 71.4, 30 87.5, 40 101.0; a half is added and the fraction cut off.
    EXPECT_EQ(OwnColors({"--raw-gamma", "2"}), (Samples{50, 0, 0, 0, 71, 0, 0, 87, 0, 0, 0, 101}));
    // Exponent 2: 40 x 40 / 255 = 6.3.
    EXPECT_EQ(OwnColors({"--raw-gamma", "0.5"}), (Samples{0, 0, 0, 0, 2, 0, 0, 4, 0, 0, 0, 6}));
    EXPECT_EQ(OwnColors({"--raw-gamma", "1.00"}), (Samples{10, 0, 0, 0, 20, 0, 0, 30, 0, 0, 0, 40}));
}

TEST_F(Stages, GammaOfGrays) {
    // 255 x sqrt(x / 255): 16.0, 127.7.
    EXPECT_EQ(Grays({0, 1, 64, 255}, {"--gamma", "2"}), (Samples{0, 16, 128, 255}));
    // Hundredths: 2.2 is 220; 255 x (64 / 255)^(1 / 2.2) = 136.1.
    EXPECT_EQ(Grays({64}, {"--gamma", "2.2"}), (Samples{136}));
    EXPECT_EQ(Grays({0, 1, 64, 255}, {"--gamma", "1"}), (Samples{0, 1, 64, 255}));
}

TEST_F(Stages, GammaAddsTheChangeOfLumaToEachColor) {
    // Luma of red 10: 3. 255 x sqrt(3 / 255) = 27.7, rounded 28: 25 more.
    // Of green 20: 12, which becomes 55.3: 43 more. Of green 30: 18, 67.7: 50 more. Of blue 40: 5, 35.7: 31 more.
    EXPECT_EQ(OwnColors({"--gamma", "2"}), (Samples{35, 25, 25, 43, 63, 43, 50, 80, 50, 31, 31, 71}));
}

TEST_F(Stages, Brightness) {
    EXPECT_EQ(Grays({0, 100, 250}, {"--brightness", "10"}), (Samples{10, 110, 255}));
    EXPECT_EQ(Grays({0, 10, 11, 255}, {"--brightness", "-10"}), (Samples{0, 0, 1, 245}));
}

TEST_F(Stages, Contrast) {
    // Steepness 255 / (255 - 2 x 27) = 1.2687. 28 becomes 1.27, 128 128.1, 227 253.7.
    EXPECT_EQ(Grays({0, 27, 28, 128, 227, 228, 255}, {"--contrast", "27"}), (Samples{0, 0, 1, 128, 254, 255, 255}));
    // A step.
    EXPECT_EQ(Grays({127, 128}, {"--contrast", "127"}), (Samples{0, 255}));
    // With brightness 27 the input 1 is where 28 was.
    EXPECT_EQ(Grays({0, 1, 200}, {"--contrast", "27", "--brightness", "27"}), (Samples{0, 1, 254}));
}

TEST_F(Stages, MatrixMixesColors) {
    const std::vector<std::uint8_t> cell = {10, 20, 30, 40};
    // Samples count as one more than they are.
    EXPECT_EQ(CellColor(cell, {"--matrix", "1,0,0,0,1,0,0,0,1"}), (Samples{11, 21, 41}));
    EXPECT_EQ(CellColor(cell, {"--matrix", "0,0,1,0,1,0,1,0,0"}), (Samples{41, 21, 11}));
    // Each product loses its fraction: red 5 + 10 + 20, green 21 - 20, blue below 0.
    EXPECT_EQ(CellColor(cell, {"--matrix", "0.5,0.5,0.5,0,1,-0.5,-1,0,0.1"}), (Samples{35, 1, 0}));
    EXPECT_EQ(CellColor(cell, {"--matrix", "-1,1,1,0,10,3,0,0,1"}), (Samples{51, 255, 41}));
}

TEST_F(Stages, MatrixOfTwelveHasOffsets) {
    EXPECT_EQ(CellColor({10, 20, 30, 40}, {"--matrix", "1,0,0,5,0,1,0,-7.5,0,0,1,-50"}), (Samples{16, 14, 0}));
}

TEST_F(Stages, Hue) {
    // A third of a turn: red 0.2072 R + 1.3879 G - 0.5951 B, green 0.1979 R + 0.2202 G + 0.5819 B, blue
    // 1.0555 R + 0.3719 G - 0.4274 B of the samples and 1: 2 + 29 - 24, 2 + 4 + 23, 11 + 7 - 17.
    EXPECT_EQ(CellColor({10, 20, 30, 40}, {"--hue", "120"}), (Samples{7, 29, 1}));
    // The same the other way round.
    EXPECT_EQ(CellColor({10, 20, 30, 40}, {"--hue", "-240"}), (Samples{7, 29, 1}));
    EXPECT_EQ(CellColor({10, 20, 30, 40}, {"--hue", "0"}), (Samples{11, 21, 41}));
}

TEST_F(Stages, Saturation) {
    // 0.2989 x 11, 0.5866 x 21 and 0.1145 x 41 without their fractions: 3 + 12 + 4.
    EXPECT_EQ(CellColor({10, 20, 30, 40}, {"--saturation", "0"}), (Samples{19, 19, 19}));
    EXPECT_EQ(CellColor({10, 20, 30, 40}, {"--saturation", "100"}), (Samples{11, 21, 41}));
}

TEST_F(Stages, ChromaSuppression) {
    // Luma of 200, 100, 50 is 60 + 59 + 6 = 125.
    const std::vector<std::uint8_t> cell = {200, 100, 100, 50};
    // 26 x 128 / 16384 of the way to green: red 20.3 less, blue 10.2 more.
    EXPECT_EQ(CellColor(cell, {"--suppress-high", "100,128"}), (Samples{180, 100, 60}));
    EXPECT_EQ(CellColor(cell, {"--suppress-low", "150,128"}), (Samples{180, 100, 60}));
    EXPECT_EQ(CellColor(cell, {"--suppress-high", "100,1024"}), (Samples{100, 100, 100}));
    EXPECT_EQ(CellColor(cell, {"--suppress-high", "125,1024"}), (Samples{200, 100, 50}));
    EXPECT_EQ(CellColor(cell, {"--suppress-low", "125,1024"}), (Samples{200, 100, 50}));
}

TEST_F(Stages, SharpnessOfGrays) {
    // Half of the difference of 16 more; with coring 6 half of 10.
    EXPECT_EQ(Middle(116, {"--sharpness", "50"}), 124U);
    EXPECT_EQ(Middle(116, {"--sharpness", "50,6"}), 121U);
    EXPECT_EQ(Middle(116, {"--sharpness", "50,16"}), 116U);
    EXPECT_EQ(Middle(84, {"--sharpness", "50"}), 76U);
    // The largest gains: 255 is 155 above the others, 1000 per cent of 23 above the coring of 230 stays in range.
    EXPECT_EQ(Middle(255, {"--sharpness", "100"}), 255U);
    EXPECT_EQ(Middle(200, {"--sharpness", "1000,230"}), 200U);
    EXPECT_EQ(Middle(0, {"--sharpness", "300,170"}), 0U);
}

TEST_F(Stages, SharpnessOfColors) {
    // One cell of 140, three of 100: differences of luma are 25 at the inner corner, -10 beside it, -5 across. The
    // border stays.
    const std::vector<std::uint8_t> raw = {140, 140, 100, 100, 140, 140, 100, 100,
                                           100, 100, 100, 100, 100, 100, 100, 100};
    const SPng image =
        Converted(raw, {"-W", "4", "-H", "4", "-f", "raw8", "-a", "rggb", "-m", "nearest"}, {"--sharpness", "100"});
    const Samples grays = {140, 140, 100, 100, 140, 165, 90, 100, 100, 90, 95, 100, 100, 100, 100, 100};
    Samples expected;
    for (const std::uint16_t gray : grays) {
        expected.insert(expected.end(), {gray, gray, gray});
    }
    EXPECT_EQ(image.samples, expected);
}

// ---- mirror and rotation ----

struct STurn {
    Arguments stages;
    unsigned width;
    unsigned height;
    Samples samples; ///< of the turned mosaic
    Samples colors;  ///< channel of each: 0 red, 1 green, 2 blue
};

void PrintTo(const STurn& turn, std::ostream* stream) {
    *stream << commandLine(turn.stages);
}

class Turn : public Stages, public ::testing::WithParamInterface<STurn> {};

TEST_P(Turn, MovesPixelsAndKeepsTheirColors) {
    // R1 G2 R3 G4
    // G5 B6 G7 B8
    const SPng image = Converted({1, 2, 3, 4, 5, 6, 7, 8},
                                 {"-W", "4", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "none"}, GetParam().stages);
    EXPECT_EQ(image.width, GetParam().width);
    EXPECT_EQ(image.height, GetParam().height);
    Samples expected(24);
    for (std::size_t i = 0; i < 8; ++i) {
        expected[3 * i + GetParam().colors[i]] = GetParam().samples[i];
    }
    EXPECT_EQ(image.samples, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Stages, Turn,
    ::testing::Values(
        STurn{{"--mirror", "h"}, 4, 2, {4, 3, 2, 1, 8, 7, 6, 5}, {1, 0, 1, 0, 2, 1, 2, 1}},
        STurn{{"--mirror", "v"}, 4, 2, {5, 6, 7, 8, 1, 2, 3, 4}, {1, 2, 1, 2, 0, 1, 0, 1}},
        STurn{{"--mirror", "hv"}, 4, 2, {8, 7, 6, 5, 4, 3, 2, 1}, {2, 1, 2, 1, 1, 0, 1, 0}},
        STurn{{"--rotate", "cw"}, 2, 4, {5, 1, 6, 2, 7, 3, 8, 4}, {1, 0, 2, 1, 1, 0, 2, 1}},
        STurn{{"--rotate", "ccw"}, 2, 4, {4, 8, 3, 7, 2, 6, 1, 5}, {1, 2, 0, 1, 1, 2, 0, 1}},
        STurn{{"--mirror", "h", "--rotate", "cw"}, 2, 4, {8, 4, 7, 3, 6, 2, 5, 1}, {2, 1, 1, 0, 2, 1, 1, 0}},
        STurn{{"--rotate", "CCW", "--mirror", "v"}, 2, 4, {8, 4, 7, 3, 6, 2, 5, 1}, {2, 1, 1, 0, 2, 1, 1, 0}}));

TEST_F(Stages, GraysOfAnyOddSizeAreTurned) {
    const SPng image = Converted({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
                                 {"-W", "5", "-H", "3", "-f", "mono8"}, {"--rotate", "cw", "--mirror", "h"});
    EXPECT_EQ(image.width, 3U);
    EXPECT_EQ(image.height, 5U);
    // Mirrored rows 5 4 3 2 1 / 10 .. 6 / 15 .. 11, then from the bottom left upwards.
    EXPECT_EQ(image.samples, (Samples{15, 10, 5, 14, 9, 4, 13, 8, 3, 12, 7, 2, 11, 6, 1}));
    // Method mono shows the raw samples as grey: no cells to keep.
    EXPECT_EQ(Converted({1, 2, 3}, {"-W", "3", "-H", "1", "-f", "raw8", "-a", "rggb", "-m", "mono"}, {"--mirror", "h"})
                  .samples,
              (Samples{3, 2, 1}));
}

TEST_F(Stages, ColorsOfALargeFrameStayWhereTheyBelong) {
    // Every Bayer phase, turned and demosaiced: a red patch in the upper left quarter of a blue frame.
    constexpr unsigned side = 40;
    const struct {
        const char* name;
        unsigned red;  ///< column + 2 x row of red in the cell
        unsigned blue; ///< of blue
    } arrays[] = {{"rggb", 0, 3}, {"grbg", 1, 2}, {"gbrg", 2, 1}, {"bggr", 3, 0}};
    for (const auto& array : arrays) {
        std::vector<std::uint8_t> raw;
        for (unsigned y = 0; y < side; ++y) {
            for (unsigned x = 0; x < side; ++x) {
                const bool patch = x < side / 2 && y < side / 2;
                raw.push_back(x % 2 + 2 * (y % 2) == (patch ? array.red : array.blue) ? 200 : 0);
            }
        }
        const auto quarter = [&](const Arguments& stages, unsigned x, unsigned y) {
            const SPng image = Converted(raw, {"-W", "40", "-H", "40", "-f", "raw8", "-a", array.name}, stages);
            EXPECT_NEAR(image.Mean(x + 4, y + 4, 12, 12, 0), 200, 1e-9) << array.name << commandLine(stages);
            EXPECT_NEAR(image.Mean(24 - x, 24 - y, 12, 12, 2), 200, 1e-9) << array.name << commandLine(stages);
        };
        quarter({"--mirror", "h"}, 20, 0);
        quarter({"--mirror", "v"}, 0, 20);
        quarter({"--mirror", "hv"}, 20, 20);
        quarter({"--rotate", "cw"}, 20, 0);
        quarter({"--rotate", "ccw"}, 0, 20);
        quarter({"--mirror", "h", "--rotate", "cw"}, 20, 20);
        quarter({"--mirror", "v", "--rotate", "cw"}, 0, 0);
    }
}

// ---- depth ----

TEST_F(Stages, DeeperFramesAreTakenDownToEightBits) {
    const Arguments cell = {"-W", "2", "-H", "2", "-a", "bggr", "-m", "none"};
    const auto form = [&](const std::string& format) { return joined({cell, {"-f", format}}); };
    // B ABC  G 0FF / G FFF  R 801; unity gains change nothing.
    const SPng twelve = Converted(littleEndian({0xABC, 0x0FF, 0xFFF, 0x801}), form("raw12"), {"--wb", "1,1,1,1"});
    EXPECT_EQ(twelve.bits, 8U);
    EXPECT_EQ(twelve.samples, (Samples{0, 0, 0xAB, 0, 0x0F, 0, 0, 0xFF, 0, 0x80, 0, 0}));
    EXPECT_EQ(Converted(littleEndian({0x2AF, 0x3F, 0x3FF, 0x200}), form("raw10"), {"--wb", "1,1,1,1"}).samples,
              (Samples{0, 0, 0xAB, 0, 0x0F, 0, 0, 0xFF, 0, 0x80, 0, 0}));
    EXPECT_EQ(Converted(littleEndian({0x2AFF, 0x3FF, 0x3FFF, 0x2000}), form("raw14"), {"--wb", "1,1,1,1"}).samples,
              twelve.samples);
    EXPECT_EQ(Converted(littleEndian({0xABCD, 0xFFF, 0xFFFF, 0x8000}), form("raw16"), {"--wb", "1,1,1,1"}).samples,
              twelve.samples);
}

TEST_F(Stages, EveryStageWorksAtEightBits) {
    // 0x12F is 0x12 = 18 at 8 bits; what a stage would leave of the low bits at 12 shows in 16.
    const auto raw = littleEndian({0x12F, 0x12F, 0x12F, 0x12F});
    for (const Arguments& stages : {Arguments{"--raw-gamma", "1"},
                                    {"--gamma", "1"},
                                    {"--brightness", "0"},
                                    {"--contrast", "0"},
                                    {"--sharpness", "0"},
                                    {"--mirror", "h"},
                                    {"--rotate", "ccw"},
                                    {"--suppress-high", "255,0"},
                                    {"--suppress-low", "0,9"}}) {
        const SPng image =
            Converted(raw, {"-W", "2", "-H", "2", "-f", "raw12", "-a", "rggb", "--bits-out", "16"}, stages);
        EXPECT_EQ(image.bits, 16U);
        EXPECT_EQ(image.samples, Samples(12, 0x1212)) << commandLine(stages);
    }
    for (const Arguments& stages :
         {Arguments{"--hue", "0"}, {"--saturation", "100"}, {"--matrix", "1,0,0,0,1,0,0,0,1"}}) {
        const SPng image =
            Converted(raw, {"-W", "2", "-H", "2", "-f", "raw12", "-a", "rggb", "--bits-out", "16"}, stages);
        EXPECT_EQ(image.samples, Samples(12, 0x1313)) << commandLine(stages);
    }
}

TEST_F(Stages, DisplayRendersTheirPicture) {
    // Factors 2 and 4 make 100 / 255, 168.1 on the sRGB curve.
    const SPng image = Converted({50, 100, 100, 25}, {"-W", "2", "-H", "2", "-f", "raw8", "-a", "rggb"},
                                 {"--wb", "auto", "--display", "--white", "255"});
    EXPECT_TRUE(image.sRgb);
    EXPECT_EQ(image.samples, Samples(12, 168));
    // Levels are samples of the format: 14 bits, of which 8 are left. 800 is 12 there, 15232 is 238. 68 is 56 of 226
    // in between; that is 136.1 on the sRGB curve, without the brightness of 14 it would be 119.5.
    EXPECT_EQ(Converted(littleEndian({54 * 64}), {"-W", "1", "-H", "1", "-f", "mono14"},
                        {"--brightness", "14", "--display", "--black", "800", "--white", "15232"})
                  .samples,
              (Samples{136}));
}

TEST_F(Stages, OddSizes) {
    // 5 x 3: what is read behind the last row is the balanced green 60 x 2 in front of the corner, not a sample that
    // was left as it came; the mean with it is the corner's own green.
    std::vector<std::uint8_t> raw(15, 60);
    const SPng image = Converted(raw, {"-W", "5", "-H", "3", "-f", "raw8", "-a", "rggb"}, {"--wb", "2,2,2,2"});
    EXPECT_EQ(image.samples, Samples(45, 120));
}

// ---- order ----

TEST_F(Stages, WhiteBalanceComesBeforeTheRawGamma) {
    // 32 doubled is 64, and 255 x sqrt(64 / 255) = 127.7; the other way round it would be 180.
    EXPECT_EQ(CellColor({32, 0, 0, 0}, {"--raw-gamma", "2", "--wb", "2,1,1,1"}), (Samples{128, 0, 0}));
}

TEST_F(Stages, WhiteBalanceComesBeforeTheRotation) {
    // The green beside red, 20, doubles. After the turn it stands beside blue: G 30  R 10 / B 40  G 40.
    EXPECT_EQ(OwnColors({"--rotate", "cw", "--wb", "1,2,1,1"}), (Samples{0, 30, 0, 10, 0, 0, 0, 0, 40, 0, 40, 0}));
}

TEST_F(Stages, RawGammaComesBeforeTheDemosaicing) {
    // Red 64 becomes 128 and 0 stays: 64 in between. The curve of the mean 32 would be 90.
    const SPng image =
        Converted({64, 0, 0, 0, 0, 0, 0, 0}, {"-W", "4", "-H", "2", "-f", "raw8", "-a", "rggb"}, {"--raw-gamma", "2"});
    EXPECT_EQ(image.samples[0], 128);
    EXPECT_EQ(image.samples[3], 64);
}

TEST_F(Stages, RotationComesBeforeTheDemosaicing) {
    // G 30  R 10 / B 40  G 20 share the green of their row. In a picture turned later it would be that of the column.
    EXPECT_EQ(Converted({10, 20, 30, 40}, {"-W", "2", "-H", "2", "-f", "raw8", "-a", "rggb", "-m", "nearest"},
                        {"--rotate", "cw"})
                  .samples,
              (Samples{10, 30, 40, 10, 30, 40, 10, 20, 40, 10, 20, 40}));
}

TEST_F(Stages, ChromaSuppressionComesAfterTheMatrix) {
    // The matrix makes green 11 of red 10: the others follow that, not the 20 which green was.
    EXPECT_EQ(CellColor({10, 20, 30, 40}, {"--suppress-low", "255,16384", "--matrix", "1,0,0,1,0,0,0,0,1"}),
              (Samples{11, 11, 11}));
}

TEST_F(Stages, MatrixComesBeforeTheLumaCurve) {
    // 41, 21, 11 has luma 12 + 12 + 1 = 25, which becomes 79.8: 55 more. The other way round red would be 92.
    EXPECT_EQ(CellColor({10, 20, 30, 40}, {"--gamma", "2", "--matrix", "0,0,1,0,1,0,1,0,0"}), (Samples{96, 76, 66}));
}

TEST_F(Stages, LumaCurveComesBeforeTheSharpness) {
    // 100 and 116 become 160 and 172, the difference of 12 doubles. The other way round the middle would be 183.
    EXPECT_EQ(Middle(116, {"--sharpness", "100", "--gamma", "2"}), 184U);
}

// ---- what cannot work ----

class StageRefusal : public ::testing::TestWithParam<SRefusal> {};

TEST_P(StageRefusal, ExitTwoWithOneLine) {
    expectRefused(runVekcam(joined({{"convert", "in.raw", "--plain", "-o", "out.png"}, GetParam().arguments})), 2,
                  GetParam().message + '\n');
}

Arguments grayFrame(const Arguments& stages) {
    return sized(4, 4, joined({{"-f", "mono8"}, stages}));
}

Arguments bayerFrame(unsigned width, unsigned height, const Arguments& stages) {
    return sized(width, height, joined({{"-f", "raw8", "-a", "rggb"}, stages}));
}

Arguments bayerFrame(const Arguments& stages) {
    return bayerFrame(4, 4, stages);
}

INSTANTIATE_TEST_SUITE_P(
    Combinations, StageRefusal,
    ::testing::Values(
        SRefusal{grayFrame({"--wb", "auto"}), ": --wb needs a Bayer frame: this one is mono"},
        SRefusal{grayFrame({"--raw-gamma", "2"}), ": --raw-gamma needs a Bayer frame: this one is mono"},
        SRefusal{grayFrame({"--matrix", "1,0,0,0,1,0,0,0,1"}),
                 ": --matrix needs a colour picture: a mono frame is grey"},
        SRefusal{grayFrame({"--hue", "5"}), ": --hue needs a colour picture: a mono frame is grey"},
        SRefusal{grayFrame({"--saturation", "50"}), ": --saturation needs a colour picture: a mono frame is grey"},
        SRefusal{grayFrame({"--suppress-high", "1,1"}),
                 ": --suppress-high needs a colour picture: a mono frame is grey"},
        SRefusal{grayFrame({"--suppress-low", "1,1"}), ": --suppress-low needs a colour picture: a mono frame is grey"},
        SRefusal{bayerFrame({"-m", "mono", "--hue", "5"}),
                 ": --hue needs a colour picture: that of method mono is grey"},
        SRefusal{bayerFrame(3, 4, {"--mirror", "h"}), ": --mirror of a Bayer frame needs an even width and height"},
        SRefusal{bayerFrame(4, 3, {"--rotate", "cw"}), ": --rotate of a Bayer frame needs an even width and height"},
        SRefusal{{"-W", "2", "-H", "2", "-f", "mono12", "--gamma", "2", "--display", "--black", "16", "--white", "31"},
                 ": --black 16 is not below --white 31"}));

std::string refused(const std::string& option, const std::string& text, const std::string& complaint) {
    return option + ": \"" + text + "\" " + complaint;
}

std::vector<SRefusal> badTexts(const std::string& option, const std::vector<std::string>& texts,
                               const std::string& complaint) {
    std::vector<SRefusal> refusals;
    for (const std::string& text : texts) {
        refusals.push_back({bayerFrame({option, text}), refused(option, text, complaint)});
    }
    return refusals;
}

INSTANTIATE_TEST_SUITE_P(
    WhiteBalance, StageRefusal,
    ::testing::ValuesIn(badTexts("--wb",
                                 {"2", "1,1", "1,1,1,1,1", "1,1,1,", ",1,1,1", "1,1,1,-1", "1,1,1,512", "1,1,1,nan",
                                  "1,1,1,inf", "1 1 1 1", "Auto", "1,1,1,1x", "1e3,1,1,1"},
                                 "is neither auto nor R,G,B or R,GR,GB,B, factors of 0 to 511.99")));
INSTANTIATE_TEST_SUITE_P(Gamma, StageRefusal,
                         ::testing::ValuesIn(badTexts("--gamma", {"0", "0.004", "-1", "655.36", "nan", "2,2", "x"},
                                                      "is no gamma of 0.01 to 655.35")));
INSTANTIATE_TEST_SUITE_P(RawGamma, StageRefusal,
                         ::testing::ValuesIn(badTexts("--raw-gamma", {"0", "655.36"},
                                                      "is no gamma of 0.01 to 655.35")));
INSTANTIATE_TEST_SUITE_P(Matrix, StageRefusal,
                         ::testing::ValuesIn(badTexts("--matrix",
                                                      {"1", "1,0,0,0,1,0,0,0", "1,0,0,0,1,0,0,0,1,0",
                                                       "1,0,0,0,0,1,0,0,0,0,1,0,0", "327.68,0,0,0,1,0,0,0,1",
                                                       "-327.69,0,0,0,1,0,0,0,1", "nan,0,0,0,1,0,0,0,1"},
                                                      "is no matrix of 9 or 12 numbers of -327.68 to 327.67")));
INSTANTIATE_TEST_SUITE_P(Hue, StageRefusal,
                         ::testing::ValuesIn(badTexts("--hue", {"361", "-360.1", "nan", "1,2", "red"},
                                                      "is no angle of -360 to 360 degrees")));
INSTANTIATE_TEST_SUITE_P(SuppressHigh, StageRefusal,
                         ::testing::ValuesIn(badTexts("--suppress-high",
                                                      {"1", "256,1", "1,65536", "1.5,1", "-1,1", "1,1,1"},
                                                      "is no START,SLOPE of 0 to 255 and 0 to 65535")));
INSTANTIATE_TEST_SUITE_P(SuppressLow, StageRefusal,
                         ::testing::ValuesIn(badTexts("--suppress-low", {"1", "inf,1"},
                                                      "is no START,SLOPE of 0 to 255 and 0 to 65535")));
INSTANTIATE_TEST_SUITE_P(
    Sharpness, StageRefusal,
    ::testing::ValuesIn(badTexts("--sharpness", {"101", "-1", "50.5", "50,256", "1063,231", "50,1,1", "65536,255"},
                                 "is no GAIN or GAIN,CORING of whole numbers with GAIN x (255 - CORING) up to 25500")));
INSTANTIATE_TEST_SUITE_P(Mirror, StageRefusal,
                         ::testing::ValuesIn(badTexts("--mirror", {"vh", "4", "0", "x"}, "is none of: h, v, hv")));
INSTANTIATE_TEST_SUITE_P(Rotate, StageRefusal,
                         ::testing::ValuesIn(badTexts("--rotate", {"90", "3", "left"}, "is none of: cw, ccw")));

TEST(StageRanges, OfPlainNumbers) {
    for (const Arguments& stages : {Arguments{"--brightness", "256"},
                                    {"--brightness", "-256"},
                                    {"--brightness", "1.5"},
                                    {"--contrast", "128"},
                                    {"--contrast", "-1"},
                                    {"--saturation", "1001"},
                                    {"--saturation", "-1"},
                                    {"--saturation", "x"},
                                    {"--wb"},
                                    {"--gamma", "2", "--gamma", "2"}}) {
        SCOPED_TRACE(commandLine(stages));
        expectRefused(runVekcam(joined({{"convert", "in.raw", "--plain", "-o", "out.png"}, bayerFrame(stages)})), 2,
                      stages.front());
    }
}

} // namespace

} // namespace vek::test
