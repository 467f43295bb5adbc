// SPDX-License-Identifier: Apache-2.0
// Colour matrix in bands: what each of them makes is what the whole frame in its own place becomes.
#include "VekTrgApi.h"
#include "imageproc/ColorMatrix.h"
#include "support/BandCheck.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

namespace {

template <class T>
void tryRandomBands(unsigned long format, unsigned samples, unsigned short bits) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        CBandCheck<T> check(rows::bestTable(), seed);
        CRandom& random = check.Random();
        short matrix[12];
        for (short& entry : matrix) {
            entry = static_cast<short>(static_cast<int>(random.Below(400)) - 150);
        }
        CColorMatrix module(rows::bestTable());
        module.SetColorMatrix(VEK_COLOR_MATRIX_CUSTOM, matrix);
        const SFrame frame = {1 + random.Below(150), 1 + random.Below(12), format, 0, bits};
        ASSERT_TRUE(check.RunInPlace(module.Stage(), frame, {samples, samples, bits}));
    }
}

} // namespace

TEST(ColorMatrixBands, AreTheFrame) {
    tryRandomBands<std::uint8_t>(VEK_DESTINATION_BGR24, 3, 8);
    tryRandomBands<std::uint8_t>(VEK_DESTINATION_BGRX32, 4, 8);
    tryRandomBands<std::uint16_t>(VEK_DESTINATION_BGR48, 3, 12);
    tryRandomBands<std::uint16_t>(VEK_DESTINATION_BGRX64, 4, 10);
}

TEST(ColorMatrixBands, TraitsFollowModesAndFormat) {
    CColorMatrix module(rows::bestTable());
    const auto kindOf = [&](unsigned long format) { return module.Stage().Traits({100, 50, format, 0, 8}).kind; };
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::None);
    module.SetHueSaturation(1, 0, 100);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::Pointwise);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGRX64), EStage::Pointwise);
    EXPECT_EQ(kindOf(VEK_DESTINATION_MONO8), EStage::None);
    EXPECT_EQ(kindOf(VEK_DESTINATION_MONO12), EStage::None);
    module.SetHueSaturation(0, 0, 100);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::None);
    constexpr short matrix[12] = {90, 0, 0, 0, 0, 90, 0, 0, 0, 0, 90, 0};
    module.SetColorMatrix(VEK_COLOR_MATRIX_CUSTOM, matrix);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::Pointwise);
}

} // namespace vek::test
