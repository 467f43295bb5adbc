// SPDX-License-Identifier: Apache-2.0
// Every tier's lookups, scalar included, against lookups one sample at a time, next to protected pages.
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <vector>

namespace vek::test {
namespace {

template <class T>
std::vector<T> randomTable(CRandom& random) {
    std::vector<T> table(rows::kCurveEntries<T>);
    fillSamples(table.data(), table.size(), Pattern::Random, 8 * sizeof(T), random);
    return table;
}

class CurveRows : public CTierTest {
protected:
    /// The row is changed in place; its tables end at a protected page, too.
    template <class T>
    void Check(std::size_t width, Pattern pattern, unsigned depth, Flush flush, std::uint64_t seed) {
        CRandom random(seed);
        CGuardedBuffer<T> even(rows::kCurveEntries<T>, flush);
        CGuardedBuffer<T> odd(rows::kCurveEntries<T>, flush);
        fillSamples(even.data(), even.size(), Pattern::Random, 8 * sizeof(T), random);
        fillSamples(odd.data(), odd.size(), Pattern::Random, 8 * sizeof(T), random);
        CGuardedBuffer<T> row(width, flush);
        fillSamples(row.data(), width, pattern, depth, random);
        std::vector<T> expected(width);
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t index = std::min<std::size_t>(row[x], rows::kCurveEntries<T> - 1);
            expected[x] = x % 2 == 0 ? even[index] : odd[index];
        }
        rows::curveRows<T>(Table()).lookUp(row.data(), width, even.data(), odd.data());
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), row.data()))
            << Table().name << ' ' << 8 * sizeof(T) << " bit, width " << width << ", depth " << depth << ", seed "
            << seed;
        ASSERT_TRUE(row.CanaryIntact()) << Table().name << ", width " << width;
    }
};

TEST_P(CurveRows, EveryWidthUpTo260) {
    for (std::size_t width = 0; width <= 260; ++width) {
        for (const Flush flush : kFlushes) {
            Check<std::uint8_t>(width, Pattern::Random, 8, flush, width);
            Check<std::uint16_t>(width, Pattern::Random, 12, flush, width);
        }
    }
}

TEST_P(CurveRows, WordsAboveTheTableTakeItsLastEntry) {
    for (const Pattern pattern : kPatterns) {
        for (const unsigned depth : {10U, 13U, 16U}) {
            Check<std::uint16_t>(333, pattern, depth, Flush::Right, depth);
        }
    }
}

TEST_P(CurveRows, EveryByteInEveryColumn) {
    CRandom random(5);
    const std::vector<std::uint8_t> even = randomTable<std::uint8_t>(random);
    const std::vector<std::uint8_t> odd = randomTable<std::uint8_t>(random);
    for (unsigned value = 0; value < 256; ++value) {
        std::vector<std::uint8_t> row(131, static_cast<std::uint8_t>(value));
        Table().curves8.lookUp(row.data(), row.size(), even.data(), odd.data());
        for (std::size_t x = 0; x < row.size(); ++x) {
            ASSERT_EQ(row[x], x % 2 == 0 ? even[value] : odd[value]) << Table().name << " column " << x;
        }
    }
}

template <class T>
void checkAddresses(const rows::SRowTable& table) {
    CRandom random(6);
    const std::vector<T> even = randomTable<T>(random);
    const std::vector<T> odd = randomTable<T>(random);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        std::vector<T> row(400);
        fillSamples(row.data(), row.size(), Pattern::Random, sizeof(T) == 1 ? 8 : 12, random);
        std::vector<T> expected = row;
        for (std::size_t x = 0; x < 201; ++x) {
            expected[offset + x] = (x % 2 == 0 ? even : odd)[row[offset + x]];
        }
        rows::curveRows<T>(table).lookUp(row.data() + offset, 201, even.data(), odd.data());
        ASSERT_EQ(row, expected) << table.name << " offset " << offset;
    }
}

TEST_P(CurveRows, EveryAddress) {
    checkAddresses<std::uint8_t>(Table());
    checkAddresses<std::uint16_t>(Table());
}

/// A byte after a gain, as white balance defines it.
std::uint8_t gained(unsigned sample, unsigned gain) {
    return static_cast<std::uint8_t>(std::min(sample * gain / 128, 255U));
}

TEST_P(CurveRows, EveryByteTimesEveryGain) {
    std::vector<std::uint8_t> row(512);
    for (unsigned gain = 0; gain < 65536; ++gain) {
        const unsigned oddGain = 65535 - gain;
        for (unsigned x = 0; x < row.size(); ++x) {
            row[x] = static_cast<std::uint8_t>(x / 2);
        }
        Table().gains.bytes(row.data(), row.size(), gain, oddGain);
        bool equal = true;
        for (unsigned x = 0; x < row.size(); ++x) {
            equal = equal && row[x] == gained(x / 2, x % 2 == 0 ? gain : oddGain);
        }
        ASSERT_TRUE(equal) << Table().name << " gain " << gain;
    }
}

TEST_P(CurveRows, GainsAtEveryWidthAndAddress) {
    CRandom random(8);
    for (std::size_t width = 0; width <= 260; ++width) {
        for (const Flush flush : kFlushes) {
            CGuardedBuffer<std::uint8_t> row(width, flush);
            fillSamples(row.data(), width, Pattern::Random, 8, random);
            std::vector<std::uint8_t> expected(row.data(), row.data() + width);
            for (std::size_t x = 0; x < width; ++x) {
                expected[x] = gained(expected[x], x % 2 == 0 ? 140 : 217);
            }
            Table().gains.bytes(row.data(), width, 140, 217);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), row.data())) << Table().name << ' ' << width;
            ASSERT_TRUE(row.CanaryIntact()) << Table().name << ' ' << width;
        }
    }
    for (std::size_t offset = 0; offset < 64; ++offset) {
        std::vector<std::uint8_t> row(400);
        fillSamples(row.data(), row.size(), Pattern::Random, 8, random);
        std::vector<std::uint8_t> expected = row;
        for (std::size_t x = 0; x < 251; ++x) {
            expected[offset + x] = gained(expected[offset + x], x % 2 == 0 ? 300 : 60);
        }
        Table().gains.bytes(row.data() + offset, 251, 300, 60);
        ASSERT_EQ(row, expected) << Table().name << " offset " << offset;
    }
}

VEK_FOR_EVERY_TIER(CurveRows);

} // namespace
} // namespace vek::test
