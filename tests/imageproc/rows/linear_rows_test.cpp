// SPDX-License-Identifier: Apache-2.0
// Every tier's levels and matrix of 12-bit words, scalar included, against samples taken one at a time in wider
// numbers, next to protected pages.
#include "imageproc/rows/TierTest.h"
#include "support/SampleVectors.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace vek::test {
namespace {

/// A value in 1/4096 as a sample: doubles hold all of them exactly.
double rounded12(double value) {
    return std::floor(value / 4096 + 0.5);
}
std::uint16_t limited12(double value) {
    return static_cast<std::uint16_t>(std::clamp(value, 0.0, 4095.0));
}

std::uint16_t expectedLevel(std::uint16_t sample, const rows::SLevel& level) {
    const double held = std::min<std::uint16_t>(sample, 4095);
    return limited12(rounded12((held - level.black) * level.gain) + level.pedestal);
}

Words expectedLevels(const Words& row, const rows::SLevel& even, const rows::SLevel& odd) {
    Words result;
    for (std::size_t x = 0; x < row.size(); ++x) {
        result.push_back(expectedLevel(row[x], x % 2 == 0 ? even : odd));
    }
    return result;
}

Words expectedPixels(const Words& row, const rows::SLinearMatrix& matrix) {
    Words result;
    for (std::size_t x = 0; x < row.size(); ++x) {
        const std::uint16_t* const pixel = row.data() + x / 3 * 3;
        double sum = 4096.0 * matrix.offset[x % 3];
        for (std::size_t i = 0; i < 3; ++i) {
            sum += double{1} * matrix.factor[x % 3][i] * pixel[i];
        }
        result.push_back(limited12(rounded12(sum)));
    }
    return result;
}

std::uint16_t anyWord(CRandom& random, unsigned bits) {
    return static_cast<std::uint16_t>(random.Next() & ((1U << bits) - 1));
}
std::int16_t anySigned(CRandom& random, unsigned bits) {
    return static_cast<std::int16_t>(static_cast<int>(random.Next() & ((1U << bits) - 1)) - (1 << (bits - 1)));
}

rows::SLevel anyLevel(CRandom& random) {
    return {anyWord(random, 12), anyWord(random, 15), anyWord(random, 12)};
}
rows::SLinearMatrix anyMatrix(CRandom& random, unsigned bits) {
    rows::SLinearMatrix matrix{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::int16_t& factor : matrix.factor[i]) {
            factor = anySigned(random, bits);
        }
        matrix.offset[i] = anySigned(random, bits - 1);
    }
    return matrix;
}

class LinearRows : public CTierTest {
protected:
    /// change(row) works on a copy of before that is flush with a protected page.
    template <class Change>
    void Check(const Words& before, const Words& expected, Flush flush, Change change) {
        CGuardedBuffer<std::uint16_t> row(before.size(), flush);
        std::copy(before.begin(), before.end(), row.data());
        change(row.data());
        const Words got(row.data(), row.data() + before.size());
        ASSERT_EQ(got, expected) << Table().name << ", " << before.size() << " samples";
        ASSERT_TRUE(row.CanaryIntact()) << Table().name << ", " << before.size() << " samples";
    }
    void CheckLevels(std::size_t width, Pattern pattern, const rows::SLevel& even, const rows::SLevel& odd,
                     CRandom& random) {
        for (const Flush flush : kFlushes) {
            const Words before = samplesOf<std::uint16_t>(width, pattern, 12, random);
            Check(before, expectedLevels(before, even, odd), flush,
                  [&](std::uint16_t* row) { Table().linear.levels(row, row, width, even, odd); });
            // From another row, of any words.
            const Words any = samplesOf<std::uint16_t>(width, pattern, 16, random);
            CGuardedBuffer<std::uint16_t> src(width, flush);
            std::copy(any.begin(), any.end(), src.data());
            Check(before, expectedLevels(any, even, odd), flush,
                  [&](std::uint16_t* row) { Table().linear.levels(src.data(), row, width, even, odd); });
        }
    }
    void CheckMatrix(std::size_t width, Pattern pattern, const rows::SLinearMatrix& matrix, CRandom& random) {
        for (const Flush flush : kFlushes) {
            const Words before = samplesOf<std::uint16_t>(3 * width, pattern, 12, random);
            Check(before, expectedPixels(before, matrix), flush,
                  [&](std::uint16_t* row) { Table().linear.matrix(row, width, matrix); });
        }
    }
};

TEST_P(LinearRows, LevelsOfEveryWidthUpTo260) {
    CRandom random(1);
    for (std::size_t width = 0; width <= 260 && !HasFatalFailure(); ++width) {
        CheckLevels(width, Pattern::Random, anyLevel(random), {64, 4096, 0}, random);
        CheckLevels(width, Pattern::Random, {256, 7000, 16}, {200, 5200, 20}, random);
    }
}

TEST_P(LinearRows, LevelsAtTheirLimits) {
    CRandom random(2);
    for (const int black : {0, 1, 64, 4095}) {
        for (const int gain : {0, 1, 2047, 4096, 32766, 32767}) {
            for (const int pedestal : {0, 1, 4095}) {
                for (const Pattern pattern : kPatterns) {
                    const rows::SLevel level = {static_cast<std::uint16_t>(black), static_cast<std::uint16_t>(gain),
                                                static_cast<std::uint16_t>(pedestal)};
                    CheckLevels(201, pattern, level, anyLevel(random), random);
                    CheckLevels(201, pattern, anyLevel(random), level, random);
                }
            }
        }
    }
}

TEST_P(LinearRows, LevelsOfEverySample) {
    CRandom random(3);
    Words samples(8192);
    for (std::size_t x = 0; x < samples.size(); ++x) {
        samples[x] = static_cast<std::uint16_t>(x / 2);
    }
    for (unsigned i = 0; i < 500 && !HasFatalFailure(); ++i) {
        const rows::SLevel even = anyLevel(random);
        const rows::SLevel odd = {anyWord(random, 8), anyWord(random, 14), anyWord(random, 6)};
        Check(samples, expectedLevels(samples, even, odd), Flush::Left,
              [&](std::uint16_t* row) { Table().linear.levels(row, row, samples.size(), even, odd); });
    }
}

TEST_P(LinearRows, MatrixOfEveryWidthUpTo130) {
    CRandom random(4);
    for (std::size_t width = 0; width <= 130 && !HasFatalFailure(); ++width) {
        CheckMatrix(width, Pattern::Random, anyMatrix(random, 13), random);
        CheckMatrix(width, Pattern::Random, anyMatrix(random, 16), random);
    }
}

TEST_P(LinearRows, MatrixAtItsLimits) {
    CRandom random(5);
    for (const int factor : {-32768, -1, 0, 1, 4096, 32767}) {
        for (const int offset : {-16384, -1, 0, 1, 16383}) {
            rows::SLinearMatrix matrix{};
            for (std::size_t i = 0; i < 3; ++i) {
                std::fill_n(matrix.factor[i], 3, static_cast<std::int16_t>(factor));
                matrix.offset[i] = static_cast<std::int16_t>(offset);
            }
            for (const Pattern pattern : kPatterns) {
                CheckMatrix(67, pattern, matrix, random);
            }
        }
    }
}

TEST_P(LinearRows, OneKeepsEverySample) {
    Words samples(3 * 4096);
    for (std::size_t x = 0; x < samples.size(); ++x) {
        samples[x] = static_cast<std::uint16_t>(x * 7 % 4096);
    }
    const rows::SLinearMatrix one = {{{4096, 0, 0}, {0, 4096, 0}, {0, 0, 4096}}, {0, 0, 0}};
    Check(samples, samples, Flush::Left,
          [&](std::uint16_t* row) { Table().linear.matrix(row, samples.size() / 3, one); });
    Check(samples, samples, Flush::Left, [&](std::uint16_t* row) {
        Table().linear.levels(row, row, samples.size(), {0, 4096, 0}, {0, 4096, 0});
    });
}

TEST_P(LinearRows, EveryAddress) {
    CRandom random(6);
    const rows::SLevel even = anyLevel(random);
    const rows::SLevel odd = anyLevel(random);
    const rows::SLinearMatrix matrix = anyMatrix(random, 13);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        Words row = samplesOf<std::uint16_t>(400, Pattern::Random, 12, random);
        const auto at = row.begin() + static_cast<std::ptrdiff_t>(offset);
        Words expected = row;
        const auto expectedAt = expected.begin() + static_cast<std::ptrdiff_t>(offset);
        const Words leveled = expectedLevels(Words(at, at + 303), even, odd);
        std::copy(leveled.begin(), leveled.end(), expectedAt);
        Table().linear.levels(row.data() + offset, row.data() + offset, 303, even, odd);
        ASSERT_EQ(row, expected) << Table().name << " offset " << offset;
        const Words pixels = expectedPixels(Words(at, at + 303), matrix);
        std::copy(pixels.begin(), pixels.end(), expectedAt);
        Table().linear.matrix(row.data() + offset, 101, matrix);
        ASSERT_EQ(row, expected) << Table().name << " offset " << offset;
    }
}

VEK_FOR_EVERY_TIER(LinearRows);

} // namespace
} // namespace vek::test
