// SPDX-License-Identifier: Apache-2.0
// Every tier's statistics, scalar included, against samples counted one at a time, next to protected pages.
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace vek::test {
namespace {

struct SCounts {
    rows::SRowCount column[2];
};

/// What the counts hold before: kernels add to it.
SCounts countsBefore() {
    SCounts counts = {};
    for (rows::SRowCount& each : counts.column) {
        each.sum = 1000;
        each.clipped = 7;
        std::fill_n(each.bins, rows::SRowCount::kBins, std::uint64_t{3});
    }
    return counts;
}

SCounts expectedCounts(const std::vector<unsigned>& samples, unsigned shift, unsigned clipped) {
    SCounts counts = countsBefore();
    for (std::size_t x = 0; x < samples.size(); ++x) {
        rows::SRowCount& count = counts.column[x % 2];
        count.sum += samples[x];
        count.clipped += samples[x] >= clipped ? 1 : 0;
        ++count.bins[std::min(samples[x] >> shift, 63U)];
    }
    return counts;
}

testing::AssertionResult sameCounts(const SCounts& got, const SCounts& expected) {
    for (std::size_t i = 0; i < 2; ++i) {
        const rows::SRowCount& a = got.column[i];
        const rows::SRowCount& b = expected.column[i];
        if (a.sum != b.sum || a.clipped != b.clipped) {
            return testing::AssertionFailure() << "sum " << a.sum << ", not " << b.sum << "; clipped " << a.clipped
                                               << ", not " << b.clipped << "; parity " << i;
        }
        const auto differing = std::mismatch(std::begin(a.bins), std::end(a.bins), std::begin(b.bins));
        if (differing.first != std::end(a.bins)) {
            return testing::AssertionFailure() << "bin " << differing.first - a.bins << " has " << *differing.first
                                               << ", not " << *differing.second << "; parity " << i;
        }
    }
    return testing::AssertionSuccess();
}

class CountRows : public CTierTest {
protected:
    /// What count(row, ..., counts) and taking it add to what stands there.
    template <class T>
    SCounts Counted(typename rows::SCountRows<T>::Count count, const T* row, std::size_t width, unsigned shift,
                    unsigned clipped) {
        count(row, width, shift, static_cast<T>(clipped), *mPairs);
        SCounts counts = countsBefore();
        Table().takeCounts(*mPairs, counts.column[0], counts.column[1]);
        return counts;
    }

    template <class T>
    void Check(std::size_t width, Pattern pattern, unsigned depth, unsigned shift, unsigned clipped, Flush flush) {
        CRandom random(width + depth);
        CGuardedBuffer<T> row(3 * width, flush);
        fillSamples(row.data(), row.size(), pattern, depth, random);
        const auto& kernels = rows::countRows<T>(Table());
        SCounts got = Counted<T>(kernels.samples, row.data(), row.size(), shift, clipped);
        std::vector<unsigned> samples(row.data(), row.data() + row.size());
        ASSERT_TRUE(sameCounts(got, expectedCounts(samples, shift, clipped)))
            << Table().name << ' ' << 8 * sizeof(T) << " bit, " << row.size() << " samples, shift " << shift;
        samples.clear();
        for (std::size_t x = 0; x < width; ++x) {
            const T* const pixel = row.data() + 3 * x;
            samples.push_back((29U * pixel[0] + 150U * pixel[1] + 77U * pixel[2] + 128) / 256);
        }
        got = Counted<T>(kernels.luma, row.data(), width, shift, clipped);
        ASSERT_TRUE(sameCounts(got, expectedCounts(samples, shift, clipped)))
            << Table().name << ' ' << 8 * sizeof(T) << " bit luma, width " << width << ", shift " << shift;
    }
    void CheckAll(std::size_t width, Pattern pattern) {
        for (const Flush flush : kFlushes) {
            Check<std::uint8_t>(width, pattern, 8, 2, 250, flush);
            Check<std::uint16_t>(width, pattern, 12, 6, 4000, flush);
        }
    }

    std::unique_ptr<rows::SPairCounts> mPairs = std::make_unique<rows::SPairCounts>(); ///< zeros
};

TEST_P(CountRows, EveryWidthUpTo140) {
    for (std::size_t width = 0; width <= 140 && !HasFatalFailure(); ++width) {
        CheckAll(width, Pattern::Random);
    }
}

TEST_P(CountRows, LongRowsOfEveryPattern) {
    for (const Pattern pattern : kPatterns) {
        for (const std::size_t width : {1023UL, 1024UL, 1025UL, 2447UL, 17001UL}) {
            CheckAll(width, pattern);
        }
    }
}

TEST_P(CountRows, EveryShiftAndLimit) {
    for (unsigned shift = 0; shift < 16; ++shift) {
        for (const unsigned clipped : {0U, 1U, 128U, 255U}) {
            if (shift < 8) {
                Check<std::uint8_t>(201, Pattern::Random, 8, shift, clipped, Flush::Right);
            }
            Check<std::uint16_t>(201, Pattern::Random, 16, shift, clipped * 257, Flush::Right);
            Check<std::uint16_t>(201, Pattern::NearLimits, 16, shift, clipped * 257, Flush::Left);
        }
    }
}

TEST_P(CountRows, EveryAddress) {
    CRandom random(4);
    const auto row = samplesOf<std::uint16_t>(400, Pattern::Random, 12, random);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        const auto first = row.begin() + static_cast<std::ptrdiff_t>(offset);
        const SCounts got = Counted<std::uint16_t>(Table().counts16.samples, row.data() + offset, 301, 6, 4000);
        ASSERT_TRUE(sameCounts(got, expectedCounts(std::vector<unsigned>(first, first + 301), 6, 4000)))
            << Table().name << " offset " << offset;
    }
}

// As many columns as there is room for, all alike, in one row and in rows that are less than what is counted together:
// all of their pairs are one number's.
TEST_P(CountRows, AsManyColumnsAsThereIsRoomFor) {
    for (const std::uint8_t sample : {std::uint8_t{0}, std::uint8_t{77}, std::uint8_t{255}}) {
        const std::vector<std::uint8_t> row(rows::SPairCounts::kMaxColumns, sample);
        const SCounts got = Counted<std::uint8_t>(Table().counts8.samples, row.data(), row.size(), 2, 255);
        const SCounts expected = expectedCounts(std::vector<unsigned>(row.begin(), row.end()), 2, 255);
        ASSERT_TRUE(sameCounts(got, expected)) << Table().name << " sample " << int{sample};
        for (std::size_t width = 1; width <= 7; ++width) {
            SCounts many = countsBefore();
            const std::size_t times = rows::SPairCounts::kMaxColumns / (width + 1);
            for (std::size_t i = 0; i < times; ++i) {
                Table().counts8.samples(row.data(), width, 2, 255, *mPairs);
            }
            Table().takeCounts(*mPairs, many.column[0], many.column[1]);
            const SCounts one = expectedCounts(std::vector<unsigned>(width, sample), 2, 255);
            const SCounts none = countsBefore();
            for (std::size_t parity = 0; parity < 2; ++parity) {
                ASSERT_EQ(many.column[parity].bins[sample >> 2] - 3, times * (one.column[parity].bins[sample >> 2] - 3))
                    << Table().name << " width " << width << " parity " << parity;
                ASSERT_EQ(many.column[parity].sum - none.column[parity].sum,
                          times * (one.column[parity].sum - none.column[parity].sum));
            }
        }
    }
}

// What was taken is not there any more.
TEST_P(CountRows, TakingLeavesZeros) {
    const std::vector<std::uint8_t> row(201, 9);
    Counted<std::uint8_t>(Table().counts8.samples, row.data(), row.size(), 2, 9);
    SCounts again = countsBefore();
    Table().takeCounts(*mPairs, again.column[0], again.column[1]);
    EXPECT_TRUE(sameCounts(again, countsBefore())) << Table().name;
}

VEK_FOR_EVERY_TIER(CountRows);

} // namespace
} // namespace vek::test
