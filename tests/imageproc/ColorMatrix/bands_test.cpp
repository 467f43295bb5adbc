// SPDX-License-Identifier: Apache-2.0
// Colour matrix in bands: what each of them makes is what the whole frame in its own place becomes.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/ColorMatrix.h"

#include <gtest/gtest.h>

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
