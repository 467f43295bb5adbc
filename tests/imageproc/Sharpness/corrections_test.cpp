// SPDX-License-Identifier: Apache-2.0
// Corrections by arithmetic against the table that they stand for, entry by entry.
#include "imageproc/Sharpness_Corrections.h"

#include "imageproc/Sharpness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>

namespace vek::test {
namespace {

constexpr unsigned kCorings[] = {0, 1, 7, 128, 254, 255, 256, 2000, 4094, 4095, 4096, 65535};

unsigned bySegments(const rows::SCorrectionSegments& segments, unsigned difference, unsigned coring) {
    const unsigned m = std::min<unsigned>(difference > coring ? difference - coring : 0, segments.last);
    const unsigned h = m >> segments.bits;
    const unsigned low = m - (h << segments.bits);
    const unsigned slope = segments.slope + segments.turn[h];
    const unsigned part = (low * slope >> segments.bits) + segments.rest[h];
    EXPECT_LT(slope, 65536U);
    EXPECT_LT(part, 65536U);
    const unsigned more = low + 1 == segments.add[h] ? 1 : 0;
    const unsigned less = low + 1 == segments.take[h] ? 1 : 0;
    return std::min((part >> segments.shift) + h * segments.whole + segments.more[h] + more - less, 4095U);
}

unsigned byLine(const rows::SCorrectionLine& line, unsigned difference, unsigned coring) {
    const std::uint32_t m = std::min<std::uint32_t>(difference > coring ? difference - coring : 0, line.last);
    const std::uint32_t product = m * line.slope;
    // The exponent of a float: 127 for 1.
    unsigned exponent = 127;
    while (static_cast<float>(std::max(product, line.least)) >=
           static_cast<float>(std::uint64_t{2} << (exponent - 127))) {
        ++exponent;
    }
    const std::size_t part = exponent % rows::SCorrectionLine::kParts;
    const std::int64_t sum = std::int64_t{product} + std::int64_t{m} * line.turn[part] + line.offset[part];
    return static_cast<unsigned>(std::min<std::int64_t>(sum >> line.shift, 4095));
}

struct SByteCorrection {
    unsigned raise;
    unsigned held;
};
SByteCorrection byDigits(const rows::SCorrectionDigits& digits, unsigned difference, unsigned coring) {
    const unsigned m = difference > coring ? difference - coring : 0;
    const auto& [wholeOfUpper, heldOfUpper, restOfUpper] = digits.upper;
    const auto& [wholeOfLower, heldOfLower, restOfLower] = digits.lower;
    const unsigned carry = restOfLower[m % 16] + (255U - restOfUpper[m / 16]) > 255 ? 1 : 0;
    return {(wholeOfUpper[m / 16] + wholeOfLower[m % 16] + carry) % 256,
            std::min(heldOfUpper[m / 16] + heldOfLower[m % 16] + carry, 255U)};
}

std::unique_ptr<SSharpnessStage> stageOf(unsigned gain, unsigned coring) {
    auto stage = std::make_unique<SSharpnessStage>();
    stage->gain = static_cast<unsigned short>(gain);
    stage->coring = static_cast<unsigned short>(coring);
    stage->UpdateTable();
    return stage;
}

void checkLine(const SSharpnessStage& stage) {
    for (unsigned difference = 0; difference < stage.table.size(); ++difference) {
        ASSERT_EQ(byLine(stage.line, difference, stage.coring), stage.table[difference])
            << "gain " << stage.gain << ", coring " << stage.coring << ", difference " << difference;
    }
    ASSERT_LT(std::uint64_t{stage.line.last} * stage.line.slope, std::uint64_t{1} << 31);
}

void checkSegments(const SSharpnessStage& stage) {
    for (unsigned difference = 0; difference < stage.table.size(); ++difference) {
        ASSERT_EQ(bySegments(stage.segments, difference, stage.coring), stage.table[difference])
            << "gain " << stage.gain << ", coring " << stage.coring << ", difference " << difference;
    }
}

void checkDigits(const SSharpnessStage& stage) {
    for (unsigned difference = 0; difference < 256; ++difference) {
        const SByteCorrection correction = byDigits(stage.digits, difference, stage.coring);
        ASSERT_EQ(correction.raise, stage.table[difference] % 256)
            << "gain " << stage.gain << ", coring " << stage.coring << ", difference " << difference;
        ASSERT_EQ(correction.held, std::min<unsigned>(stage.table[difference], 255))
            << "gain " << stage.gain << ", coring " << stage.coring << ", difference " << difference;
    }
}

TEST(SharpnessCorrections, EveryGainHasALineThatGivesItsTable) {
    for (unsigned gain = 0; gain <= 65535; gain += gain < 2000 ? 1 : 97) {
        const auto stage = stageOf(gain, gain % 3 == 0 ? gain % 50 : 0);
        ASSERT_TRUE(stage->hasLine) << "gain " << gain;
        ASSERT_NO_FATAL_FAILURE(checkLine(*stage));
    }
}

TEST(SharpnessCorrections, MostGainsHaveSegmentsThatGiveTheirTable) {
    unsigned without = 0;
    for (unsigned gain = 0; gain <= 1000; ++gain) {
        const auto stage = stageOf(gain, gain % 5 == 0 ? gain % 50 : 0);
        if (stage->hasSegments) {
            ASSERT_NO_FATAL_FAILURE(checkSegments(*stage));
        } else {
            ++without;
        }
    }
    EXPECT_LE(without, 30U);
}

TEST(SharpnessCorrections, NearlyEveryGainOfBytesHasDigitsThatGiveItsTable) {
    unsigned without = 0;
    for (unsigned gain = 0; gain <= 1000; ++gain) {
        const auto stage = stageOf(gain, 0);
        if (stage->hasDigits) {
            ASSERT_NO_FATAL_FAILURE(checkDigits(*stage));
        } else {
            ++without;
        }
    }
    EXPECT_LE(without, 5U);
}

TEST(SharpnessCorrections, EveryCoring) {
    for (const unsigned coring : kCorings) {
        for (const unsigned gain : {0U, 1U, 5U, 70U, 80U, 100U, 190U, 333U, 1000U, 65535U}) {
            const auto stage = stageOf(gain, coring);
            ASSERT_TRUE(stage->hasLine) << "gain " << gain << ", coring " << coring;
            ASSERT_NO_FATAL_FAILURE(checkLine(*stage));
            if (stage->hasSegments) {
                ASSERT_NO_FATAL_FAILURE(checkSegments(*stage));
            }
            if (stage->hasDigits) {
                ASSERT_NO_FATAL_FAILURE(checkDigits(*stage));
            }
        }
    }
}

} // namespace
} // namespace vek::test
