// SPDX-License-Identifier: Apache-2.0
// Noise reduction in bands: what each of them makes is what the whole frame in its own place becomes; a stage keeps the
// dark frame that it was made with.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/NoiseReduction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned short kArrays[] = {VEK_COLOR_ARRAY_MONO, VEK_COLOR_ARRAY_RGGB, VEK_COLOR_ARRAY_GRBG,
                                      VEK_COLOR_ARRAY_GBRG, VEK_COLOR_ARRAY_BGGR};

unsigned long store(CNoiseReduction* module, const SFrame& frame, std::vector<std::uint8_t>& dark) {
    return module->NRProcB(frame.width, frame.height, 0, frame.colorArray, dark.data(), 8, VEK_NOISE_STORE_DARK);
}
unsigned long store(CNoiseReduction* module, const SFrame& frame, std::vector<std::uint16_t>& dark) {
    return module->NRProcW(frame.width, frame.height, 0, frame.colorArray, dark.data(), 12, VEK_NOISE_STORE_DARK);
}

/// A dark frame of a few levels.
template <class T>
void storeDark(CNoiseReduction* module, const SFrame& frame, CRandom* random) {
    std::vector<T> dark(frame.width * frame.height);
    for (T& sample : dark) {
        sample = static_cast<T>(random->Below(40));
    }
    ASSERT_EQ(store(module, frame, dark), 0U);
}

template <class T>
void tryEasyBands(unsigned short colorArray, unsigned short bits) {
    for (std::uint64_t seed = 1; seed <= 25; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        const SFrame frame = {4 + check.Random().Below(80), 4 + check.Random().Below(12), 0, colorArray, bits};
        const CNoiseReduction module(rows::bestTable());
        ASSERT_TRUE(check.RunInPlace(module.Stage(VEK_NOISE_EASY), frame, {1, 1, bits})) << colorArray;
    }
}

template <class T>
void tryComplexBands(unsigned short colorArray, unsigned short bits) {
    unsigned started = 0;
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        // Narrow ones, too: they have rows without a clipped sample.
        const std::uint64_t widths = seed % 2 == 0 ? 80 : 10;
        const SFrame frame = {1 + check.Random().Below(widths), 1 + check.Random().Below(20), 0, colorArray, bits};
        CNoiseReduction module(rows::bestTable());
        storeDark<T>(&module, frame, &check.Random());
        ASSERT_TRUE(check.RunInPlace(module.Stage(VEK_NOISE_COMPLEX), frame, {1, 1, bits})) << colorArray;
        started += check.Started();
    }
    EXPECT_GT(started, 10U) << colorArray;
}

/// Whether the row dy rows below counts in one of a few random frames.
bool reads(const SNoiseStage& stage, const SFrame& frame, long dy) {
    for (std::uint64_t seed = 1; seed <= 30; ++seed) {
        CBandCheck<std::uint8_t> check(rows::bestTable(), seed);
        if (check.ReadsRow(stage, frame, {1, 1, 8}, dy)) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST(NoiseBands, OfTheEasyFilterAreTheFrame) {
    for (const unsigned short array : kArrays) {
        tryEasyBands<std::uint8_t>(array, 8);
        tryEasyBands<std::uint16_t>(array, 12);
    }
}

TEST(NoiseBands, OfTheComplexFilterAreTheFrame) {
    for (const unsigned short array : kArrays) {
        tryComplexBands<std::uint8_t>(array, 8);
        tryComplexBands<std::uint16_t>(array, 12);
    }
}

// A frame of no known colour array is only subtracted from.
TEST(NoiseBands, OfUnknownArraysAreSubtracted) {
    CBandCheck<std::uint8_t> check(rows::bestTable(), 9);
    const SFrame frame = {33, 11, 0, 99, 8};
    CNoiseReduction module(rows::bestTable());
    storeDark<std::uint8_t>(&module, frame, &check.Random());
    EXPECT_EQ(module.Stage(VEK_NOISE_COMPLEX).Traits(frame).kind, EStage::Pointwise);
    EXPECT_TRUE(check.RunInPlace(module.Stage(VEK_NOISE_COMPLEX), frame, {1, 1, 8}));
}

// What is repaired counts in the rows below, so a band may start only where nothing above is.
TEST(NoiseBands, StartBelowRowsWithoutAClippedSample) {
    for (const unsigned short array : {VEK_COLOR_ARRAY_MONO, VEK_COLOR_ARRAY_GRBG}) {
        const SFrame frame = {5, 9, 0, array, 8};
        CNoiseReduction module(rows::bestTable());
        CRandom random(1);
        storeDark<std::uint8_t>(&module, frame, &random);
        const SNoiseStage stage = module.Stage(VEK_NOISE_COMPLEX);
        std::vector<std::uint8_t> image(5 * 9, 252); // 253 is clipped
        image[5 * 4 + 2] = 253;
        const SRows<const std::uint8_t> view = {5, image.data()};
        const unsigned long reach = stage.Traits(frame).rowsAbove;
        for (unsigned long first = 0; first < 9; ++first) {
            EXPECT_EQ(stage.StartsAt(frame, view, first), first <= 4 || first > 4 + reach) << array << " " << first;
            EXPECT_EQ(module.Stage(VEK_NOISE_EASY).StartsAt(frame, view, first), first == 0);
        }
    }
}

TEST(NoiseBands, ReachIsThatOfTheTraits) {
    for (const unsigned short array : {VEK_COLOR_ARRAY_MONO, VEK_COLOR_ARRAY_RGGB}) {
        const SFrame frame = {60, 11, 0, array, 8};
        CNoiseReduction module(rows::bestTable());
        CRandom random(1);
        storeDark<std::uint8_t>(&module, frame, &random);
        for (const unsigned long mode : {VEK_NOISE_EASY, VEK_NOISE_COMPLEX}) {
            const SNoiseStage stage = module.Stage(mode);
            const STraits traits = stage.Traits(frame);
            const auto above = static_cast<long>(traits.rowsAbove);
            const auto below = static_cast<long>(traits.rowsBelow);
            EXPECT_TRUE(reads(stage, frame, -above)) << "mode " << mode << ", array " << array;
            EXPECT_TRUE(reads(stage, frame, below)) << "mode " << mode << ", array " << array;
            EXPECT_FALSE(reads(stage, frame, -above - 1)) << "mode " << mode << ", array " << array;
            EXPECT_FALSE(reads(stage, frame, below + 1)) << "mode " << mode << ", array " << array;
        }
    }
}

TEST(NoiseBands, DarkFramesAreThoseOfTheFrame) {
    constexpr unsigned long width = 13;
    constexpr unsigned long height = 11;
    constexpr unsigned long pitch = 2 * width + 6;
    CRandom random(4);
    std::vector<std::uint16_t> image(pitch / 2 * height);
    fillSamples(image.data(), image.size(), Pattern::Random, 12, random);
    CNoiseReduction module(rows::bestTable());
    ASSERT_EQ(module.NRProcW(width, height, pitch, VEK_COLOR_ARRAY_RGGB, image.data(), 12, VEK_NOISE_STORE_DARK), 0U);
    const SNoiseStage stage = module.Stage(VEK_NOISE_COMPLEX);
    SDarkFrame inBands;
    inBands.Create(width, height, pitch, VEK_COLOR_ARRAY_RGGB);
    for (unsigned long end = height, first = 0; end != 0; end = first) {
        first = end - std::min<unsigned long>(end, 1 + random.Below(4));
        inBands.Add<std::uint16_t>({pitch, image.data() + first * pitch / 2, first}, first, end);
    }
    inBands.SubtractFloors<std::uint16_t>();
    ASSERT_EQ(stage.dark->pitch, pitch);
    ASSERT_EQ(stage.dark->height, height);
    const unsigned char* const expected = stage.dark->samples.get();
    const unsigned char* const bytes = inBands.samples.get();
    EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + pitch * height),
              std::vector<unsigned char>(expected, expected + pitch * height));
}

TEST(NoiseBands, StageKeepsItsDarkFrame) {
    const SFrame frame = {4, 4, 0, VEK_COLOR_ARRAY_MONO, 8};
    CNoiseReduction module(rows::bestTable());
    std::vector<std::uint8_t> dark(16, 0);
    dark[5] = 77;
    ASSERT_EQ(store(&module, frame, dark), 0U);
    const SNoiseStage stage = module.Stage(VEK_NOISE_COMPLEX);
    dark[5] = 33;
    ASSERT_EQ(store(&module, frame, dark), 0U);
    EXPECT_EQ(stage.dark->samples.get()[5], 77);
    EXPECT_EQ(module.Stage(VEK_NOISE_COMPLEX).dark->samples.get()[5], 33);
    // Without memory for the next one the module has none, the stage still has its own.
    EXPECT_EQ(module.NRProcB(0, ~0UL, 16, VEK_COLOR_ARRAY_MONO, dark.data(), 8, VEK_NOISE_STORE_DARK), kNoMemory);
    EXPECT_EQ(module.Stage(VEK_NOISE_COMPLEX).Traits(frame).kind, EStage::None);
    EXPECT_EQ(stage.Traits(frame).kind, EStage::Serial);
    EXPECT_EQ(stage.dark->samples.get()[5], 77);
}

TEST(NoiseBands, TraitsFollowModeAndFrame) {
    CNoiseReduction module(rows::bestTable());
    const SFrame mono = {100, 50, 0, VEK_COLOR_ARRAY_MONO, 8};
    const SFrame bayer = {100, 50, 0, VEK_COLOR_ARRAY_GBRG, 8};
    const auto traitsOf = [&](unsigned long mode, const SFrame& frame) { return module.Stage(mode).Traits(frame); };
    const auto expect = [](const STraits& traits, EStage kind, unsigned reach, unsigned long workBytes) {
        EXPECT_EQ(traits.kind, kind);
        EXPECT_EQ(traits.rowsAbove, reach);
        EXPECT_EQ(traits.rowsBelow, reach);
        EXPECT_EQ(traits.workBytes, workBytes);
    };
    expect(traitsOf(VEK_NOISE_OFF, bayer), EStage::None, 0, 0);
    expect(traitsOf(VEK_NOISE_EASY, mono), EStage::Window, 1, 400);
    expect(traitsOf(VEK_NOISE_EASY, bayer), EStage::Serial, 2, 200);
    expect(traitsOf(VEK_NOISE_EASY, {100, 3, 0, VEK_COLOR_ARRAY_GBRG, 8}), EStage::None, 0, 0);
    expect(traitsOf(VEK_NOISE_EASY, {1, 50, 0, VEK_COLOR_ARRAY_MONO, 8}), EStage::None, 0, 0);
    expect(traitsOf(VEK_NOISE_EASY, {100, 50, 0, 0, 8}), EStage::None, 0, 0);
    expect(traitsOf(VEK_NOISE_COMPLEX, bayer), EStage::None, 0, 0);
    EXPECT_EQ(traitsOf(VEK_NOISE_STORE_DARK, bayer).kind, EStage::Reduction);
    EXPECT_EQ(traitsOf(VEK_NOISE_STORE_DARK, bayer).resultBytes, 5000U);
    EXPECT_EQ(traitsOf(VEK_NOISE_STORE_DARK, {100, 50, 0, VEK_COLOR_ARRAY_GBRG, 12}).resultBytes, 10000U);

    CRandom random(1);
    storeDark<std::uint8_t>(&module, bayer, &random);
    expect(traitsOf(VEK_NOISE_COMPLEX, bayer), EStage::Serial, 2, 1400);
    expect(traitsOf(VEK_NOISE_COMPLEX, mono), EStage::None, 0, 0);
    storeDark<std::uint8_t>(&module, mono, &random);
    expect(traitsOf(VEK_NOISE_COMPLEX, mono), EStage::Serial, 1, 800);
}

} // namespace vek::test
