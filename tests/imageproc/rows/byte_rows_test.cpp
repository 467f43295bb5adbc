// SPDX-License-Identifier: Apache-2.0
// Every tier's rows that end in bytes (samples and packed pixels shifted, YCrCb decoded) against the scalar ones, next
// to protected pages.
#include "VekTrgApi.h"
#include "imageproc/rows/TierTest.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vek::test {
namespace {

/// A conversion of width pixels: bytes read, bytes of the destination, the call.
template <class Src, class Call>
void compare(const rows::SRowTable& tier, const std::string& name, std::size_t srcCount, std::size_t dstBytes,
             std::size_t width, Call call) {
    for (const Flush flush : kFlushes) {
        CRandom random(width + srcCount);
        CGuardedBuffer<Src> src(srcCount, flush);
        fillSamples(src.data(), srcCount, Pattern::Random, 8 * sizeof(Src), random);
        const auto before = samplesOf<std::uint8_t>(dstBytes, Pattern::Random, 8, random);
        ASSERT_TRUE(sameRows(*rows::tier(0).table, tier, before, flush,
                             [&](const rows::SRowTable& rows, std::uint8_t* dst) { call(rows, src.data(), dst); }))
            << name << ' ' << width;
    }
}

/// Bytes up to the third one of the last pixel.
std::size_t pixelBytes(std::size_t width, std::size_t channels) {
    return width == 0 ? 0 : (width - 1) * channels + std::min<std::size_t>(channels, 3);
}

class ByteRows : public CTierTest {
protected:
    void CheckShifts(std::size_t width) {
        for (const std::size_t channels : {1UL, 3UL, 4UL}) {
            for (const int shift : {-31, -16, -15, -8, -7, -2, 0, 2, 4, 6, 7, 8, 15, 16, 31}) {
                const std::size_t at = rows::bytePixel(channels);
                compare<std::uint8_t>(Table(), "shift8", width, pixelBytes(width, channels), width,
                                      [&](const rows::SRowTable& rows, const std::uint8_t* src, std::uint8_t* dst) {
                                          rows.bytes.shift8[at](src, dst, width, shift);
                                      });
                compare<std::uint16_t>(Table(), "shift16", width, pixelBytes(width, channels), width,
                                       [&](const rows::SRowTable& rows, const std::uint16_t* src, std::uint8_t* dst) {
                                           rows.bytes.shift16[at](src, dst, width, shift);
                                       });
            }
        }
    }
    void CheckUnpacking(std::size_t width) {
        // Above 2 and 4 bits of the next pixel come in.
        for (const int shift : {0, 1, 2, 3, 4, 5, 8, 16}) {
            compare<std::uint8_t>(Table(), "unpack10", (width * 10 + 7) / 8, width, width,
                                  [&](const rows::SRowTable& rows, const std::uint8_t* src, std::uint8_t* dst) {
                                      rows.bytes.unpack10(src, dst, width, shift);
                                  });
            compare<std::uint8_t>(Table(), "unpack12", (width * 12 + 7) / 8, width, width,
                                  [&](const rows::SRowTable& rows, const std::uint8_t* src, std::uint8_t* dst) {
                                      rows.bytes.unpack12(src, dst, width, shift);
                                  });
        }
    }
    void CheckYCrCb(std::size_t width) {
        const std::size_t bytes[] = {2 * width, 3 * width, width + width / 2};
        // Up to the last luma byte.
        const std::size_t last = width - 1;
        const std::size_t lumaBytes[] = {2 * last + 1, 3 * last + 1, last / 4 * 6 + last % 4 + last % 4 / 2 + 1};
        for (std::size_t space = 0; space < rows::kYCrCbSpaces; ++space) {
            for (std::size_t packing = 0; packing < rows::kPackings; ++packing) {
                for (const unsigned channels : {3U, 4U}) {
                    compare<std::uint8_t>(Table(), "toBgr", bytes[packing], pixelBytes(width, channels), width,
                                          [&](const rows::SRowTable& rows, const std::uint8_t* src, std::uint8_t* dst) {
                                              rows.yCrCb.toBgr[space][packing][rows::pixelLayout(channels)](
                                                  src, dst, width, kTables[space]);
                                          });
                }
                compare<std::uint8_t>(Table(), "toGrey", width == 0 ? 0 : lumaBytes[packing], width, width,
                                      [&](const rows::SRowTable& rows, const std::uint8_t* src, std::uint8_t* dst) {
                                          rows.yCrCb.toGray[space][packing](src, dst, width, kTables[space]);
                                      });
            }
        }
    }
    static constexpr const int (*kTables[rows::kYCrCbSpaces])[256] = {pnYCrCbConvTable, pnYCrCbConvTable709};
};

TEST_P(ByteRows, EqualScalarForEveryWidthUpTo130) {
    for (std::size_t width = 0; width <= 130; ++width) {
        CheckShifts(width);
        CheckUnpacking(width);
        CheckYCrCb(width);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_P(ByteRows, EqualScalarForLargeWidths) {
    for (const std::size_t width : {2447UL, 2448UL}) {
        CheckShifts(width);
        CheckUnpacking(width);
        CheckYCrCb(width);
    }
}

// Bytes may replace what they are made of: no block may read what an earlier one wrote.
TEST_P(ByteRows, TakeTheirSourcesPlace) {
    const auto check = [&](std::size_t width, std::size_t srcBytes, const char* name, auto call) {
        CRandom random(width);
        const auto before = samplesOf<std::uint8_t>(srcBytes, Pattern::Random, 8, random);
        ASSERT_TRUE(sameRows(Scalar(), Table(), before, Flush::Right, call)) << name << ' ' << width;
    };
    for (std::size_t width = 1; width <= 130; ++width) {
        check(width, width, "shift8",
              [&](const rows::SRowTable& rows, std::uint8_t* row) { rows.bytes.shift8[0](row, row, width, 3); });
        check(width, 2 * width, "shift16", [&](const rows::SRowTable& rows, std::uint8_t* row) {
            rows.bytes.shift16[0](reinterpret_cast<const std::uint16_t*>(row), row, width, 4);
        });
        check(width, (width * 10 + 7) / 8, "unpack10",
              [&](const rows::SRowTable& rows, std::uint8_t* row) { rows.bytes.unpack10(row, row, width, 2); });
        check(width, (width * 12 + 7) / 8, "unpack12",
              [&](const rows::SRowTable& rows, std::uint8_t* row) { rows.bytes.unpack12(row, row, width, 4); });
    }
}

// The vectors calculate what the tables hold, so every colour there is: with chroma for each pixel, and for two.
TEST_P(ByteRows, EveryYCrCbColor) {
    constexpr std::size_t width = 256;
    struct SGroup {
        rows::YCrCb packing;
        std::size_t lumaStep; ///< bytes from luma to luma
        std::size_t bytes;    ///< of a group, whose last one is Cr
        std::size_t crBehind; ///< Cb
    };
    for (const SGroup& group : {SGroup{rows::YCrCb::P444, 3, 3, 1}, SGroup{rows::YCrCb::P422, 2, 4, 2}}) {
        std::vector<std::uint8_t> src(group.lumaStep * width);
        std::vector<std::uint8_t> expected(3 * width);
        std::vector<std::uint8_t> got(3 * width);
        const auto packing = static_cast<std::size_t>(group.packing);
        for (std::size_t y = 0; y < width; ++y) {
            src[group.lumaStep * y] = static_cast<std::uint8_t>(y);
        }
        for (std::size_t space = 0; space < rows::kYCrCbSpaces; ++space) {
            for (std::size_t chroma = 0; chroma < 65536; ++chroma) {
                for (std::size_t end = group.bytes; end <= src.size(); end += group.bytes) {
                    src[end - 1 - group.crBehind] = static_cast<std::uint8_t>(chroma);
                    src[end - 1] = static_cast<std::uint8_t>(chroma >> 8);
                }
                Scalar().yCrCb.toBgr[space][packing][0](src.data(), expected.data(), width, kTables[space]);
                Table().yCrCb.toBgr[space][packing][0](src.data(), got.data(), width, kTables[space]);
                ASSERT_EQ(got, expected) << Table().name << ' ' << space << ' ' << packing << ' ' << chroma;
            }
            Scalar().yCrCb.toGray[space][packing](src.data(), expected.data(), width, kTables[space]);
            Table().yCrCb.toGray[space][packing](src.data(), got.data(), width, kTables[space]);
            ASSERT_EQ(got, expected) << Table().name << ' ' << space << ' ' << packing;
        }
    }
}

VEK_FOR_EVERY_TIER(ByteRows);

} // namespace
} // namespace vek::test
