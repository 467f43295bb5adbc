// SPDX-License-Identifier: Apache-2.0
// Sharpness in bands: what each of them makes is what the whole frame in its own place becomes.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/Sharpness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

template <class T>
void tryRandomBands(unsigned long gray, unsigned long three, unsigned long four, unsigned short bits) {
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        CRandom& random = check.Random();
        CSharpness module(rows::bestTable());
        module.SetMode(1, static_cast<unsigned short>(random.Below(400)), static_cast<unsigned short>(random.Below(6)));
        const unsigned samples = static_cast<unsigned>(random.Below(3));
        const unsigned long formats[] = {gray, three, four};
        const SFrame frame = {3 + random.Below(150), 3 + random.Below(12), formats[samples], 0, bits};
        const unsigned perPixel = samples == 0 ? 1 : samples + 2;
        ASSERT_TRUE(check.RunInPlace(module.Stage(), frame, {perPixel, perPixel, bits}));
    }
}

} // namespace

TEST(SharpnessBands, OfBytesAreTheFrame) {
    tryRandomBands<std::uint8_t>(VEK_DESTINATION_MONO8, VEK_DESTINATION_BGR24, VEK_DESTINATION_BGRX32, 8);
}

TEST(SharpnessBands, OfWordsAreTheFrame) {
    tryRandomBands<std::uint16_t>(VEK_DESTINATION_MONO12, VEK_DESTINATION_BGR48, VEK_DESTINATION_BGRX64, 12);
}

// A band that continues the one above it does not ask for the row in front of it any more.
TEST(SharpnessBands, GoOnWhereTheBandAboveEnded) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        CRandom random(seed);
        CSharpness module(rows::bestTable());
        module.SetMode(1, static_cast<unsigned short>(random.Below(400)), static_cast<unsigned short>(random.Below(6)));
        const SSharpnessStage stage = module.Stage();
        const bool gray = seed % 2 == 0;
        const SFrame frame = {3 + random.Below(150), 3 + random.Below(30),
                              gray ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_BGR24, 0, 8};
        const unsigned long pitch = frame.width * (gray ? 1 : 3);
        std::vector<std::uint8_t> source(pitch * frame.height);
        fillSamples(source.data(), source.size(), Pattern::Random, 8, random);
        std::vector<std::uint16_t> work(stage.Traits(frame).workBytes / 2);
        std::vector<std::uint8_t> whole(source.size());
        const SRows<const std::uint8_t> rows = {pitch, source.data()};
        stage.Rows(rows::bestTable(), frame,
                   SBand<std::uint8_t>{rows, {pitch, whole.data()}, 0, frame.height, work.data()});
        std::vector<std::uint8_t> bands(source.size());
        for (unsigned long first = 0, end = 0; first < frame.height; first = end) {
            end = std::min(frame.height, first + 1 + random.Below(4));
            std::fill_n(source.begin(), static_cast<std::ptrdiff_t>(first < 2 ? 0 : first * pitch), std::uint8_t{77});
            stage.Rows(rows::bestTable(), frame,
                       SBand<std::uint8_t>{rows, {pitch, bands.data()}, first, end, work.data()}, first != 0);
        }
        ASSERT_EQ(bands, whole) << "seed " << seed << ", " << frame.width << " x " << frame.height;
    }
}

TEST(SharpnessBands, TraitsAreThoseOfTheResults) {
    for (const std::uint64_t seed : {1, 2, 3}) {
        CBandCheck<std::uint8_t> check(rows::bestTable(), seed);
        CSharpness module(rows::bestTable());
        module.SetMode(1, 100, 0);
        const SFrame frame = {20, 8, VEK_DESTINATION_BGRX32, 0, 8};
        EXPECT_EQ(check.Observed(module.Stage(), frame, {4, 4, 8}), module.Stage().Traits(frame));
    }
}

TEST(SharpnessBands, TraitsFollowModeAndFrame) {
    CSharpness module(rows::bestTable());
    const SFrame frame = {100, 50, VEK_DESTINATION_MONO8, 0, 8};
    EXPECT_EQ(module.Stage().Traits(frame).kind, EStage::None);
    module.SetMode(1, 100, 0);
    const STraits traits = module.Stage().Traits(frame);
    EXPECT_EQ(traits.kind, EStage::Window);
    EXPECT_EQ(traits.rowsAbove, 1U);
    EXPECT_EQ(traits.rowsBelow, 1U);
    EXPECT_EQ(traits.workBytes, 1000U);
    EXPECT_EQ(module.Stage().Traits({2, 50, VEK_DESTINATION_MONO8, 0, 8}).kind, EStage::None);
}

} // namespace vek::test
