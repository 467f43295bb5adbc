// SPDX-License-Identifier: Apache-2.0
// Colour matrix in bands: what each of them makes is what the whole frame in its own place becomes.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/ColorMatrix.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

namespace vek::test {

namespace {

void setMatrix(CColorMatrix& module, CRandom& random, unsigned short /*bits*/) {
    short matrix[12];
    for (short& entry : matrix) {
        entry = static_cast<short>(static_cast<int>(random.Below(400)) - 150);
    }
    module.SetColorMatrix(VEK_COLOR_MATRIX_CUSTOM, matrix);
}

} // namespace

TEST(ColorMatrixBands, AreTheFrame) {
    tryAllColorBands<CColorMatrix>(10, setMatrix);
}

// The steps of a matrix give each product of a byte; without offsets, which bend products at 0, they stand in pairs.
TEST(ColorMatrixSteps, GiveTheProductsOfBytes) {
    CRandom random(5);
    for (int attempt = 0; attempt < 300; ++attempt) {
        CColorMatrix module(rows::bestTable());
        short matrix[12];
        for (std::size_t i = 0; i < 12; ++i) {
            const bool offset = i % 4 == 3;
            matrix[i] = static_cast<short>(offset ? (attempt % 2 == 0 ? 0 : static_cast<int>(random.Below(4000)) - 2000)
                                                  : static_cast<int>(random.Below(600)) - 300);
        }
        module.SetColorMatrix(VEK_COLOR_MATRIX_CUSTOM, matrix);
        const SColorMatrixStage stage = module.Stage();
        const rows::SMatrixTables tables = stage.Tables();
        ASSERT_NE(nullptr, tables.steps) << attempt;
        ASSERT_TRUE(tables.inPairs || attempt % 2 != 0) << attempt;
        const rows::SMatrixTables::Entry* const products[] = {tables.blue, tables.green, tables.red};
        for (std::size_t input = 0; input < 3; ++input) {
            const rows::SMatrixTables::ByteSteps& of = tables.steps[input];
            for (std::size_t j = 0; j < 3; ++j) {
                for (int n = 0; n < 256; ++n) {
                    const int left = tables.inPairs ? (of.rest[j][n / 2] + n % 2 + 1) / 2 : of.rest[j][n];
                    ASSERT_EQ(products[input][n][j], of.step[j] * n + of.sign[j] * left + of.base[j])
                        << "attempt " << attempt << ", input " << input << ", output " << j << ", sample " << n;
                }
            }
        }
    }
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
