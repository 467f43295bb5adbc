// SPDX-License-Identifier: Apache-2.0
// Cell sums of a region on every instruction set that this machine has.
#include "imageproc/AveragePixel.h"
#include "imageproc/AveragePixel/AverageModel.h"
#include "imageproc/ModuleTest.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

namespace vek::test {

namespace {

SCellSums sums(const rows::SRowTable& table, const SAverageCall& call, const std::uint8_t* src) {
    const SRegion region = SRegion::Cut(call.x, call.y, call.w, call.h, call.width, call.height);
    const STransferFormat& format = kTransferFormats[call.transferFormat];
    const SAveragePixelStage stage = {format.layout, format.depth, region};
    const SImage<const unsigned char> image = {call.width, call.height, format.PitchBytes(call.pitch, call.width), src};
    return stage.Measure(table, {call.width, call.height}, {image, 0, call.height});
}

} // namespace

TEST(CAverageTiers, AllGiveTheModelsMeans) {
    CRandom random(21);
    std::vector<std::uint16_t> words(200 * 9);
    for (const rows::SRowTable* const usable : usableTables()) {
        const rows::SRowTable& table = *usable;
        for (const unsigned long format : {0UL, 2UL, 4UL, 19UL}) {
            unsigned wrong = 0;
            for (int round = 0; round < 2000; ++round) {
                const bool full = random.Below(3) == 0;
                for (std::uint16_t& word : words) {
                    word = static_cast<std::uint16_t>(full ? 0xFFFF : random.Next());
                }
                const unsigned long width = 1 + random.Below(200);
                const unsigned long height = 1 + random.Below(9);
                const SAverageCall call{width,
                                        height,
                                        format == 0 || format == 19 ? width : (width * 12 + 7) / 8,
                                        static_cast<unsigned short>(1 + random.Below(2)),
                                        format,
                                        random.Below(width),
                                        random.Below(height),
                                        random.Below(width + 1),
                                        random.Below(height + 1)};
                const auto* const src = reinterpret_cast<const std::uint8_t*>(words.data());
                float average[4];
                sums(table, call, src).Average(call.colorMode == 1, average);
                const std::array<float, 4> expected = modelAverage(call, src);
                if (std::memcmp(average, expected.data(), sizeof average) != 0 && ++wrong <= 3) {
                    ADD_FAILURE() << table.name << ' ' << describe(call) << ": " << describe(average) << ", not "
                                  << describe(expected.data());
                }
            }
            EXPECT_EQ(wrong, 0U) << table.name << " format " << format;
        }
    }
}

// Ends are exclusive; an end that would wrap is the image's.
TEST(CAverageTiers, RegionsAreCut) {
    constexpr unsigned long big = ~0UL;
    const struct {
        unsigned long start, length, size, end;
    } cases[] = {{0, 0, 8, 0},       {0, 8, 8, 8},       {0, 9, 8, 8},      {3, 2, 8, 5},
                 {3, 5, 8, 8},       {3, 6, 8, 8},       {1, big, 8, 8},    {7, big - 6, 8, 8},
                 {7, big - 7, 8, 8}, {big, 1, big, big}, {5, big, big, big}};
    for (const auto& entry : cases) {
        const SRegion columns = SRegion::Cut(entry.start, 0, entry.length, 1, entry.size, 1);
        const SRegion lines = SRegion::Cut(0, entry.start, 1, entry.length, 1, entry.size);
        const bool empty = entry.start >= entry.end;
        EXPECT_EQ(columns.IsEmpty(), empty);
        EXPECT_EQ(lines.IsEmpty(), empty);
        if (!empty) {
            EXPECT_EQ(columns.x, entry.start);
            EXPECT_EQ(columns.xEnd, entry.end);
            EXPECT_EQ(lines.y, entry.start);
            EXPECT_EQ(lines.yEnd, entry.end);
        }
    }
}

} // namespace vek::test
