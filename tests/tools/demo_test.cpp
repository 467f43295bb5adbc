// SPDX-License-Identifier: Apache-2.0
#include "Program.h"
#include "formats/DemosaicMethods.h"
#include "support/Files.h"
#include "support/PngFile.h"

#include "sim/CameraModel.h"
#include "sim/Scene.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace vek::test {

namespace {

constexpr unsigned kWidth = 320;
constexpr unsigned kHeight = 240;

class Demo : public CFileTest {
protected:
    /// What a run prints: no progress bar where no terminal is.
    std::string Run(const Arguments& arguments, const std::string& directory = "demo") const {
        return printed(joined(
            {{"demo", "-o", Path(directory), "--width", std::to_string(kWidth), "--height", std::to_string(kHeight)},
             arguments}));
    }
};

TEST_F(Demo, WritesAndListsItsPictures) {
    const std::string text = Run({"--frames", "2"}, "new/demo");
    Arguments expected = {"deep-16bit.png"};
    for (const std::string frame : {"frame1", "frame2"}) {
        for (const SDemosaicMethod& method : kChainMethods) {
            expected.push_back(frame + "-" + std::string(method.name) + ".png");
        }
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(Names("new/demo"), expected);
    expectPart(text, "320 x 240 pixels");
    expectPart(text, "\nDeveloped by the library's chain (VekChain_Run), ");
    EXPECT_EQ(text.find("VekCam_ColorInterpolation"), std::string::npos);
    for (const std::string& name : expected) {
        EXPECT_NE(text.find(Path("new/demo/" + name) + "  "), std::string::npos) << name;
        const SPng image = readPng(Path("new/demo/" + name));
        EXPECT_EQ(image.width, kWidth);
        EXPECT_EQ(image.height, kHeight);
        EXPECT_EQ(image.bits, name == "deep-16bit.png" ? 16U : 8U) << name;
        EXPECT_EQ(image.channels, name.ends_with("mono.png") ? 1U : 3U) << name;
        EXPECT_TRUE(image.sRgb);
    }
}

TEST_F(Demo, ChartLooksRightInEveryPhase) {
    for (const sim::SCameraModel& model : sim::cameraModels()) {
        if (model.colorArray == 1) {
            continue;
        }
        SCOPED_TRACE(std::string(model.name));
        Run({"--frames", "1", "--model", std::string(model.name)});
        const sim::CScene scene = sim::CScene::Chart(kWidth, kHeight);
        for (const char* const name : {"frame1-nearest.png", "frame1-bilinear.png", "frame1-bicubic.png",
                                       "frame1-bilinear-fcr.png", "frame1-nearest2.png", "deep-16bit.png"}) {
            SCOPED_TRACE(name);
            const SPng image = readPng(Path(std::string("demo/") + name));
            const double full = image.bits == 16 ? 65535 : 255;
            for (const sim::SPatch& patch : scene.Patches()) {
                std::array<double, 3> seen{};
                for (unsigned c = 0; c < 3; ++c) {
                    seen[c] = image.Mean(patch.x + 3, patch.y + 3, patch.width - 6, patch.height - 6, c) / full;
                }
                const auto [least, most] = std::minmax_element(patch.color.begin(), patch.color.end());
                if (*least == *most) { // greys are grey
                    const auto [low, high] = std::minmax_element(seen.begin(), seen.end());
                    EXPECT_LT(*high - *low, 0.03) << "grey " << *most;
                } else if (*most > 3.0F * *least) { // strong colours keep their strongest and weakest channel
                    EXPECT_EQ(std::max_element(seen.begin(), seen.end()) - seen.begin(), most - patch.color.begin());
                    const auto weakest = static_cast<std::size_t>(least - patch.color.begin());
                    EXPECT_LT(seen[weakest], *std::max_element(seen.begin(), seen.end()) - 0.1);
                }
            }
        }
    }
}

TEST_F(Demo, ExposureSettlesFirstOnEveryModel) {
    for (const sim::SCameraModel& model : sim::cameraModels()) {
        const std::string text = Run({"--frames", "1", "--model", std::string(model.name)});
        EXPECT_NE(text.find("\n  settled after "), std::string::npos) << model.name << '\n' << text;
        EXPECT_LT(text.find("settled after "), text.find("pictures, balanced"));
    }
}

TEST_F(Demo, MonochromeModelGivesGrayPictures) {
    Run({"--frames", "1", "--model", "clock-vga"});
    EXPECT_EQ(Names("demo"), (Arguments{"deep-16bit.png", "frame1-mono.png"}));
    EXPECT_EQ(readPng(Path("demo/deep-16bit.png")).channels, 1U);
}

TEST_F(Demo, SeedDecidesTheNoise) {
    Run({"--frames", "1", "--seed", "7"}, "a");
    Run({"--frames", "1", "--seed", "7"}, "b");
    Run({"--frames", "1", "--seed", "8"}, "c");
    EXPECT_EQ(readFile(Path("a/frame1-mono.png")), readFile(Path("b/frame1-mono.png")));
    EXPECT_NE(readFile(Path("a/frame1-mono.png")), readFile(Path("c/frame1-mono.png")));
}

TEST_F(Demo, KeepsRawFramesThatConvertMakesTheSamePicturesOf) {
    const std::string text = Run({"--frames", "1", "--raw", "--model", "line-2m"});
    EXPECT_EQ(readFile(Path("demo/frame1.raw")).size(), kWidth * kHeight);
    EXPECT_EQ(readFile(Path("demo/deep.raw")).size(), 2 * kWidth * kHeight);
    const std::string frame = Path("demo/frame1.raw") + "  -W 320 -H 240 -f raw8 -a bggr\n";
    expectPart(text, frame);
    expectPart(text, Path("demo/deep.raw") + "    -W 320 -H 240 -f raw12 -a bggr\n");
    // Method mono shows the samples: the demo's grey levels rise where the raw ones do.
    const SPng gray = readPng(Path("demo/frame1-mono.png"));
    const std::vector<std::uint8_t> raw = readFile(Path("demo/frame1.raw"));
    std::map<std::uint8_t, std::set<std::uint16_t>> shown;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        shown[raw[i]].insert(gray.samples[i]);
    }
    EXPECT_GT(shown.size(), 50U);
    std::uint16_t before = 0;
    for (const auto& [sample, levels] : shown) {
        ASSERT_EQ(levels.size(), 1U) << +sample;
        EXPECT_GE(*levels.begin(), before) << +sample;
        before = *levels.begin();
    }
}

TEST_F(Demo, WithoutNoiseTheSeedAndTheFrameDoNotMatter) {
    Run({"--frames", "2", "--raw", "--no-noise", "--seed", "7"}, "a");
    Run({"--frames", "1", "--raw", "--no-noise", "--seed", "8"}, "b");
    EXPECT_EQ(readFile(Path("a/frame1.raw")), readFile(Path("b/frame1.raw")));
    EXPECT_EQ(readFile(Path("a/frame1.raw")), readFile(Path("a/frame2.raw")));
    EXPECT_EQ(readFile(Path("a/deep.raw")), readFile(Path("b/deep.raw")));
}

TEST_F(Demo, TruthHasAllColorsOfEveryPixel) {
    // Red, green and blue of the sensor's filters: what stands in a pixel of the mosaic is one of them, in every phase.
    for (const auto& [model, places] : {std::pair<const char*, std::array<unsigned, 4>>{"global-1m", {0, 1, 1, 2}},
                                        {"line-2m", {2, 1, 1, 0}},
                                        {"global-3m", {1, 2, 0, 1}},
                                        {"rolling-4m", {1, 0, 2, 1}}}) {
        const std::string text = Run({"--frames", "1", "--raw", "--no-noise", "--truth", "--model", model});
        expectPart(text, "  " + Path("demo/truth.png") + "\n");
        const SPng truth = readPng(Path("demo/truth.png"));
        ASSERT_EQ(truth.bits, 16U);
        ASSERT_EQ(truth.channels, 3U);
        EXPECT_FALSE(truth.sRgb);
        const std::vector<std::uint8_t> raw = readFile(Path("demo/frame1.raw"));
        for (std::size_t i = 0; i < raw.size(); ++i) {
            const std::size_t place = i % kWidth % 2 + i / kWidth % 2 * 2;
            ASSERT_EQ(truth.samples[3 * i + places[place]] >> 8, raw[i]) << model << ": " << i;
        }
        // The chart's red patch, and its green one, are what they are called in the sensor's samples, too.
        const sim::CScene scene = sim::CScene::Chart(kWidth, kHeight);
        for (const unsigned number : {12U, 13U}) {
            const sim::SPatch& patch = scene.Patches()[number];
            const unsigned strongest = number - 12;
            for (unsigned c = 0; c < 3; ++c) {
                EXPECT_LE(truth.Mean(patch.x, patch.y, patch.width, patch.height, c),
                          truth.Mean(patch.x, patch.y, patch.width, patch.height, strongest));
            }
        }
    }
    Run({"--frames", "1", "--raw", "--no-noise", "--truth", "--model", "clock-vga"});
    EXPECT_EQ(readPng(Path("demo/truth.png")).channels, 1U);
    // Noise and hot pixels are none of the chart's colours.
    Run({"--frames", "1", "--truth", "--no-noise"}, "quiet");
    const std::vector<std::uint8_t> quiet = readFile(Path("quiet/truth.png"));
    Run({"--frames", "1", "--truth", "--no-noise", "--seed", "5"}, "seed");
    EXPECT_EQ(readFile(Path("seed/truth.png")), quiet);
}

TEST_F(Demo, HotPixelsStandOut) {
    Run({"--frames", "1", "--raw", "--no-noise", "--hot", "50"});
    Run({"--frames", "1", "--raw", "--no-noise"}, "sound");
    const std::vector<std::uint8_t> hot = readFile(Path("demo/frame1.raw"));
    const std::vector<std::uint8_t> sound = readFile(Path("sound/frame1.raw"));
    std::size_t brighter = 0;
    for (std::size_t i = 0; i < hot.size(); ++i) {
        brighter += hot[i] > sound[i] + 30 ? 1U : 0U;
    }
    EXPECT_GE(brighter, 45U); // on the brightest patches some are lost in saturation
    EXPECT_LE(brighter, 50U);
}

TEST_F(Demo, ThreeFramesByDefault) {
    Run({});
    EXPECT_EQ(Names("demo").size(), 25U);
    EXPECT_NE(readFile(Path("demo/frame1-mono.png")), readFile(Path("demo/frame3-mono.png")));
}

TEST_F(Demo, OddSizes) {
    const SResult result = runVekcam(
        {"demo", "-o", Path("demo"), "--frames", "1", "--width", "65", "--height", "67", "--model", "line-2m"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(readPng(Path("demo/frame1-bilinear.png")).width, 65U);
    expectPart(result.out, "bilinear and nearest2 by VekCam_ColorInterpolation");
}

TEST_F(Demo, DirectoryThatCannotBeMade) {
    expectOneLine(runVekcam({"demo", "-o", Write("file", {}) + "/demo", "--frames", "1"}), 1);
}

} // namespace

} // namespace vek::test
