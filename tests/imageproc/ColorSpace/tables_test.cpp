// SPDX-License-Identifier: Apache-2.0
// The exported luma tables, entry by entry, as an application sees them.
#include "VekTrgApi.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vek::test {
namespace {

TEST(CLumaTables, FollowTheirRule) {
    for (unsigned i = 0; i < VEK_LUMA_TABLE_SIZE; ++i) {
        EXPECT_EQ(gpwB2Y[i], std::floor(i * 0.114 + 0.5)) << i;
        EXPECT_EQ(gpwG2Y[i], std::floor(i * 0.587 + 0.5)) << i;
        EXPECT_EQ(gpwR2Y[i], std::floor(i * 0.299 + 0.5)) << i;
    }
}

TEST(CLumaTables, Have4196WordsEach) {
    EXPECT_EQ(sizeof gpwB2Y, 8392U);
    EXPECT_EQ(sizeof gpwG2Y, 8392U);
    EXPECT_EQ(sizeof gpwR2Y, 8392U);
}

TEST(CLumaTables, TellingRows) {
    struct SEntry {
        unsigned i;
        unsigned blue;
        unsigned green;
        unsigned red;
    };
    for (const SEntry& e :
         {SEntry{0, 0, 0, 0}, SEntry{1, 0, 1, 0}, SEntry{5, 1, 3, 1}, SEntry{255, 29, 150, 76},
          SEntry{1000, 114, 587, 299}, SEntry{4095, 467, 2404, 1224}, SEntry{4195, 478, 2462, 1254}}) {
        EXPECT_EQ(gpwB2Y[e.i], e.blue) << e.i;
        EXPECT_EQ(gpwG2Y[e.i], e.green) << e.i;
        EXPECT_EQ(gpwR2Y[e.i], e.red) << e.i;
    }
}

TEST(CLumaTables, WhiteIsExact) {
    EXPECT_EQ(gpwB2Y[255] + gpwG2Y[255] + gpwR2Y[255], 255);
    EXPECT_EQ(gpwB2Y[4095] + gpwG2Y[4095] + gpwR2Y[4095], 4095);
}

TEST(CLumaTables, NoPixelIsAboveWhite) {
    for (const unsigned white : {255U, 4095U}) {
        for (unsigned i = 0; i <= white; ++i) {
            EXPECT_LE(gpwB2Y[i] + gpwG2Y[white] + gpwR2Y[white], static_cast<int>(white));
        }
    }
}

} // namespace
} // namespace vek::test
