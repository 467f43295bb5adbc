// SPDX-License-Identifier: Apache-2.0
#include "sim/TransferFormat.h"

#include "VekTrgApi.h"
#include "support/SampleVectors.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace vek::sim;
using vek::test::Bytes;

SRasterImage grayImage(unsigned width, unsigned height, unsigned depth, std::vector<std::uint16_t> samples) {
    SRasterImage image(width, height, depth, 1);
    image.samples = std::move(samples);
    return image;
}

SRasterImage colorImage(unsigned width, unsigned height, unsigned depth, std::vector<std::uint16_t> samples) {
    SRasterImage image(width, height, depth, 3);
    image.samples = std::move(samples);
    return image;
}

TEST(TransferFormat, BytesAndWordsKeepTheirOwnDepth) {
    EXPECT_EQ(encodeFrame(0, grayImage(2, 2, 8, {0, 1, 254, 255})), (Bytes{0, 1, 254, 255}));
    EXPECT_EQ(encodeFrame(5, grayImage(2, 1, 8, {7, 200})), (Bytes{7, 200}));
    EXPECT_EQ(encodeFrame(1, grayImage(2, 1, 10, {0x3FF, 0x102})), (Bytes{0xFF, 0x03, 0x02, 0x01}));
    EXPECT_EQ(encodeFrame(6, grayImage(1, 1, 10, {0x2A5})), (Bytes{0xA5, 0x02}));
    EXPECT_EQ(encodeFrame(3, grayImage(1, 2, 12, {0xABC, 0x001})), (Bytes{0xBC, 0x0A, 0x01, 0x00}));
    EXPECT_EQ(encodeFrame(8, grayImage(1, 1, 12, {0xFFF})), (Bytes{0xFF, 0x0F}));
    EXPECT_EQ(encodeFrame(18, grayImage(1, 1, 14, {0x3A5B})), (Bytes{0x5B, 0x3A}));
    EXPECT_EQ(encodeFrame(20, grayImage(1, 1, 14, {0x3FFF})), (Bytes{0xFF, 0x3F}));
    EXPECT_EQ(encodeFrame(19, grayImage(1, 1, 16, {0xFEDC})), (Bytes{0xDC, 0xFE}));
    EXPECT_EQ(encodeFrame(21, grayImage(1, 1, 16, {0x8001})), (Bytes{0x01, 0x80}));
}

TEST(TransferFormat, OtherDepthsAreShifted) {
    // 12 bits to 8: the low four are dropped, not rounded. 10 bits to 12 and to 16: zeros come in below.
    EXPECT_EQ(encodeFrame(0, grayImage(2, 1, 12, {0xABF, 0xFFF})), (Bytes{0xAB, 0xFF}));
    EXPECT_EQ(encodeFrame(3, grayImage(1, 1, 10, {0x3FF})), (Bytes{0xFC, 0x0F}));
    EXPECT_EQ(encodeFrame(19, grayImage(1, 1, 10, {0x3FF})), (Bytes{0xC0, 0xFF}));
}

TEST(TransferFormat, Packed10PutsFourPixelsInFiveBytes) {
    // Bit stream, earliest bit first:    pixel 0     pixel 1     pixel 2     pixel 3
    //   0x3FF, 0, 0x155, 0x200       ->  1111111111  0000000000  1010101010  0000000001
    // bytes 11111111 11000000 00001010 10101000 00000001, each read with its first bit lowest.
    const Bytes expected = {0xFF, 0x03, 0x50, 0x15, 0x80};
    EXPECT_EQ(encodeFrame(2, grayImage(4, 1, 10, {0x3FF, 0, 0x155, 0x200})), expected);
    EXPECT_EQ(encodeFrame(7, grayImage(4, 1, 10, {0x3FF, 0, 0x155, 0x200})), expected);
}

TEST(TransferFormat, Packed12PutsTwoPixelsInThreeBytes) {
    EXPECT_EQ(encodeFrame(4, grayImage(2, 1, 12, {0xABC, 0x123})), (Bytes{0xBC, 0x3A, 0x12}));
    EXPECT_EQ(encodeFrame(9, grayImage(2, 1, 12, {0x001, 0xFFF})), (Bytes{0x01, 0xF0, 0xFF}));
}

TEST(TransferFormat, PackedRowsStartAtAByte) {
    // Three 12-bit pixels are 36 bits: five bytes a row, the upper half of the last one is 0.
    EXPECT_EQ(encodeFrame(4, grayImage(3, 2, 12, {0xFFF, 0, 0xFFF, 0, 0xFFF, 0})),
              (Bytes{0xFF, 0x0F, 0x00, 0xFF, 0x0F, 0x00, 0xF0, 0xFF, 0x00, 0x00}));
    EXPECT_EQ(frameBytes(4, 3, 2), 10U);
    EXPECT_EQ(frameBytes(2, 5, 1), 7U);
}

TEST(TransferFormat, Bgr8IsBlueGreenRed) {
    EXPECT_EQ(encodeFrame(10, colorImage(2, 1, 8, {1, 2, 3, 250, 251, 252})), (Bytes{3, 2, 1, 252, 251, 250}));
    EXPECT_EQ(encodeFrame(10, grayImage(1, 1, 8, {9})), (Bytes{9, 9, 9}));
}

TEST(TransferFormat, Bgr10TakesEightBytesAPixel) {
    // red 0x3FF << 20 | green 0x001 << 10 | blue 0x155 = 0x3FF00555
    EXPECT_EQ(encodeFrame(11, colorImage(1, 1, 10, {0x3FF, 0x001, 0x155})),
              (Bytes{0x55, 0x05, 0xF0, 0x3F, 0, 0, 0, 0}));
    EXPECT_EQ(frameBytes(11, 3, 2), 48U);
}

TEST(TransferFormat, YCrCb444FullRange) {
    // Pure red: Y = 0.299 * 255 = 76.2; Cb = 128 - 76.245 / 1.772 = 84.97; Cr = 128 + 178.755 / 1.402 = 255.5.
    EXPECT_EQ(encodeFrame(14, colorImage(1, 1, 8, {255, 0, 0})), (Bytes{76, 85, 255}));
    EXPECT_EQ(encodeFrame(14, colorImage(2, 1, 8, {0, 0, 0, 255, 255, 255})), (Bytes{0, 128, 128, 255, 128, 128}));
}

TEST(TransferFormat, YCrCb444VideoRange) {
    // Black and white at 16 and 235. Pure blue: Y = 16 + 219 * 0.0722 = 31.8; Cb = 128 + 224 * 0.5 = 240;
    // Cr = 128 - 224 * 0.0722 / 1.5748 = 117.7.
    EXPECT_EQ(encodeFrame(17, colorImage(2, 1, 8, {0, 0, 0, 255, 255, 255})), (Bytes{16, 128, 128, 235, 128, 128}));
    EXPECT_EQ(encodeFrame(17, colorImage(1, 1, 8, {0, 0, 255})), (Bytes{32, 240, 118}));
}

TEST(TransferFormat, YCrCb422SharesChromaOfTwoPixels) {
    // Red and its grey twin of the same luma: the chroma of the pair is half that of red.
    // Cb = 128 - 43.03 / 2 = 106.5, Cr = 128 + 127.5 / 2 = 191.75; grey 76 adds nothing.
    EXPECT_EQ(encodeFrame(13, colorImage(2, 1, 8, {255, 0, 0, 76, 76, 76})), (Bytes{76, 106, 76, 192}));
    // White and black in video range.
    EXPECT_EQ(encodeFrame(16, colorImage(2, 1, 8, {255, 255, 255, 0, 0, 0})), (Bytes{235, 128, 16, 128}));
    // An odd width ends with the pixel's own Y and Cb.
    EXPECT_EQ(encodeFrame(13, colorImage(3, 1, 8, {0, 0, 0, 0, 0, 0, 255, 0, 0})), (Bytes{0, 128, 0, 128, 76, 85}));
}

TEST(TransferFormat, YCrCb411SharesChromaOfFourPixels) {
    // One red and three black pixels: a quarter of red's chroma, 128 - 43.03 / 4 and 128 + 127.5 / 4.
    const SRasterImage image = colorImage(4, 1, 8, {255, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(encodeFrame(12, image), (Bytes{76, 0, 117, 0, 0, 160}));
    EXPECT_EQ(encodeFrame(15, colorImage(4, 1, 8, {0, 0, 0, 255, 255, 255, 0, 0, 0, 255, 255, 255})),
              (Bytes{16, 235, 128, 16, 235, 128}));
    // Width 6: one and a half bytes a pixel, so the second group is cut after Y0 Y1 Cb.
    EXPECT_EQ(frameBytes(12, 6, 1), 9U);
    EXPECT_EQ(encodeFrame(12, colorImage(6, 1, 8, std::vector<std::uint16_t>(18, 50))),
              (Bytes{50, 50, 128, 50, 50, 128, 50, 50, 128}));
}

TEST(TransferFormat, YCrCbScalesDeeperSamplesToBytes) {
    EXPECT_EQ(encodeFrame(14, colorImage(1, 1, 12, {4095, 4095, 4095})), (Bytes{255, 128, 128}));
}

TEST(TransferFormat, GrayFormatsTakeLumaOfColor) {
    // 0.299 * 100 + 0.587 * 200 + 0.114 * 50 = 153
    EXPECT_EQ(encodeFrame(5, colorImage(1, 1, 8, {100, 200, 50})), (Bytes{153}));
    EXPECT_EQ(encodeFrame(21, colorImage(1, 1, 16, {65535, 65535, 65535})), (Bytes{0xFF, 0xFF}));
}

TEST(TransferFormat, EveryCodeFillsExactlyItsFrame) {
    for (unsigned long format = 0; format < kTransferFormatCount; ++format) {
        for (unsigned width = 1; width <= 9; ++width) {
            const unsigned channels = transferContent(format) == ETransferContent::Color ? 3 : 1;
            const SRasterImage image(width, 3, 12, channels);
            EXPECT_EQ(encodeFrame(format, image).size(), frameBytes(format, width, 3)) << format << ' ' << width;
        }
        const unsigned bits = VekTransferFormatBits(format);
        if (bits != 0 && format != VEK_TRANSFER_BGR10) { // its pixels are stepped by 64 bits
            EXPECT_EQ(frameBytes(format, 16, 2), 32U * bits / 8) << format;
        }
    }
}

TEST(TransferFormat, RefusesWhatItCannotEncode) {
    EXPECT_THROW(encodeFrame(22, grayImage(1, 1, 8, {0})), std::invalid_argument);
    EXPECT_THROW(encodeFrame(0, colorImage(1, 1, 8, {0, 0, 0})), std::invalid_argument);
    EXPECT_THROW(encodeFrame(0, grayImage(2, 1, 8, {0})), std::invalid_argument);
    EXPECT_THROW(frameBytes(22, 1, 1), std::invalid_argument);
    EXPECT_THROW(transferDepth(~0UL), std::invalid_argument);
}

} // namespace
