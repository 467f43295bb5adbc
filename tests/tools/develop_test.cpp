// SPDX-License-Identifier: Apache-2.0
// Pictures that vekcam convert develops: levels, white balance, matrix, tone, and where each comes from.
#include "Conversion.h"

#include "support/RealFrames.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace vek::test {

namespace {

class Develop : public CFileTest {
protected:
    /// The picture of words; message: a part of what is said on standard error, empty: nothing is.
    SPng Developed(const std::vector<std::uint16_t>& words, const Arguments& arguments,
                   const std::string& message = {}) const {
        return Picture(Write("in.raw", littleEndian(words)), arguments, message);
    }

    SPng Picture(const std::string& input, const Arguments& arguments, const std::string& message = {}) const {
        const SResult result = runVekcam(joined({{"convert", input, "-o", Path("out.png")}, arguments}));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        if (message.empty()) {
            EXPECT_EQ(result.err, "");
        } else {
            EXPECT_TRUE(isOneLineMessage(result.err)) << result.err;
            expectPart(result.err, message);
        }
        return result.exitCode == 0 ? readPng(Path("out.png")) : SPng{};
    }

    void ExpectRefused(const Arguments& arguments, const std::string& message, int code = 2) const {
        const std::string input = Write("in.raw", std::vector<std::uint8_t>(2 * 64));
        expectRefused(runVekcam(joined({{"convert", input, "-o", Path("none.png")}, arguments})), code, message);
        EXPECT_FALSE(std::filesystem::exists(Path("none.png")));
    }
};

/// An even surface of 8 x 8 pixels, RGGB.
std::vector<std::uint16_t> surface(std::uint16_t red, std::uint16_t green, std::uint16_t blue) {
    std::vector<std::uint16_t> words;
    for (unsigned i = 0; i < 64; ++i) {
        const unsigned phase = 2 * (i / 8 % 2) + i % 2;
        words.push_back(phase == 0 ? red : phase == 3 ? blue : green);
    }
    return words;
}

const Arguments kBayer = sized(8, 8, {"-f", "raw12", "-a", "rggb"});
const Arguments kGray = sized(4, 1, {"-f", "mono12"});

Samples color(const SPng& picture) {
    // All pixels are alike.
    EXPECT_EQ(picture.channels, 3U);
    for (std::size_t i = 3; i < picture.samples.size(); ++i) {
        EXPECT_EQ(picture.samples[i], picture.samples[i - 3]);
    }
    return {picture.samples.begin(), picture.samples.begin() + 3};
}

void expectNear(const Samples& samples, double value) {
    for (const std::uint16_t sample : samples) {
        EXPECT_NEAR(sample, value, 0.6);
    }
}

TEST_F(Develop, ToneCurves) {
    const std::vector<std::uint16_t> words = {0, 41, 2048, 4095};
    const Arguments black = {"--black", "0"};
    // 41 / 4095 is 0.010012, 2048 / 4095 0.500122.
    const SPng usual = Developed(words, joined({kGray, black}));
    EXPECT_EQ(usual.samples, (Samples{0, 25, 188, 255})); // 1.055 x 0.010012^(1/2.4) - 0.055 = 0.0999; 0.7354
    EXPECT_EQ(usual.bits, 8U);
    EXPECT_TRUE(usual.sRgb);
    EXPECT_EQ(Developed(words, joined({kGray, black, {"--tone", "sRGB"}})).samples, usual.samples);
    const SPng linear = Developed(words, joined({kGray, black, {"--tone", "linear"}}));
    EXPECT_EQ(linear.samples, (Samples{0, 3, 128, 255}));
    EXPECT_FALSE(linear.sRgb);
    // 4.5 x 0.010012 = 0.0451; 1.099 x 0.500122^0.45 - 0.099 = 0.7056.
    EXPECT_EQ(Developed(words, joined({kGray, black, {"--tone", "bt709"}})).samples, (Samples{0, 11, 180, 255}));
    EXPECT_EQ(Developed(words, joined({kGray, black, {"--tone", "gamma:2"}})).samples, (Samples{0, 26, 180, 255}));
}

TEST_F(Develop, AllBitsReachThePicture) {
    std::vector<std::uint16_t> words(4096);
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<std::uint16_t>(i);
    }
    const SPng picture = Developed(
        words, joined({sized(64, 64, {"-f", "mono12", "--black", "0", "--tone", "linear"}), {"--bits-out", "16"}}));
    EXPECT_EQ(picture.bits, 16U);
    EXPECT_EQ(std::set<std::uint16_t>(picture.samples.begin(), picture.samples.end()).size(), 4096U);
    EXPECT_EQ(picture.samples[4095], 65535U);
    EXPECT_EQ(picture.samples[1], 16U); // 65535 / 4095 = 16.004
}

TEST_F(Develop, LevelsOfBlackAndWhite) {
    const Arguments linear = joined({kGray, {"--tone", "linear"}});
    // Halves of the range from 64 to 3264: 1664. Below black there is nothing, above white it is white.
    EXPECT_EQ(Developed({64, 1664, 3264, 4000}, joined({linear, {"--black", "64", "--white", "3264"}})).samples,
              (Samples{0, 128, 255, 255}));
    EXPECT_EQ(Developed({0, 63, 65, 4095}, joined({linear, {"--black", "64"}})).samples, (Samples{0, 0, 0, 255}));
    // Fractions count: 16 / 4095 of 255 are a level.
    EXPECT_EQ(Developed({0, 100, 2000, 4095}, joined({linear, {"--black", "0.0"}})).samples[3], 255U);
    // Of 10 and of 16 bits.
    EXPECT_EQ(
        Developed({16, 520, 1023, 1023}, joined({sized(4, 1, {"-f", "mono10", "--tone", "linear", "--black", "16"})}))
            .samples,
        (Samples{0, 128, 255, 255}));
    EXPECT_EQ(Developed({600, 8060, 15520, 16383},
                        sized(4, 1, {"-f", "mono16", "--tone", "linear", "--black", "600", "--white", "15520"}))
                  .samples,
              (Samples{0, 127, 255, 255})); // 127.47: 600 and 8060 are 37.5 and 503.75 of 12 bits
}

TEST_F(Develop, NoiseBelowBlackDoesNotBrightenShadows) {
    // As much below black as above: the mean of a shadow behind the demosaic method is black.
    std::vector<std::uint16_t> words;
    for (unsigned i = 0; i < 64 * 64; ++i) {
        words.push_back(static_cast<std::uint16_t>((i / 64 + i) / 2 % 2 == 0 ? 50 : 78));
    }
    const SPng picture =
        Developed(words, sized(64, 64,
                               {"-f", "raw12", "-a", "rggb", "--black", "64", "--wb", "1,1,1", "--matrix", "none", "-m",
                                "bilinear", "--tone", "linear", "--bits-out", "16"}));
    // A mean of samples that end at black would be a quarter of 28 x 16 levels.
    EXPECT_LT(picture.Mean(8, 8, 48, 48, 1), 7 * 16 * 0.6);
}

TEST_F(Develop, EachPlaceOfTheCellHasItsLevelOfBlack) {
    // Each in the middle between its level and 4095.
    std::vector<std::uint16_t> words = surface(2095, 0, 2395);
    for (unsigned i = 0; i < 64; ++i) {
        const bool besideBlue = i / 8 % 2 == 1;
        words[i] = words[i] != 0 ? words[i] : static_cast<std::uint16_t>(besideBlue ? 2295 : 2195);
    }
    const Arguments arguments = {"--black", "95,295,495,695", "-m",     "mono",     "--wb",
                                 "1,1,1",   "--tone",         "linear", "--matrix", "none"};
    expectNear(Developed(words, joined({kBayer, arguments})).samples, 127.5);
}

TEST_F(Develop, BlackOfMaskedPixels) {
    // Two columns without light: 100 beside 60.
    std::vector<std::uint16_t> words = surface(2000, 2000, 2000);
    for (unsigned y = 0; y < 8; ++y) {
        words[8 * y] = 60;
        words[8 * y + 1] = 100;
    }
    const Arguments more = {"--wb", "1,1,1", "--matrix", "none", "--tone", "linear"};
    const SPng masked = Developed(words, joined({kBayer, more, {"--black", "masked:0,0,2,8"}}));
    EXPECT_EQ(masked.samples, Developed(words, joined({kBayer, more, {"--black", "60,100,60,100"}})).samples);
    ExpectRefused(joined({kBayer, {"--black", "masked:0,0,1,8"}}), "--black masked needs a region of 2 x 2");
    ExpectRefused(joined({kBayer, {"--black", "masked:9,0,1,8"}}), "--black: the region lies outside");
    ExpectRefused(joined({kBayer, {"--black", "masked"}}), "--black: \"masked\" is no level");
    ExpectRefused(joined({kBayer, {"--black", "dark"}}), "--black dark needs --dark");
    ExpectRefused(joined({kBayer, {"--black", "profile"}}), "--black profile needs a profile with BlackLevel");
    ExpectRefused(joined({kBayer, {"--black", "4096"}}), "0..4095");
    ExpectRefused(joined({kBayer, {"--black", "9", "--white", "9"}}), "not below");
}

TEST_F(Develop, BlackOfADarkFrame) {
    printed({"calibrate", "dark", "--sim", "--width", "80", "--height", "64", "-f", "raw12", "-n", "2", "--no-noise",
             "-o", Path("dark.png"), "--raw", Path("dark.raw")});
    const Arguments form = sized(80, 64, {"-f", "raw12", "-a", "rggb", "--wb", "1,1,1", "--matrix", "none"});
    // The dark frame itself becomes black, subtracted or by its level.
    for (const Arguments& dark : {Arguments{"--noise", "complex"}, {"--black", "dark"}}) {
        const SPng picture = Picture(Path("dark.raw"), joined({form, dark, {"--dark", Path("dark.png")}}));
        EXPECT_EQ(*std::ranges::max_element(picture.samples), 0U);
    }
    const SPng above = Picture(Path("dark.raw"), joined({form, {"--black", "0"}}));
    EXPECT_GT(*std::ranges::min_element(above.samples), 0U);
}

TEST_F(Develop, WhiteBalanceMakesTheSurfaceGrey) {
    const std::vector<std::uint16_t> words = surface(400, 800, 200);
    const Arguments form = joined({kBayer, {"--black", "0", "--tone", "linear", "--matrix", "none"}});
    // 800 of 4095: 49.8.
    const Samples grey = {50, 50, 50};
    EXPECT_EQ(color(Developed(words, joined({form, {"--wb", "2,1,4"}}))), grey);
    EXPECT_EQ(color(Developed(words, joined({form, {"--wb", "2,1,1,4"}}))), grey);
    EXPECT_EQ(color(Developed(words, joined({form, {"--wb", "1,0.5,2"}}))), grey) << "proportions alone count";
    EXPECT_EQ(color(Developed(words, joined({form, {"--wb", "auto"}}))), grey);
    EXPECT_EQ(color(Developed(words, joined({form, {"--wb", "grey:2,2,4,3"}}))), grey);
    const std::string profile = WriteText(
        "p.json",
        R"({"AsShotNeutral": [0.5, 1, 0.25], "whiteBalances": {"candle": [0.5, 0.5, 0.25], "D65": [1, 1, 1]}})");
    EXPECT_EQ(color(Developed(words, joined({form, {"-p", profile}}))), grey);
    EXPECT_EQ(color(Developed(words, joined({form, {"-p", profile, "--wb", "profile"}}))), grey);
    EXPECT_EQ(color(Developed(words, joined({form, {"-p", profile, "--wb", "1,1,1"}}))), (Samples{25, 50, 12}));
    EXPECT_EQ(color(Developed(words, joined({form, {"-p", profile, "--wb", "profile:D65"}}))), (Samples{25, 50, 12}));
    ExpectRefused(joined({kBayer, {"-p", profile, "--wb", "profile:sun"}}), "the profile has no white balance \"sun\"");
    ExpectRefused(joined({kBayer, {"--wb", "profile"}}), "--wb profile needs a profile with AsShotNeutral");
    ExpectRefused(joined({kBayer, {"--wb", "grey:0,0,1,1"}}), "--wb grey needs a region of 2 x 2");
    ExpectRefused(joined({kBayer, {"--wb", "grey:0,0,8,8", "--black", "0"}}), "--wb: the region is not brighter");
    ExpectRefused(joined({kBayer, {"--wb", "2"}}), "--wb: \"2\" is none of R,G,B");
    ExpectRefused(joined({kBayer, {"--wb", "1,1,9", "--black", "0"}}), "there are none beyond 8");
    ExpectRefused(joined({kGray, {"--wb", "1,1,1"}}), "--wb needs a Bayer frame");
}

TEST_F(Develop, ClippedHighlightsStayNeutral) {
    const Arguments form =
        joined({kBayer, {"--black", "64", "--wb", "2.1,1,1.6", "--matrix", "1.9,-0.7,-0.2,-0.3,1.6,-0.3,0,-0.7,1.7"}});
    for (const char* const highlights : {"clip", "blend"}) {
        const Arguments choice = {"--highlights", highlights};
        EXPECT_EQ(color(Developed(surface(4095, 4095, 4095), joined({form, choice}))), (Samples{255, 255, 255}));
    }
    // Green alone is saturated. Clipped, all end there.
    const std::vector<std::uint16_t> green = surface(2500, 4095, 3000);
    const Samples clipped = color(Developed(green, form));
    EXPECT_EQ(clipped, (Samples{255, 255, 255}));
    const Samples blended = color(Developed(green, joined({form, {"--highlights", "blend"}})));
    EXPECT_LT(*std::ranges::max_element(blended), 255U);
    EXPECT_LT(*std::ranges::max_element(blended) - *std::ranges::min_element(blended), 40U);
    // What is far from saturated is alike both ways, but for roundings.
    const std::vector<std::uint16_t> dim = surface(500, 900, 600);
    const Samples one = color(Developed(dim, form));
    const Samples other = color(Developed(dim, joined({form, {"--highlights", "blend"}})));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(one[i], other[i], 1);
    }
}

TEST_F(Develop, MatrixOfTheCommandLineAndOfTheProfile) {
    const Arguments form = joined({kBayer, {"--black", "0", "--tone", "linear", "--wb", "1,1,1"}});
    const std::vector<std::uint16_t> words = surface(1000, 2000, 3000);
    EXPECT_EQ(color(Developed(words, joined({form, {"--matrix", "none"}}))), (Samples{62, 125, 187}));
    // 2 x 1000 - 2000, 0.5 x (1000 + 3000), 3000.
    EXPECT_EQ(color(Developed(words, joined({form, {"--matrix", "2,-1,0,0.5,0,0.5,0,0,1"}}))), (Samples{0, 125, 187}));
    // The largest factors that there are, where rounding has no more room.
    const Samples largest = color(Developed(words, joined({form, {"--matrix", "7.9998,0.00011,0.00011,0,1,0,0,0,1"}})));
    EXPECT_EQ(largest, (Samples{255, 125, 187}));
    // A camera of sRGB's primaries: its white is 1, 1, 1 under D65.
    const std::string profile = WriteText("p.json", R"({"CalibrationIlluminant1": 21, "ColorMatrix1":
        [3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570]})");
    const Samples seen = color(Developed(words, joined({form, {"-p", profile}})));
    EXPECT_NEAR(seen[0], 62, 1);
    EXPECT_NEAR(seen[1], 125, 1);
    EXPECT_NEAR(seen[2], 187, 1);
    ExpectRefused(joined({kBayer, {"--matrix", "profile"}}), "--matrix profile needs a profile with ColorMatrix1");
    ExpectRefused(joined({kBayer, {"--matrix", "1,0,0,0,1,0,0,0"}}), "is no matrix of 9 numbers");
    ExpectRefused(joined({kBayer, {"--matrix", "9,0,0,0,1,0,0,0,1"}}), "is no matrix of 9 numbers");
    ExpectRefused(joined({kGray, {"--matrix", "1,0,0,0,1,0,0,0,1"}}), "--matrix needs a colour picture");
}

TEST_F(Develop, WhatIsAssumedIsSaidInOneLine) {
    const std::vector<std::uint16_t> words = surface(400, 800, 200);
    Developed(words, kBayer,
              "warning: no profile; assumed: black 0, no colour matrix, white balance by the mean of the picture");
    Developed(words, joined({kBayer, {"--black", "0", "--matrix", "none"}}),
              "no profile; assumed: white balance by the mean of the picture");
    Developed({1, 2, 3, 4}, kGray, "no profile; assumed: black 0");
    const std::string profile = WriteText("p.json", R"({"AsShotNeutral": [0.5, 1, 0.25], "BlackLevel": 64})");
    Developed(words, joined({kBayer, {"-p", profile}}), "the profile does not say all; assumed: no colour matrix");
}

TEST_F(Develop, TheProfileSaysAll) {
    WriteText("in.raw.json", R"({"width": 8, "height": 8, "format": "raw12", "colorArray": "rggb", "BlackLevel": 64,
        "WhiteLevel": 3264, "AsShotNeutral": [0.5, 1, 0.25], "toneCurve": "linear", "CalibrationIlluminant1": 21,
        "ForwardMatrix1": [0.4361, 0.3851, 0.1431, 0.2225, 0.7169, 0.0606, 0.0139, 0.0971, 0.7139]})");
    // Half of the range in green.
    const std::vector<std::uint16_t> words = surface(64 + 800, 64 + 1600, 64 + 400);
    expectNear(color(Developed(words, {})), 127.5);
    EXPECT_EQ(color(Developed(words, {"--ev", "-1"})), (Samples{64, 64, 64}));
    EXPECT_EQ(color(Developed(words, {"--ev", "auto"})), (Samples{255, 255, 255}));
    EXPECT_EQ(color(Developed(words, {"--tone", "gamma:2"})), (Samples{180, 180, 180}));
    // The same camera with two bits less: its levels are divided by four.
    std::vector<std::uint16_t> narrow = words;
    for (std::uint16_t& word : narrow) {
        word = static_cast<std::uint16_t>(word / 4);
    }
    expectNear(color(Developed(narrow, {"-f", "raw10"})), 127.5);
}

TEST_F(Develop, LinearizationComesFirst) {
    // Squares: of a sample s of 8 bits s * s.
    std::string table = "0";
    for (unsigned s = 1; s < 256; ++s) {
        table += ", " + std::to_string(s * s);
    }
    const std::string profile = WriteText("p.json", R"({"width": 4, "height": 1, "format": "mono8", "BlackLevel": 100,
        "toneCurve": "linear", "LinearizationTable": [)" +
                                                        table + "]}");
    // (128 x 128 - 100) / (65025 - 100) of 255 = 63.96.
    const SPng picture = Picture(Write("in.raw", {10, 128, 255, 9}), {"-p", profile});
    EXPECT_EQ(picture.samples, (Samples{0, 64, 255, 0}));
}

TEST_F(Develop, PatternsOfBlackRepeat) {
    const std::string profile =
        WriteText("p.json", R"({"width": 2, "height": 2, "format": "raw12", "colorArray": "rggb",
        "BlackLevelRepeatDim": [2, 2], "BlackLevel": [100, 200, 300, 400], "AsShotNeutral": [1, 1, 1]})");
    const SPng picture = Developed({100, 200, 300, 400}, {"-p", profile, "-m", "mono"});
    EXPECT_EQ(picture.samples, (Samples{0, 0, 0, 0}));
}

TEST_F(Develop, FramesAreTurned) {
    const std::vector<std::uint16_t> words = {0, 1000, 2000, 3000, 4000, 4095};
    const Arguments form = sized(3, 2, {"-f", "mono12", "--black", "0", "--tone", "linear"});
    const Samples straight = Developed(words, form).samples;
    const auto turnedBy = [&](const Arguments& turn) {
        const SPng picture = Developed(words, joined({form, turn}));
        EXPECT_EQ(picture.width * picture.height, 6U);
        Samples order;
        for (const std::uint16_t sample : picture.samples) {
            order.push_back(static_cast<std::uint16_t>(std::ranges::find(straight, sample) - straight.begin()));
        }
        return order;
    };
    EXPECT_EQ(turnedBy({"--mirror", "h"}), (Samples{2, 1, 0, 5, 4, 3}));
    EXPECT_EQ(turnedBy({"--mirror", "v"}), (Samples{3, 4, 5, 0, 1, 2}));
    EXPECT_EQ(turnedBy({"--mirror", "hv"}), (Samples{5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(turnedBy({"--rotate", "cw"}), (Samples{3, 0, 4, 1, 5, 2}));
    EXPECT_EQ(turnedBy({"--rotate", "ccw"}), (Samples{2, 5, 1, 4, 0, 3}));
    EXPECT_EQ(turnedBy({"--mirror", "h", "--rotate", "cw"}), (Samples{5, 2, 4, 1, 3, 0}));
}

TEST_F(Develop, ThreadsDoNotShow) {
    std::vector<std::uint16_t> words;
    for (unsigned i = 0; i < 200 * 300; ++i) {
        words.push_back(static_cast<std::uint16_t>(i * 2654435761U >> 20));
    }
    const Arguments form = sized(
        200, 300,
        {"-f", "raw12", "-a", "gbrg", "--black", "64", "--matrix", "none", "--wb", "2,1,1.5", "--sharpness", "60,9"});
    EXPECT_EQ(Developed(words, joined({form, {"--threads", "1"}})).samples,
              Developed(words, joined({form, {"--threads", "5"}})).samples);
}

TEST_F(Develop, PackedFramesKeepTheirDepth) {
    // 0x3BC and 0x12A of 10 bits.
    const std::string input = Write("in.raw", {0xBC, 0xAB, 0x04});
    const SPng picture =
        Picture(input, sized(2, 1, {"-f", "mono10p", "--black", "0", "--tone", "linear", "--bits-out", "16"}));
    EXPECT_NEAR(picture.samples[0], 0x3BC * 65535.0 / 1023, 32);
    EXPECT_NEAR(picture.samples[1], 0x12A * 65535.0 / 1023, 32);
}

TEST_F(Develop, DngFilesTellTheirLevels) {
    const std::vector<std::uint16_t> words = surface(464, 864, 264);
    const std::string input = Write("in.raw", littleEndian(words));
    const Arguments levels = {"--black", "64", "--white", "3264"};
    expectDone(runVekcam(joined({{"convert", input, "-o", Path("frame.dng")}, kBayer, levels})));
    const SPng dng = Picture(Path("frame.dng"), {"--wb", "2,1,4"}, "assumed: no colour matrix");
    EXPECT_EQ(dng.samples, Picture(input, joined({kBayer, levels, {"--wb", "2,1,4", "--matrix", "none"}})).samples);
}

TEST_F(Develop, ProfilesGoIntoDngFiles) {
    const std::string profile = WriteText("p.json", R"({"UniqueCameraModel": "Trigger 5", "width": 8, "height": 8,
        "format": "raw12", "colorArray": "rggb", "BlackLevel": 64, "WhiteLevel": 3264,
        "AsShotNeutral": [0.5, 1, 0.25], "NoiseProfile": [0.001, 0.0001],
        "CalibrationIlluminant1": 23, "ColorMatrix1": [0.9, -0.3, -0.1, -0.4, 1.2, 0.2, -0.1, 0.2, 0.6],
        "CalibrationIlluminant2": 21, "ColorMatrix2": [0.8, -0.2, -0.1, -0.5, 1.3, 0.2, -0.1, 0.2, 0.7]})");
    const std::string input = Write("in.raw", littleEndian(surface(500, 1000, 700)));
    expectDone(runVekcam({"convert", input, "-p", profile, "-o", Path("frame.dng")}));
    const nlohmann::json imported =
        nlohmann::json::parse(printed({"profile", "new", "--from", Path("frame.dng"), "-o", "-"}));
    EXPECT_EQ(imported["UniqueCameraModel"], "Trigger 5");
    EXPECT_EQ(imported["BlackLevel"][0], 64);
    EXPECT_EQ(imported["WhiteLevel"], 3264);
    // D65 comes first.
    EXPECT_EQ(imported["CalibrationIlluminant1"], 21);
    EXPECT_EQ(imported["CalibrationIlluminant2"], 23);
    EXPECT_NEAR(imported["ColorMatrix1"][0].get<double>(), 0.8, 1e-4);
    EXPECT_NEAR(imported["ColorMatrix2"][8].get<double>(), 0.6, 1e-4);
    EXPECT_NEAR(imported["AsShotNeutral"][2].get<double>(), 0.25, 1e-4);
    // The same picture by the file as by the profile.
    const SPng dng = Picture(Path("frame.dng"), {});
    const SPng raw = Picture(input, {"-p", profile});
    ASSERT_EQ(dng.samples.size(), raw.samples.size());
    for (std::size_t i = 0; i < raw.samples.size(); ++i) {
        EXPECT_NEAR(dng.samples[i], raw.samples[i], 1);
    }
}

TEST_F(Develop, TheShadingMapBecomesGainMaps) {
    printed({"calibrate", "flat", "--sim", "--width", "80", "--height", "64", "-f", "raw12", "-n", "2", "-o",
             Path("flat.png"), "--raw", Path("flat.raw")});
    const std::string profile = WriteText("p.json", R"({"width": 80, "height": 64, "format": "raw12",
        "colorArray": "rggb", "shadingMap": "flat.png"})");
    expectDone(runVekcam({"convert", Path("flat.raw"), "-p", profile, "-o", Path("frame.dng")}));
    const std::string bytes = Content("frame.dng");
    // Opcode 9 of version 1.3, four times, one for each place of the cell.
    std::size_t maps = 0;
    const std::string head("\0\0\0\x09\x01\x03\0\0", 8);
    for (std::size_t at = bytes.find(head); at != std::string::npos; at = bytes.find(head, at + 1)) {
        ++maps;
    }
    EXPECT_EQ(maps, 4U);
}

TEST_F(Develop, WhatDoesNotGoTogether) {
    ExpectRefused(joined({kBayer, {"--plain", "--tone", "srgb"}}), "--tone does not go with --plain");
    ExpectRefused(joined({kBayer, {"--gamma", "2", "--ev", "1"}}), "--ev does not go with --gamma");
    ExpectRefused(joined({kBayer, {"--display", "--highlights", "blend"}}), "--highlights does not go with --display");
    ExpectRefused(sized(4, 4, {"-f", "bgr8", "--tone", "srgb"}), "--tone does not go with format bgr8");
    ExpectRefused(joined({kBayer, {"--tone", "gamma:0"}}), "is none of srgb, bt709, linear and gamma:G");
    ExpectRefused(joined({kBayer, {"--ev", "11"}}), "is neither auto nor a number of -10 to 10");
    ExpectRefused(joined({kBayer, {"--highlights", "keep"}}), "is neither clip nor blend");
    ExpectRefused(joined({kBayer, {"--method", "bicubic"}}), "the frame cannot be developed so");
    ExpectRefused(joined({kBayer, {"--white", "0"}}), "not below");
}

TEST_F(Develop, SmallFrames) {
    for (unsigned width = 1; width <= 6; ++width) {
        for (unsigned height = 1; height <= 6; ++height) {
            const std::string input = Write("in.raw", std::vector<std::uint8_t>(2U * width * height, 7));
            const SResult result = runVekcam(joined(
                {{"convert", input, "-o", Path("out.png")}, sized(width, height, {"-f", "raw12", "-a", "rggb"})}));
            EXPECT_TRUE(result.exitCode == 0 || result.exitCode == 2) << result.err;
            EXPECT_TRUE(isOneLineMessage(result.err)) << result.err;
            EXPECT_EQ(result.exitCode == 0, width >= 2 && height >= 2) << width << " x " << height << result.err;
        }
    }
}

} // namespace

} // namespace vek::test
