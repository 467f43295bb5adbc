// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

#include "VekTrgApi.h"
#include "sim/SimulatedDriver.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <ostream>
#include <random>

namespace vek::test {

namespace {

constexpr unsigned kWidth = 320;
constexpr unsigned kHeight = 240;

class Calibrate : public CConversionTest {
protected:
    /// Writes NAME.png, NAME.json and the last frame, NAME.raw, of a small simulated camera.
    SResult Taken(const std::string& kind, const std::string& name, const Arguments& more) const {
        SResult result = runVekcam(joined({{"calibrate", kind, "-o", Path(name + ".png"), "--raw", Path(name + ".raw"),
                                            "--width", std::to_string(kWidth), "--height", std::to_string(kHeight)},
                                           more}));
        expectDone(result); // no progress bar where no terminal is
        return result;
    }

    /// The samples of a frame that was kept, as grey, after the corrections that are named.
    SPng Corrected(const std::string& name, const Arguments& form, const Arguments& corrections) const {
        return ConvertedFile(Path(name + ".raw"), sized(kWidth, kHeight, joined({{"-m", "mono"}, form, corrections})));
    }

    nlohmann::json Description(const std::string& name) const {
        std::ifstream file(Path(name + ".json"));
        return nlohmann::json::parse(file);
    }
};

const Arguments kBayer8 = {"-f", "raw8", "-a", "rggb"};
const Arguments kBayer12 = {"-f", "raw12", "-a", "rggb"};

/// Largest difference of two samples at the same place of the 2 x 2 cell.
unsigned spread(const SPng& image) {
    unsigned largest = 0;
    for (unsigned place = 0; place < 4; ++place) {
        unsigned low = 0xFFFF;
        unsigned high = 0;
        for (unsigned y = place / 2; y < image.height; y += 2) {
            for (unsigned x = place % 2; x < image.width; x += 2) {
                const unsigned sample = image.samples[y * image.width + x];
                low = std::min(low, sample);
                high = std::max(high, sample);
            }
        }
        largest = std::max(largest, high - low);
    }
    return largest;
}

std::size_t countFrom(const SPng& image, unsigned level) {
    return static_cast<std::size_t>(
        std::count_if(image.samples.begin(), image.samples.end(), [=](unsigned sample) { return sample >= level; }));
}

// ---- what is written ----

TEST_F(Calibrate, MeanOfTheFramesAndHowTheyWereTaken) {
    const SResult result =
        Taken("dark", "dark", {"-f", "raw12", "-n", "5", "--seed", "9", "--exposure", "40000", "--gain", "60"});
    const nlohmann::json json = Description("dark");
    EXPECT_EQ(json.at("kind"), "dark");
    EXPECT_EQ(json.at("width"), kWidth);
    EXPECT_EQ(json.at("height"), kHeight);
    EXPECT_EQ(json.at("format"), "raw12");
    EXPECT_EQ(json.at("depth"), 12);
    EXPECT_EQ(json.at("scale"), 16);
    EXPECT_EQ(json.at("colorArray"), "rggb");
    EXPECT_EQ(json.at("frames"), 5);
    EXPECT_EQ(json.at("exposureClocks"), 40000);
    EXPECT_EQ(json.at("gain"), 60);
    expectPart(result.out, Path("dark.png") + ", " + Path("dark.json"));
    expectPart(result.out, "5 of 320 x 240 pixels, raw12, rggb");

    // The same camera, without the program.
    const sim::SCameraModel& model = sim::findCameraModel("global-1m");
    sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
    sensor.width = kWidth;
    sensor.height = kHeight;
    sensor.seed = 9;
    sim::CSimulatedDriver driver(model, sensor);
    driver.SetLensCap(true);
    driver.SetExposure(40000);
    driver.SetGain(60);
    driver.SetTransferFormat(VEK_TRANSFER_RAW12);
    std::vector<unsigned> sums(kWidth * kHeight);
    std::vector<std::uint8_t> frame;
    for (unsigned i = 0; i < 5; ++i) {
        frame = driver.CaptureFrame();
        for (std::size_t p = 0; p < sums.size(); ++p) {
            sums[p] += frame[2 * p] + 256U * frame[2 * p + 1];
        }
    }
    Samples expected;
    for (const unsigned sum : sums) {
        expected.push_back(static_cast<std::uint16_t>((16 * sum + 2) / 5));
    }
    const SPng image = readPng(Path("dark.png"));
    EXPECT_EQ(image.bits, 16U);
    EXPECT_EQ(image.channels, 1U);
    EXPECT_EQ(image.samples, expected);
    EXPECT_EQ(readFile(Path("dark.raw")), frame);
}

TEST_F(Calibrate, FlatFrameIsEvenlyLitAndNotDark) {
    const SResult result = Taken("flat", "flat", {"-n", "1", "--no-noise", "--light", "0.5"});
    EXPECT_EQ(Description("flat").at("kind"), "flat");
    EXPECT_EQ(Description("flat").at("scale"), 256);
    // White reaches half the range in the centre's green, at half the light a quarter; black is 4 of 255.
    const SPng image = readPng(Path("flat.png"));
    EXPECT_NEAR(image.samples[(kHeight / 2) * kWidth + kWidth / 2 + 1] / 256.0, 4 + 251 / 4.0, 1.5);
    EXPECT_LT(image.samples[1], 0.85 * image.samples[(kHeight / 2) * kWidth + kWidth / 2 + 1]);
    expectPart(result.out, "saturated   0 pixels");
    const SResult bright = Taken("flat", "bright", {"-n", "2", "--light", "100"});
    expectPart(bright.out, "saturated   76800 pixels");
}

// ---- what it corrects ----

struct SPatternCase {
    const char* format;
    unsigned hot;  ///< level from which a pixel counts as hot, in the picture's samples
    unsigned left; ///< what may be left of it
};

void PrintTo(const SPatternCase& which, std::ostream* stream) {
    *stream << which.format;
}

class CalibrateDepth : public Calibrate, public ::testing::WithParamInterface<SPatternCase> {};

TEST_P(CalibrateDepth, DarkFrameTakesThePatternAway) {
    // 200 pixels have a fifth of the range and more, however long the exposure. What is left is their photon noise.
    const Arguments form = {"-f", GetParam().format, "-a", "rggb"};
    Taken("dark", "dark", {"-f", GetParam().format, "--hot", "200", "-n", "16"});
    EXPECT_EQ(countFrom(Corrected("dark", form, {}), GetParam().hot), 200U);
    const SPng corrected = Corrected("dark", form, {"--noise", "complex", "--dark", Path("dark.png")});
    EXPECT_EQ(countFrom(corrected, GetParam().left), 0U);
    // Taken anew, with other noise, and without a dark frame: the filter takes single bright pixels away, too.
    EXPECT_EQ(countFrom(Corrected("dark", form, {"--noise", "easy"}), GetParam().left), 0U);
}

// A Bayer frame of odd sides: the one bright pixel goes.
TEST_F(Calibrate, EasyFilterTakesOddSizes) {
    std::vector<std::uint8_t> frame(7 * 5, 30);
    frame[3 * 7 + 6] = 200;
    EXPECT_EQ(Converted(frame, sized(7, 5, {"-f", "raw8", "-a", "grbg", "-m", "mono", "--noise", "easy"})).samples,
              Samples(7 * 5, 30));
}

INSTANTIATE_TEST_SUITE_P(Depths, CalibrateDepth,
                         ::testing::Values(SPatternCase{"raw8", 48, 20}, SPatternCase{"raw10", 48 * 257, 20 * 257},
                                           SPatternCase{"raw12", 48 * 257, 20 * 257}));

TEST_F(Calibrate, DarkFrameTakesHotPixelsOffALitSurface) {
    Taken("dark", "dark", {"--hot", "300", "--no-noise", "-n", "1"});
    Taken("flat", "clean", {"--no-noise", "-n", "1"});
    Taken("flat", "lit", {"--hot", "300", "--no-noise", "-n", "1"});
    const Samples clean = Corrected("clean", kBayer8, {}).samples;
    const Samples before = Corrected("lit", kBayer8, {}).samples;
    const Samples after = Corrected("lit", kBayer8, {"--noise", "complex", "--dark", Path("dark.png")}).samples;
    std::size_t hot = 0;
    std::size_t clipped = 0;
    for (std::size_t i = 0; i < clean.size(); ++i) {
        hot += before[i] > clean[i] + 40 ? 1U : 0U;
        if (before[i] < 255) {
            EXPECT_NEAR(after[i], clean[i], 1) << i; // off by rounding alone
            continue;
        }
        // What was saturated becomes the median of its neighbours, except for the two outermost rows and columns.
        const std::size_t x = i % kWidth;
        const std::size_t y = i / kWidth;
        if (x >= 2 && x + 2 < kWidth && y >= 2 && y + 2 < kHeight) {
            EXPECT_NEAR(after[i], clean[i], 3) << i;
            ++clipped;
        }
    }
    EXPECT_EQ(hot, 300U);
    EXPECT_GT(clipped, 30U);
}

TEST_F(Calibrate, FlatFrameTakesTheShadingAway) {
    for (const char* const model : {"global-1m", "clock-vga"}) {
        const bool mono = std::string(model) == "clock-vga";
        // Gains are in 1/128: a level of up to 128 comes out one lower at most.
        Taken("flat", "flat", {"--sim", model, "--no-noise", "-n", "1", "--light", "0.6"});
        const Arguments form = {"-f", "raw8", "-a", mono ? "mono" : "rggb"};
        EXPECT_GE(spread(Corrected("flat", form, {})), 18U) << model;
        const SPng flat = Corrected("flat", form, {"--shading", Path("flat.png")});
        EXPECT_LE(spread(flat), 1U) << model;
        // It comes to the level of the centre.
        const SPng before = Corrected("flat", form, {});
        EXPECT_LE(*std::max_element(before.samples.begin(), before.samples.end()), 128) << model;
        // The level of the centre, less the fractions that the target and the product lose.
        EXPECT_NEAR(flat.Mean(130, 90, 60, 60, 0), before.Mean(130, 90, 60, 60, 0), 2) << model;
        if (mono) {
            const auto [low, high] = std::minmax_element(flat.samples.begin(), flat.samples.end());
            EXPECT_LE(*high - *low, 1);
        }
    }
}

TEST_F(Calibrate, ShadingOfNoisyFrames) {
    // Means of 40 x 40 pixels of another frame than those of the calibration.
    Taken("flat", "flat", {"-n", "64"});
    Taken("flat", "other", {"-n", "1", "--seed", "1"});
    const SPng before = Corrected("other", kBayer8, {});
    const SPng after = Corrected("other", kBayer8, {"--shading", Path("flat.png")});
    const auto blocks = [](const SPng& image) {
        double low = 255;
        double high = 0;
        for (unsigned y = 0; y < kHeight; y += 40) {
            for (unsigned x = 0; x < kWidth; x += 40) {
                low = std::min(low, image.Mean(x, y, 40, 40, 0));
                high = std::max(high, image.Mean(x, y, 40, 40, 0));
            }
        }
        return high - low;
    };
    EXPECT_GT(blocks(before), 15);
    EXPECT_LT(blocks(after), 1);
}

TEST_F(Calibrate, ShadingAtTwelveBitsIsFinerThanALevelOfEight) {
    Taken("flat", "flat", {"-f", "raw12", "--no-noise", "-n", "1"});
    const SPng deep = Corrected("flat", kBayer12, {"--shading", Path("flat.png")});
    EXPECT_EQ(deep.bits, 16U); // no stage has taken it down
    // Gains are in 1/128: at most 2064 / 128 of 4095, in 16 bits 16 times as much.
    EXPECT_LE(spread(deep), 17U * 16U);
    EXPECT_GT(spread(Corrected("flat", kBayer12, {})), 300U * 16U);
}

// ---- order and depth ----

TEST_F(Calibrate, DarkComesBeforeShadingAndShadingBeforeTheStages) {
    Taken("dark", "dark", {"-f", "raw12", "--hot", "100", "-n", "4"});
    Taken("flat", "flat", {"-f", "raw12", "-n", "4"});
    Taken("flat", "lit", {"-f", "raw12", "--hot", "100", "-n", "1"});
    const auto words = [&](const std::string& name) {
        Samples samples = readPng(Path(name + ".png")).samples;
        for (std::uint16_t& sample : samples) {
            sample = static_cast<std::uint16_t>(std::min((sample + 8) >> 4, 4095));
        }
        return samples;
    };
    Samples dark = words("dark");
    Samples flat = words("flat");
    const std::vector<std::uint8_t> raw = readFile(Path("lit.raw"));
    Samples image(kWidth * kHeight);
    for (std::size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<std::uint16_t>(raw[2 * i] | raw[2 * i + 1] << 8);
    }
    const VekCam_Handle handle = VekCam_Open(-1);
    const auto noise = [&](unsigned long mode, Samples& samples) {
        EXPECT_EQ(VekCam_NoiseReduction(handle, mode, kWidth, kHeight, 0, VEK_COLOR_ARRAY_RGGB, samples.data(), 12), 0);
    };
    const auto shading = [&](unsigned long mode, Samples& samples) {
        EXPECT_EQ(VekCam_SetShadingCorrectionMode(handle, mode), 0);
        EXPECT_EQ(VekCam_ShadingCorrection(handle, kWidth, kHeight, 0, samples.data(), 12), 0);
    };
    noise(VEK_NOISE_STORE_DARK, dark);
    noise(VEK_NOISE_COMPLEX, image);
    shading(VEK_SHADING_CALIBRATE_GAIN, flat);
    shading(VEK_SHADING_GAIN, image);
    VekCam_Close(handle);

    const Arguments both = {"--shading", Path("flat.png"), "--dark", Path("dark.png"), "--noise", "complex"};
    Samples full;
    Samples doubled;
    for (const std::uint16_t sample : image) {
        full.push_back(static_cast<std::uint16_t>(sample << 4 | sample >> 8));
        doubled.push_back(static_cast<std::uint16_t>(std::min(2 * (sample >> 4), 255)));
    }
    EXPECT_EQ(Corrected("lit", kBayer12, both).samples, full);
    // With a stage the corrected frame is taken down to 8 bits.
    const SPng balanced = Corrected("lit", kBayer12, joined({{"--wb", "2,2,2,2"}, both}));
    EXPECT_EQ(balanced.bits, 8U);
    EXPECT_EQ(balanced.samples, doubled);
}

TEST_F(Calibrate, PackedFramesTakeCalibrationsOfTheirDepth) {
    Taken("dark", "dark", {"-f", "raw12", "--hot", "50", "--no-noise", "-n", "1"});
    // The same frame as packed rows: two samples in three bytes.
    const std::vector<std::uint8_t> words = readFile(Path("dark.raw"));
    std::vector<std::uint8_t> packed;
    for (std::size_t i = 0; i < words.size(); i += 4) {
        const unsigned first = words[i] | words[i + 1] << 8U;
        const unsigned second = words[i + 2] | words[i + 3] << 8U;
        packed.insert(packed.end(),
                      {static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(first >> 8 | second << 4),
                       static_cast<std::uint8_t>(second >> 4)});
    }
    Write("packed.raw", packed);
    const Arguments form = {"-f", "raw12p", "-a", "rggb"};
    EXPECT_EQ(countFrom(Corrected("packed", form, {}), 48), 50U);
    EXPECT_EQ(countFrom(Corrected("packed", form, {"--noise", "complex", "--dark", Path("dark.png")}), 8), 0U);
}

// ---- what cannot work ----

class CorrectionRefusal : public ::testing::TestWithParam<SRefusal> {};

TEST_P(CorrectionRefusal, ExitTwoWithOneLine) {
    expectRefused(runVekcam(joined({{"convert", "in.raw", "-o", "out.png"}, GetParam().arguments})), 2,
                  GetParam().message);
}

Arguments bayer(unsigned width, unsigned height, const Arguments& more) {
    return sized(width, height, joined({{"-f", "raw8", "-a", "rggb"}, more}));
}

INSTANTIATE_TEST_SUITE_P(
    Combinations, CorrectionRefusal,
    ::testing::Values(SRefusal{bayer(4, 4, {"--noise", "complex"}), "--noise complex needs --dark"},
                      SRefusal{bayer(4, 4, {"--noise", "easy", "--dark", "d.png"}), "--dark goes with --noise complex"},
                      SRefusal{bayer(4, 4, {"--dark", "d.png"}), "--dark goes with --noise complex"},
                      SRefusal{bayer(4, 4, {"--noise", "off"}), "\"off\" is none of: easy, complex"},
                      SRefusal{bayer(3, 4, {"--noise", "easy"}), "needs 4 x 4 pixels or more"},
                      SRefusal{bayer(4, 3, {"--noise", "easy"}), "needs 4 x 4 pixels or more"},
                      SRefusal{{"-W", "1", "-H", "9", "-f", "mono8", "--noise", "easy"}, "needs 2 x 2 pixels or more"},
                      SRefusal{bayer(4, 4, {"--shading", "flat.tif"}),
                               "flat.tif: the name of a calibration ends in .png"},
                      SRefusal{{"-W", "4", "-H", "4", "-f", "bgr8", "--shading", "f.png"},
                               "--shading needs a raw or mono frame: format bgr8 is colour already"},
                      SRefusal{{"-W", "4", "-H", "4", "-f", "ycrcb422", "--noise", "easy"},
                               "--noise needs a raw or mono frame: format ycrcb422 is colour already"}));

TEST_F(Calibrate, CalibrationsOfOtherFramesAreRefused) {
    Taken("dark", "dark", {"-n", "1"});
    Taken("flat", "flat", {"-n", "1", "-f", "raw12"});
    const auto refused = [&](const Arguments& form, const Arguments& corrections) {
        Write("in.raw", std::vector<std::uint8_t>(2 * kWidth * kHeight));
        const SResult result =
            runVekcam(joined({{"convert", Path("in.raw"), "--plain", "-o", Path("out.png")}, form, corrections}));
        expectRefused(result, 1);
        EXPECT_FALSE(std::filesystem::exists(Path("out.png")));
        return result.err;
    };
    const Arguments dark = {"--noise", "complex", "--dark", Path("dark.png")};
    const std::string made =
        "vekcam: " + Path("dark.png") + ": made of frames of 320 x 240, 8 bit, rggb; this frame is ";
    EXPECT_EQ(refused({"-W", "240", "-H", "320", "-f", "raw8", "-a", "rggb"}, dark), made + "240 x 320, 8 bit, rggb\n");
    EXPECT_EQ(refused({"-W", "320", "-H", "240", "-f", "raw10", "-a", "rggb"}, dark),
              made + "320 x 240, 10 bit, rggb\n");
    EXPECT_EQ(refused({"-W", "320", "-H", "240", "-f", "mono8"}, dark), made + "320 x 240, 8 bit, mono\n");
    const Arguments size = {"-W", "320", "-H", "240", "-f", "raw8", "-a", "rggb"};
    EXPECT_EQ(refused(size, {"--shading", Path("dark.png")}),
              "vekcam: " + Path("dark.png") + ": a flat frame is needed, this one is dark\n");
    EXPECT_NE(refused(size, {"--shading", Path("flat.png")}).find("12 bit, rggb; this frame is 320 x 240, 8 bit"),
              std::string::npos);

    // Files that are missing or something else.
    EXPECT_NE(refused(size, {"--shading", Path("none.png")}).find("none.json: cannot open: No such file"),
              std::string::npos);
    std::filesystem::copy(Path("dark.json"), Path("lonely.json"));
    EXPECT_NE(refused(size, {"--noise", "complex", "--dark", Path("lonely.png")}).find("lonely.png: cannot open"),
              std::string::npos);
    Write("lonely.png", {1, 2, 3});
    EXPECT_NE(refused(size, {"--noise", "complex", "--dark", Path("lonely.png")}).find("lonely.png: cannot read"),
              std::string::npos);
    for (const std::string text : {"", "[]", "{\"kind\": \"dark\"}", "{\"kind\": 1}"}) {
        WriteText("lonely.json", text);
        EXPECT_NE(refused(size, {"--noise", "complex", "--dark", Path("lonely.png")})
                      .find("lonely.json: no description of a calibration"),
                  std::string::npos)
            << text;
    }
}

TEST_F(Calibrate, PicturesOfAnotherFormAreNoCalibration) {
    Taken("dark", "dark", {"-n", "1"});
    Corrected("dark", kBayer8, {});
    std::filesystem::copy(Path("out.png"), Path("dark.png"), std::filesystem::copy_options::overwrite_existing);
    const SResult result = runVekcam({"convert", Path("dark.raw"), "-o", Path("x.png"), "-W", "320", "-H", "240", "-f",
                                      "raw8", "-a", "rggb", "--noise", "complex", "--dark", Path("dark.png")});
    EXPECT_EQ(result.err, "vekcam: " + Path("dark.png") + ": no grey picture of 16 bits\n");
    // A whole picture of 16 bits in grey, but of another size than its description.
    Taken("dark", "dark", {"-n", "1"});
    const SResult other =
        runVekcam({"calibrate", "dark", "-n", "1", "--width", "64", "--height", "64", "-o", Path("small.png")});
    ASSERT_EQ(other.exitCode, 0);
    std::filesystem::copy(Path("small.png"), Path("dark.png"), std::filesystem::copy_options::overwrite_existing);
    const SResult size = runVekcam({"convert", Path("dark.raw"), "-o", Path("x.png"), "-W", "320", "-H", "240", "-f",
                                    "raw8", "-a", "rggb", "--noise", "complex", "--dark", Path("dark.png")});
    EXPECT_EQ(size.err, "vekcam: " + Path("dark.png") + ": 64 x 64 pixels, its description has 320 x 240\n");
}

// ---- frames of files ----

const Arguments kSmall = sized(64, 64, {"-f", "raw12", "-a", "rggb"});

/// A file of 64 x 64 words; levelOf: of a frame's pixel.
template <class LevelOf>
std::vector<std::uint8_t> framesOf(unsigned frames, const LevelOf& levelOf) {
    std::vector<std::uint16_t> words;
    for (unsigned frame = 0; frame < frames; ++frame) {
        for (unsigned y = 0; y < 64; ++y) {
            for (unsigned x = 0; x < 64; ++x) {
                words.push_back(static_cast<std::uint16_t>(levelOf(frame, x, y)));
            }
        }
    }
    return littleEndian(words);
}

TEST_F(Calibrate, MeanOfTheFramesOfFiles) {
    Write("f10.raw", framesOf(1, [](unsigned, unsigned, unsigned) { return 40; }));
    Write("f9.raw", framesOf(3, [](unsigned frame, unsigned x, unsigned) { return 100 + frame + x; }));
    const SResult result =
        runVekcam(joined({{"calibrate", "dark", Path("f*.raw"), "-o", Path("d.png"), "--exposure", "77"}, kSmall}));
    expectDone(result);
    expectPart(result.out, "4 of 64 x 64 pixels, raw12, rggb");
    const nlohmann::json json = Description("d");
    EXPECT_EQ(json.at("frames"), 4);
    EXPECT_EQ(json.at("exposureClocks"), 77);
    EXPECT_EQ(json.at("camera"), Path("f9.raw"));
    // (303 + 3 x + 40) / 4, times 16.
    EXPECT_EQ(readPng(Path("d.png")).samples[5], (303 + 15 + 40) * 4);
    // The first two frames alone, of a profile's form, as one file and as DNG files.
    WriteText("form.json", R"({"width": 64, "height": 64, "format": "raw12", "colorArray": "rggb",
                               "UniqueCameraModel": "Box"})");
    printed({"calibrate", "flat", Path("f9.raw"), "-n", "2", "-p", Path("form.json"), "-o", Path("e.png")});
    EXPECT_EQ(Description("e").at("camera"), "Box");
    EXPECT_EQ(readPng(Path("e.png")).samples[0], (100 + 101) * 8);
    for (const std::string frame : {"0", "1"}) {
        printed(joined({{"convert", Path("f9.raw"), "--frame", frame, "-o", Path(frame + ".dng")}, kSmall}));
    }
    printed({"calibrate", "flat", Path("0.dng"), Path("1.dng"), "-o", Path("g.png")});
    EXPECT_EQ(readPng(Path("g.png")).samples, readPng(Path("e.png")).samples);
    // A pipe.
    printed(joined({{"calibrate", "flat", "-", "-o", Path("h.png")}, kSmall}), {.inFile = Path("f9.raw")});
    EXPECT_EQ(Description("h").at("frames"), 3);
}

TEST_F(Calibrate, FilesThatDoNotFitAreRefused) {
    const std::string one = Write("one.raw", framesOf(1, [](unsigned, unsigned, unsigned) { return 1; }));
    const Arguments out = {"-o", Path("out.png")};
    const auto refused = [&](const Arguments& arguments, int code, const std::string& message) {
        expectRefused(runVekcam(joined({{"calibrate"}, arguments})), code, message);
        EXPECT_FALSE(std::filesystem::exists(Path("out.png")));
    };
    refused(joined({{"dark", one, "--sim"}, kSmall, out}), 2, "--sim is of cameras, and does not go with files");
    refused(joined({{"flat", one, "--raw", Path("r")}, kSmall, out}), 2, "--raw is of cameras");
    refused(joined({{"dark", "--src-offset", "5"}, out}), 2, "--src-offset is of files, and none is named");
    refused(joined({{"dark", "--width", "63"}, out}), 2, "63 is no side of a simulated sensor: 64 to 8192");
    refused(joined({{"dark", one}, out}), 2, "--width is required, or --profile");
    refused(joined({{"dark", Path("none*.raw")}, kSmall, out}), 1, "none*.raw: no such file");
    refused(joined({{"dark", Path("none.raw")}, kSmall, out}), 1, "none.raw: cannot open");
    refused(joined({{"dark", one, "-f", "raw12p", "-W", "8", "-H", "8", "-a", "rggb"}, out}), 2,
            "cannot be calibrated");
    refused(joined({{"dark", one}, kSmall, {"-o", one + ".png", "--json"}}), 2, "--json");
    // A mean that would replace one of its frames.
    std::filesystem::copy(one, Path("in.png"));
    refused(joined({{"dark", Path("in.png")}, kSmall, {"-o", Path("in.png")}}), 2, "in.png: is an input");
    printed(joined({{"convert", one, "-o", Path("small.dng")}, sized(32, 128, {"-f", "raw12", "-a", "rggb"})}));
    refused(joined({{"dark", one, Path("small.dng")}, kSmall, out}), 1,
            "small.dng: 32 x 128 pixels, raw12, rggb: the frames before have 64 x 64, raw12, rggb");
}

// ---- black level ----

TEST_F(Calibrate, BlackLevelOfEachColourGoesIntoAProfile) {
    // By place 60, 61, 62, 63; frames one up and one down; row 10 and column 21 stand out.
    Write("black.raw", framesOf(4, [](unsigned frame, unsigned x, unsigned y) {
              return 60 + y % 2 * 2 + x % 2 + (frame + x / 2) % 2 * 2 + (y == 10 ? 4 : 0) + (x == 21 ? 3 : 0);
          }));
    const nlohmann::json json = printedJson(joined({{"calibrate", "black", Path("black.raw"), "--json"}, kSmall}));
    EXPECT_EQ(json["frames"], 4);
    EXPECT_NEAR(json["black"]["R"]["level"].get<double>(), 61 + 4.0 / 32, 1e-9);
    EXPECT_NEAR(json["black"]["B"]["level"].get<double>(), 64 + 3.0 / 32, 1e-9);
    EXPECT_NEAR(json["black"]["Gr"]["noise"].get<double>(), std::sqrt(2.0), 1e-9);
    EXPECT_NEAR(json["black"]["Gr"]["error"].get<double>(), 0, 1e-9);
    EXPECT_EQ(json["rows"]["odd"][0]["index"], 10);
    EXPECT_EQ(json["columns"]["odd"][0]["index"], 21);

    // A new profile, and one that keeps its other members.
    printed(joined({{"calibrate", "black", Path("black.raw"), "-o", Path("new.json")}, kSmall}));
    const auto profile = nlohmann::json::parse(Content("new.json"));
    EXPECT_EQ(profile["BlackLevelRepeatDim"], nlohmann::json({2, 2}));
    EXPECT_EQ(profile["BlackLevel"].size(), 4U);
    EXPECT_EQ(profile["width"], 64);
    WriteText("camera.json", R"({"UniqueCameraModel": "Box", "width": 64, "height": 64, "format": "raw12",
                                 "colorArray": "rggb", "WhiteLevel": 4000, "BlackLevel": 7, "note": "kept"})");
    const Arguments into = {"calibrate", "black", Path("black.raw"), "-p", Path("camera.json")};
    printed(joined({into, {"-o", Path("copy.json")}}));
    printed(joined({into, {"-o", Path("camera.json")}}));
    EXPECT_EQ(Content("camera.json"), Content("copy.json"));
    const auto completed = nlohmann::json::parse(Content("camera.json"));
    EXPECT_EQ(completed["note"], "kept");
    EXPECT_EQ(completed["WhiteLevel"], 4000);
    EXPECT_EQ(completed["BlackLevel"], profile["BlackLevel"]);
    printed({"profile", "check", Path("camera.json")});
    // What is no profile is not replaced.
    WriteText("other.json", "[1]");
    expectRefused(runVekcam(joined({{"calibrate", "black", Path("black.raw"), "-o", Path("other.json")}, kSmall})), 1,
                  "other.json: no camera profile");
    EXPECT_EQ(Content("other.json"), "[1]");
    expectRefused(runVekcam(joined({{"calibrate", "black", Path("black.raw"), "-o", Path("black.raw")}, kSmall})), 2,
                  "black.raw: is an input");
}

TEST_F(Calibrate, BlackLevelOfASimulatedCamera) {
    const nlohmann::json json =
        printedJson({"calibrate", "black", "--width", "320", "--height", "240", "-f", "raw12", "--json"});
    for (const char* const color : {"R", "Gr", "Gb", "B"}) {
        EXPECT_NEAR(json["black"][color]["level"].get<double>(), 64.02, 0.03) << color;
        EXPECT_NEAR(json["black"][color]["noise"].get<double>(), 1.64, 0.03) << color;
    }
    EXPECT_EQ(json["doubts"].size(), 0U);
    EXPECT_EQ(json["rows"]["odd"].size(), 0U);
    // Grey frames have one level.
    const std::string grey = Write("grey.raw", framesOf(1, [](unsigned, unsigned, unsigned) { return 12; }));
    const Arguments mono =
        joined({{"calibrate", "black", grey}, sized(64, 64, {"-f", "mono12", "-o", Path("mono.json")})});
    expectPart(printed(mono), "\nblack       12.000 +- 0.000 DN, pattern 0.000\n");
    EXPECT_EQ(nlohmann::json::parse(Content("mono.json"))["BlackLevel"], nlohmann::json({12}));
}

TEST_F(Calibrate, LightThatCameInIsTold) {
    const auto err = [&](const std::string& name, auto levelOf) {
        Write(name, framesOf(2, levelOf));
        const SResult result = runVekcam(joined({{"calibrate", "black", Path(name)}, kSmall}));
        EXPECT_EQ(result.exitCode, 0);
        return result.err;
    };
    EXPECT_EQ(err("even.raw", [](unsigned, unsigned x, unsigned y) { return 64 + (x * 7 + y * 3) % 5; }), "");
    expectPart(err("corner.raw", [](unsigned, unsigned x, unsigned y) { return 64 + (x > 48 && y > 48 ? 5 : 0); }),
               "brightest around pixel 56, 56: light may have come in");
    expectPart(err("colour.raw", [](unsigned, unsigned x, unsigned y) { return 64 + x % 2 * (y % 2) * 20; }),
               "the levels of the colours are 20.00 DN apart");
    expectPart(err("open.raw", [](unsigned, unsigned, unsigned) { return 2000; }), "the lens may not be capped");
    expectPart(err("cut.raw", [](unsigned frame, unsigned x, unsigned) { return (frame + x) % 2; }),
               "50 % of the samples are 0");
}

// ---- noise ----

TEST_F(Calibrate, NoiseOfASimulatedCameraIsThatOfItsModel) {
    const SResult result = runVekcam({"calibrate", "noise", "--width", "480", "--height", "480", "--steps", "48",
                                      "--json", "--plot", Path("plot.png"), "-o", Path("camera.json")});
    expectDone(result);
    const nlohmann::json json = nlohmann::json::parse(result.out);
    ASSERT_EQ(json["colors"].size(), 4U);
    // The model: 10000 electrons fill 4095 - 64 DN, 4 electrons of read noise, 0.5 % of spread. The variance is largest
    // some 2 standard deviations of the photon noise, 100 electrons, below the full well.
    for (const nlohmann::json& color : json["colors"]) {
        SCOPED_TRACE(color["color"]);
        const auto near = [&](const char* name, double expected, double part) {
            EXPECT_NEAR(color[name].get<double>(), expected, part * expected) << name;
        };
        near("electronsPerDn", 10000.0 / 4031, 0.015);
        near("gain", 4031 / 10000.0, 0.015);
        near("readNoiseElectrons", 4, 0.02);
        near("readNoiseDn", 4 * 4031 / 10000.0, 0.02);
        near("saturationElectrons", 9750, 0.03);
        near("prnuPercent", 0.5, 0.03);
        EXPECT_LT(color["dsnuElectrons"].get<double>(), 0.3);
        EXPECT_LT(color["linearityErrorPercent"].get<double>(), 0.05);
        EXPECT_NEAR(color["darkLevel"].get<double>(), 64.02, 0.05);
    }
    const SPng plot = readPng(Path("plot.png"));
    EXPECT_EQ(plot.width, 900U);
    EXPECT_EQ(plot.channels, 3U);
    const auto profile = nlohmann::json::parse(Content("camera.json"));
    ASSERT_EQ(profile["NoiseProfile"].size(), 6U);
    for (std::size_t i = 0; i < 6; i += 2) {
        EXPECT_NEAR(profile["NoiseProfile"][i].get<double>(), 1e-4, 2e-6);
        EXPECT_NEAR(profile["NoiseProfile"][i + 1].get<double>(), (1.6124 * 1.6124 + 1 / 12.0) / (4031.0 * 4031), 4e-9);
    }
}

TEST_F(Calibrate, NoiseOfFilesIsThatOfTheirFrames) {
    // Noise of known variance: dark 4, lit 4 + 0.5 x signal, up to saturation at 3000, where it sinks.
    std::mt19937 random(5);
    std::normal_distribution<double> normal;
    const auto noisy = [&](double mean, double variance) {
        return [&, mean, variance](unsigned, unsigned, unsigned) {
            return std::clamp(std::lround(mean + std::sqrt(variance) * normal(random)), 0L, 4095L);
        };
    };
    Write("dark.raw", framesOf(16, noisy(100, 4)));
    Arguments files;
    std::string exposures;
    for (int i = 1; i <= 11; ++i) {
        const double signal = i > 10 ? 3050 : 300.0 * i;
        files.push_back(
            Write("lit" + std::to_string(i) + ".raw", framesOf(2, noisy(100 + signal, i > 10 ? 50 : 4 + signal / 2))));
        exposures += (i > 1 ? "," : "") + std::to_string(i);
    }
    const Arguments mono = sized(64, 64, {"-f", "mono12", "--dark", Path("dark.raw"), "--json"});
    const nlohmann::json all =
        printedJson(joined({{"calibrate", "noise", Path("lit*.raw"), "--exposures", exposures}, mono}));
    const nlohmann::json& color = all["colors"][0];
    EXPECT_EQ(all["litPairs"], 11);
    EXPECT_NEAR(color["gain"].get<double>(), 0.5, 0.03);
    EXPECT_NEAR(color["readNoiseDn"].get<double>(), 2, 0.06);
    EXPECT_NEAR(color["saturationLevel"].get<double>(), 3100, 5);
    ASSERT_FALSE(color["linearityErrorPercent"].is_null());
    EXPECT_LT(color["linearityErrorPercent"].get<double>(), 0.5);
    EXPECT_EQ(color["color"], "mono");
    EXPECT_FALSE(color["prnuPercent"].is_null());

    const auto refused = [&](const Arguments& arguments, int code, const std::string& message) {
        expectRefused(runVekcam(joined({{"calibrate", "noise"}, arguments})), code, message);
    };
    refused(sized(64, 64, {files[0], "-f", "mono12"}), 2, "--dark is required with files");
    refused(joined({{files[0], files[1], files[2], "--exposures", "1,2"}, mono}), 1,
            "--exposures has 2 numbers for 3 pairs");
    refused(joined({{files[0], files[1]}, mono}), 1, "lit pairs are between dark and 70 % of saturation");
    Write("odd.raw", framesOf(1, noisy(500, 9)));
    refused(joined({{files[0], Path("odd.raw")}, mono}), 1, "the lit frames are no pairs: 3 of them");
    refused({"--dark", "x", "--sim"}, 2, "--dark and --exposures are of files");
    refused({"--plot", "x.gif"}, 2, "x.gif");
    refused({"--plot", Path("x.png"), "-o", Path("x.png")}, 2, "--plot and --output are both");
    refused(sized(64, 64, {"-", "--dark", "-", "-f", "mono12"}), 2, "standard input is named twice");
    refused({"-o", Path("none/x.json")}, 1, "none/x.json: cannot open");
}

TEST_F(Calibrate, ReadNoiseBelowRoundingIsRefused) {
    const SResult result = runVekcam({"calibrate", "noise", "--width", "128", "--height", "128", "--steps", "32", "-f",
                                      "raw8", "--plot", Path("p.png"), "-o", Path("camera.json"), "--json"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(isOneLineMessage(result.err)) << result.err;
    expectPart(result.err, "the read noise cannot be measured: the temporal noise of the dark frames is 0.48");
    const nlohmann::json json = nlohmann::json::parse(result.out);
    EXPECT_TRUE(json["colors"][0]["readNoiseElectrons"].is_null());
    EXPECT_NEAR(json["colors"][1]["electronsPerDn"].get<double>(), 10000.0 / 4031 * 16.06, 2);
    EXPECT_TRUE(std::filesystem::exists(Path("p.png")));
    EXPECT_FALSE(std::filesystem::exists(Path("camera.json")));
}

TEST_F(Calibrate, BadArguments) {
    for (const auto& [arguments, message] : std::vector<std::pair<Arguments, std::string>>{
             {{"calibrate"}, "required"},
             {{"calibrate", "grey"}, "required"},
             {{"calibrate", "dark"}, "--output"},
             {{"calibrate", "dark", "-o", "dark"}, "dark: the name of a calibration ends in .png"},
             {{"calibrate", "dark", "-o", ".png"}, ".png: the name of a calibration ends in .png"},
             {{"calibrate", "dark", "-o", "d.png", "-f", "raw12p"}, "format raw12p cannot be calibrated"},
             {{"calibrate", "flat", "-o", "d.png", "-f", "bgr8"}, "format bgr8 cannot be calibrated"},
             {{"calibrate", "flat", "-o", "d.png", "-n", "0"}, "--frames"},
             {{"calibrate", "flat", "-o", "d.png", "-n", "1001"}, "--frames"},
             {{"calibrate", "flat", "-o", "d.png", "--sim", "none"}, "none"},
             {{"calibrate", "flat", "-o", "d.png", "--light", "-1"}, "--light"},
             {{"calibrate", "dark", "-o", "d.png", "--light", "1"}, "--light"},
             {{"calibrate", "dark", "-o", "d.png", "--device", "/dev/null", "--hot", "1"}, "--hot"},
             {{"calibrate", "dark", "-o", "d.png", "--device", "/dev/null", "--sim"}, "--sim"}}) {
        expectOneLine(runVekcam(arguments), 2, message);
    }
    const SResult device = runVekcam({"calibrate", "dark", "-o", Path("d.png"), "--device", "/dev/null"});
    expectOneLine(device, 1);
    const SResult directory =
        runVekcam({"calibrate", "dark", "-o", Path("none/d.png"), "--width", "64", "--height", "64", "--frames", "1"});
    EXPECT_EQ(directory.exitCode, 1);
    expectPart(directory.err, "none/d.png: cannot open");
}

} // namespace

} // namespace vek::test
