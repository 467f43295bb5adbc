// SPDX-License-Identifier: Apache-2.0
#include "client/statistics/Differences.h"
#include "client/statistics/FrameStatistics.h"
#include "client/statistics/Histogram.h"

#include <cmath>
#include <limits>
#include <random>

namespace vek::test {

namespace {

client::SImage gray(std::uint32_t width, std::uint32_t height, std::vector<std::uint16_t> samples,
                    unsigned short depth = 8) {
    return {width, height, 1, depth, std::move(samples)};
}

client::SStatisticsForm formOf(const client::SImage& image, unsigned short colorArray = VEK_COLOR_ARRAY_MONO) {
    client::SStatisticsForm form;
    form.width = image.width;
    form.height = image.height;
    form.channels = image.channels;
    form.depth = image.depth;
    form.colorArray = colorArray;
    form.region = {0, 0, image.width, image.height};
    form.white = client::maxSample(image.depth);
    return form;
}

client::SFrameStatistics statisticsOf(const client::SStatisticsForm& form, const std::vector<client::SImage>& frames) {
    client::CFrameStatistics statistics(form);
    for (const client::SImage& frame : frames) {
        statistics.Add(frame);
    }
    return statistics.Result();
}

TEST(FrameStatistics, LevelsOfAHundredSamples) {
    client::SImage image = gray(10, 10, {});
    for (std::uint16_t i = 0; i < 100; ++i) {
        image.samples.push_back(static_cast<std::uint16_t>(100 + i));
    }
    const client::SColorStatistics color = statisticsOf(formOf(image), {image}).colors.at(0);
    EXPECT_EQ(color.name, "grey");
    EXPECT_EQ(color.count, 100U);
    EXPECT_EQ(color.smallest, 100U);
    EXPECT_EQ(color.largest, 199U);
    EXPECT_EQ(color.mean, 149.5);
    EXPECT_NEAR(color.deviation, std::sqrt((100.0 * 100 - 1) / 12), 1e-9); // of even steps
    // 1 % is one sample, 0.1 % needs one, too; half of them end at 149.
    EXPECT_EQ(color.percentiles, (std::array<unsigned, 9>{100, 100, 104, 124, 149, 174, 194, 198, 199}));
}

TEST(FrameStatistics, ClippedAndDarkAgainstTheLevels) {
    const client::SImage image = gray(8, 1, {0, 5, 15, 16, 17, 100, 200, 255});
    client::SStatisticsForm form = formOf(image);
    client::SColorStatistics color = statisticsOf(form, {image}).colors.at(0);
    EXPECT_EQ(color.clipped, 1 / 8.0);
    EXPECT_EQ(color.dark, 1 / 8.0);
    form.black[0] = 16;
    form.white = 200;
    color = statisticsOf(form, {image}).colors.at(0);
    EXPECT_EQ(color.clipped, 2 / 8.0);
    EXPECT_EQ(color.dark, 3 / 8.0);
}

TEST(FrameStatistics, ColorsAndRegions) {
    // Columns 1 to 3 of the second row: B Gb B of grbg, whose second row is B Gb.
    const client::SImage image = gray(4, 2, {1, 2, 3, 4, 5, 6, 7, 8});
    client::SStatisticsForm form = formOf(image, VEK_COLOR_ARRAY_GRBG);
    form.region = {1, 1, 3, 1};
    const client::SFrameStatistics part = statisticsOf(form, {image});
    ASSERT_EQ(part.colors.size(), 4U);
    EXPECT_EQ(part.colors[0].count, 0U);
    EXPECT_EQ(part.colors[1].count, 0U);
    EXPECT_EQ(part.colors[2].mean, 7); // Gb: 6 and 8
    EXPECT_EQ(part.colors[3].mean, 7); // B: 7
    const client::SImage picture{2, 1, 3, 8, {1, 2, 3, 5, 6, 9}};
    const client::SFrameStatistics colors = statisticsOf(formOf(picture), {picture});
    ASSERT_EQ(colors.colors.size(), 3U);
    EXPECT_EQ(colors.colors[0].mean, 3);
    EXPECT_EQ(colors.colors[1].mean, 4);
    EXPECT_EQ(colors.colors[2].mean, 6);
    EXPECT_EQ(colors.colors[2].name, "B");
}

TEST(FrameStatistics, NoiseOfTwoFramesIsTheirDifferenceByTheRootOfTwo) {
    // Distances 3, -4, 0, 0: mean square 25 / 4, halved.
    const client::SFrameStatistics two =
        statisticsOf(formOf(gray(2, 2, {})), {gray(2, 2, {10, 20, 30, 40}), gray(2, 2, {13, 16, 30, 40})});
    EXPECT_EQ(two.frames, 2U);
    EXPECT_NEAR(two.colors[0].temporalNoise, std::sqrt(25.0 / 4) / std::sqrt(2.0), 1e-12);
    EXPECT_EQ(two.colors[0].count, 8U);
}

TEST(FrameStatistics, NoiseOfManyFramesPixelByPixel) {
    // A pixel 1, 2, 3 has variance 1, another one 10, 10, 40 has 300: of rggb, R and Gr.
    const client::SImage form = gray(2, 1, {});
    const client::SFrameStatistics three = statisticsOf(
        formOf(form, VEK_COLOR_ARRAY_RGGB), {gray(2, 1, {1, 10}), gray(2, 1, {2, 10}), gray(2, 1, {3, 40})});
    EXPECT_NEAR(three.colors[0].temporalNoise, 1, 1e-12);
    EXPECT_NEAR(three.colors[1].temporalNoise, std::sqrt(300.0), 1e-12);
    EXPECT_EQ(three.colors[2].temporalNoise, 0);
}

/// Frames of 32 x 32 pixels; level: of a pixel.
template <class Level>
client::SImage scene(const Level& level) {
    client::SImage image = gray(32, 32, {}, 12);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        for (std::uint32_t x = 0; x < image.width; ++x) {
            image.samples.push_back(static_cast<std::uint16_t>(level(x, y)));
        }
    }
    return image;
}

client::STileSharpness sharpnessOf(const client::SImage& image, unsigned short colorArray, std::uint32_t tiles,
                                   double black = 0) {
    client::SStatisticsForm form = formOf(image, colorArray);
    form.black.fill(black);
    form.tileColumns = form.tileRows = tiles;
    return statisticsOf(form, {image}).sharpness;
}

TEST(FrameStatistics, SharpnessOfARamp) {
    // 10 levels a pixel: all slopes are 20 to the right, 0 down. The mean of columns 0 to 29 is 1000 + 145.
    const client::SImage ramp = scene([](std::uint32_t x, std::uint32_t) { return 1000 + 10 * x; });
    EXPECT_NEAR(sharpnessOf(ramp, VEK_COLOR_ARRAY_MONO, 1).percents.at(0), 100 * 20 / 1145.0, 1e-9);
    EXPECT_NEAR(sharpnessOf(ramp, VEK_COLOR_ARRAY_MONO, 1, 145).percents.at(0), 2, 1e-9);
    // Greens that differ are no slope.
    const client::SImage uneven =
        scene([](std::uint32_t x, std::uint32_t y) { return x % 2 == y % 2 ? 3000U : 1000 + 10 * x + 100 * (y % 2); });
    EXPECT_NEAR(sharpnessOf(uneven, VEK_COLOR_ARRAY_RGGB, 1).percents.at(0), 100 * 20 / 1195.0, 0.01);
    EXPECT_EQ(sharpnessOf(scene([](std::uint32_t, std::uint32_t) { return 0; }), VEK_COLOR_ARRAY_MONO, 1).percents,
              std::vector<double>{0});
}

TEST(FrameStatistics, SharpnessFallsWithBlurAndForgetsNoise) {
    std::mt19937 random(5);
    std::normal_distribution<double> noise(0, 30);
    const auto edge = [&](double width, double sigma) {
        return scene([&, width, sigma](std::uint32_t x, std::uint32_t) {
            const double place = std::clamp((x - 15.5) / width, -0.5, 0.5);
            return std::lround(1000 + 600 * place + sigma / 30 * noise(random));
        });
    };
    const auto measured = [&](double width, double sigma) {
        return sharpnessOf(edge(width, sigma), VEK_COLOR_ARRAY_MONO, 1).percents.at(0);
    };
    EXPECT_GT(measured(1, 0), 1.4 * measured(4, 0));
    EXPECT_GT(measured(4, 0), 1.4 * measured(12, 0));
    EXPECT_NEAR(measured(2, 30), measured(2, 0), 0.1 * measured(2, 0));
    // Noise alone: its slopes of 60 in the mean square would be 6 per cent.
    EXPECT_LT(sharpnessOf(scene([&](std::uint32_t, std::uint32_t) { return std::lround(1000 + noise(random)); }),
                          VEK_COLOR_ARRAY_MONO, 1)
                  .percents.at(0),
              1.5);
}

TEST(FrameStatistics, TheBestTileIsWhereTheEdgeIs) {
    const client::SImage image = scene([](std::uint32_t x, std::uint32_t y) { return x > 20 && y > 18 ? 2000 : 500; });
    const client::STileSharpness sharpness = sharpnessOf(image, VEK_COLOR_ARRAY_BGGR, 4);
    ASSERT_EQ(sharpness.percents.size(), 16U);
    EXPECT_EQ(sharpness.Best(), 2U * 4 + 2);
    EXPECT_EQ(sharpness.percents[0], 0);
}

TEST(Histogram, BinsOfOneWidth) {
    const std::vector<std::uint64_t> counts = {1, 2, 3, 4, 5, 6, 7, 8};
    const client::SHistogramBins bins = client::binsOf(counts, 1, 5, 2);
    EXPECT_EQ(bins.first, 1U);
    EXPECT_EQ(bins.width, 3U);
    EXPECT_EQ(bins.counts, (std::vector<std::uint64_t>{9, 11})); // 2 + 3 + 4, 5 + 6
    EXPECT_EQ(client::binsOf(counts, 0, 7, 256).counts, counts);
}

TEST(Differences, OfWordsInBothDirections) {
    const client::SDifferences differences = client::differencesOf(
        gray(2, 2, {0, 65535, 7, 7}, 16), gray(2, 2, {65535, 0, 7, 8}, 16), VEK_COLOR_ARRAY_MONO, 16, 1);
    EXPECT_EQ(differences.all.differing, 3U);
    EXPECT_EQ(differences.all.beyond, 2U);
    EXPECT_EQ(differences.all.largest, 65535U);
    EXPECT_EQ(differences.all.x, 0U);
    EXPECT_EQ(differences.all.meanAbsolute, (2 * 65535.0 + 1) / 4);
    EXPECT_EQ(differences.all.meanSigned, 0.25);
    EXPECT_NEAR(differences.all.psnr, 10 * std::log10(2.0), 1e-6);
    EXPECT_EQ(client::differencesOf(gray(1, 1, {3}), gray(1, 1, {3}), VEK_COLOR_ARRAY_MONO, 8, 0).all.psnr,
              std::numeric_limits<double>::infinity());
}

} // namespace

} // namespace vek::test
