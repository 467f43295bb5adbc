// SPDX-License-Identifier: Apache-2.0
// The bounded list of bright pixels: order, ties, eviction.
#include "imageproc/PixelList.h"
#include "imageproc/PixelList/PixelListModel.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vek::test {

namespace {

::testing::AssertionResult same(const CPixelList& list, const CPixelListModel& model) {
    const auto& entries = model.Entries();
    if (list.GetCount() != static_cast<int>(entries.size()) || list.GetMinValue() != model.MinValue()) {
        return ::testing::AssertionFailure() << list.GetCount() << " entries from " << list.GetMinValue() << " on, not "
                                             << entries.size() << " from " << model.MinValue() << " on";
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const SPixelCandidate pixel = list.GetPixelValue(static_cast<int>(i));
        if (pixel.x != entries[i].x || pixel.y != entries[i].y || pixel.value != entries[i].value) {
            return ::testing::AssertionFailure() << "entry " << i << ": " << pixel.x << ", " << pixel.y << ", value "
                                                 << pixel.value << ", not " << entries[i].value;
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace

TEST(CPixelListTest, StartsEmpty) {
    for (const int capacity : {0, 1, 255, 65535}) {
        const CPixelList list(capacity);
        EXPECT_EQ(list.GetCount(), 0);
        EXPECT_EQ(list.GetMinValue(), 65535U);
    }
}

TEST(CPixelListTest, NoRoomTakesNothing) {
    CPixelList list(0);
    for (const unsigned short value : {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{65535}}) {
        list.Add(1, 2, value);
        EXPECT_EQ(list.GetCount(), 0);
        EXPECT_EQ(list.GetMinValue(), 65535U);
    }
}

TEST(CPixelListTest, BrighterOnesPushOutTheSmallest) {
    CPixelList list(2);
    list.Add(1, 0, 10);
    list.Add(2, 0, 20);
    EXPECT_EQ(list.GetMinValue(), 10U);
    list.Add(3, 0, 30);
    EXPECT_EQ(list.GetMinValue(), 20U);
    EXPECT_EQ(list.GetPixelValue(0).x, 2U);
    EXPECT_EQ(list.GetPixelValue(1).x, 3U);
    list.Add(4, 0, 20);
    EXPECT_EQ(list.GetPixelValue(0).x, 2U);
}

TEST(CPixelListTest, EarlierOfEqualOnesStays) {
    CPixelList list(2);
    for (unsigned x = 0; x < 3; ++x) {
        list.Add(x, 5, 30);
    }
    EXPECT_EQ(list.GetPixelValue(0).x, 0U);
    EXPECT_EQ(list.GetPixelValue(1).x, 1U);
    list.Add(9, 5, 31); // and the earliest smallest one goes
    EXPECT_EQ(list.GetPixelValue(0).x, 1U);
    EXPECT_EQ(list.GetPixelValue(1).x, 9U);
    EXPECT_EQ(list.GetMinValue(), 30U);
}

TEST(CPixelListTest, KeepsCoordinatesWhole) {
    CPixelList list(1);
    list.Add(~0UL, 0x123456789ABUL, 65535);
    EXPECT_EQ(list.GetPixelValue(0).x, ~0UL);
    EXPECT_EQ(list.GetPixelValue(0).y, 0x123456789ABUL);
    EXPECT_EQ(list.GetPixelValue(0).value, 65535U);
    list.Add(1, 1, 65535);
    EXPECT_EQ(list.GetPixelValue(0).x, ~0UL);
}

TEST(CPixelListTest, RandomSequences) {
    CRandom random(77);
    for (const int capacity : {1, 2, 3, 8, 64, 255, 256, 300}) {
        for (const std::uint64_t values : {2UL, 5UL, 256UL, 65536UL}) {
            CPixelList list(capacity);
            CPixelListModel model(static_cast<std::size_t>(capacity));
            const bool rising = random.Below(2) == 0;
            for (unsigned long i = 0; i < 600; ++i) {
                std::uint64_t value = random.Below(values);
                if (rising && values == 65536) {
                    value = (i * 100 + value % 300) % 65536;
                }
                list.Add(i, i + 7, static_cast<unsigned short>(value));
                model.Add(i, i + 7, static_cast<unsigned>(value));
                ASSERT_TRUE(same(list, model)) << "capacity " << capacity << ", step " << i;
            }
        }
    }
}

} // namespace vek::test
