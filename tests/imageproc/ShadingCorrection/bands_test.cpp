// SPDX-License-Identifier: Apache-2.0
// Shading correction in bands: what each of them makes is what the whole frame in its own place becomes; a calibration
// in bands is the same mean; a stage keeps the map that it was made with.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/ShadingCorrection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kCorrections[] = {VEK_SHADING_GAIN, VEK_SHADING_OFFSET, VEK_SHADING_SHOW_MAP};

/// Entries counted from start on.
std::vector<int> countedMap(unsigned long size, int start) {
    std::vector<int> map(size);
    std::iota(map.begin(), map.end(), start);
    return map;
}

/// Entries of the stage's map, of rows without padding.
std::vector<int> mapOf(const SShadingStage& stage) {
    const int* const entries = stage.map->entries.get();
    return {entries, entries + stage.map->size / sizeof(int)};
}

template <class T>
void tryRandomBands(unsigned short bits) {
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        CRandom& random = check.Random();
        const SFrame frame = {1 + random.Below(150), 1 + random.Below(12), 0, VEK_COLOR_ARRAY_RGGB, bits};
        CShadingCorrection module(rows::bestTable());
        const std::vector<int> map = countedMap(frame.width * frame.height, -100);
        ASSERT_EQ(module.SetMap(frame.width, frame.height, 4 * frame.width, map.data()), 0U);
        module.SetMode(kCorrections[seed % 3]);
        ASSERT_TRUE(check.RunInPlace(module.Stage(), frame, {1, 1, bits}));
    }
}

/// A module that has been calibrated with a frame of counted samples, and corrects.
void calibrate(CShadingCorrection* module, unsigned long mode) {
    std::uint8_t image[] = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 150, 160};
    module->SetTargetAll(100);
    module->SetMode(VEK_SHADING_CALIBRATE_GAIN);
    ASSERT_EQ(module->ProcessB(4, 4, 0, image, 8), 0U);
    module->SetMode(mode);
}

} // namespace

TEST(ShadingBands, AreTheFrame) {
    tryRandomBands<std::uint8_t>(8);
    tryRandomBands<std::uint16_t>(12);
}

TEST(ShadingBands, MeansAreThoseOfTheFrame) {
    constexpr unsigned long width = 61;
    constexpr unsigned long height = 23;
    CRandom random(3);
    SShadingMean whole;
    SShadingMean inBands;
    for (SShadingMean* const mean : {&whole, &inBands}) {
        mean->width = width;
        mean->height = height;
        mean->values.reset(new double[width * height]());
    }
    std::vector<std::uint16_t> image(width * height);
    for (int n = 0; n < 5; ++n) {
        fillSamples(image.data(), image.size(), Pattern::Random, 12, random);
        whole.Add<std::uint16_t>(rows::bestTable(), {width, height, 2 * width, image.data()}, 0, height);
        ++whole.frames;
        // The last band first.
        for (unsigned long end = height, first = 0; end != 0; end = first) {
            first = end - std::min<unsigned long>(end, 1 + random.Below(5));
            inBands.Add<std::uint16_t>(rows::bestTable(),
                                       {width, height, 2 * width, image.data() + first * width, first}, first, end);
        }
        ++inBands.frames;
    }
    const std::vector<double> means(whole.values.get(), whole.values.get() + width * height);
    EXPECT_EQ(std::vector<double>(inBands.values.get(), inBands.values.get() + width * height), means);
    EXPECT_GT(*std::max_element(means.begin(), means.end()), 2000.0);
}

TEST(ShadingBands, StageKeepsItsMapWhenOneIsSet) {
    CShadingCorrection module(rows::bestTable());
    const std::vector<int> first = countedMap(12, 0);
    const std::vector<int> second = countedMap(12, 500);
    ASSERT_EQ(module.SetMap(4, 3, 16, first.data()), 0U);
    const SShadingStage before = module.Stage();
    ASSERT_EQ(module.SetMap(4, 3, 16, second.data()), 0U);
    EXPECT_EQ(mapOf(before), first);
    EXPECT_EQ(mapOf(module.Stage()), second);
    const SShadingStage after = module.Stage();
    ASSERT_EQ(module.SetMap(2, 6, 8, first.data()), 0U);
    EXPECT_EQ(mapOf(after), second);
    EXPECT_EQ(after.map->width, 4U);
    EXPECT_EQ(mapOf(before), first);
}

// Shared or not, a map too large is refused, and none stays in the module.
TEST(ShadingBands, StageKeepsItsMapWhenMemoryRunsOut) {
    CShadingCorrection module(rows::bestTable());
    const std::vector<int> map = countedMap(12, 0);
    ASSERT_EQ(module.SetMap(4, 3, 16, map.data()), 0U);
    const SShadingStage stage = module.Stage();
    EXPECT_EQ(module.SetMap(4, ~0UL, 16, map.data()), kNoMemory);
    unsigned long width = 1;
    module.GetMap(&width, nullptr, nullptr, nullptr);
    EXPECT_EQ(width, 0U);
    EXPECT_EQ(mapOf(stage), map);
}

TEST(ShadingBands, StageKeepsItsMapWhenCalibrationStarts) {
    CShadingCorrection module(rows::bestTable());
    const std::vector<int> map = countedMap(16, 0);
    ASSERT_EQ(module.SetMap(4, 4, 16, map.data()), 0U);
    const SShadingStage stage = module.Stage();
    calibrate(&module, VEK_SHADING_GAIN);
    ASSERT_EQ(module.UpdateMap(8), 0U);
    EXPECT_EQ(mapOf(stage), map);
    EXPECT_NE(mapOf(module.Stage()), map);
}

// The first corrected frame makes the map; a stage from before it has the zeros that calibration began with.
TEST(ShadingBands, MapOfACalibrationIsMadeBesideASharedOne) {
    for (const unsigned long mode : {VEK_SHADING_GAIN, VEK_SHADING_OFFSET}) {
        CShadingCorrection alone(rows::bestTable());
        calibrate(&alone, mode);
        ASSERT_EQ(alone.UpdateMap(8), 0U);
        CShadingCorrection sharing(rows::bestTable());
        calibrate(&sharing, mode);
        const SShadingStage stage = sharing.Stage();
        std::uint8_t image[16] = {};
        ASSERT_EQ(sharing.ProcessB(4, 4, 0, image, 8), 0U);
        EXPECT_EQ(mapOf(stage), std::vector<int>(16, 0));
        EXPECT_EQ(mapOf(sharing.Stage()), mapOf(alone.Stage()));
        EXPECT_NE(mapOf(sharing.Stage()), std::vector<int>(16, 0));
    }
}

// A row with an entry that is no gain of 16 bits has none of them, and neither has a map of few columns.
TEST(ShadingGains16, AreThereForRowsThatFit) {
    constexpr unsigned long width = 40;
    constexpr int entries[] = {0, 127, 128, 2047, 2048, 32767, 32768, -1, 65536 + 128, INT_MIN, INT_MAX};
    constexpr unsigned long height = std::size(entries);
    std::vector<int> map(width * height, 100);
    for (unsigned long y = 0; y < height; ++y) {
        map[y * width + 3 * y] = entries[y];
    }
    CShadingCorrection module(rows::bestTable());
    ASSERT_EQ(module.SetMap(width, height, 4 * width, map.data()), 0U);
    const SShadingStage stage = module.Stage();
    for (unsigned long y = 0; y < height; ++y) {
        const std::uint16_t* const gains = stage.map->Gains16(y);
        ASSERT_EQ(gains != nullptr, y < 6) << "row " << y;
        if (gains != nullptr) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(gains) % 64, 0U);
            EXPECT_TRUE(std::equal(gains, gains + width, map.begin() + static_cast<std::ptrdiff_t>(y * width)));
        }
    }
    ASSERT_EQ(module.SetMap(5, 1, 20, map.data()), 0U);
    EXPECT_EQ(module.Stage().map->Gains16(0), nullptr);
    ASSERT_EQ(module.SetMap(0, 1UL << 62, 0, nullptr), 0U);
    EXPECT_EQ(module.Stage().map->Gains16(0), nullptr);
}

// They follow the entries: of a map that is set again, of calibrations, which start with zeros.
TEST(ShadingGains16, AreThoseOfTheEntries) {
    constexpr unsigned long width = 40;
    CShadingCorrection module(rows::bestTable());
    std::vector<int> map(width, 100);
    ASSERT_EQ(module.SetMap(width, 1, 4 * width, map.data()), 0U);
    EXPECT_EQ(module.Stage().map->Gains16(0)[7], 100);
    map[7] = 200;
    ASSERT_EQ(module.SetMap(width, 1, 4 * width, map.data()), 0U);
    EXPECT_EQ(module.Stage().map->Gains16(0)[7], 200);
    map[8] = -1;
    ASSERT_EQ(module.SetMap(width, 1, 4 * width, map.data()), 0U);
    EXPECT_EQ(module.Stage().map->Gains16(0), nullptr);
    map[8] = 1;
    ASSERT_EQ(module.SetMap(width, 1, 4 * width, map.data()), 0U);
    EXPECT_NE(module.Stage().map->Gains16(0), nullptr);

    std::vector<std::uint8_t> image(width, 50);
    image[7] = 1; // the largest gain
    module.SetTargetAll(100);
    for (const unsigned long mode : {VEK_SHADING_GAIN, VEK_SHADING_OFFSET}) {
        module.SetMode(VEK_SHADING_CALIBRATE_GAIN);
        ASSERT_EQ(module.ProcessB(width, 1, 0, image.data(), 8), 0U);
        EXPECT_EQ(module.Stage().map->Gains16(0), nullptr);
        module.SetMode(mode);
        // A map of gains that is set where the calibration's is to be.
        ASSERT_EQ(module.SetMap(width, 1, 4 * width, map.data()), 0U);
        ASSERT_EQ(module.UpdateMap(8), 0U);
        const SShadingStage stage = module.Stage();
        ASSERT_EQ(stage.map->Gains16(0) != nullptr, mode == VEK_SHADING_GAIN);
        if (mode == VEK_SHADING_GAIN) {
            EXPECT_EQ(stage.map->Gains16(0)[6], 256);
            EXPECT_EQ(stage.map->Gains16(0)[7], 2048);
        }
    }
}

TEST(ShadingBands, TraitsFollowModeAndMap) {
    CShadingCorrection module(rows::bestTable());
    const SFrame frame = {4, 3, 0, VEK_COLOR_ARRAY_RGGB, 8};
    const auto kindOf = [&](unsigned long mode, const SFrame& of) {
        module.SetMode(mode);
        return module.Stage().Traits(of).kind;
    };
    EXPECT_EQ(kindOf(VEK_SHADING_OFF, frame), EStage::None);
    for (const unsigned long mode : {VEK_SHADING_CALIBRATE_GAIN, VEK_SHADING_CALIBRATE_OFFSET}) {
        EXPECT_EQ(kindOf(mode, frame), EStage::Reduction);
        EXPECT_EQ(module.Stage().Traits(frame).resultBytes, 4U * 3U * sizeof(double));
    }
    for (const unsigned long mode : kCorrections) {
        EXPECT_EQ(kindOf(mode, frame), EStage::None) << "without a map";
    }
    const std::vector<int> map = countedMap(12, 0);
    ASSERT_EQ(module.SetMap(4, 3, 16, map.data()), 0U);
    for (const unsigned long mode : kCorrections) {
        EXPECT_EQ(kindOf(mode, frame), EStage::Pointwise);
        EXPECT_EQ(kindOf(mode, {3, 4, 0, VEK_COLOR_ARRAY_RGGB, 8}), EStage::None);
    }
    EXPECT_EQ(kindOf(VEK_SHADING_OFF, frame), EStage::None);
}

} // namespace vek::test
