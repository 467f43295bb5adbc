// SPDX-License-Identifier: Apache-2.0
// Every tier's sums, scalar included, against sums taken one pixel at a time, next to protected pages.
#include "imageproc/rows/Packing.h"
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <array>
#include <vector>

namespace vek::test {
namespace {

using rows::SRowTable;
using Sums = std::array<std::uint64_t, 2>;

constexpr std::uint64_t kBefore = 1000; // kernels add to what the sums hold

template <class T>
Sums expectedSums(const T* samples, std::size_t width) {
    Sums sums = {kBefore, kBefore};
    for (std::size_t x = 0; x < width; ++x) {
        sums[x % 2] += samples[x];
    }
    return sums;
}

class SumRows : public CTierTest {
protected:
    template <class T>
    void CheckSamples(std::size_t width, Pattern pattern, Flush flush, std::uint64_t seed) {
        CRandom random(seed);
        CGuardedBuffer<T> row(width, flush);
        fillSamples(row.data(), width, pattern, 8 * sizeof(T), random);
        Sums sums = {kBefore, kBefore};
        rows::sumRow<T>(Table())(row.data(), width, sums.data());
        ASSERT_EQ(sums, expectedSums(row.data(), width))
            << Table().name << ' ' << 8 * sizeof(T) << " bit, width " << width << ", seed " << seed;
    }

    void CheckPacked(unsigned bits, std::size_t width, Pattern pattern, Flush flush, std::uint64_t seed) {
        CRandom random(seed);
        std::vector<std::uint16_t> pixels(width);
        fillSamples(pixels.data(), width, pattern, bits, random);
        const std::vector<std::uint8_t> bytes = packStream(pixels, bits);
        CGuardedBuffer<std::uint8_t> row(bytes.size(), flush);
        std::copy(bytes.begin(), bytes.end(), row.data());
        Sums sums = {kBefore, kBefore};
        (bits == 10 ? Table().sums.packed10 : Table().sums.packed12)(row.data(), width, sums.data());
        ASSERT_EQ(sums, expectedSums(pixels.data(), width))
            << Table().name << ' ' << bits << " bit packed, width " << width << ", seed " << seed;
    }

    void CheckAll(std::size_t width, Pattern pattern, std::uint64_t seed) {
        for (const Flush flush : kFlushes) {
            CheckSamples<std::uint8_t>(width, pattern, flush, seed);
            CheckSamples<std::uint16_t>(width, pattern, flush, seed);
            CheckPacked(10, width, pattern, flush, seed);
            CheckPacked(12, width, pattern, flush, seed);
            if (HasFatalFailure()) {
                return;
            }
        }
    }
};

TEST_P(SumRows, EveryWidthUpTo260) {
    for (std::size_t width = 0; width <= 260; ++width) {
        CheckAll(width, Pattern::Random, width);
    }
}

TEST_P(SumRows, LargeRowsOfExtremeSamplesDoNotOverflow) {
    // Longer than the lanes that collect the sums can take at once: 256 blocks of bytes.
    for (const std::size_t width : {2447UL, 4099UL, 17001UL, 70003UL}) {
        for (const Pattern pattern : kPatterns) {
            CheckAll(width, pattern, width);
        }
    }
}

TEST_P(SumRows, VeryLongRowsDoNotOverflow) {
    // 65536 blocks of words.
    CheckAll(2100001, Pattern::Max, 1);
}

TEST_P(SumRows, EveryAddress) {
    CRandom random(3);
    std::vector<std::uint8_t> bytes(400);
    fillSamples(bytes.data(), bytes.size(), Pattern::Random, 8, random);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        Sums sums = {kBefore, kBefore};
        Table().sums.samples8(bytes.data() + offset, 201, sums.data());
        EXPECT_EQ(sums, expectedSums(bytes.data() + offset, 201));
        Sums packed = {};
        Sums expected = {};
        Table().sums.packed10(bytes.data() + offset, 201, packed.data());
        rows::tier(0).table->sums.packed10(bytes.data() + offset, 201, expected.data());
        EXPECT_EQ(packed, expected);
    }
}

VEK_FOR_EVERY_TIER(SumRows);

} // namespace
} // namespace vek::test
