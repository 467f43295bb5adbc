// SPDX-License-Identifier: Apache-2.0
// Chroma suppression in bands: what each of them makes is what the whole frame in its own place becomes.
#include "VekTrgApi.h"
#include "imageproc/BandCheck.h"
#include "imageproc/ChromaSuppress.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

namespace {

void setLevels(CChromaSuppress& module, CRandom& random, unsigned short bits) {
    const std::uint64_t levels = std::uint64_t{1} << bits;
    module.SetLowStartLevel(static_cast<unsigned short>(1 + random.Below(levels - 1)));
    module.SetLowSlope(static_cast<unsigned short>(1 + random.Below(400)));
    module.SetHighStartLevel(static_cast<unsigned short>(random.Below(levels - 1)));
    module.SetHighSlope(static_cast<unsigned short>(1 + random.Below(400)));
}

} // namespace

TEST(ChromaSuppressBands, AreTheFrame) {
    tryAllColorBands<CChromaSuppress>(12, setLevels);
}

TEST(ChromaSuppressBands, TraitsFollowLevelsSlopesAndFormat) {
    CChromaSuppress module(rows::bestTable());
    const auto kindOf = [&](unsigned long format) { return module.Stage().Traits({100, 50, format, 0, 8}).kind; };
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::None);
    module.SetHighSlope(10);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::None) << "no luma lies beyond 255";
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR48), EStage::Pointwise);
    module.SetHighStartLevel(256 + 254); // bytes take the low byte
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGR24), EStage::Pointwise);
    EXPECT_EQ(kindOf(VEK_DESTINATION_MONO8), EStage::None);
    EXPECT_EQ(kindOf(VEK_DESTINATION_MONO12), EStage::None);
    module.SetHighStartLevel(0xFFFF);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGRX32), EStage::None);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGRX64), EStage::None);
    module.SetLowStartLevel(20);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGRX32), EStage::None);
    module.SetLowSlope(1);
    EXPECT_EQ(kindOf(VEK_DESTINATION_BGRX32), EStage::Pointwise);
}

} // namespace vek::test
