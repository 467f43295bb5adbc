// SPDX-License-Identifier: Apache-2.0
// Every tier's mirrored and transposed pixels, scalar included, against moves one byte at a time, next to protected
// pages.
#include "imageproc/rows/TierTest.h"
#include "support/SampleVectors.h"

#include <algorithm>
#include <vector>

namespace vek::test {
namespace {

constexpr std::size_t kPixelBytes[] = {1, 2, 3, 4, 6, 8};

Bytes randomBytes(std::size_t count, CRandom& random) {
    Bytes bytes(count);
    fillSamples(bytes.data(), count, Pattern::Random, 8, random);
    return bytes;
}

Bytes reversed(const Bytes& row, std::size_t pixelBytes) {
    Bytes result(row.size());
    const std::size_t width = row.size() / pixelBytes;
    for (std::size_t i = 0; i < row.size(); ++i) {
        result[(width - 1 - i / pixelBytes) * pixelBytes + i % pixelBytes] = row[i];
    }
    return result;
}

class CRow {
public:
    CRow(const Bytes& bytes, Flush flush) : mBuffer(bytes.size(), flush) {
        std::copy(bytes.begin(), bytes.end(), mBuffer.data());
    }
    std::uint8_t* data() { return mBuffer.data(); }
    Bytes Content() const { return {mBuffer.data(), mBuffer.data() + mBuffer.size()}; }
    bool CanaryIntact() const { return mBuffer.CanaryIntact(); }

private:
    CGuardedBuffer<std::uint8_t> mBuffer;
};

class FlipRows : public CTierTest {
protected:
    void CheckRows(std::size_t pixelBytes, std::size_t width, Flush flush) {
        CRandom random(width * 10 + pixelBytes);
        const std::size_t size = rows::pixelSize(pixelBytes);
        const Bytes first = randomBytes(width * pixelBytes, random);
        const Bytes second = randomBytes(width * pixelBytes, random);
        const auto where = [&] {
            return testing::Message() << Table().name << ", pixels of " << pixelBytes << " bytes, width " << width;
        };

        CRow src(first, flush);
        CRow dst(second, flush);
        Table().flips.reverse[size](src.data(), dst.data(), width);
        ASSERT_EQ(src.Content(), first) << where();
        ASSERT_EQ(dst.Content(), reversed(first, pixelBytes)) << where();
        ASSERT_TRUE(dst.CanaryIntact()) << where();

        CRow row(first, flush);
        Table().flips.reverseInPlace[size](row.data(), width);
        ASSERT_EQ(row.Content(), reversed(first, pixelBytes)) << where();
        ASSERT_TRUE(row.CanaryIntact()) << where();

        CRow a(first, flush);
        CRow b(second, flush);
        Table().flips.exchangeReversed[size](a.data(), b.data(), width);
        ASSERT_EQ(a.Content(), reversed(second, pixelBytes)) << where();
        ASSERT_EQ(b.Content(), reversed(first, pixelBytes)) << where();
        ASSERT_TRUE(a.CanaryIntact() && b.CanaryIntact()) << where();
    }

    /// Walks either image from the bottom up where asked to; the destination's rows have padding that must survive.
    void CheckTranspose(std::size_t pixelBytes, std::size_t width, std::size_t height, bool srcUp, bool dstUp,
                        std::size_t padding) {
        CRandom random(width * 1000 + height * 10 + pixelBytes);
        const std::size_t srcPitch = width * pixelBytes + padding;
        const std::size_t dstPitch = height * pixelBytes + padding;
        // The last row of each has no padding behind it.
        CRow src(randomBytes(srcPitch * height - padding, random), Flush::Right);
        CRow dst(randomBytes(dstPitch * width - padding, random), Flush::Right);
        Bytes expected = dst.Content();
        for (std::size_t y = 0; y < height; ++y) {
            for (std::size_t x = 0; x < width; ++x) {
                const std::size_t srcRow = srcUp ? height - 1 - y : y;
                const std::size_t dstRow = dstUp ? width - 1 - x : x;
                const std::uint8_t* const pixel = src.data() + srcRow * srcPitch + x * pixelBytes;
                std::copy(pixel, pixel + pixelBytes,
                          expected.begin() + static_cast<std::ptrdiff_t>(dstRow * dstPitch + y * pixelBytes));
            }
        }
        const auto signedSrcPitch = static_cast<std::ptrdiff_t>(srcPitch);
        const auto signedDstPitch = static_cast<std::ptrdiff_t>(dstPitch);
        Table().flips.transpose[rows::pixelSize(pixelBytes)](
            src.data() + (srcUp ? (height - 1) * srcPitch : 0), srcUp ? -signedSrcPitch : signedSrcPitch,
            dst.data() + (dstUp ? (width - 1) * dstPitch : 0), dstUp ? -signedDstPitch : signedDstPitch, width, height);
        ASSERT_EQ(dst.Content(), expected)
            << Table().name << ", pixels of " << pixelBytes << " bytes, " << width << " x " << height
            << (srcUp ? ", source up" : "") << (dstUp ? ", destination up" : "");
        ASSERT_TRUE(dst.CanaryIntact()) << Table().name;
    }
};

TEST_P(FlipRows, EveryWidthUpTo100) {
    for (const std::size_t pixelBytes : kPixelBytes) {
        for (std::size_t width = 0; width <= 100; ++width) {
            for (const Flush flush : kFlushes) {
                CheckRows(pixelBytes, width, flush);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST_P(FlipRows, LargeWidths) {
    for (const std::size_t pixelBytes : kPixelBytes) {
        CheckRows(pixelBytes, 2447, Flush::Right);
    }
}

TEST_P(FlipRows, TransposeEverySizeUpTo20) {
    for (const std::size_t pixelBytes : kPixelBytes) {
        for (std::size_t width = 1; width <= 20; ++width) {
            for (std::size_t height = 1; height <= 20; ++height) {
                CheckTranspose(pixelBytes, width, height, width % 2 == 0, height % 3 == 0, width % 4);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST_P(FlipRows, TransposeLargerImagesInEveryDirection) {
    for (const std::size_t pixelBytes : kPixelBytes) {
        for (const bool srcUp : {false, true}) {
            for (const bool dstUp : {false, true}) {
                CheckTranspose(pixelBytes, 67, 131, srcUp, dstUp, 5);
                CheckTranspose(pixelBytes, 128, 64, srcUp, dstUp, 0);
            }
        }
    }
}

// Rows of 1024 bytes, where the order of the tiles is another one, and images larger than a block of tiles.
TEST_P(FlipRows, TransposeOfCrowdedRows) {
    for (const std::size_t pixelBytes : kPixelBytes) {
        const std::size_t width = (1024 - 5) / pixelBytes;
        const std::size_t padding = 1024 - width * pixelBytes;
        CheckTranspose(pixelBytes, width, 301, false, true, padding);
        CheckTranspose(pixelBytes, 301, width, true, false, padding);
    }
}

TEST_P(FlipRows, TransposeOfNothing) {
    std::uint8_t src = 1;
    std::uint8_t dst = 2;
    for (const std::size_t pixelBytes : kPixelBytes) {
        Table().flips.transpose[rows::pixelSize(pixelBytes)](&src, 0, &dst, 0, 0, 0);
    }
    EXPECT_EQ(dst, 2);
}

VEK_FOR_EVERY_TIER(FlipRows);

} // namespace
} // namespace vek::test
