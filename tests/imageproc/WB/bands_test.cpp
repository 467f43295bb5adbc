// SPDX-License-Identifier: Apache-2.0
// White balance in bands: what each of them makes is what the whole frame in its own place becomes; what they measure
// adds up to what the whole frame gives.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/WB.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

unsigned long process(CWB& module, const SFrame& frame, std::uint8_t* image) {
    return module.WBProcB(frame.width, frame.height, 0, frame.colorArray, image, frame.bitsPerPixel);
}
unsigned long process(CWB& module, const SFrame& frame, std::uint16_t* image) {
    return module.WBProcW(frame.width, frame.height, 0, frame.colorArray, image, frame.bitsPerPixel);
}

void setRandomGains(CWB* module, CRandom* random) {
    unsigned short gains[4];
    for (unsigned short& gain : gains) {
        gain = static_cast<unsigned short>(random->Below(500));
    }
    module->SetWBGain(gains);
}

SFrame randomFrame(CRandom* random, unsigned short bits) {
    const auto array = static_cast<unsigned short>(VEK_COLOR_ARRAY_RGGB + random->Below(4));
    return {1 + random->Below(150), 1 + random->Below(12), 0, array, bits};
}

template <class T>
void tryManualBands(unsigned short bits) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        CWB module(rows::bestTable());
        module.SetWBMode(VEK_WB_MANUAL);
        // A frame of bytes first: its tables are where the lookup of words begins.
        std::uint8_t byte = 0;
        setRandomGains(&module, &check.Random());
        ASSERT_EQ(module.WBProcB(1, 1, 0, VEK_COLOR_ARRAY_RGGB, &byte, 8), 0U);
        setRandomGains(&module, &check.Random());
        const SFrame frame = randomFrame(&check.Random(), bits);
        SWBStage stage = module.Stage();
        stage.UpdateTables(bits);
        ASSERT_TRUE(check.RunInPlace(stage, frame, {1, 1, bits}));

        std::vector<T> image((frame.width + 3) / 4 * 4 * frame.height);
        fillSamples(image.data(), image.size(), Pattern::Random, bits, check.Random());
        std::vector<T> called = image;
        ASSERT_EQ(process(module, frame, called.data()), 0U);
        EXPECT_EQ(module.Stage().tables, stage.tables);
        const unsigned long pitch = pitchOr<T>(0, frame.width);
        ASSERT_EQ(runInPlace(stage, rows::bestTable(), frame, SRows<T>{pitch, image.data()}), 0U);
        EXPECT_EQ(image, called) << "seed " << seed;
    }
}

/// The call, and what it consists of: statistics of bands, their sum, gains, tables, rows.
template <class T>
void tryAutomatic(unsigned char mode, unsigned short bits) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        CRandom random(seed);
        CWB module(rows::bestTable());
        module.SetWBMode(mode);
        setRandomGains(&module, &random);
        const SFrame frame = randomFrame(&random, bits);
        const unsigned long pitch = pitchOr<T>(0, frame.width);
        std::vector<T> image(pitch / sizeof(T) * frame.height);
        fillSamples(image.data(), image.size(), Pattern::Random, bits, random);
        SWBStage stage = module.Stage();
        std::vector<T> called = image;
        ASSERT_EQ(process(module, frame, called.data()), 0U);

        ASSERT_EQ(stage.Traits(frame).kind, EStage::FrameFirst);
        const SRows<T> view = {pitch, image.data()};
        SWBStatistics sum;
        for (unsigned long first = 0, end = 0; first < frame.height; first = end) {
            end = std::min(frame.height, first + 1 + random.Below(5));
            SWBStatistics part;
            part.Add<T>(rows::bestTable(), frame, {pitch, view.Row(first), first}, first, end);
            sum.Add(part);
        }
        ASSERT_EQ(stage.Balance(sum, frame), 0U);
        stage.UpdateTables(bits);
        ASSERT_EQ(runInPlace(stage, rows::bestTable(), frame, view), 0U);
        EXPECT_EQ(image, called) << "seed " << seed;
        EXPECT_EQ(stage.gains, module.Stage().gains);
        EXPECT_EQ(stage.mode, module.Stage().mode);
        EXPECT_EQ(stage.tables, module.Stage().tables);
        EXPECT_EQ(stage.tableDepth, module.Stage().tableDepth);
    }
}

} // namespace

TEST(WBBands, OfFixedGainsAreTheFrame) {
    tryManualBands<std::uint8_t>(8);
    tryManualBands<std::uint8_t>(7);
    tryManualBands<std::uint16_t>(10);
    tryManualBands<std::uint16_t>(12);
}

TEST(WBBands, MeasuredInBandsAreTheCall) {
    for (const unsigned char mode : {VEK_WB_AUTO, VEK_WB_ONCE}) {
        tryAutomatic<std::uint8_t>(mode, 8);
        tryAutomatic<std::uint16_t>(mode, 12);
    }
}

// Automatic gains that come to 1 leave words as they are, which their tables would not.
TEST(WBBands, UnityGainsCopy) {
    CBandCheck<std::uint16_t> check(rows::bestTable(), 7);
    SWBStage stage;
    stage.mode = VEK_WB_AUTO;
    stage.gains = {128, 128, 128, 128};
    stage.UpdateTables(10);
    const SFrame frame = {37, 9, 0, VEK_COLOR_ARRAY_GRBG, 10};
    EXPECT_TRUE(check.RunInPlace(stage, frame, {1, 1, 10}));
    std::uint16_t samples[] = {5, 900, 3, 17};
    ASSERT_EQ(
        runInPlace(stage, rows::bestTable(), {2, 2, 0, VEK_COLOR_ARRAY_GRBG, 10}, SRows<std::uint16_t>{4, samples}),
        0U);
    EXPECT_EQ(samples[1], 900);
    EXPECT_EQ(samples[3], 17);
}

TEST(WBBands, BalanceRefusesOtherArrays) {
    SWBStage stage;
    stage.mode = VEK_WB_ONCE;
    const std::array<unsigned short, 4> gains = stage.gains;
    constexpr unsigned short others[] = {VEK_COLOR_ARRAY_MONO - 1, VEK_COLOR_ARRAY_BGGR + 1};
    for (const unsigned short array : others) {
        EXPECT_EQ(stage.Balance(SWBStatistics(), {4, 4, 0, array, 8}), kInvalid);
        EXPECT_EQ(stage.gains, gains);
        EXPECT_EQ(stage.mode, VEK_WB_ONCE);
    }
}

TEST(WBBands, TraitsFollowModeAndGains) {
    CWB module(rows::bestTable());
    const SFrame frame = {100, 50, 0, VEK_COLOR_ARRAY_RGGB, 8};
    EXPECT_EQ(module.Stage().Traits(frame).kind, EStage::None);
    module.SetWBMode(VEK_WB_MANUAL);
    EXPECT_EQ(module.Stage().Traits(frame).kind, EStage::Pointwise);
    module.SetWBMode(77);
    EXPECT_EQ(module.Stage().Traits(frame).kind, EStage::Pointwise) << "as manual";
    constexpr unsigned short unity[] = {128, 128, 128, 128};
    module.SetWBGain(unity);
    EXPECT_EQ(module.Stage().Traits(frame).kind, EStage::None);
    for (const unsigned char mode : {VEK_WB_AUTO, VEK_WB_ONCE}) {
        module.SetWBMode(mode);
        EXPECT_EQ(module.Stage().Traits(frame).kind, EStage::FrameFirst);
        EXPECT_EQ(module.Stage().Traits(frame).resultBytes, sizeof(SWBStatistics));
    }
}

} // namespace vek::test
