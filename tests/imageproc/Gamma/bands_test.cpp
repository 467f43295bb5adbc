// SPDX-License-Identifier: Apache-2.0
// Tone curves in bands: what each of them makes is what the whole frame in its own place becomes.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/Gamma.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned char kChannels = VEK_GAMMA_B + 1;

/// Curves of all channels; a short one leaves entries of the one before.
void setCurves(CGamma* module, unsigned short bits, CRandom* random) {
    for (const unsigned short depth : {bits, static_cast<unsigned short>(bits - 2)}) {
        for (unsigned char channel = 0; channel < kChannels; ++channel) {
            const auto gamma = static_cast<unsigned short>(40 + random->Below(300));
            ASSERT_EQ(module->SetMode(channel, VEK_GAMMA_CURVE, gamma, static_cast<short>(random->Below(20)), 0,
                                      nullptr, depth),
                      0U);
        }
    }
}

SFrame randomFrame(CRandom* random) {
    return {1 + random->Below(150), 1 + random->Below(12), 0, 0, 0};
}

template <class T>
void tryRawBands(unsigned short bits) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        CGamma module(rows::bestTable());
        setCurves(&module, bits, &check.Random());
        SFrame frame = randomFrame(&check.Random());
        frame.colorArray = static_cast<unsigned short>(VEK_COLOR_ARRAY_RGGB + seed % 4);
        ASSERT_TRUE(check.RunInPlace(module.RawStage(), frame, {1, 1, bits}));
    }
}

template <class T>
void tryLumaBands(unsigned long format, unsigned samples, unsigned short bits) {
    for (std::uint64_t seed = 1; seed <= 30; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        CGamma module(rows::bestTable());
        setCurves(&module, bits, &check.Random());
        SFrame frame = randomFrame(&check.Random());
        frame.pixelFormat = format;
        ASSERT_TRUE(check.RunInPlace(module.LumaStage(), frame, {samples, samples, bits}));
    }
}

} // namespace

TEST(GammaBands, OfRawFramesAreTheFrame) {
    tryRawBands<std::uint8_t>(8);
    tryRawBands<std::uint16_t>(12);
}

TEST(GammaBands, OfGrayAndColorAreTheFrame) {
    tryLumaBands<std::uint8_t>(VEK_DESTINATION_MONO8, 1, 8);
    tryLumaBands<std::uint8_t>(VEK_DESTINATION_BGR24, 3, 8);
    tryLumaBands<std::uint8_t>(VEK_DESTINATION_BGRX32, 4, 8);
    tryLumaBands<std::uint16_t>(VEK_DESTINATION_MONO10, 1, 10);
    tryLumaBands<std::uint16_t>(VEK_DESTINATION_MONO12, 1, 12);
}

// A copy of the stage is not reached by later settings.
TEST(GammaBands, StagesAreValues) {
    CGamma module(rows::bestTable());
    CRandom random(5);
    setCurves(&module, 12, &random);
    const SRawGammaStage raw = module.RawStage();
    const SLumaGammaStage luma = module.LumaStage();
    for (unsigned char channel = 0; channel < kChannels; ++channel) {
        ASSERT_EQ(module.SetMode(channel, VEK_GAMMA_OFF, 0, 0, 0, nullptr, 12), 0U);
    }
    EXPECT_FALSE(module.RawStage().on);
    EXPECT_FALSE(module.LumaStage().on);
    CGamma again(rows::bestTable());
    random = CRandom(5);
    setCurves(&again, 12, &random);
    EXPECT_TRUE(raw.on && luma.on);
    EXPECT_EQ(luma.curve.words, again.LumaStage().curve.words);
    EXPECT_EQ(luma.bytesAreLevels, again.LumaStage().bytesAreLevels);
    for (std::size_t slot = 0; slot < kColorSlots; ++slot) {
        EXPECT_EQ(raw.curves[slot].words, again.RawStage().curves[slot].words);
        EXPECT_EQ(raw.curves[slot].bytes, again.RawStage().curves[slot].bytes);
    }
}

// Words follow every setting, whatever was worked out for the one before it.
TEST(GammaBands, SettingAfterSetting) {
    CGamma module(rows::bestTable());
    CRandom random(6);
    constexpr unsigned long width = 259;
    constexpr unsigned long height = 4;
    for (unsigned i = 0; i < 40; ++i) {
        const auto bits = static_cast<unsigned short>(8 + 2 * random.Below(3));
        std::vector<unsigned short> table(4096);
        std::generate(table.begin(), table.end(), [&] { return static_cast<unsigned short>(random.Below(4096)); });
        for (unsigned char channel = 0; channel < kChannels; ++channel) {
            const unsigned char mode =
                i % 5 == 4 ? static_cast<unsigned char>(VEK_GAMMA_TABLE) : static_cast<unsigned char>(random.Below(3));
            const auto gamma = static_cast<unsigned short>(45 + random.Below(200));
            ASSERT_EQ(module.SetMode(channel, mode, gamma, 0, i % 3 == 0 ? 20 : 0, table.data(), bits), 0U);
        }
        std::vector<unsigned short> image(width * height);
        fillSamples(image.data(), image.size(), Pattern::Random, i % 2 == 0 ? 12 : 13, random);
        std::vector<unsigned short> expected = image;
        const SRawGammaStage raw = module.RawStage();
        if (raw.on) {
            for (std::size_t at = 0; at < expected.size(); ++at) {
                const PhaseSlots slots = phaseSlots(VEK_COLOR_ARRAY_RGGB);
                const auto [even, odd] = rowSlots(slots, at / width);
                const auto& words = raw.curves[at % width % 2 == 0 ? even : odd].words;
                expected[at] = words[std::min<std::size_t>(expected[at], 4095)];
            }
        }
        ASSERT_EQ(module.ProcColorRawW(width, height, 2 * width, VEK_COLOR_ARRAY_RGGB, image.data()), 0U);
        ASSERT_EQ(image, expected) << "setting " << i;
        const SLumaGammaStage luma = module.LumaStage();
        for (unsigned short& sample : expected) {
            sample = luma.on ? luma.curve.words[std::min<std::size_t>(sample, 4095)] : sample;
        }
        // One row, since those of grey words are twice their length apart where nothing is said.
        ASSERT_EQ(module.ProcBGROrGrayW(width * height, 1, 0, VEK_DESTINATION_MONO12, image.data()), 0U);
        ASSERT_EQ(image, expected) << "setting " << i;
    }
}

TEST(GammaBands, TraitsFollowModesAndFrame) {
    CGamma module(rows::bestTable());
    const SFrame bayer = {100, 50, 0, VEK_COLOR_ARRAY_GRBG, 8};
    const SFrame mono = {100, 50, 0, VEK_COLOR_ARRAY_MONO, 8};
    const auto kindOf = [&](unsigned long format) { return module.LumaStage().Traits({100, 50, format, 0, 8}).kind; };
    EXPECT_EQ(module.RawStage().Traits(bayer).kind, EStage::None);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::None);

    ASSERT_EQ(module.SetMode(VEK_GAMMA_GB, VEK_GAMMA_CURVE, 220, 0, 0, nullptr, 8), 0U);
    EXPECT_EQ(module.RawStage().Traits(bayer).kind, EStage::Pointwise);
    EXPECT_EQ(module.RawStage().Traits(mono).kind, EStage::None);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::None);

    ASSERT_EQ(module.SetMode(VEK_GAMMA_GB, VEK_GAMMA_OFF, 0, 0, 0, nullptr, 8), 0U);
    ASSERT_EQ(module.SetMode(VEK_GAMMA_Y, VEK_GAMMA_CURVE, 220, 0, 0, nullptr, 8), 0U);
    EXPECT_EQ(module.RawStage().Traits(bayer).kind, EStage::None);
    for (const unsigned long format : {VEK_DESTINATION_MONO8, VEK_DESTINATION_BGR24, VEK_DESTINATION_BGRX32,
                                       VEK_DESTINATION_MONO10, VEK_DESTINATION_MONO12}) {
        EXPECT_EQ(kindOf(format), EStage::Pointwise) << format;
    }
    // Walked along rows of twice their length.
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR48), EStage::WholeFrame);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGRX64), EStage::WholeFrame);
}

} // namespace vek::test
