// SPDX-License-Identifier: Apache-2.0
// Conversion of frames to bytes by hand.
#include "imageproc/FormatConversion.h"

#include "common/PixelFormat.h"
#include "imageproc/rows/RowDispatch.h"
#include "support/SampleVectors.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

constexpr std::uint8_t kKept = 170;

/// Rows without padding. sampleBytes: of a sample.
SImage<const unsigned char> imageOf(unsigned long width, unsigned long height, const void* src,
                                    unsigned long sampleBytes = 1) {
    return {width, height, width * sampleBytes, static_cast<const unsigned char*>(src)};
}

/// Converts a raw or mono frame without padding into size bytes that hold kKept before.
Bytes convert(unsigned long width, unsigned long height, unsigned long transferFormat, const void* src,
              unsigned long outFormat, std::size_t size, unsigned long* pitch = nullptr) {
    Bytes dst(size, kKept);
    const STransferFormat& format = kTransferFormats[transferFormat];
    const SImage<const unsigned char> image = {width, height, format.RowBytes(width),
                                               static_cast<const unsigned char*>(src)};
    convGrayToBGRImage(rows::bestTable(), format, image, pitch, byteSamples(outFormat), dst.data());
    return dst;
}

} // namespace

// The upper 8 of 12, 10, 14 and 16 bits.
TEST(GoldenConversion, UpperBitsOfWords) {
    const std::uint16_t raw12 = 0x0ABC;
    EXPECT_EQ(convert(1, 1, 3, &raw12, 1, 1), Bytes{0xAB});
    EXPECT_EQ(convert(1, 1, 8, &raw12, 1, 1), Bytes{0xAB});
    const std::uint16_t raw10 = 0x02AB;
    EXPECT_EQ(convert(1, 1, 1, &raw10, 1, 1), Bytes{0xAA});
    EXPECT_EQ(convert(1, 1, 6, &raw10, 1, 1), Bytes{0xAA});
    const std::uint16_t raw14 = 0x2ABC;
    EXPECT_EQ(convert(1, 1, 18, &raw14, 1, 1), Bytes{0xAA});
    EXPECT_EQ(convert(1, 1, 20, &raw14, 1, 1), Bytes{0xAA});
    const std::uint16_t raw16 = 0x9ABC;
    EXPECT_EQ(convert(1, 1, 19, &raw16, 1, 1), Bytes{0x9A});
    EXPECT_EQ(convert(1, 1, 21, &raw16, 1, 1), Bytes{0x9A});
}

// Bits above the depth are not cleared, they leave at the top.
TEST(GoldenConversion, BitsAboveTheDepthAreCutOff) {
    const std::uint16_t sample = 0xFABC;
    EXPECT_EQ(convert(1, 1, 3, &sample, 1, 1), Bytes{0xAB});
    EXPECT_EQ(convert(1, 1, 1, &sample, 1, 1), Bytes{0xAF});
}

// Bytes pass as they are, into every channel of a colour pixel; the fourth byte stays.
TEST(GoldenConversion, BytesBecomeGrayPixels) {
    const Bytes src{7, 200};
    EXPECT_EQ(convert(2, 1, 0, src.data(), 1, 4), (Bytes{7, 200, kKept, kKept}));
    EXPECT_EQ(convert(2, 1, 5, src.data(), 4, 8), (Bytes{7, 7, 7, 200, 200, 200, kKept, kKept}));
    EXPECT_EQ(convert(2, 1, 0, src.data(), 8, 8), (Bytes{7, 7, 7, kKept, 200, 200, 200, kKept}));
}

// 5 pixels of 3 bytes are 15: rows take 16. A pitch variable of 0 receives that.
TEST(GoldenConversion, RowsArePaddedTo4Bytes) {
    const Bytes src{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    unsigned long pitch = 0;
    EXPECT_EQ(convert(5, 2, 0, src.data(), 4, 32, &pitch),
              (Bytes{1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5,  5,  5,  kKept,
                     6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10, 10, kKept}));
    EXPECT_EQ(pitch, 16U);
}

// A pitch that is not 0 is used as it is, unrounded, and stays.
TEST(GoldenConversion, GivenPitchIsUsed) {
    const Bytes src{1, 2, 3, 4};
    unsigned long pitch = 3;
    EXPECT_EQ(convert(2, 2, 0, src.data(), 1, 6, &pitch), (Bytes{1, 2, kKept, 3, 4, kKept}));
    EXPECT_EQ(pitch, 3U);
}

// A source pitch counts bytes: 3 words are 6.
TEST(GoldenConversion, SourcePitchCountsBytes) {
    const std::uint16_t src[5] = {0x100, 0x200, 0xFFFF, 0x300, 0x400};
    Bytes dst(8, kKept);
    const SImage<const unsigned char> image = {2, 2, 6, reinterpret_cast<const unsigned char*>(src)};
    convGrayToBGRImage(rows::bestTable(), kTransferFormats[3], image, nullptr, 1, dst.data());
    EXPECT_EQ(dst, (Bytes{0x10, 0x20, kKept, kKept, 0x30, 0x40, kKept, kKept}));
}

// 10 bits, 4 pixels in 5 bytes: 0x155, 0x2AA, 0x0F0, 0x30C, least significant bits first.
TEST(GoldenConversion, PackedTenBits) {
    const Bytes src{0x55, 0xA9, 0x0A, 0x0F, 0xC3};
    EXPECT_EQ(convert(4, 1, 2, src.data(), 1, 4), (Bytes{0x55, 0xAA, 0x3C, 0xC3}));
    EXPECT_EQ(convert(4, 1, 7, src.data(), 1, 4), (Bytes{0x55, 0xAA, 0x3C, 0xC3}));
    const Bytes first{0xFF, 0x03, 0, 0, 0};
    EXPECT_EQ(convert(4, 1, 2, first.data(), 1, 4), (Bytes{0xFF, 0, 0, 0}));
}

// 12 bits, 2 pixels in 3 bytes: 0xABC and 0x123.
TEST(GoldenConversion, PackedTwelveBits) {
    const Bytes src{0xBC, 0x3A, 0x12};
    EXPECT_EQ(convert(2, 1, 4, src.data(), 1, 2), (Bytes{0xAB, 0x12}));
    EXPECT_EQ(convert(2, 1, 9, src.data(), 1, 2), (Bytes{0xAB, 0x12}));
}

// Rows of packed pixels end with a whole byte, and the next row starts with a fresh one: 3 pixels of 12 bits take 5.
TEST(GoldenConversion, PackedRowsStartAtAByte) {
    const Bytes src{0xF0, 0x0F, 0x00, 0x80, 0x0F, 0x10, 0x01, 0x20, 0x30, 0x03};
    EXPECT_EQ(convert(3, 2, 4, src.data(), 1, 6), (Bytes{0xFF, 0x00, 0xF8, 0x11, 0x20, 0x33}));
}

// Packed pixels come out as grey bytes without padding whatever was asked for, and the pitch variable says so.
TEST(GoldenConversion, PackedIgnoresTheOutputFormat) {
    const Bytes src{0xBC, 0x3A, 0x12, 0x50, 0x05};
    for (const unsigned long outFormat : {1UL, 4UL, 8UL}) {
        unsigned long pitch = 64;
        EXPECT_EQ(convert(3, 1, 4, src.data(), outFormat, 12, &pitch),
                  (Bytes{0xAB, 0x12, 0x55, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept, kKept}));
        EXPECT_EQ(pitch, 3U);
    }
}

// A shift below 0 is to the left; 32 more make no difference.
TEST(GoldenConversion, ShiftToTheLeft) {
    const Bytes src{0x55, 0xFF};
    for (const long shift : {-2L, -34L}) {
        Bytes dst(4, kKept);
        imageBitShift(rows::bestTable(), ELayout::Bytes, imageOf(2, 1, src.data()), nullptr, 1, dst.data(), shift);
        EXPECT_EQ(dst, (Bytes{0x54, 0xFC, kKept, kKept})) << shift;
    }
}

// Without a shift a grey row is a copy of as many bytes as it has pixels: of words the low and the high byte of the
// first ones. With three channels each word's low byte stands in all of them.
TEST(GoldenConversion, WordsWithoutAShift) {
    const std::uint16_t src[] = {0x0201, 0x0403, 0x0605, 0x0807};
    Bytes gray(9, kKept);
    unsigned long pitch = 5;
    imageBitShift(rows::bestTable(), ELayout::Words, imageOf(2, 2, src, 2), &pitch, 1, gray.data(), 0);
    EXPECT_EQ(gray, (Bytes{1, 2, kKept, kKept, kKept, 5, 6, kKept, kKept}));
    Bytes three(7, kKept);
    imageBitShift(rows::bestTable(), ELayout::Words, imageOf(2, 1, src, 2), nullptr, 3, three.data(), 0);
    EXPECT_EQ(three, (Bytes{1, 1, 1, 3, 3, 3, kKept}));
}

TEST(GoldenConversion, BlueGreenRedBytes) {
    const Bytes src{1, 2, 3, 4, 5, 6};
    Bytes gray(3, kKept);
    convBGRToBGR(rows::bestTable(), kTransferFormats[10], 2, src.data(), 1, gray.data());
    EXPECT_EQ(gray, (Bytes{2, 5, kKept})); // green
    Bytes three(7, kKept);
    convBGRToBGR(rows::bestTable(), kTransferFormats[10], 2, src.data(), 3, three.data());
    EXPECT_EQ(three, (Bytes{1, 2, 3, 4, 5, 6, kKept}));
    Bytes four(8, kKept);
    convBGRToBGR(rows::bestTable(), kTransferFormats[10], 2, src.data(), 4, four.data());
    EXPECT_EQ(four, (Bytes{1, 2, 3, kKept, 4, 5, 6, kKept}));
}

// Three colours of 10 bits in the lower half of 8 bytes: B 0x3FC, G 0x004, R 0x2A8; the upper half is passed over.
TEST(GoldenConversion, BlueGreenRedOfTenBitsStepsEightBytes) {
    const std::uint32_t pixel = 0x3FC | 0x004U << 10 | 0x2A8U << 20;
    const std::uint32_t src[4] = {pixel | 0xC0000000U, 0xFFFFFFFF, 0x3FFU << 10, 0xFFFFFFFF};
    Bytes gray(3, kKept);
    convBGRToBGR(rows::bestTable(), kTransferFormats[11], 2, reinterpret_cast<const unsigned char*>(src), 1,
                 gray.data());
    EXPECT_EQ(gray, (Bytes{0x01, 0xFF, kKept}));
    Bytes three(7, kKept);
    convBGRToBGR(rows::bestTable(), kTransferFormats[11], 2, reinterpret_cast<const unsigned char*>(src), 3,
                 three.data());
    EXPECT_EQ(three, (Bytes{0xFF, 0x01, 0xAA, 0x00, 0xFF, 0x00, kKept}));
    Bytes four(8, kKept);
    convBGRToBGR(rows::bestTable(), kTransferFormats[11], 2, reinterpret_cast<const unsigned char*>(src), 4,
                 four.data());
    EXPECT_EQ(four, (Bytes{0xFF, 0x01, 0xAA, kKept, 0x00, 0xFF, 0x00, kKept}));
}

} // namespace vek::test
