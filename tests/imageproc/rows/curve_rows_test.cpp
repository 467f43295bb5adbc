// SPDX-License-Identifier: Apache-2.0
// Every tier's lookups, scalar included, against lookups one sample at a time, next to protected pages.
#include "imageproc/CurveSegments.h"
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <cmath>
#include <string>
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

/// A table of random words that arithmetic gives for the samples in between, and how it does.
struct SGainTable {
    CGuardedBuffer<std::uint16_t> entries;
    rows::SWordGain gain;

    SGainTable(Flush flush, CRandom& random) : entries(rows::kCurveEntries<std::uint16_t>, flush), gain{} {
        constexpr unsigned last = rows::kCurveEntries<std::uint16_t> - 1;
        fillSamples(entries.data(), entries.size(), Pattern::Random, 16, random);
        const auto below = [&random](std::size_t count) { return static_cast<std::uint16_t>(random.Below(count)); };
        const unsigned shift = below(10);
        gain.entries = entries.data();
        gain.scale = static_cast<std::uint16_t>(1U << shift);
        gain.limit = below(std::min(4096U, 65536U >> shift));
        gain.offset = below(600);
        gain.factor = below(65536);
        gain.largest = below(65536);
        const unsigned first = below(700);
        // Up to a sample within the table, or to all that are above it.
        const unsigned end = random.Below(2) == 0 ? 65535 : first + below(last + 1 - first);
        gain.first = static_cast<std::uint16_t>(first);
        gain.span = static_cast<std::uint16_t>(end - first);
        for (unsigned i = first; i <= std::min(end, last); ++i) {
            entries[i] = Computed(i);
        }
        if (end == 65535) {
            // What is above the table is limited, too.
            gain.limit = static_cast<std::uint16_t>(std::min<unsigned>(gain.limit, last - gain.offset));
            for (unsigned i = first; i <= last; ++i) {
                entries[i] = Computed(i);
            }
        }
    }
    std::uint16_t Computed(unsigned sample) const {
        const unsigned counted = std::min<unsigned>(sample < gain.offset ? 0U : sample - gain.offset, gain.limit);
        return static_cast<std::uint16_t>(std::min<unsigned>((counted * gain.scale) * gain.factor >> 16, gain.largest));
    }
    std::uint16_t Of(unsigned sample) const {
        return entries[std::min<unsigned>(sample, rows::kCurveEntries<std::uint16_t> - 1)];
    }
};

TEST_P(CurveRows, GainsOfWordsAreTheirTables) {
    for (std::size_t width = 0; width <= 260; ++width) {
        for (const Flush flush : kFlushes) {
            CRandom random(2 * width + 1);
            const SGainTable even(flush, random);
            const SGainTable odd(flush, random);
            for (const unsigned depth : {10U, 12U, 16U}) {
                CGuardedBuffer<std::uint16_t> row(width, flush);
                fillSamples(row.data(), width, Pattern::Random, depth, random);
                std::vector<std::uint16_t> expected(row.data(), row.data() + width);
                for (std::size_t x = 0; x < width; ++x) {
                    expected[x] = (x % 2 == 0 ? even : odd).Of(expected[x]);
                }
                Table().gains.words(row.data(), width, even.gain, odd.gain);
                ASSERT_TRUE(std::equal(expected.begin(), expected.end(), row.data()))
                    << Table().name << ", width " << width << ", depth " << depth;
                ASSERT_TRUE(row.CanaryIntact()) << Table().name << ", width " << width;
            }
        }
    }
}

TEST_P(CurveRows, GainsOfWordsAtEveryAddress) {
    CRandom random(9);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        const SGainTable even(Flush::Right, random);
        const SGainTable odd(Flush::Right, random);
        std::vector<std::uint16_t> row(400);
        fillSamples(row.data(), row.size(), Pattern::Random, 12, random);
        std::vector<std::uint16_t> expected = row;
        for (std::size_t x = 0; x < 251; ++x) {
            expected[offset + x] = (x % 2 == 0 ? even : odd).Of(expected[offset + x]);
        }
        Table().gains.words(row.data() + offset, 251, even.gain, odd.gain);
        ASSERT_EQ(row, expected) << Table().name << " offset " << offset;
    }
}

/// A curve by steps, with the segments that it has.
struct SSteppedCurve {
    std::vector<std::uint16_t> entries;
    rows::SToneCurve::Segments segments{};
    rows::SToneCurve curve{};

    explicit SSteppedCurve(std::vector<std::uint16_t> of) : entries(std::move(of)) {
        curve.entries = entries.data();
        curve.shift = rows::SToneCurve::kStepShift;
        curve.bySteps = true;
        fitSegments(curve, segments);
    }
    SSteppedCurve(const SSteppedCurve&) = delete;
    SSteppedCurve& operator=(const SSteppedCurve&) = delete;
};

template <class Level>
std::vector<std::uint16_t> entriesBy(Level level) {
    std::vector<std::uint16_t> entries(rows::kCurveEntries<std::uint16_t>);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i] = static_cast<std::uint16_t>(level(static_cast<double>(i)));
    }
    return entries;
}

std::vector<std::uint16_t> powerEntries(double exponent) {
    return entriesBy([=](double x) { return 4095 * std::pow(x / 4095, exponent) + 0.5; });
}

/// Curves of every kind; the number of the first that have no segments.
constexpr std::size_t kWithSegments = 9;
std::vector<std::vector<std::uint16_t>> kindsOfEntries() {
    std::vector<std::uint16_t> reversed = powerEntries(0.45);
    std::reverse(reversed.begin(), reversed.end());
    std::vector<std::uint16_t> torn = powerEntries(1);
    for (const std::size_t at : {0U, 700U, 4095U}) {
        torn[at] = 65535;
    }
    std::vector<std::uint16_t> random(rows::kCurveEntries<std::uint16_t>);
    CRandom numbers(11);
    fillSamples(random.data(), random.size(), Pattern::Random, 12, numbers);
    return {powerEntries(1),
            powerEntries(0.45),
            powerEntries(2.2),
            entriesBy([](double x) { return std::clamp((x - 40) * 1.4, 0.0, 4095.0); }),
            entriesBy([](double) { return 4095; }),
            entriesBy([](double x) { return x < 1000 ? x : 255; }),
            entriesBy([](double x) { return std::min(x, 1023.0); }),
            reversed,
            torn,
            random,
            entriesBy([](double) { return 40000; })};
}

TEST_P(CurveRows, SegmentsOfStepsGiveTheirEntries) {
    const auto kinds = kindsOfEntries();
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
        const SSteppedCurve curve(kinds[kind]);
        ASSERT_EQ(curve.curve.segments != nullptr, kind < kWithSegments) << kind;
    }
}

TEST_P(CurveRows, WordCurvesAreTheirEntries) {
    const auto kinds = kindsOfEntries();
    const std::size_t count = kinds.size();
    const auto check = [&](const SSteppedCurve& even, const SSteppedCurve& odd, std::size_t width, Flush flush,
                           unsigned depth, const std::string& name) {
        CRandom random(width);
        CGuardedBuffer<std::uint16_t> row(width, flush);
        fillSamples(row.data(), width, Pattern::Random, depth, random);
        std::vector<std::uint16_t> expected(row.data(), row.data() + width);
        for (std::size_t x = 0; x < width; ++x) {
            expected[x] = (x % 2 == 0 ? even : odd).entries[std::min<std::size_t>(expected[x], 4095)];
        }
        Table().wordCurves.lookUp(row.data(), width, even.curve, odd.curve);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), row.data()))
            << Table().name << ", " << name << ", width " << width << ", depth " << depth;
        ASSERT_TRUE(row.CanaryIntact()) << Table().name << ", " << name << ", width " << width;
    };
    for (std::size_t i = 0; i < count; ++i) {
        const SSteppedCurve even(kinds[i]);
        const SSteppedCurve odd(kinds[(i + 1) % count]);
        const std::string name = "curve " + std::to_string(i);
        for (std::size_t width = 0; width <= 200; ++width) {
            for (const Flush flush : kFlushes) {
                check(even, odd, width, flush, width % 3 == 0 ? 16 : 12, name);
                check(even, even, width, flush, width % 3 == 0 ? 16 : 12, name + " alone");
            }
        }
        for (const unsigned depth : {8U, 12U, 13U}) {
            check(even, odd, 2449, Flush::Right, depth, name);
        }
    }
}

TEST_P(CurveRows, WordCurvesOfEverySampleAtEveryAddress) {
    const auto kinds = kindsOfEntries();
    const SSteppedCurve even(kinds[1]);
    const SSteppedCurve odd(kinds[2]);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        std::vector<std::uint16_t> row(offset + 2 * 4100 + 7, 1);
        for (std::size_t x = 0; x < 2 * 4100; ++x) {
            row[offset + x] = static_cast<std::uint16_t>(x / 2);
        }
        std::vector<std::uint16_t> expected = row;
        for (std::size_t x = 0; x < 2 * 4100; ++x) {
            expected[offset + x] = (x % 2 == 0 ? even : odd).entries[std::min<std::size_t>(x / 2, 4095)];
        }
        Table().wordCurves.lookUp(row.data() + offset, 2 * 4100, even.curve, odd.curve);
        ASSERT_EQ(row, expected) << Table().name << " offset " << offset;
    }
}

VEK_FOR_EVERY_TIER(CurveRows);

} // namespace
} // namespace vek::test
