// SPDX-License-Identifier: Apache-2.0
#include "sim/Scene.h"

#include <gtest/gtest.h>
#if VEKCAM_SIM_TEST_HAVE_PNG
#include <png.h>
#endif

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace {

using namespace vek::sim;

TEST(Scene, ChartHas24PatchesOfTheirTrueColor) {
    for (const auto& [width, height] : {std::pair{1280U, 960U}, std::pair{320U, 240U}, std::pair{641U, 487U}}) {
        const CScene chart = CScene::Chart(width, height);
        ASSERT_EQ(chart.Patches().size(), 24U);
        for (const SPatch& patch : chart.Patches()) {
            EXPECT_GE(patch.width, width / 14);
            EXPECT_EQ(chart.Pixel(patch.x, patch.y), patch.color);
            EXPECT_EQ(chart.Pixel(patch.x + patch.width - 1, patch.y + patch.height - 1), patch.color);
            EXPECT_NE(chart.Pixel(patch.x - 1, patch.y), patch.color);
            EXPECT_NE(chart.Pixel(patch.x + patch.width, patch.y), patch.color);
        }
        for (const float value : chart.Values()) {
            ASSERT_GE(value, 0.0F);
            ASSERT_LE(value, 1.0F);
        }
    }
}

TEST(Scene, TinyChartsWork) {
    for (unsigned size = 1; size < 40; ++size) {
        EXPECT_EQ(CScene::Chart(size, size).Values().size(), std::size_t{size} * size * 3);
    }
    EXPECT_THROW(CScene::Chart(0, 5), std::invalid_argument);
}

TEST(Scene, ShrinkingTakesTheMeanOverTheArea) {
    // 3 columns to 2: each new one covers one and a half old ones.
    const CScene scene = CScene::FromPixels(3, 1, {0.0F, 0, 0, 0.6F, 0, 0, 0.9F, 0, 0});
    const CScene small = scene.Resized(2, 1);
    EXPECT_NEAR(small.Pixel(0, 0)[0], 0.2F, 1e-6F); // (0 * 1 + 0.6 * 0.5) / 1.5
    EXPECT_NEAR(small.Pixel(1, 0)[0], 0.8F, 1e-6F); // (0.6 * 0.5 + 0.9 * 1) / 1.5
}

TEST(Scene, EnlargingIsBilinear) {
    // Centres of the four new rows lie at -0.25, 0.25, 0.75 and 1.25 of the old ones; the ends are held.
    const CScene scene = CScene::FromPixels(1, 2, {0, 0.2F, 0, 0, 0.6F, 0});
    const CScene large = scene.Resized(2, 4);
    const float expected[] = {0.2F, 0.3F, 0.5F, 0.6F};
    for (unsigned y = 0; y < 4; ++y) {
        EXPECT_NEAR(large.Pixel(1, y)[1], expected[y], 1e-6F);
    }
}

TEST(Scene, FromPixelsChecksTheCount) {
    EXPECT_THROW(CScene::FromPixels(2, 2, std::vector<float>(11)), std::invalid_argument);
}

TEST(Scene, MissingPngIsAnError) {
    EXPECT_THROW(CScene::FromPng("/nonexistent/scene.png", 4, 4), std::runtime_error);
}

#if VEKCAM_SIM_TEST_HAVE_PNG
TEST(Scene, PngIsDecodedToLinearLight) {
    // 8-bit sRGB: 188 stands for 0.5029 in linear light, 255 for 1.
    const std::uint8_t pixels[] = {188, 0, 255, 188, 0, 255};
    const std::string path =
        (std::filesystem::temp_directory_path() / ("vekcam-scene-" + std::to_string(getpid()) + ".png")).string();
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = 2;
    image.height = 1;
    image.format = PNG_FORMAT_RGB;
    ASSERT_NE(png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr), 0);
    const CScene scene = CScene::FromPng(path, 5, 3);
    std::filesystem::remove(path);
    EXPECT_EQ(scene.Width(), 5U);
    EXPECT_EQ(scene.Height(), 3U);
    const LinearRgb color = scene.Pixel(4, 2);
    EXPECT_NEAR(color[0], 0.5029F, 0.0005F);
    EXPECT_NEAR(color[1], 0.0F, 1e-6F);
    EXPECT_NEAR(color[2], 1.0F, 1e-5F);
}
#endif

} // namespace
