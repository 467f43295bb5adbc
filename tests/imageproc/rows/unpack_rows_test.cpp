// SPDX-License-Identifier: Apache-2.0
// Every tier's unpacked rows, scalar included, against the pixels that were packed, and its 12 bits against samples
// taken one at a time, next to protected pages.
#include "imageproc/rows/Packing.h"
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <vector>

namespace vek::test {
namespace {

/// Groups of MIPI CSI-2: high bytes, then the low bits of the group's pixels. A last group is filled up with zeros.
std::vector<std::uint8_t> packCsi(const std::vector<std::uint16_t>& pixels, unsigned bits) {
    const std::size_t inGroup = bits == 12 ? 2 : 4;
    std::vector<std::uint8_t> bytes;
    for (std::size_t first = 0; first < pixels.size(); first += inGroup) {
        std::vector<std::uint16_t> group(inGroup);
        std::copy_n(pixels.begin() + static_cast<std::ptrdiff_t>(first), std::min(inGroup, pixels.size() - first),
                    group.begin());
        for (std::uint16_t& pixel : group) {
            bytes.push_back(static_cast<std::uint8_t>(pixel >> (bits - 8)));
            pixel = static_cast<std::uint16_t>(pixel & ((1U << (bits - 8)) - 1));
        }
        const std::vector<std::uint8_t> low = packStream(group, bits - 8);
        bytes.insert(bytes.end(), low.begin(), low.end());
    }
    return bytes;
}

std::vector<std::uint8_t> packSwapped(const std::vector<std::uint16_t>& pixels, unsigned) {
    std::vector<std::uint8_t> bytes;
    for (const std::uint16_t pixel : pixels) {
        bytes.push_back(static_cast<std::uint8_t>(pixel >> 8));
        bytes.push_back(static_cast<std::uint8_t>(pixel));
    }
    return bytes;
}

struct SPacking {
    const char* name;
    unsigned bits;
    std::vector<std::uint8_t> (*pack)(const std::vector<std::uint16_t>&, unsigned);
    rows::SUnpackRows::ToWords rows::SUnpackRows::*unpack;
};
constexpr SPacking kPackings[] = {{"stream10", 10, packStream, &rows::SUnpackRows::stream10},
                                  {"stream12", 12, packStream, &rows::SUnpackRows::stream12},
                                  {"csi10", 10, packCsi, &rows::SUnpackRows::csi10},
                                  {"csi12", 12, packCsi, &rows::SUnpackRows::csi12},
                                  {"csi14", 14, packCsi, &rows::SUnpackRows::csi14},
                                  {"swapped", 16, packSwapped, &rows::SUnpackRows::swapped}};

/// A word of a depth as 12 bits.
std::uint16_t at12(unsigned sample, unsigned depth) {
    const unsigned held = std::min(sample, (1U << depth) - 1);
    if (depth <= 12) {
        return static_cast<std::uint16_t>(held * (1U << (12 - depth)));
    }
    const unsigned divisor = 1U << (depth - 12);
    return static_cast<std::uint16_t>(std::min((held + divisor / 2) / divisor, 4095U));
}

class UnpackRows : public CTierTest {
protected:
    void CheckPacking(const SPacking& packing, std::size_t width, Pattern pattern, Flush flush, CRandom& random,
                      std::size_t offset = 0) {
        const auto pixels = samplesOf<std::uint16_t>(width, pattern, packing.bits, random);
        const std::vector<std::uint8_t> bytes = packing.pack(pixels, packing.bits);
        CGuardedBuffer<std::uint8_t> src(bytes.size() + offset, flush);
        std::copy(bytes.begin(), bytes.end(), src.data() + offset);
        CGuardedBuffer<std::uint16_t> dst(width, flush);
        (Table().unpack.*packing.unpack)(src.data() + offset, dst.data(), width);
        ASSERT_TRUE(std::equal(pixels.begin(), pixels.end(), dst.data()))
            << Table().name << ' ' << packing.name << ", width " << width << ", offset " << offset;
        ASSERT_TRUE(dst.CanaryIntact()) << Table().name << ' ' << packing.name << ", width " << width;
    }

    void CheckDepths(std::size_t width, Pattern pattern, Flush flush, CRandom& random) {
        const auto bytes = samplesOf<std::uint8_t>(width, pattern, 8, random);
        CGuardedBuffer<std::uint8_t> src(width, flush);
        std::copy(bytes.begin(), bytes.end(), src.data());
        CGuardedBuffer<std::uint16_t> dst(width, flush);
        Table().unpack.bytesToDepth12(src.data(), dst.data(), width);
        for (std::size_t x = 0; x < width; ++x) {
            ASSERT_EQ(dst[x], 16 * bytes[x]) << Table().name << ", width " << width << ", column " << x;
        }
        ASSERT_TRUE(dst.CanaryIntact()) << Table().name << ", width " << width;
        for (const unsigned depth : {8U, 10U, 12U, 14U, 16U}) {
            // Samples of the depth, and some above it.
            fillSamples(dst.data(), width, pattern, std::min(depth + 1, 16U), random);
            const std::vector<std::uint16_t> before(dst.data(), dst.data() + width);
            Table().unpack.toDepth12(dst.data(), width, depth);
            for (std::size_t x = 0; x < width; ++x) {
                ASSERT_EQ(dst[x], at12(before[x], depth))
                    << Table().name << ", width " << width << ", depth " << depth << ", sample " << before[x];
            }
            ASSERT_TRUE(dst.CanaryIntact()) << Table().name << ", width " << width << ", depth " << depth;
        }
    }

    void CheckAll(std::size_t width, Pattern pattern) {
        CRandom random(width);
        for (const Flush flush : kFlushes) {
            for (const SPacking& packing : kPackings) {
                CheckPacking(packing, width, pattern, flush, random);
            }
            CheckDepths(width, pattern, flush, random);
        }
    }
};

TEST_P(UnpackRows, EveryWidthUpTo260) {
    for (std::size_t width = 0; width <= 260 && !HasFatalFailure(); ++width) {
        CheckAll(width, Pattern::Random);
    }
}

TEST_P(UnpackRows, LargeRowsOfEveryPattern) {
    for (const Pattern pattern : kPatterns) {
        CheckAll(4099, pattern);
    }
}

TEST_P(UnpackRows, EveryAddress) {
    CRandom random(3);
    for (std::size_t offset = 0; offset < 64; ++offset) {
        for (const SPacking& packing : kPackings) {
            CheckPacking(packing, 203, Pattern::Random, Flush::Left, random, offset);
        }
        std::vector<std::uint16_t> row = samplesOf<std::uint16_t>(300, Pattern::Random, 16, random);
        const std::vector<std::uint16_t> before = row;
        Table().unpack.toDepth12(row.data() + offset, 203, 14);
        for (std::size_t x = 0; x < row.size(); ++x) {
            const bool inside = x >= offset && x < offset + 203;
            ASSERT_EQ(row[x], inside ? at12(before[x], 14) : before[x]) << Table().name << " offset " << offset;
        }
    }
}

TEST_P(UnpackRows, EveryWordOfEveryDepth) {
    std::vector<std::uint16_t> row(65536);
    for (unsigned depth = 8; depth <= 16; ++depth) {
        for (std::size_t x = 0; x < row.size(); ++x) {
            row[x] = static_cast<std::uint16_t>(x);
        }
        Table().unpack.toDepth12(row.data(), row.size(), depth);
        for (std::size_t x = 0; x < row.size(); ++x) {
            ASSERT_EQ(row[x], at12(static_cast<unsigned>(x), depth)) << Table().name << ", depth " << depth;
        }
    }
}

TEST_P(UnpackRows, GroupsAsTheirLayoutSays) {
    const std::uint8_t ten[] = {0x81, 0x42, 0xC3, 0x24, 0b11100100};
    const std::uint8_t twelve[] = {0x81, 0x42, 0xA5};
    const std::uint8_t fourteen[] = {0x81, 0x42, 0xC3, 0x24, 0b10000001, 0b11000100, 0b00011100};
    std::uint16_t row[4] = {};
    Table().unpack.csi10(ten, row, 4);
    EXPECT_EQ(row[0], 0x81 << 2 | 0);
    EXPECT_EQ(row[1], 0x42 << 2 | 1);
    EXPECT_EQ(row[2], 0xC3 << 2 | 2);
    EXPECT_EQ(row[3], 0x24 << 2 | 3);
    Table().unpack.csi12(twelve, row, 2);
    EXPECT_EQ(row[0], 0x815);
    EXPECT_EQ(row[1], 0x42A);
    Table().unpack.csi14(fourteen, row, 4);
    EXPECT_EQ(row[0], 0x81 << 6 | 1);
    EXPECT_EQ(row[1], 0x42 << 6 | 0b010010);
    EXPECT_EQ(row[2], 0xC3 << 6 | 0b001100);
    EXPECT_EQ(row[3], 0x24 << 6 | 0b000111);
}

TEST_P(UnpackRows, BytesOfWordsChangePlacesInPlace) {
    CRandom random(4);
    for (const std::size_t width : {1UL, 16UL, 33UL, 201UL}) {
        auto row = samplesOf<std::uint16_t>(width, Pattern::Random, 16, random);
        const std::vector<std::uint16_t> before = row;
        Table().unpack.swapped(reinterpret_cast<const std::uint8_t*>(row.data()), row.data(), width);
        for (std::size_t x = 0; x < width; ++x) {
            ASSERT_EQ(row[x], static_cast<std::uint16_t>(before[x] << 8 | before[x] >> 8)) << Table().name;
        }
    }
}

VEK_FOR_EVERY_TIER(UnpackRows);

} // namespace
} // namespace vek::test
