// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

#include "VekTrgApi.h"
#include "sim/SimulatedDriver.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <ostream>

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
