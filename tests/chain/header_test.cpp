// SPDX-License-Identifier: Apache-2.0
#include "VekTrgChain.h"

#include <gtest/gtest.h>

extern "C" int vekRunHeaderExample(void);

namespace vek::test {
namespace {

TEST(ChainHeader, ItsExampleMakesPictures) {
    EXPECT_EQ(0, vekRunHeaderExample());
}

TEST(ChainHeader, StructsHaveNoGaps) {
    // What lies between members would have to be 0, too, where a struct is larger than the library knows it.
    EXPECT_EQ(8U + 4 * 2 + 8 + 4 * 5 + 2 * 2, sizeof(VekChainFrame));
    EXPECT_EQ(8U + 4 * 2 + 8 + 2 * 2 + 4, sizeof(VekChainPicture));
    EXPECT_EQ(8U + 2 * 12, sizeof(VekChainLevels));
    EXPECT_EQ(8U + 2 * 12, sizeof(VekChainLinearMatrix));
    EXPECT_EQ(8U + 4 * 2 + 8 * 3 + 8 + 4 * 2, sizeof(VekChainTone));
    EXPECT_EQ(8U + 8 * 2 + 4 * 2 + 8 + 4 * 2 + 8 * 2 + 4 * 2, sizeof(VekChainDescription));
    EXPECT_EQ(8U + 4 * 6 + 8 * 6, sizeof(VekChainTraits));
    EXPECT_EQ(8U * 67, sizeof(VekChainCount));
    EXPECT_EQ(8U + 5 * 8 * 67, sizeof(VekChainStatistics));
}

} // namespace
} // namespace vek::test
